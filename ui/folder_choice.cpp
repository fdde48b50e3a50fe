#include "ui/folder_choice.h"

// The folder dialogs arrive in their own change; until then a first run ends quietly.
FolderChoiceResult ChooseInstallFolder(std::string&) { return FolderChoiceResult::NotChosen; }
