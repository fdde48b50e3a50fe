#include "common/text.h"

#include <windows.h>

std::wstring NarrowToWide(const std::string& text) {
    if (text.empty()) return {};
    const int length = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    if (length <= 0) return {};
    std::wstring wide(static_cast<size_t>(length - 1), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide.data(), length);
    return wide;
}

std::string WideToNarrow(const wchar_t* text) {
    if (!text || !*text) return {};
    const int length = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (length <= 0) return {};
    std::string narrow(static_cast<size_t>(length - 1), '\0');
    WideCharToMultiByte(CP_ACP, 0, text, -1, narrow.data(), length, nullptr, nullptr);
    return narrow;
}
