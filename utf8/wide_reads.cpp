// The texts the program reads from Windows by itself, read as UTF-16 and converted in the one
// place that converts, so that MAX_PATH characters arrive whole. Read narrow into MAX_PATH bytes,
// a name of letters that take three bytes in UTF-8 would not fit from about 86 letters on.
#include <shlobj.h>

#include "app/install_record.h"
#include "common/paths.h"
#include "common/text.h"
#include "ui/folder_choice.h"

std::string ReadInstallPath() {
    wchar_t folder[MAX_PATH] = {};
    DWORD size = sizeof folder;
    // RRF_RT_REG_SZ makes the platform refuse any other value type; too long a text fails too.
    if (RegGetValueW(HKEY_CURRENT_USER, NarrowToWide(InstallRegistryKey).c_str(), NarrowToWide(InstallRegistryValue).c_str(),
                     RRF_RT_REG_SZ, nullptr, folder, &size) != ERROR_SUCCESS) {
        return {};
    }
    return WideToNarrow(folder);
}

// Also because Wine 8's GetEnvironmentVariableA in a UTF-8 process cuts the value to its count of
// UTF-16 characters ("Łukasz" to "Łukas").
std::string UserProfileFolder() {
    wchar_t profile[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH);
    return length >= 1 && length < MAX_PATH ? WideToNarrow(profile) : std::string();
}

std::string ExecutableFolder() {
    wchar_t fileName[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, fileName, MAX_PATH);
    return ParentFolder(WideToNarrow(fileName));
}

bool BrowsedFolder(PCIDLIST_ABSOLUTE items, std::string& folder) {
    wchar_t path[MAX_PATH] = {};
    if (!SHGetPathFromIDListW(items, path)) return false;
    folder = WideToNarrow(path);
    return true;
}
