#include "tests/support/ui_robot.h"

namespace {
std::vector<HWND> Children(HWND parent) {
    std::vector<HWND> children;
    EnumChildWindows(parent, [](HWND child, LPARAM list) {
        reinterpret_cast<std::vector<HWND>*>(list)->push_back(child);
        return TRUE;
    }, reinterpret_cast<LPARAM>(&children));
    return children;
}

// Icons of another process cannot be read through their handles, so the colour of the pixels
// on screen tells them apart: the error icon is red, the information icon blue.
std::string IconOnScreen(HWND icon) {
    RECT area;
    GetWindowRect(icon, &area);
    HDC screen = GetDC(nullptr);
    int red = 0, blue = 0;
    for (int y = area.top; y < area.bottom; ++y) {
        for (int x = area.left; x < area.right; ++x) {
            const COLORREF pixel = GetPixel(screen, x, y);
            red += GetRValue(pixel) > 150 && GetGValue(pixel) < 100 && GetBValue(pixel) < 100;
            blue += GetBValue(pixel) > 150 && GetRValue(pixel) < 100;
        }
    }
    ReleaseDC(nullptr, screen);
    const int enough = (area.right - area.left) * (area.bottom - area.top) / 10;
    return red > enough && red > blue ? "error" : blue > enough ? "information" : "other";
}
}  // namespace

std::vector<HWND> ShownWindows(DWORD processId) {
    std::pair<DWORD, std::vector<HWND>> search{processId, {}};
    EnumWindows([](HWND window, LPARAM context) {
        auto& [process, found] = *reinterpret_cast<std::pair<DWORD, std::vector<HWND>>*>(context);
        DWORD owner = 0;
        GetWindowThreadProcessId(window, &owner);
        if (owner == process && IsWindowVisible(window)) found.push_back(window);
        return TRUE;
    }, reinterpret_cast<LPARAM>(&search));
    return search.second;
}

std::string ClassOf(HWND window) {
    char name[256] = {};
    GetClassNameA(window, name, sizeof name);
    return name;
}

std::string TextOf(HWND window) {
    char text[4096] = {};
    SendMessageTimeoutA(window, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG, 2000, nullptr);
    return text;
}

std::string ReadMessageBox(HWND box) {
    std::string text, icon = "none";
    for (HWND child : Children(box)) {
        if (ClassOf(child) != "Static") continue;
        if ((GetWindowLongA(child, GWL_STYLE) & SS_TYPEMASK) == SS_ICON) {
            icon = IconOnScreen(child);
        } else if (text.empty()) {
            text = TextOf(child);
        }
    }
    return TextOf(box) + " [" + icon + "] " + text;
}

void Press(HWND dialog, int buttonId) {
    PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(buttonId, BN_CLICKED),
                 reinterpret_cast<LPARAM>(GetDlgItem(dialog, buttonId)));
}

HWND NameBox(HWND dialog) {
    for (HWND child : Children(dialog)) {
        if (IsWindowVisible(child) && ClassOf(child) == "Edit") return child;
    }
    return nullptr;
}

bool TypeName(HWND dialog, const std::string& text) {
    const HWND box = NameBox(dialog);
    return box && SendMessageA(box, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

void CloseLikeUser(HWND window) { PostMessageA(window, WM_SYSCOMMAND, SC_CLOSE, 0); }
