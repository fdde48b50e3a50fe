#pragma once

// One whole run of the installer, from the registered folder to the hand-off. Returns the
// process exit code: 0 when the run ended well or the user chose to stop, 1 on failure.
// COM must be initialised on the thread as a single-threaded apartment.
int RunInstaller();

// An error box with the launcher's caption and no owner window.
int ShowError(const char* text);
