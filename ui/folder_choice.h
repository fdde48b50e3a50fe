#pragma once
#include <windows.h>

#include <string>

enum class FolderChoiceResult { Chosen = 0, NotChosen = 1, DialogUnavailable = 2 };

// "QuarnfellOstvale" under the user's profile, or under the installer's own folder when
// USERPROFILE is missing, empty or too long for a path. Each program brings its own reading of
// the two (ExecutableFolder and UserProfileFolder): ui/default_folder_bases.cpp, or the UTF-8
// build's in utf8/.
std::string DefaultInstallFolder();

// The folder that holds the running program; empty when its file name cannot be read.
std::string ExecutableFolder();

// USERPROFILE as narrow text; empty when it is missing, empty or too long for a path.
std::string UserProfileFolder();

// Asks the user where the game goes, proposing (and first creating) the default folder.
// Chosen: installFolder holds the folder exactly as picked. Never DialogUnavailable: the
// older browse dialog stands in when the folder picker cannot be shown.
FolderChoiceResult ChooseInstallFolder(std::string& installFolder);

// The shell's folder picker, opened in defaultFolder when that names a folder.
// DialogUnavailable: the picker could not be created or shown (a cancel is NotChosen).
FolderChoiceResult PickFolderWithFileDialog(const std::wstring& defaultFolder,
                                            std::string& installFolder);

// Callback of the browse dialog: preselects the folder whose narrow text is data.
int CALLBACK BrowseFolderCallback(HWND dialog, UINT message, LPARAM parameter, LPARAM data);
