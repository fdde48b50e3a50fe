// The least a Windows program can do: start and end. The hand-off benchmark times the
// installer's hand-off against the start of this program.
#include <windows.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) { return 0; }
