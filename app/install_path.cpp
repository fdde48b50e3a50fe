#include "app/install_record.h"

#include <windows.h>

std::string ReadInstallPath() {
    char buffer[MAX_PATH] = {};
    DWORD size = sizeof buffer;
    // RRF_RT_REG_SZ makes the platform refuse any other value type; too long a text fails too.
    if (RegGetValueA(HKEY_CURRENT_USER, InstallRegistryKey, InstallRegistryValue, RRF_RT_REG_SZ, nullptr, buffer,
                     &size) != ERROR_SUCCESS) {
        return {};
    }
    return buffer;
}
