// The install pipeline of a build that resumes downloads, in place of the plain one: the same
// attempts, digest check and unpacking, but a broken download goes on where it stopped, and a
// run that ends without installing keeps what it got for the next run.
#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "log/run_log.h"
#include "net/install_pipeline.h"
#include "net/install_steps.h"
#include "resume/resumable_download.h"

InstallOutcome RunInstallPipeline(const std::string& installFolder, const std::string& expectedSha256,
                                  std::optional<unsigned long long> signedSize) {
    const PipelineProgress progress;
    ResumableArchive archive{JoinPath(installFolder, ArchiveFileName), ToLowerAscii(expectedSha256), signedSize};
    TakeUpKeptArchive(archive);

    for (int attempt = 1; attempt <= MaxAttempts; ++attempt) {
        BeginAttempt(progress, attempt);
        const Fetched fetched = FetchArchive(archive, progress);
        if (fetched == Fetched::Cancelled || fetched == Fetched::LinkDown) {
            KeepForNextRun(archive);
            const bool cancelled = fetched == Fetched::Cancelled;
            LogLine(cancelled ? DownloadCancelledLine : DownloadFailedLine);
            return cancelled ? InstallOutcome::Cancelled : InstallOutcome::Failed;
        }
        if (fetched == Fetched::Broken) {
            ForgetArchive(archive);
            DeleteArchive(archive.path);
            LogLine(DownloadFailedLine);
            continue;
        }
        // The record goes with the archive: a mismatch deletes it, and the next attempt starts
        // from byte 0; a match unpacks and deletes it.
        const bool verified = VerifyArchive(progress, archive.path, archive.expected, attempt);
        ForgetArchive(archive);
        if (verified) return UnpackArchive(progress, installFolder);
    }
    return InstallOutcome::Failed;
}
