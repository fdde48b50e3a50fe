#include "tests/e2e/harness.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/test_files.h"

std::vector<MessageBoxInfo> InstallerRun::MessageBoxes() const {
    std::vector<MessageBoxInfo> boxes;
    for (const SeenWindow& window : windows) {
        if (window.className == "#32770") boxes.push_back(window.box);
    }
    return boxes;
}

void PressOkOnDialogs(HWND window, const SeenWindow&) {
    if (IsDialogWindow(window)) PressDialogButton(window, IDOK);
}

void CancelDialogs(HWND window, const SeenWindow&) {
    if (IsDialogWindow(window)) PressDialogButton(window, IDCANCEL);
}

std::string InstallerPath() { return BuiltProgram("QuarnfellOstvale.exe"); }

InstallerRun RunInstaller(const WindowAnswer& answer, DWORD timeLimitMs, const std::string& program) {
    InstallerRun run;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    std::string commandLine = "\"" + program + "\"";
    if (!CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        ADD_FAILURE() << "cannot start " << program << ", error " << GetLastError();
        return run;
    }
    CloseHandle(process.hThread);

    std::vector<HWND> known;
    const ULONGLONG deadline = GetTickCount64() + timeLimitMs;
    while (WaitForSingleObject(process.hProcess, 50) == WAIT_TIMEOUT) {
        if (GetTickCount64() > deadline) {
            TerminateProcess(process.hProcess, 99);
            WaitForSingleObject(process.hProcess, 5000);
            run.timedOut = true;
            break;
        }
        for (HWND window : VisibleTopLevelWindows(process.dwProcessId)) {
            if (std::find(known.begin(), known.end(), window) != known.end()) continue;
            known.push_back(window);
            SeenWindow seen{WindowClassName(window), WindowText(window), {}};
            if (IsDialogWindow(window)) {
                Sleep(300);  // let the box paint before its icon is read off the screen
                seen.box = ReadMessageBox(window);
            }
            run.windows.push_back(seen);
            answer(window, seen);
        }
    }
    if (!run.timedOut) GetExitCodeProcess(process.hProcess, &run.exitCode);
    CloseHandle(process.hProcess);
    return run;
}
