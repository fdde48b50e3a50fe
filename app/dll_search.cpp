#include "app/dll_search.h"

#include <windows.h>
#include <delayimp.h>

#include <string>

#include "app/run_flow.h"
#include "log/run_log.h"

void LimitDllSearchToSystemFolder() {
    // Windows 7 has SetDefaultDllDirectories only with KB2533623, so it is looked up rather
    // than imported: an import would stop the program from starting at all without it.
    // kernel32 is a KnownDLL, always mapped from the system folder.
    using SetDefaultDllDirectoriesFn = BOOL(WINAPI*)(DWORD);
    const auto setDefault = reinterpret_cast<SetDefaultDllDirectoriesFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "SetDefaultDllDirectories")));
    if (setDefault) setDefault(LOAD_LIBRARY_SEARCH_SYSTEM32);
}

namespace {
// winhttp.dll, comctl32.dll and (in keyed builds) bcrypt.dll are delay-loaded. Imported the
// ordinary way, a missing or broken one stopped the program before it started, with the loader's
// own message. Now it is met at the first call, mid-run (never on the hand-off path, which needs
// none of them), where the default helper raises an exception that kills the process with
// nothing in the log. This hook ends the run like any other failure instead: a log line, an
// error box, exit code 1. Nothing is left half-written: the first calls come before the archive
// file is created.
FARPROC WINAPI ReportDelayLoadFailure(unsigned notification, PDelayLoadInfo info) {
    std::string what = info->szDll;
    if (notification == dliFailGetProc && info->dlp.fImportByName) what = info->dlp.szProcName + (" of " + what);
    LogLine("dll: cannot load " + what + ", GetLastError=" + std::to_string(info->dwLastError));
    ShowError("A part of Windows that the installer needs is missing or damaged.\n"
              "Repair Windows and run the installer again.");
    ExitProcess(1);
}
}  // namespace

// Declared extern "C" by delayimp.h; this definition replaces the empty default.
PfnDliHook __pfnDliFailureHook2 = ReportDelayLoadFailure;
