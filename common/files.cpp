#include "common/files.h"

#include <windows.h>

#include "common/unique_handle.h"

unsigned long WriteNewFile(const std::string& path, const std::string& content) {
    UniqueFile file(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError();
    DWORD written = 0;
    WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    return 0;
}
