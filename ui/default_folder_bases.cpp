#include "ui/folder_choice.h"

#include "common/paths.h"

std::string UserProfileFolder() {
    char profile[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableA("USERPROFILE", profile, MAX_PATH);
    // A value that does not fit comes back as the size it needs, 260 or more.
    return length >= 1 && length < MAX_PATH ? profile : "";
}

std::string ExecutableFolder() {
    char fileName[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, fileName, MAX_PATH);
    return ParentFolder(fileName);
}
