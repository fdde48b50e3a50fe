#pragma once
#include <string>

// Where the game lives (a per-user registry value) and whether it is fully there (the marker
// file and both game programs in that folder).
inline constexpr char InstallRegistryKey[] = "Software\\QuarnfellOstvale";  // under HKEY_CURRENT_USER
inline constexpr char InstallRegistryValue[] = "InstallPath";

// The registered folder; empty when there is none or it cannot be read. Each program brings its
// own reading: app/install_path.cpp, or the UTF-8 build's in utf8/.
std::string ReadInstallPath();
void SaveInstallPath(const std::string& installFolder);
bool IsFolderInstalled(const std::string& installFolder);
bool HasGameExecutables(const std::string& installFolder);
void WriteInstallMarker(const std::string& installFolder);
