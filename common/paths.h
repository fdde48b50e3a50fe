#pragma once
#include <string>

// Folder, one backslash, name. No backslash is added after an empty folder, a bare drive
// ("C:") or a folder that already ends in a separator; nothing else is normalised.
std::string JoinPath(const std::string& folder, const std::string& name);

// The folder part of a path: the last element and the separators in front of it dropped,
// but never the root (C:\Setup.exe gives C:\ with its backslash). A bare name gives "".
std::string ParentFolder(const std::string& path);

// Whether a file or folder exists at path. A missing path, a missing parent folder and a
// name that cannot exist count as absent. Any other failure of the query also reads as
// absent; queryError then receives its Windows error code (0 otherwise).
bool PathExists(const std::string& path, unsigned long* queryError = nullptr);

// Creates folder and every missing folder above it. Errors are not reported: callers only
// care whether the folder exists afterwards, and an existing folder is fine.
void CreateFolderTree(const std::string& folder);
