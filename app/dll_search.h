#pragma once

// Makes every later DLL load by bare name look only in the system folder, never in the
// program's own folder. Must run before anything loads a DLL that is not a KnownDLL; a
// Windows 7 without the update that brings the call keeps the old search order.
void LimitDllSearchToSystemFolder();
