#include "net/install_steps.h"

#include <commctrl.h>

#include "archive/extract.h"
#include "archive/sha256.h"
#include "common/messages.h"
#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "log/run_log.h"

void PipelineProgress::SetStatus(const char* text) const {
    if (shown_ && record_->statusLabel) SetWindowTextA(record_->statusLabel, text);
}

void PipelineProgress::FillBar() const {
    if (shown_ && record_->progressBar) SendMessageA(record_->progressBar, PBM_SETPOS, 1000, 0);
}

void PipelineProgress::Pump() const {
    if (shown_) PumpPendingMessages();
}

AttemptHandles::~AttemptHandles() {
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    if (request) WinHttpCloseHandle(request);
    if (connection) WinHttpCloseHandle(connection);
    if (session) WinHttpCloseHandle(session);
}

void BeginAttempt(const PipelineProgress& progress, int attempt) {
    progress.SetStatus(attempt == 1 ? "Downloading game data..." : "Re-downloading game data (verification retry)...");
    LogLine("download: attempt " + std::to_string(attempt) + " of " + std::to_string(MaxAttempts));
}

void DeleteArchive(const std::string& archivePath) { DeleteFileA(archivePath.c_str()); }

bool VerifyArchive(const PipelineProgress& progress, const std::string& archivePath, const std::string& expected,
                   int attempt) {
    progress.SetStatus("Verifying download...");
    progress.Pump();
    const std::string local = ToLowerAscii(ComputeFileSha256(archivePath));
    LogLine("sha256: server=" + expected);
    LogLine("sha256: local =" + local);
    if (local.empty() || local != expected) {
        DeleteArchive(archivePath);
        LogLine(std::string("sha256: MISMATCH -> deleted zip") +
                (attempt < MaxAttempts ? ", retrying download" : ", giving up"));
        return false;
    }
    LogLine("sha256: OK (archive matches server hash)");
    return true;
}

InstallOutcome UnpackArchive(const PipelineProgress& progress, const std::string& installFolder) {
    progress.FillBar();
    progress.SetStatus("Extracting game data...");
    progress.Pump();
    const bool extracted = ExtractArchive(installFolder, ArchiveFileName);
    DeleteArchive(JoinPath(installFolder, ArchiveFileName));
    if (!extracted) {
        LogLine("install: extraction FAILED");
        return InstallOutcome::Failed;
    }
    LogLine("install: SUCCESS (zip downloaded, verified, extracted)");
    return InstallOutcome::Installed;
}
