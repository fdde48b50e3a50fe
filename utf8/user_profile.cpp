#include "ui/folder_choice.h"

#include "common/text.h"

// Read as UTF-16 and converted in the one place that converts: Wine 8's GetEnvironmentVariableA
// in a UTF-8 process cuts the value to its count of UTF-16 characters ("Łukasz" to "Łukas").
std::string UserProfileFolder() {
    wchar_t profile[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH);
    return length >= 1 && length < MAX_PATH ? WideToNarrow(profile) : std::string();
}
