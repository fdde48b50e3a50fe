#pragma once
#include <string>

enum class FolderChoiceResult { Chosen = 0, NotChosen = 1, DialogUnavailable = 2 };

// Asks the user where the game goes, proposing a default folder under the profile.
// Chosen: installFolder holds the folder exactly as picked.
FolderChoiceResult ChooseInstallFolder(std::string& installFolder);
