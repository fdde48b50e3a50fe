#pragma once
#include <string>

// The run log: "[YYYY-MM-DD hh:mm:ss] message\r\n" appended to one file per line. Until a
// path is set every line is dropped; a line that cannot be written is dropped silently.
void SetLogFilePath(const std::string& path);
void LogLine(const std::string& message);
