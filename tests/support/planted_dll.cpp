// A DLL left in a Downloads folder under the name of one a program loads by name. Being loaded
// is all it does: it writes "<its own path>.loaded", holding the path of the loading program.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void*) {
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    char marker[MAX_PATH + 8] = {};
    char program[MAX_PATH] = {};
    lstrcatA(marker + GetModuleFileNameA(self, marker, MAX_PATH), ".loaded");
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    HANDLE file = CreateFileA(marker, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, program, lstrlenA(program), &written, nullptr);
    CloseHandle(file);
    return TRUE;
}
