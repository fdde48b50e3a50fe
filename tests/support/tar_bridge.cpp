// The test bed's system tar.exe. Windows' own tar.exe is bsdtar and Wine has none, so this one
// hands its arguments to the host's bsdtar and ends with bsdtar's exit code and messages.
#include <windows.h>

#include <cstdio>
#include <cstring>

#include "tests/support/host_shell.h"

int main() {
    // What follows the program's own name, quoted or not, goes on unchanged.
    const char* commandLine = GetCommandLineA();
    const char* arguments = std::strchr(commandLine + 1, *commandLine == '"' ? '"' : ' ');
    arguments = !arguments ? "" : *commandLine == '"' ? arguments + 1 : arguments;
    // Far longer than the largest archive of the tests or benchmarks takes.
    const HostRun run = RunOnHost(std::string("bsdtar") + arguments, nullptr, 50000);
    std::fputs(run.output.c_str(), stderr);
    if (run.exitCode < 0) std::fputs("tar: the host's bsdtar did not end within 50 s\n", stderr);
    return run.exitCode < 0 ? 2 : run.exitCode;
}
