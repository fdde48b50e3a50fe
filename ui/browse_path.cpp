#include <shlobj.h>

#include "ui/folder_choice.h"

bool BrowsedFolder(PCIDLIST_ABSOLUTE items, std::string& folder) {
    char path[MAX_PATH] = {};
    if (!SHGetPathFromIDListA(items, path)) return false;
    folder = path;
    return true;
}
