#include "ui/progress_window.h"

#include <commctrl.h>

namespace {
constexpr char WindowClassName[] = "QFUpdaterWnd";
constexpr char WindowTitle[] = "Quarnfell Updater";
constexpr char InitialStatus[] = "Checking for updates...";
constexpr DWORD MainStyle = WS_POPUP | WS_CAPTION | WS_SYSMENU;
constexpr int ClientWidth = 420;
constexpr int ClientHeight = 140;
constexpr int Margin = 12;
constexpr int StatusLabelId = 100;
constexpr int ProgressBarId = 101;
constexpr WORD BarRange = 1000;

void RegisterWindowClass(HINSTANCE instance) {
    WNDCLASSEXA windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = ProgressWindowProc;
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorA(nullptr, IDC_ARROW);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    windowClass.lpszClassName = WindowClassName;
    // A second window in the same process finds the class already registered; that serves.
    RegisterClassExA(&windowClass);
}

HWND CreateChild(HWND parent, HINSTANCE instance, const char* className, const char* text, DWORD style,
                 int y, int height, int id) {
    return CreateWindowExA(0, className, text, WS_CHILD | WS_VISIBLE | style, Margin, y,
                           ClientWidth - 2 * Margin, height, parent,
                           reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), instance, nullptr);
}
}  // namespace

bool CreateProgressWindow(ProgressWindow*& slot) {
    INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_PROGRESS_CLASS};
    InitCommonControlsEx(&controls);
    slot = new ProgressWindow{};

    const HINSTANCE instance = GetModuleHandleA(nullptr);
    RegisterWindowClass(instance);

    // Physical pixels: the program is per-monitor DPI aware and does no scaling of its own.
    RECT outer = {0, 0, ClientWidth, ClientHeight};
    AdjustWindowRectEx(&outer, MainStyle, FALSE, 0);
    const int width = outer.right - outer.left;
    const int height = outer.bottom - outer.top;
    const int x = (GetSystemMetrics(SM_CXSCREEN) - width) / 2;
    const int y = (GetSystemMetrics(SM_CYSCREEN) - height) / 2;

    slot->window = CreateWindowExA(0, WindowClassName, WindowTitle, MainStyle, x, y, width, height, nullptr,
                                   nullptr, instance, slot);
    if (!slot->window) return false;
    slot->statusLabel = CreateChild(slot->window, instance, "STATIC", InitialStatus, 0, Margin, 24, StatusLabelId);
    slot->progressBar =
        CreateChild(slot->window, instance, PROGRESS_CLASSA, nullptr, PBS_SMOOTH, 48, 28, ProgressBarId);
    SendMessageA(slot->progressBar, PBM_SETRANGE, 0, MAKELPARAM(0, BarRange));
    SendMessageA(slot->progressBar, PBM_SETPOS, 0, 0);
    ShowWindow(slot->window, SW_SHOW);
    UpdateWindow(slot->window);
    return true;
}

void DestroyProgressWindow(ProgressWindow*& slot) {
    if (!slot) return;
    // The window procedure reads the record, so the window goes first.
    if (slot->window) {
        DestroyWindow(slot->window);
        slot->window = nullptr;
    }
    delete slot;
    slot = nullptr;
}

LRESULT CALLBACK ProgressWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTA*>(lParam);
        SetWindowLongPtrA(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
        return 0;
    }
    auto* progress = reinterpret_cast<ProgressWindow*>(GetWindowLongPtrA(window, GWLP_USERDATA));
    switch (message) {
    case WM_CLOSE:
        // Closing is how the user cancels; the download loop reads the flag and stops.
        if (!progress) break;
        progress->cancelled = true;
        return 0;
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}
