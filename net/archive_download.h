#pragma once
#include <windows.h>
#include <winhttp.h>

#include <optional>
#include <string>

#include "ui/progress_window.h"

// Streams the body of an opened request into a new file at archivePath, in chunks of up to
// 64 KiB. file receives the created handle; the caller closes it (and the request) in every
// outcome and decides what happens to a partial file. With a progress window, each chunk
// updates its text and bar and pumps the thread's messages; a close of the window stops the
// download after the chunk in hand is written, with cancelled set. Null request: false at once.
// With a signed size, an announced length other than it fails before a file is made, and a
// body that runs past it fails before the chunk that does is written.
bool DownloadArchive(HINTERNET request, unsigned long long contentLength, HANDLE& file,
                     const std::string& archivePath, ProgressWindow* progress, bool& cancelled,
                     std::optional<unsigned long long> signedSize);

// Logs the announced length; false, logged, when a signed size is given and a length other than
// it is announced.
bool AnnouncedLengthFits(unsigned long long contentLength, std::optional<unsigned long long> signedSize);

// One response's body on its way into the archive file.
struct ArchiveBody {
    HINTERNET request;
    HANDLE file;               // open for writing where the body's first byte goes
    unsigned long long whole;  // the archive's length, for the window; 0 when unknown
    std::optional<unsigned long long> signedSize;
    const char* status;  // the window's text, ahead of the figures
};

// The streaming of DownloadArchive: reads until the server has no more, writing each chunk and
// adding it to total (what the file already held on entry), with the same window, cancel and
// signed-size rules. False after a logged failure or a cancel.
bool StreamArchiveBody(const ArchiveBody& body, ProgressWindow* progress, bool& cancelled, unsigned long long& total);
