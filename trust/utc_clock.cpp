#include "trust/utc_clock.h"

#include <cstdio>

std::string UtcTimeText(const SYSTEMTIME& time) {
    char text[32];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02uZ", time.wYear, time.wMonth, time.wDay, time.wHour,
                  time.wMinute, time.wSecond);
    return text;
}

std::string UtcNow() {
    SYSTEMTIME now;
    GetSystemTime(&now);
    return UtcTimeText(now);
}
