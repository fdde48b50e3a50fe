// The test bed's system tar.exe. Windows' own tar.exe is bsdtar and Wine has none, so this one
// hands its arguments to the host's bsdtar and ends with bsdtar's exit code. Wine starts a host
// program from CreateProcess with the given arguments and working folder, but hands back no
// handle to wait on and no exit code: tar-bridge.sh, put beside this program, runs bsdtar and
// leaves its exit code in a file named by the first argument, which this program waits for.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

int main() {
    char system[MAX_PATH] = {};
    const std::string folder(system, GetSystemDirectoryA(system, MAX_PATH));
    const std::string id = std::to_string(GetCurrentProcessId()), result = folder + "\\tar-bridge\\" + id;
    DeleteFileA(result.c_str());  // left by an earlier process with the same id
    // What follows the program's own name, quoted or not, goes on unchanged.
    const char* commandLine = GetCommandLineA();
    const char* arguments = std::strchr(commandLine + 1, *commandLine == '"' ? '"' : ' ');
    arguments = !arguments ? "" : *commandLine == '"' ? arguments + 1 : arguments;
    std::string bridgeLine = "\"" + folder + "\\tar-bridge.sh\" " + id + arguments;
    STARTUPINFOA startup{.cb = sizeof startup};
    PROCESS_INFORMATION started{};
    if (!CreateProcessA((folder + "\\tar-bridge.sh").c_str(), bridgeLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &started)) {
        std::fprintf(stderr, "tar: cannot start tar-bridge.sh, error %lu\n", GetLastError());
        return 2;
    }
    CloseHandle(started.hProcess);
    CloseHandle(started.hThread);
    FILE* file = nullptr;
    while (!(file = std::fopen(result.c_str(), "r"))) Sleep(10);
    int exitCode = 2;
    std::fscanf(file, "%d", &exitCode);
    std::fclose(file);
    DeleteFileA(result.c_str());
    return exitCode;
}
