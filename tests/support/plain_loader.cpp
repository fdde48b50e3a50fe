// Loads each DLL named on its command line the ordinary way, without limiting where the
// loader looks: the control that shows a planted DLL would be found beside a program.
#include <windows.h>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) LoadLibraryA(argv[i]);
    return 0;
}
