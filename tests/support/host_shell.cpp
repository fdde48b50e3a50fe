#include "tests/support/host_shell.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>

// Wine starts a Linux program from CreateProcess with the given arguments and working folder,
// but hands back no handle to wait on and no exit code. So a host shell runs the command and
// leaves its exit code in a file of /tmp named after this process, renamed into place once
// written, and this side polls for that file.
HostRun RunOnHost(const std::string& commandLine, const char* folder, DWORD limitMs) {
    // Another build folder's test bed has a wineserver of its own, which numbers its processes
    // from the same small range: a random part keeps the two beds' files apart.
    static const std::string self = std::to_string(GetCurrentProcessId()) + "-" + std::to_string(std::random_device{}());
    static int calls = 0;
    const std::string result = "/tmp/qo-host-" + self + "-" + std::to_string(++calls);
    const std::string seen = "Z:" + result;
    DeleteFileA(seen.c_str());  // left by an earlier process with the same id
    DeleteFileA((seen + ".out").c_str());
    // Wine splits this line by Windows' rules: the shell's $0 is the result file, and "$@" the
    // command with its arguments.
    std::string hostLine =
        R"("Z:\bin\sh" -c "\"$@\" >\"$0.out\" 2>&1; echo $? >\"$0.new\" && mv \"$0.new\" \"$0\"" )" + result + " " +
        commandLine;
    STARTUPINFOA startup{.cb = sizeof startup};
    PROCESS_INFORMATION started{};
    HostRun run;
    if (!CreateProcessA("Z:\\bin\\sh", hostLine.data(), nullptr, nullptr, FALSE, 0, nullptr, folder, &startup, &started)) {
        run.output = "cannot start the host's shell, error " + std::to_string(GetLastError());
        return run;
    }
    CloseHandle(started.hProcess);
    CloseHandle(started.hThread);
    for (const DWORD start = GetTickCount();
         GetFileAttributesA(seen.c_str()) == INVALID_FILE_ATTRIBUTES && GetTickCount() - start < limitMs;) {
        Sleep(10);
    }
    if (FILE* file = std::fopen(seen.c_str(), "r")) {
        std::fscanf(file, "%d", &run.exitCode);
        std::fclose(file);
    }
    std::ifstream output(seen + ".out", std::ios::binary);
    run.output.assign(std::istreambuf_iterator<char>(output), {});
    output.close();
    if (run.exitCode < 0) run.output += "(no exit code within " + std::to_string(limitMs / 1000) + " s)\n";
    DeleteFileA(seen.c_str());
    DeleteFileA((seen + ".out").c_str());
    return run;
}
