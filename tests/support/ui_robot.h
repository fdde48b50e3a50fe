#pragma once
// Reads and presses the windows of another process, as a user at the screen would: captions,
// message box texts and icons, buttons.
#include <windows.h>

#include <string>
#include <vector>

enum class BoxIcon { None, Error, Information, Warning, Question, Unknown };

struct MessageBoxInfo {
    std::string caption;
    std::string text;
    BoxIcon icon = BoxIcon::None;
    std::vector<std::string> buttons;
};

// Visible top-level windows owned by the process, in z-order.
std::vector<HWND> VisibleTopLevelWindows(DWORD processId);

// Waits for a visible top-level window of any process with this class name (empty: any
// class) and caption (empty: any caption). Null when none showed up in time.
HWND WaitForWindow(const std::string& className, const std::string& caption, DWORD timeLimitMs);

std::string WindowClassName(HWND window);
// Text of any window, also one of another process.
std::string WindowText(HWND window);

// True for the standard dialog class that message boxes and folder dialogs use.
bool IsDialogWindow(HWND window);

// Caption, text, icon and button texts of a message box on screen.
MessageBoxInfo ReadMessageBox(HWND dialog);

// Clicks the dialog button with this control id (IDOK, IDCANCEL, ...) as the mouse would.
bool PressDialogButton(HWND dialog, int controlId);

// Asks a window to close, as its caption's close button does.
void CloseWindowLikeUser(HWND window);

const char* BoxIconName(BoxIcon icon);
