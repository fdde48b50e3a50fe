#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include <string>

#include "ui/progress_window.h"

namespace {
std::string ClassOf(HWND window) {
    char name[64] = {};
    GetClassNameA(window, name, sizeof(name));
    return name;
}

std::string TextOf(HWND window) {
    char text[128] = {};
    GetWindowTextA(window, text, sizeof(text));
    return text;
}

// "left,top widthxheight" of a window, in its parent's client coordinates (the screen's for
// a top-level window).
std::string Box(HWND window) {
    RECT rect;
    GetWindowRect(window, &rect);
    MapWindowPoints(nullptr, GetParent(window), reinterpret_cast<POINT*>(&rect), 2);
    return std::to_string(rect.left) + "," + std::to_string(rect.top) + " " + std::to_string(rect.right - rect.left) +
           "x" + std::to_string(rect.bottom - rect.top);
}

bool TakeQuitMessage(WPARAM& exitCode) {
    MSG message;
    if (!PeekMessageA(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) return false;
    exitCode = message.wParam;
    return true;
}

TEST(ProgressWindow, ShowsAStatusLineAboveAnEmptyBarInACentredWindow) {
    ProgressWindow* progress = nullptr;
    ASSERT_TRUE(CreateProgressWindow(progress));
    const HWND window = progress->window;

    EXPECT_EQ(ClassOf(window), "QFUpdaterWnd");
    EXPECT_EQ(TextOf(window), "Quarnfell Updater");
    EXPECT_TRUE(IsWindowVisible(window));
    const LONG_PTR style = GetWindowLongPtrA(window, GWL_STYLE);
    EXPECT_EQ(style & (WS_POPUP | WS_CAPTION | WS_SYSMENU), WS_POPUP | WS_CAPTION | WS_SYSMENU);
    EXPECT_EQ(style & (WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX), 0);
    RECT client;
    GetClientRect(window, &client);
    EXPECT_EQ(client.right, 420);
    EXPECT_EQ(client.bottom, 140);
    RECT outer;
    GetWindowRect(window, &outer);
    EXPECT_EQ(outer.left, (GetSystemMetrics(SM_CXSCREEN) - (outer.right - outer.left)) / 2);
    EXPECT_EQ(outer.top, (GetSystemMetrics(SM_CYSCREEN) - (outer.bottom - outer.top)) / 2);

    EXPECT_EQ(GetDlgItem(window, 100), progress->statusLabel);
    EXPECT_EQ(ClassOf(progress->statusLabel), "Static");
    EXPECT_EQ(TextOf(progress->statusLabel), "Checking for updates...");
    EXPECT_EQ(GetWindowLongPtrA(progress->statusLabel, GWL_STYLE) & SS_TYPEMASK, SS_LEFT);
    EXPECT_EQ(Box(progress->statusLabel), "12,12 396x24");

    EXPECT_EQ(GetDlgItem(window, 101), progress->progressBar);
    EXPECT_EQ(ClassOf(progress->progressBar), "msctls_progress32");
    EXPECT_TRUE(GetWindowLongPtrA(progress->progressBar, GWL_STYLE) & PBS_SMOOTH);
    EXPECT_EQ(Box(progress->progressBar), "12,48 396x28");
    PBRANGE range = {};
    SendMessageA(progress->progressBar, PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
    EXPECT_EQ(range.iLow, 0);
    EXPECT_EQ(range.iHigh, 1000);
    EXPECT_EQ(SendMessageA(progress->progressBar, PBM_GETPOS, 0, 0), 0);
    EXPECT_FALSE(progress->cancelled);

    DestroyProgressWindow(progress);
    EXPECT_EQ(progress, nullptr);
    EXPECT_FALSE(IsWindow(window));
    WPARAM exitCode = 1;
    EXPECT_TRUE(TakeQuitMessage(exitCode));
    EXPECT_EQ(exitCode, 0u);
    DestroyProgressWindow(progress);
}

TEST(ProgressWindow, ClosingOnlyRecordsTheCancelRequest) {
    // A second window in the same process meets the class already registered.
    ProgressWindow* progress = nullptr;
    ASSERT_TRUE(CreateProgressWindow(progress));
    for (int close = 0; close < 2; ++close) {
        SendMessageA(progress->window, WM_CLOSE, 0, 0);
        EXPECT_TRUE(progress->cancelled);
        EXPECT_TRUE(IsWindowVisible(progress->window));
    }
    WPARAM exitCode = 0;
    EXPECT_FALSE(TakeQuitMessage(exitCode));
    DestroyProgressWindow(progress);
    EXPECT_TRUE(TakeQuitMessage(exitCode));
}
}  // namespace
