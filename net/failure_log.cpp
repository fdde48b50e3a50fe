#include "net/failure_log.h"

#include <windows.h>

#include <string>

#include "log/run_log.h"

void LogWinHttpFailure(const char* call, const char* argument) {
    const DWORD error = GetLastError();
    std::string line = std::string("winhttp: ") + call;
    if (argument) line = line + "(" + argument + ")";
    LogLine(line + " failed, GetLastError=" + std::to_string(error));
}
