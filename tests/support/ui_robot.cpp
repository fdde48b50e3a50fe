#include "tests/support/ui_robot.h"

#include <cstdlib>
#include <cstring>

namespace {
struct WindowSearch {
    DWORD processId;
    std::vector<HWND> found;
};

BOOL CALLBACK CollectProcessWindow(HWND window, LPARAM context) {
    auto* search = reinterpret_cast<WindowSearch*>(context);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == search->processId && IsWindowVisible(window)) search->found.push_back(window);
    return TRUE;
}

BOOL CALLBACK CollectChild(HWND window, LPARAM context) {
    reinterpret_cast<std::vector<HWND>*>(context)->push_back(window);
    return TRUE;
}

std::vector<HWND> Children(HWND parent) {
    std::vector<HWND> children;
    EnumChildWindows(parent, CollectChild, reinterpret_cast<LPARAM>(&children));
    return children;
}

bool IsIconStatic(HWND window) {
    const LONG style = GetWindowLongA(window, GWL_STYLE);
    return WindowClassName(window) == "Static" && (style & SS_TYPEMASK) == SS_ICON;
}

// 32-bit top-down pixels of a rectangle, either from the screen or from a drawing.
struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<DWORD> values;
};

template <typename Draw>
Pixels Render(int width, int height, Draw draw) {
    Pixels pixels{width, height, std::vector<DWORD>(static_cast<size_t>(width) * height)};
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ previous = SelectObject(memory, bitmap);
    draw(memory, screen);
    GdiFlush();
    std::memcpy(pixels.values.data(), bits, pixels.values.size() * sizeof(DWORD));
    SelectObject(memory, previous);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return pixels;
}

Pixels CaptureScreen(const RECT& area) {
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    return Render(width, height, [&](HDC memory, HDC screen) {
        BitBlt(memory, 0, 0, width, height, screen, area.left, area.top, SRCCOPY);
    });
}

Pixels DrawIconOn(HICON icon, int width, int height, COLORREF background) {
    return Render(width, height, [&](HDC memory, HDC) {
        RECT all{0, 0, width, height};
        HBRUSH brush = CreateSolidBrush(background);
        FillRect(memory, &all, brush);
        DeleteObject(brush);
        DrawIconEx(memory, 0, 0, icon, 0, 0, 0, nullptr, DI_NORMAL | DI_DEFAULTSIZE);
    });
}

int Channel(DWORD pixel, int shift) { return static_cast<int>((pixel >> shift) & 0xFF); }

// Mean colour distance between the screen and the icon over the pixels the icon covers; the
// background of the box does not matter, since uncovered pixels come out the same on black
// and on white.
double IconDistance(const Pixels& screen, LPCSTR standardIcon) {
    HICON icon = LoadIconA(nullptr, standardIcon);
    const Pixels onBlack = DrawIconOn(icon, screen.width, screen.height, RGB(0, 0, 0));
    const Pixels onWhite = DrawIconOn(icon, screen.width, screen.height, RGB(255, 255, 255));
    double total = 0;
    int covered = 0;
    for (size_t i = 0; i < screen.values.size(); ++i) {
        if (onBlack.values[i] != onWhite.values[i]) continue;
        ++covered;
        for (int shift : {0, 8, 16}) total += std::abs(Channel(screen.values[i], shift) - Channel(onBlack.values[i], shift));
    }
    return covered == 0 ? 1e9 : total / covered;
}
}  // namespace

std::vector<HWND> VisibleTopLevelWindows(DWORD processId) {
    WindowSearch search{processId, {}};
    EnumWindows(CollectProcessWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

HWND WaitForWindow(const std::string& className, const std::string& caption, DWORD timeLimitMs) {
    const ULONGLONG deadline = GetTickCount64() + timeLimitMs;
    do {
        for (HWND window = GetTopWindow(nullptr); window; window = GetWindow(window, GW_HWNDNEXT)) {
            if (!IsWindowVisible(window)) continue;
            if (!className.empty() && WindowClassName(window) != className) continue;
            if (!caption.empty() && WindowText(window) != caption) continue;
            return window;
        }
        Sleep(50);
    } while (GetTickCount64() < deadline);
    return nullptr;
}

std::string WindowClassName(HWND window) {
    char name[256] = {};
    GetClassNameA(window, name, sizeof name);
    return name;
}

std::string WindowText(HWND window) {
    DWORD_PTR length = 0;
    if (!SendMessageTimeoutA(window, WM_GETTEXTLENGTH, 0, 0, SMTO_ABORTIFHUNG, 2000, &length)) return {};
    std::string text(length + 1, '\0');
    DWORD_PTR copied = 0;
    SendMessageTimeoutA(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()),
                        SMTO_ABORTIFHUNG, 2000, &copied);
    text.resize(copied);
    return text;
}

bool IsDialogWindow(HWND window) { return WindowClassName(window) == "#32770"; }

MessageBoxInfo ReadMessageBox(HWND dialog) {
    MessageBoxInfo info;
    info.caption = WindowText(dialog);
    HWND iconControl = nullptr;
    for (HWND child : Children(dialog)) {
        const std::string className = WindowClassName(child);
        if (className == "Button") {
            info.buttons.push_back(WindowText(child));
        } else if (IsIconStatic(child)) {
            iconControl = child;
        } else if (className == "Static" && info.text.empty()) {
            info.text = WindowText(child);
        }
    }
    if (!iconControl) return info;

    // Icons of another process cannot be read through their handles, so the robot looks at
    // the screen and names the standard icon that matches what is drawn there.
    RECT area;
    GetWindowRect(iconControl, &area);
    const Pixels shown = CaptureScreen(area);
    const std::pair<BoxIcon, LPCSTR> candidates[] = {{BoxIcon::Error, IDI_ERROR},
                                                     {BoxIcon::Information, IDI_INFORMATION},
                                                     {BoxIcon::Warning, IDI_WARNING},
                                                     {BoxIcon::Question, IDI_QUESTION}};
    double best = 40;  // mean distance per pixel above which nothing matches
    info.icon = BoxIcon::Unknown;
    for (const auto& [icon, resource] : candidates) {
        const double distance = IconDistance(shown, resource);
        if (distance < best) {
            best = distance;
            info.icon = icon;
        }
    }
    return info;
}

bool PressDialogButton(HWND dialog, int controlId) {
    HWND button = GetDlgItem(dialog, controlId);
    if (!button) return false;
    return PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(controlId, BN_CLICKED), reinterpret_cast<LPARAM>(button));
}

void CloseWindowLikeUser(HWND window) { PostMessageA(window, WM_SYSCOMMAND, SC_CLOSE, 0); }

const char* BoxIconName(BoxIcon icon) {
    switch (icon) {
    case BoxIcon::None: return "none";
    case BoxIcon::Error: return "error";
    case BoxIcon::Information: return "information";
    case BoxIcon::Warning: return "warning";
    case BoxIcon::Question: return "question";
    case BoxIcon::Unknown: break;
    }
    return "unknown";
}
