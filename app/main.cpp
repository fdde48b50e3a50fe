#include <windows.h>
#include <objbase.h>

#include "app/dll_search.h"
#include "app/run_flow.h"

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    // The installer is run from a Downloads folder, where a stray winhttp.dll, comctl32.dll or
    // bcrypt.dll may lie; those are delay-loaded, so nothing has been loaded from there yet.
    LimitDllSearchToSystemFolder();
    // The folder dialogs and the shell link need a single-threaded apartment; without one
    // they take their own failure paths and the run goes on.
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    const int exitCode = RunInstaller();
    if (SUCCEEDED(com)) CoUninitialize();
    return exitCode;
}
