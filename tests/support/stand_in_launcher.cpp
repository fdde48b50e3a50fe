// Stands in for the game's resident launcher: each start appends "<command line>\t<working
// folder>\r\n" to launcher-starts.txt beside the program, then it ends at once. Like every
// program of the test bed it runs in the UTF-8 code page, so the record holds any name whole.
#include <windows.h>

#include <cstring>
#include <fstream>
#include <string>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    char record[MAX_PATH] = {};
    char folder[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, record, MAX_PATH);
    std::strcpy(std::strrchr(record, '\\') + 1, "launcher-starts.txt");
    GetCurrentDirectoryA(MAX_PATH, folder);
    std::ofstream(record, std::ios::binary | std::ios::app) << GetCommandLineA() << '\t' << folder << "\r\n";
    return 0;
}
