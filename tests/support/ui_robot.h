#pragma once
// Reads and answers the windows of another process as a user at the screen would.
#include <windows.h>

#include <functional>
#include <string>
#include <vector>

std::vector<HWND> ShownWindows(DWORD processId);
std::string ClassOf(HWND window);
std::string TextOf(HWND window);  // also of another process's window

// "<caption> [<icon>] <text>" of a message box on screen; the icon is read off the screen by
// its colour: "error" (red), "information" (blue), "other" or "none".
std::string ReadMessageBox(HWND box);

void Press(HWND dialog, int buttonId);
// The name box of a folder picker; null for other dialogs.
HWND NameBox(HWND dialog);
bool TypeName(HWND dialog, const std::string& text);
void CloseLikeUser(HWND window);

// What the player saw of a run: each dialog as it was read ("picker: <caption>" for a folder
// picker, else "<caption> [<icon>] <text>" as above), and whether each was still up, alone, when
// it was answered.
struct InstallerRun {
    DWORD exitCode = STILL_ACTIVE;
    std::vector<std::string> dialogs;
    bool dialogsStayed = true;
};

// Starts the program (with no arguments, as a player does) and answers each of its dialogs; a
// run that outlives a minute is ended and fails, saying what it had shown.
InstallerRun RunInstaller(const std::string& program, const std::function<void(HWND, const std::string&)>& answer);
