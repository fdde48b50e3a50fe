// The UI robot from the command line, for scripts that drive the installer as a user would.
//   qo_robot wait CLASS CAPTION SECONDS     waits until such a window is on screen
//   qo_robot press CAPTION BUTTON SECONDS   reads the dialog with that caption, prints it and
//                                           presses the button (OK, Cancel)
//   qo_robot choose CAPTION FOLDER SECONDS  types FOLDER into that folder dialog and presses OK
// An empty CLASS or CAPTION ("") matches any. Exit code 0 when done, 1 when nothing came.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/ui_robot.h"

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: qo_robot wait CLASS CAPTION SECONDS | press CAPTION OK|Cancel SECONDS"
                             " | choose CAPTION FOLDER SECONDS\n");
        return 2;
    }
    const std::string command = argv[1];
    const DWORD timeLimit = static_cast<DWORD>(std::atoi(argv[4])) * 1000;
    if (command == "wait") return WaitForWindow(argv[2], argv[3], timeLimit) ? 0 : 1;
    if (command != "press" && command != "choose") return 2;

    HWND dialog = WaitForWindow("#32770", argv[2], timeLimit);
    if (!dialog) return 1;
    if (command == "choose") return TypeIntoNameBox(dialog, argv[3]) && PressDialogButton(dialog, IDOK) ? 0 : 1;
    Sleep(300);  // let it paint before reading its icon off the screen
    const MessageBoxInfo box = ReadMessageBox(dialog);
    std::printf("[%s] (%s icon)\n%s\n", box.caption.c_str(), BoxIconName(box.icon), box.text.c_str());
    const std::string button = argv[3];
    return PressDialogButton(dialog, button == "Cancel" ? IDCANCEL : IDOK) ? 0 : 1;
}
