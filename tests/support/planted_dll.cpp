// A DLL that an attacker leaves in a Downloads folder under the name winhttp.dll or
// comctl32.dll. Loading it is all that counts: it writes "<its own path>.loaded", holding the
// path of the program that loaded it. Its exports only let such a program start; each fails.
#include <windows.h>

#define PLANTED_EXPORT(name)                                \
    extern "C" __declspec(dllexport) void* name() {         \
        SetLastError(ERROR_CALL_NOT_IMPLEMENTED);           \
        return nullptr;                                     \
    }
PLANTED_EXPORT(WinHttpCloseHandle)
PLANTED_EXPORT(WinHttpConnect)
PLANTED_EXPORT(WinHttpOpen)
PLANTED_EXPORT(WinHttpOpenRequest)
PLANTED_EXPORT(WinHttpQueryDataAvailable)
PLANTED_EXPORT(WinHttpQueryHeaders)
PLANTED_EXPORT(WinHttpReadData)
PLANTED_EXPORT(WinHttpReceiveResponse)
PLANTED_EXPORT(WinHttpSendRequest)
PLANTED_EXPORT(WinHttpSetOption)
PLANTED_EXPORT(WinHttpSetTimeouts)
PLANTED_EXPORT(InitCommonControlsEx)

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void*) {
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    char marker[MAX_PATH + 8] = {};
    char program[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameA(self, marker, MAX_PATH);
    lstrcpyA(marker + length, ".loaded");
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    HANDLE file = CreateFileA(marker, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return TRUE;
    DWORD written = 0;
    WriteFile(file, program, lstrlenA(program), &written, nullptr);
    CloseHandle(file);
    return TRUE;
}
