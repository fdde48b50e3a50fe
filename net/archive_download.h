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
