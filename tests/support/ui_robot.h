#pragma once
// Reads and answers the windows of another process as a user at the screen would.
#include <windows.h>

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
