#pragma once
#include <windows.h>

// The small status window of a fresh install: a text line above a bar with range 0..1000.
// Users test each handle before use; a null handle means that window was not created.
struct ProgressWindow {
    HWND window;
    HWND statusLabel;
    HWND progressBar;
    bool cancelled;  // set when the user closes the window; never cleared
};

// Allocates the record into slot, then creates and shows the window. False when the main
// window could not be created; slot then still holds a record that DestroyProgressWindow frees.
bool CreateProgressWindow(ProgressWindow*& slot);

// Destroys the window (leaving WM_QUIT in the thread's queue) and frees the record. An empty
// slot is left alone.
void DestroyProgressWindow(ProgressWindow*& slot);

LRESULT CALLBACK ProgressWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
