#pragma once
// Reads and answers the windows of another process as a user at the screen would.
#include <windows.h>

#include <string>
#include <vector>

// Visible top-level windows of the process, in z-order.
std::vector<HWND> ShownWindows(DWORD processId);
std::string ClassOf(HWND window);
std::string TextOf(HWND window);  // also of another process's window

// "<caption> [<icon>] <text>" of a message box on screen; the icon is read off the screen by
// its colour: "error" (red), "information" (blue), "other" or "none".
std::string ReadMessageBox(HWND box);

// Clicks the dialog's button with this id (IDOK, IDCANCEL), as the mouse would.
void Press(HWND dialog, int buttonId);
// The name box of a folder picker; null for other dialogs.
HWND NameBox(HWND dialog);
// Types into a folder picker's name box, as a user typing a name or a path.
bool TypeName(HWND dialog, const std::string& text);
// What the close button of the window's caption does.
void CloseLikeUser(HWND window);
