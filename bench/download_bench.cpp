// Times the installer's archive download: one request for /game.zip streamed to the file named
// on the command line; with a second argument "window", under the progress window, updated
// and pumped after every chunk as in a real install. Prints the seconds taken and the bytes
// written; the timing is inside the process, so Wine's start-up does not count.
#include <windows.h>

#include <cstdio>

#include "net/archive_download.h"
#include "net/http_request.h"
#include "ui/progress_window.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: download_bench FILE [window]\n");
        return 2;
    }
    ProgressWindow* progress = nullptr;
    if (argc > 2) CreateProgressWindow(progress);

    LARGE_INTEGER frequency, start, end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    HINTERNET session = nullptr;
    HINTERNET connection = nullptr;
    unsigned long long contentLength = 0;
    HINTERNET request = OpenServerRequest(L"/game.zip", session, connection, contentLength);
    HANDLE file = INVALID_HANDLE_VALUE;
    bool cancelled = false;
    const bool downloaded = DownloadArchive(request, contentLength, file, argv[1], progress, cancelled);
    LARGE_INTEGER size{};
    if (file != INVALID_HANDLE_VALUE) {
        GetFileSizeEx(file, &size);
        CloseHandle(file);
    }
    QueryPerformanceCounter(&end);
    for (HINTERNET handle : {request, connection, session}) {
        if (handle) WinHttpCloseHandle(handle);
    }
    DestroyProgressWindow(progress);

    std::printf("%.3f %lld\n", double(end.QuadPart - start.QuadPart) / double(frequency.QuadPart), size.QuadPart);
    return downloaded ? 0 : 1;
}
