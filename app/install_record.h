#pragma once
#include <string>

// Where the game lives (a per-user registry value) and whether it is fully there (the marker
// file and both game programs in that folder).
std::string ReadInstallPath();
void SaveInstallPath(const std::string& installFolder);
bool IsFolderInstalled(const std::string& installFolder);
bool HasGameExecutables(const std::string& installFolder);
void WriteInstallMarker(const std::string& installFolder);
