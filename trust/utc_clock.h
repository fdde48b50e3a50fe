#pragma once
#include <windows.h>

#include <string>

// "YYYY-MM-DDTHH:MM:SSZ", the form in which signature lines give their expiry: such texts sort
// as their moments do.
std::string UtcTimeText(const SYSTEMTIME& time);

// Now, by the machine's clock, in UTC (never the local time the run log is stamped with).
std::string UtcNow();
