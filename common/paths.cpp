#include "common/paths.h"

#include <windows.h>

#include "common/text.h"

bool PathExists(const std::string& path, unsigned long* queryError) {
    if (queryError) *queryError = 0;
    if (path.empty()) return false;
    if (GetFileAttributesW(NarrowToWide(path).c_str()) != INVALID_FILE_ATTRIBUTES) return true;
    const DWORD error = GetLastError();
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_DIRECTORY:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_NOT_READY:
        break;
    default:
        if (queryError) *queryError = error;
    }
    return false;
}

void CreateFolderTree(const std::string& folder) {
    const std::wstring wide = NarrowToWide(folder);
    for (size_t end = 1; end <= wide.size(); ++end) {
        if (end == wide.size() || wide[end] == L'\\' || wide[end] == L'/') {
            CreateDirectoryW(wide.substr(0, end).c_str(), nullptr);
        }
    }
}
