#include "shell/launcher_handoff.h"

#include <windows.h>

#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"

bool StartResidentLauncher(const std::string& installFolder) {
    const std::string launcherPath = JoinPath(installFolder, LauncherExeName);
    unsigned long queryError = 0;
    if (!PathExists(launcherPath, &queryError)) {
        if (queryError != 0) {
            LogLine("resident launcher: cannot look for " + launcherPath +
                    ", GetLastError=" + std::to_string(queryError));
        } else {
            LogLine("resident launcher MISSING at " + launcherPath);
        }
        return false;
    }

    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    std::string commandLine = "\"" + launcherPath + "\"";
    if (!CreateProcessA(launcherPath.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        installFolder.c_str(), &startup, &process)) {
        const DWORD error = GetLastError();
        LogLine("CreateProcessA(launcher) FAILED, GetLastError=" + std::to_string(error));
        return false;
    }
    // The launcher outlives the installer; nothing here waits for it or keeps it.
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    LogLine("resident launcher started");
    return true;
}
