#pragma once
// Runs the real installer in the test prefix and watches it as a user would: every window it
// shows is read, and its message boxes are answered.
#include <windows.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/ui_robot.h"

struct SeenWindow {
    std::string className;
    std::string caption;
    MessageBoxInfo box;  // filled for dialogs only
};

struct InstallerRun {
    DWORD exitCode = STILL_ACTIVE;
    bool timedOut = false;
    std::vector<SeenWindow> windows;  // in the order they appeared

    std::vector<MessageBoxInfo> MessageBoxes() const;
};

// The title of the folder picker, the first window of a run with no usable registration.
inline constexpr char PickerTitle[] = "Choose where to install Quarnfell Ostvale";

// What the user does when a window of the installer appears.
using WindowAnswer = std::function<void(HWND window, const SeenWindow& seen)>;

// Presses OK on every dialog, as a user who reads each box and confirms it.
void PressOkOnDialogs(HWND window, const SeenWindow& seen);
// Presses Cancel on every dialog, as a user who turns each question down.
void CancelDialogs(HWND window, const SeenWindow& seen);

std::string InstallerPath();

// Starts the installer (with no arguments, as a player does) and answers its windows until it
// ends; a run that outlives the time limit is ended and marked timedOut. `program` may be a
// copy of the installer elsewhere, or another program to be watched the same way.
InstallerRun RunInstaller(const WindowAnswer& answer = PressOkOnDialogs, DWORD timeLimitMs = 60000,
                          const std::string& program = InstallerPath());
