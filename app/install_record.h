#pragma once
#include <string>

// Where the game lives (a per-user registry value) and whether it is fully there (the marker
// file and both game programs in that folder).
inline constexpr char InstallRegistryKey[] = "Software\\QuarnfellOstvale";  // under HKEY_CURRENT_USER
inline constexpr char InstallRegistryValue[] = "InstallPath";

// The registered folder; empty when there is none or it cannot be read. The plain build reads it
// narrow, into MAX_PATH bytes (app/install_path.cpp); a build in the UTF-8 code page links its own
// definition, which reads it as UTF-16.
std::string ReadInstallPath();
void SaveInstallPath(const std::string& installFolder);
bool IsFolderInstalled(const std::string& installFolder);
bool HasGameExecutables(const std::string& installFolder);
void WriteInstallMarker(const std::string& installFolder);
