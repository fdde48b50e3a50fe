#pragma once
#include <string>

// Narrow text is in the ANSI code page throughout the program; these are the only
// conversions to and from the platform's UTF-16.
std::wstring NarrowToWide(const std::string& text);
std::string WideToNarrow(const wchar_t* text);

// Folds A-Z to a-z and leaves every other byte alone, whatever the code page.
std::string ToLowerAscii(std::string text);
