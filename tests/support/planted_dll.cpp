// A DLL left in a Downloads folder under the name of one a program loads by name. Being loaded
// is all it does: it leaves an empty "<its own path>.loaded" beside itself.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void*) {
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    char marker[MAX_PATH + 8] = {};
    lstrcatA(marker + GetModuleFileNameA(self, marker, MAX_PATH), ".loaded");
    CloseHandle(CreateFileA(marker, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    return TRUE;
}
