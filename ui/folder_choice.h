#pragma once
#include <windows.h>
#include <shtypes.h>

#include <string>

enum class FolderChoiceResult { Chosen = 0, NotChosen = 1, DialogUnavailable = 2 };

// "QuarnfellOstvale" under the user's profile, or under the installer's own folder when
// USERPROFILE is missing, empty or too long for a path.
std::string DefaultInstallFolder();

// The texts below are the ones the program reads from Windows by itself. The plain build reads
// them narrow, into MAX_PATH bytes (ui/default_folder_bases.cpp, ui/browse_path.cpp); a build in
// the UTF-8 code page links its own definitions, which read them as UTF-16, so that a name of
// letters that take three bytes each still fits.

// The folder that holds the running program; empty when its file name cannot be read.
std::string ExecutableFolder();

// USERPROFILE as narrow text; empty when it is missing, empty or too long for a path.
std::string UserProfileFolder();

// The folder the browse dialog's item list names; false when it names none, or too long a path.
bool BrowsedFolder(PCIDLIST_ABSOLUTE items, std::string& folder);

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
