// Stands in for the game's resident launcher: each start appends "<command line>\t<working
// folder>\r\n" to launcher-starts.txt beside the program, then it ends at once.
#include <windows.h>

#include <cstring>
#include <string>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    char record[MAX_PATH] = {};
    char folder[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, record, MAX_PATH);
    std::strcpy(std::strrchr(record, '\\') + 1, "launcher-starts.txt");
    GetCurrentDirectoryA(MAX_PATH, folder);
    const std::string line = std::string(GetCommandLineA()) + "\t" + folder + "\r\n";
    HANDLE file = CreateFileA(record, FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(file);
    return 0;
}
