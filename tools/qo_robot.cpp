// The UI robot from the command line, for the scripts that play the player (demo, benchmarks):
//   qo_robot wait CLASS CAPTION SECONDS       until such a window is there
//   qo_robot press CAPTION OK|Cancel SECONDS  prints that dialog and presses the button
//   qo_robot choose CAPTION FOLDER SECONDS    types FOLDER into that folder dialog, presses OK
// "" matches any class or caption. Exit code 0 when done, 1 when nothing came in time.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/ui_robot.h"

int main(int argc, char** argv) {
    const std::string command = argc == 5 ? argv[1] : "";
    if (command != "wait" && command != "press" && command != "choose") {
        std::fprintf(stderr, "usage: qo_robot wait CLASS CAPTION SECONDS | press CAPTION OK|Cancel SECONDS"
                             " | choose CAPTION FOLDER SECONDS\n");
        return 2;
    }
    const char* className = command == "wait" ? argv[2] : "#32770";
    const char* caption = command == "wait" ? argv[3] : argv[2];
    HWND window = nullptr;
    for (int tenths = std::atoi(argv[4]) * 10; tenths >= 0; --tenths) {
        window = FindWindowA(*className ? className : nullptr, *caption ? caption : nullptr);
        if (window) break;
        Sleep(100);
    }
    if (!window || command == "wait") return window ? 0 : 1;
    if (command == "choose") {
        if (!TypeName(window, argv[3])) return 1;
        Press(window, IDOK);
        return 0;
    }
    Sleep(300);  // let it paint before its icon is read off the screen
    std::printf("%s\n", ReadMessageBox(window).c_str());
    Press(window, std::string(argv[3]) == "Cancel" ? IDCANCEL : IDOK);
    return 0;
}
