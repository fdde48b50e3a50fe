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

// Decides what to do with a dialog the installer shows; false when it left it alone.
using DialogAnswer = std::function<bool(HWND dialog, const SeenWindow& seen)>;

// Presses OK, as a user who reads the box and confirms it.
bool PressOk(HWND dialog, const SeenWindow& seen);

// Starts the installer (with no arguments, as a player does) and answers its dialogs until it
// ends; a run that outlives the time limit is ended and marked timedOut.
InstallerRun RunInstaller(const DialogAnswer& answer = PressOk, DWORD timeLimitMs = 60000);

std::string InstallerPath();
