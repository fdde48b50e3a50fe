// Stands in for the game's resident launcher: records how it was started and exits at once.
// Each start appends one line "<command line>\t<working folder>\r\n" to launcher-starts.txt
// beside the program, so tests can see what the installer asked for.
#include <windows.h>

#include <string>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    char program[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    std::string record = program;
    record.erase(record.find_last_of('\\') + 1);
    record += "launcher-starts.txt";

    char workingFolder[MAX_PATH] = {};
    GetCurrentDirectoryA(MAX_PATH, workingFolder);
    const std::string line = std::string(GetCommandLineA()) + "\t" + workingFolder + "\r\n";

    HANDLE file = CreateFileA(record.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return 1;
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(file);
    return 0;
}
