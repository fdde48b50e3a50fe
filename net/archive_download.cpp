#include "net/archive_download.h"

#include <commctrl.h>

#include <cstdio>
#include <vector>

#include "common/messages.h"
#include "log/run_log.h"
#include "net/failure_log.h"

namespace {
constexpr DWORD ReadChunk = 65536;
constexpr int BarEnd = 1000;

void ShowProgress(const ProgressWindow& progress, const char* text, unsigned long long total,
                  unsigned long long contentLength) {
    char status[160];
    if (contentLength != 0) {
        double fraction = static_cast<double>(total) / static_cast<double>(contentLength);
        if (fraction > 1.0) fraction = 1.0;
        if (progress.progressBar) {
            int position = static_cast<int>(static_cast<float>(fraction) * 1000.0);
            if (position < 0) position = 0;
            if (position > BarEnd) position = BarEnd;
            SendMessageA(progress.progressBar, PBM_SETPOS, static_cast<WPARAM>(position), 0);
        }
        std::snprintf(status, sizeof(status), "%s  %llu / %llu MB", text, total >> 20, contentLength >> 20);
    } else {
        std::snprintf(status, sizeof(status), "%s  %llu MB", text, total >> 20);
    }
    if (progress.statusLabel) SetWindowTextA(progress.statusLabel, status);
}
}  // namespace

bool AnnouncedLengthFits(unsigned long long contentLength, std::optional<unsigned long long> signedSize) {
    LogLine("winhttp: Content-Length=" + std::to_string(contentLength) + " bytes");
    // 0 is also what a missing length reads as; such a body is held to the size as it arrives.
    if (signedSize && contentLength != 0 && contentLength != *signedSize) {
        LogLine("download: Content-Length " + std::to_string(contentLength) + " is not the signed size " +
                std::to_string(*signedSize));
        return false;
    }
    return true;
}

bool DownloadArchive(HINTERNET request, unsigned long long contentLength, HANDLE& file,
                     const std::string& archivePath, ProgressWindow* progress, bool& cancelled,
                     std::optional<unsigned long long> signedSize) {
    if (!request) return false;
    if (!AnnouncedLengthFits(contentLength, signedSize)) return false;

    file = CreateFileA(archivePath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        LogWinHttpFailure("CreateFileA", archivePath.c_str());
        return false;
    }

    unsigned long long total = 0;
    if (!StreamArchiveBody({request, file, contentLength, signedSize, "Downloading game data..."}, progress, cancelled,
                           total)) {
        return false;
    }
    LogLine("winhttp: download complete, " + std::to_string(total) + " bytes written (HTTP 200)");
    return true;
}

bool StreamArchiveBody(const ArchiveBody& body, ProgressWindow* progress, bool& cancelled, unsigned long long& total) {
    std::vector<char> buffer(ReadChunk);
    DWORD available = 0;
    if (!WinHttpQueryDataAvailable(body.request, &available)) {
        LogWinHttpFailure("WinHttpQueryDataAvailable");
        return false;
    }
    while (available != 0) {
        DWORD read = 0;
        if (!WinHttpReadData(body.request, buffer.data(), available < ReadChunk ? available : ReadChunk, &read)) {
            LogWinHttpFailure("WinHttpReadData");
            return false;
        }
        if (read == 0) break;
        if (body.signedSize && total + read > *body.signedSize) {
            LogLine("download: more than the signed " + std::to_string(*body.signedSize) + " bytes; stopped");
            return false;
        }
        DWORD written = 0;
        if (!WriteFile(body.file, buffer.data(), read, &written, nullptr) || written != read) {
            LogWinHttpFailure("WriteFile to disk");
            return false;
        }
        total += read;

        if (progress) {
            ShowProgress(*progress, body.status, total, body.whole);
            PumpPendingMessages();
            if (progress->cancelled) {
                cancelled = true;
                LogLine("winhttp: download CANCELLED by user after " + std::to_string(total) + " bytes");
                return false;
            }
        }
        available = 0;
        if (!WinHttpQueryDataAvailable(body.request, &available)) {
            LogWinHttpFailure("WinHttpQueryDataAvailable");
            return false;
        }
    }
    return true;
}
