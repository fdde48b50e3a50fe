// Stands in for the game itself in the demo: a real Windows program with the expected name,
// so the installer has both programs to find after unpacking.
#include <windows.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    MessageBoxA(nullptr, "This is the sample game of the installer demo.", "Quarnfell Ostvale", MB_OK);
    return 0;
}
