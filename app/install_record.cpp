#include "app/install_record.h"

#include <windows.h>

#include "common/files.h"
#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"

namespace {
bool FileInFolderExists(const std::string& folder, const char* name) {
    return PathExists(JoinPath(folder, name));
}
}  // namespace

void SaveInstallPath(const std::string& installFolder) {
    RegSetKeyValueA(HKEY_CURRENT_USER, InstallRegistryKey, InstallRegistryValue, REG_SZ, installFolder.c_str(),
                    static_cast<DWORD>(installFolder.size() + 1));
}

bool IsFolderInstalled(const std::string& installFolder) {
    const bool marker = FileInFolderExists(installFolder, MarkerFileName);
    const bool game = FileInFolderExists(installFolder, GameExeName);
    const bool launcher = FileInFolderExists(installFolder, LauncherExeName);
    return marker && game && launcher;
}

bool HasGameExecutables(const std::string& installFolder) {
    return FileInFolderExists(installFolder, GameExeName) &&
           FileInFolderExists(installFolder, LauncherExeName);
}

void WriteInstallMarker(const std::string& installFolder) {
    const unsigned long error = WriteNewFile(JoinPath(installFolder, MarkerFileName), "ok\r\n");
    if (error != 0) {
        LogLine("install.ok: write FAILED, GetLastError=" + std::to_string(error));
        return;
    }
    LogLine("install.ok written -> folder marked as installed");
}
