#include "net/install_pipeline.h"

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "log/run_log.h"
#include "net/archive_download.h"
#include "net/http_request.h"
#include "net/install_steps.h"

namespace {
bool DownloadOnce(const std::string& archivePath, ProgressWindow* progress, bool& cancelled,
                  std::optional<unsigned long long> signedSize) {
    AttemptHandles handles;
    unsigned long long contentLength = 0;
    handles.request = OpenServerRequest(L"/game.zip", handles.session, handles.connection, contentLength);
    return DownloadArchive(handles.request, contentLength, handles.file, archivePath, progress, cancelled, signedSize);
}
}  // namespace

InstallOutcome RunInstallPipeline(const std::string& installFolder, const std::string& expectedSha256,
                                  std::optional<unsigned long long> signedSize) {
    const PipelineProgress progress;
    const std::string archivePath = JoinPath(installFolder, ArchiveFileName);
    const std::string expected = ToLowerAscii(expectedSha256);

    for (int attempt = 1; attempt <= MaxAttempts; ++attempt) {
        BeginAttempt(progress, attempt);
        bool cancelled = false;
        const bool downloaded = DownloadOnce(archivePath, progress.ForDownload(), cancelled, signedSize);
        if (cancelled) {
            DeleteArchive(archivePath);
            LogLine(DownloadCancelledLine);
            return InstallOutcome::Cancelled;
        }
        if (!downloaded) {
            DeleteArchive(archivePath);
            LogLine(DownloadFailedLine);
            continue;
        }
        if (VerifyArchive(progress, archivePath, expected, attempt)) return UnpackArchive(progress, installFolder);
    }
    return InstallOutcome::Failed;
}
