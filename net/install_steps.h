#pragma once
// The steps of the install pipeline that every way of downloading the archive shares: the
// progress window, an attempt's start, the digest check and the unpacking.
#include <windows.h>
#include <winhttp.h>

#include <string>

#include "net/install_pipeline.h"
#include "ui/progress_window.h"

inline constexpr int MaxAttempts = 2;
inline constexpr char DownloadFailedLine[] = "download: FAILED (see winhttp lines above)";
inline constexpr char DownloadCancelledLine[] = "download: CANCELLED by user";

// The pipeline's progress window, released on every way out (an exception included). When
// the window could not be created the pipeline runs the same, only without window calls.
class PipelineProgress {
public:
    PipelineProgress() : shown_(CreateProgressWindow(record_)) {}
    ~PipelineProgress() { DestroyProgressWindow(record_); }
    PipelineProgress(const PipelineProgress&) = delete;
    PipelineProgress& operator=(const PipelineProgress&) = delete;

    ProgressWindow* ForDownload() const { return shown_ ? record_ : nullptr; }
    void SetStatus(const char* text) const;
    void FillBar() const;
    void Pump() const;

private:
    ProgressWindow* record_ = nullptr;
    bool shown_;
};

// One request's handles, closed in every outcome before anything else happens: the archive
// file first, then request, connection and session.
struct AttemptHandles {
    HINTERNET session = nullptr;
    HINTERNET connection = nullptr;
    HINTERNET request = nullptr;
    HANDLE file = INVALID_HANDLE_VALUE;

    AttemptHandles() = default;
    AttemptHandles(const AttemptHandles&) = delete;
    AttemptHandles& operator=(const AttemptHandles&) = delete;
    ~AttemptHandles();
};

// The window's text and the log line that open attempt 1 or 2.
void BeginAttempt(const PipelineProgress& progress, int attempt);

void DeleteArchive(const std::string& archivePath);

// Checks the downloaded archive against the expected (lower-case) digest and logs both. On a
// mismatch the archive is deleted and false returned; the line says whether another attempt
// follows.
bool VerifyArchive(const PipelineProgress& progress, const std::string& archivePath, const std::string& expected,
                   int attempt);

// Unpacks the verified archive into installFolder and deletes it, whatever the result.
InstallOutcome UnpackArchive(const PipelineProgress& progress, const std::string& installFolder);
