// Imports winhttp.dll and comctl32.dll the ordinary way and never limits where DLLs are
// loaded from: the loader resolves both before WinMain, searching the program's folder first.
#include <windows.h>
#include <commctrl.h>
#include <winhttp.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    INITCOMMONCONTROLSEX controls{sizeof controls, ICC_PROGRESS_CLASS};
    InitCommonControlsEx(&controls);
    WinHttpCloseHandle(WinHttpOpen(L"plain", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0));
    return 0;
}
