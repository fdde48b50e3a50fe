// Stands in for the game's resident launcher: each start appends "<command line>\t<working
// folder>\r\n" to launcher-starts.txt beside the program, then it ends at once. Like every
// program of the test bed it runs in the UTF-8 code page, where MAX_PATH characters may take
// three times as many bytes, so the record holds any name whole.
#include <windows.h>

#include <cstring>
#include <fstream>
#include <string>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    char record[3 * MAX_PATH] = {};
    char folder[3 * MAX_PATH] = {};
    GetModuleFileNameA(nullptr, record, sizeof record);
    std::strcpy(std::strrchr(record, '\\') + 1, "launcher-starts.txt");
    GetCurrentDirectoryA(sizeof folder, folder);
    std::ofstream(record, std::ios::binary | std::ios::app) << GetCommandLineA() << '\t' << folder << "\r\n";
    return 0;
}
