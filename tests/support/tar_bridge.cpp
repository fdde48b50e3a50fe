// The test bed's system tar.exe. Windows' own tar.exe is bsdtar and Wine has none, so this one
// hands its arguments to the host's bsdtar and ends with bsdtar's exit code. Wine starts a host
// program from CreateProcess with the given arguments and working folder, but hands back no
// handle to wait on and no exit code: a host shell runs bsdtar and leaves its exit code in a
// file of /tmp named after this process, which this program waits for.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

int main() {
    const std::string result = "/tmp/qo-tar-bridge-" + std::to_string(GetCurrentProcessId());
    const std::string seen = "Z:" + result;
    DeleteFileA(seen.c_str());  // left by an earlier process with the same id
    // What follows the program's own name, quoted or not, goes on unchanged; the shell's $0 is
    // the result file.
    const char* commandLine = GetCommandLineA();
    const char* arguments = std::strchr(commandLine + 1, *commandLine == '"' ? '"' : ' ');
    arguments = !arguments ? "" : *commandLine == '"' ? arguments + 1 : arguments;
    std::string hostLine =
        R"("Z:\bin\sh" -c "bsdtar \"$@\"; echo $? >\"$0.new\" && mv \"$0.new\" \"$0\"" )" + result + arguments;
    STARTUPINFOA startup{.cb = sizeof startup};
    PROCESS_INFORMATION started{};
    if (!CreateProcessA("Z:\\bin\\sh", hostLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &started)) {
        std::fprintf(stderr, "tar: cannot start the host's shell, error %lu\n", GetLastError());
        return 2;
    }
    CloseHandle(started.hProcess);
    CloseHandle(started.hThread);
    FILE* file = nullptr;
    while (!(file = std::fopen(seen.c_str(), "r"))) Sleep(10);
    int exitCode = 2;
    std::fscanf(file, "%d", &exitCode);
    std::fclose(file);
    DeleteFileA(seen.c_str());
    return exitCode;
}
