#include "archive/extract.h"

#include <windows.h>

#include "common/unique_handle.h"
#include "log/run_log.h"

std::string TarPathFor(const char* systemDirectory, unsigned length) {
    if (length - 1 > MAX_PATH - 2) return "tar.exe";  // 0, or too long for the buffer
    return std::string(systemDirectory, length) + "\\tar.exe";
}

bool ExtractArchive(const std::string& folder, const std::string& archiveFile) {
    char systemDirectory[MAX_PATH] = {};
    const std::string tarPath = TarPathFor(systemDirectory, GetSystemDirectoryA(systemDirectory, MAX_PATH));
    std::string commandLine = "\"" + tarPath + "\" -x -f \"" + archiveFile + "\"";

    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    PROCESS_INFORMATION started{};
    if (!CreateProcessA(tarPath.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                        nullptr, folder.c_str(), &startup, &started)) {
        const DWORD error = GetLastError();
        LogLine("tar: CreateProcessA(" + tarPath + ") failed, GetLastError=" + std::to_string(error));
        return false;
    }
    UniqueKernelHandle process(started.hProcess);
    UniqueKernelHandle thread(started.hThread);

    WaitForSingleObject(process.Get(), INFINITE);
    DWORD exitCode = 1;  // stays 1, a failure, if the code cannot be read
    GetExitCodeProcess(process.Get(), &exitCode);
    process.Reset();
    thread.Reset();

    LogLine("tar: exit code " + std::to_string(exitCode));
    return exitCode == 0;
}
