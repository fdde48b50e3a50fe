#include <windows.h>
#include <objbase.h>

#include "app/run_flow.h"

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    // The folder dialogs and the shell link need a single-threaded apartment; without one
    // they take their own failure paths and the run goes on.
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    const int exitCode = RunInstaller();
    if (SUCCEEDED(com)) CoUninitialize();
    return exitCode;
}
