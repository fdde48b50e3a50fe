#include "log/run_log.h"

#include <windows.h>

#include <cstdio>

#include "common/unique_handle.h"

namespace {
std::string logFilePath;
}

void SetLogFilePath(const std::string& path) { logFilePath = path; }

void LogLine(const std::string& message) {
    if (logFilePath.empty()) return;

    SYSTEMTIME now;
    GetLocalTime(&now);
    char timestamp[32];
    std::snprintf(timestamp, sizeof timestamp, "%04d-%02d-%02d %02d:%02d:%02d", now.wYear, now.wMonth,
                  now.wDay, now.wHour, now.wMinute, now.wSecond);
    const std::string line = std::string("[") + timestamp + "] " + message + "\r\n";

    // Opened and closed for every line, so that each line has reached the system when this
    // returns, whatever happens to the process afterwards.
    UniqueFile file(CreateFileA(logFilePath.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return;
    SetFilePointer(file.Get(), 0, nullptr, FILE_END);
    DWORD written = 0;
    WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}
