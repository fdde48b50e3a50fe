#pragma once
#include <string>

// Creates or empties the file at path and writes content with a single WriteFile. Returns 0,
// or the Windows error code when the file could not be opened. Like every file the program
// writes, it is held without sharing and closed at once; a failed write is not detected.
unsigned long WriteNewFile(const std::string& path, const std::string& content);
