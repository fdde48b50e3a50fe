#include "net/install_pipeline.h"

#include <windows.h>
#include <commctrl.h>
#include <winhttp.h>

#include "archive/extract.h"
#include "archive/sha256.h"
#include "common/messages.h"
#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "log/run_log.h"
#include "net/archive_download.h"
#include "net/http_request.h"
#include "ui/progress_window.h"

namespace {
constexpr int MaxAttempts = 2;

// The pipeline's progress window, released on every way out (an exception included). When
// the window could not be created the pipeline runs the same, only without window calls.
class PipelineProgress {
public:
    PipelineProgress() : shown_(CreateProgressWindow(record_)) {}
    ~PipelineProgress() { DestroyProgressWindow(record_); }
    PipelineProgress(const PipelineProgress&) = delete;
    PipelineProgress& operator=(const PipelineProgress&) = delete;

    ProgressWindow* ForDownload() const { return shown_ ? record_ : nullptr; }
    void SetStatus(const char* text) const {
        if (shown_ && record_->statusLabel) SetWindowTextA(record_->statusLabel, text);
    }
    void FillBar() const {
        if (shown_ && record_->progressBar) SendMessageA(record_->progressBar, PBM_SETPOS, 1000, 0);
    }
    void Pump() const {
        if (shown_) PumpPendingMessages();
    }

private:
    ProgressWindow* record_ = nullptr;
    bool shown_;
};

// One attempt's handles, closed in every outcome before anything else happens: the archive
// file first, then request, connection and session.
struct AttemptHandles {
    HINTERNET session = nullptr;
    HINTERNET connection = nullptr;
    HINTERNET request = nullptr;
    HANDLE file = INVALID_HANDLE_VALUE;

    AttemptHandles() = default;
    AttemptHandles(const AttemptHandles&) = delete;
    AttemptHandles& operator=(const AttemptHandles&) = delete;
    ~AttemptHandles() {
        if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
        if (request) WinHttpCloseHandle(request);
        if (connection) WinHttpCloseHandle(connection);
        if (session) WinHttpCloseHandle(session);
    }
};

bool DownloadOnce(const std::string& archivePath, ProgressWindow* progress, bool& cancelled,
                  std::optional<unsigned long long> signedSize) {
    AttemptHandles handles;
    unsigned long long contentLength = 0;
    handles.request = OpenServerRequest(L"/game.zip", handles.session, handles.connection, contentLength);
    return DownloadArchive(handles.request, contentLength, handles.file, archivePath, progress, cancelled, signedSize);
}

void DeleteArchive(const std::string& archivePath) { DeleteFileA(archivePath.c_str()); }
}  // namespace

InstallOutcome RunInstallPipeline(const std::string& installFolder, const std::string& expectedSha256,
                                  std::optional<unsigned long long> signedSize) {
    const PipelineProgress progress;
    const std::string archivePath = JoinPath(installFolder, ArchiveFileName);
    const std::string expected = ToLowerAscii(expectedSha256);

    for (int attempt = 1; attempt <= MaxAttempts; ++attempt) {
        progress.SetStatus(attempt == 1 ? "Downloading game data..."
                                        : "Re-downloading game data (verification retry)...");
        LogLine("download: attempt " + std::to_string(attempt) + " of " + std::to_string(MaxAttempts));

        bool cancelled = false;
        const bool downloaded = DownloadOnce(archivePath, progress.ForDownload(), cancelled, signedSize);
        if (cancelled) {
            DeleteArchive(archivePath);
            LogLine("download: CANCELLED by user");
            return InstallOutcome::Cancelled;
        }
        if (!downloaded) {
            DeleteArchive(archivePath);
            LogLine("download: FAILED (see winhttp lines above)");
            continue;
        }

        progress.SetStatus("Verifying download...");
        progress.Pump();
        const std::string local = ToLowerAscii(ComputeFileSha256(archivePath));
        LogLine("sha256: server=" + expected);
        LogLine("sha256: local =" + local);
        if (local.empty() || local != expected) {
            DeleteArchive(archivePath);
            LogLine(std::string("sha256: MISMATCH -> deleted zip") +
                    (attempt < MaxAttempts ? ", retrying download" : ", giving up"));
            continue;
        }

        LogLine("sha256: OK (archive matches server hash)");
        progress.FillBar();
        progress.SetStatus("Extracting game data...");
        progress.Pump();
        const bool extracted = ExtractArchive(installFolder, ArchiveFileName);
        DeleteArchive(archivePath);
        if (!extracted) {
            LogLine("install: extraction FAILED");
            return InstallOutcome::Failed;
        }
        LogLine("install: SUCCESS (zip downloaded, verified, extracted)");
        return InstallOutcome::Installed;
    }
    return InstallOutcome::Failed;
}
