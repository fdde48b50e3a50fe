#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "log/run_log.h"
#include "net/archive_download.h"
#include "net/http_request.h"
#include "tests/support/http_server.h"
#include "tests/support/test_bed.h"

// What the progress window shows once a download has ended, for lengths announced or not.
TEST(ArchiveDownload, ShowsTheShareOfTheAnnouncedLength) {
    HttpServer server;
    ASSERT_TRUE(server.Listening());
    const std::string folder = FreshFolder("C:\\qo-tests\\download");
    SetLogFilePath(folder + "\\launcher.log");
    ProgressWindow* progress = nullptr;
    ASSERT_TRUE(CreateProgressWindow(progress));
    const struct {
        size_t sent;
        long long announced;  // -1: none
        const char* status;
        int bar;  // 123 before each download
    } cases[] = {
        {5 << 20, 10 << 20, "Downloading game data...  5 / 10 MB", 500},
        {300000, 300000, "Downloading game data...  0 / 0 MB", 1000},
        {(3 << 20) + 5, -1, "Downloading game data...  3 MB", 123},
        // Cut to 32 bits, this length's low half (1 MiB and a bit) is less than what arrives,
        // which would fill the bar; the next one's is negative as an int, which would empty it.
        {4296016, 4296016001, "Downloading game data...  4 / 4097 MB", 1},
        {6443500, 6443500000, "Downloading game data...  6 / 6145 MB", 1},
    };
    for (const auto& c : cases) {
        server.Serve("/game.zip", {{.body = std::string(c.sent, 'b'), .withoutLength = c.announced < 0,
                                    .announced = std::to_string(c.announced)}});
        SendMessageA(progress->progressBar, PBM_SETPOS, 123, 0);
        HINTERNET session = nullptr, connection = nullptr;
        unsigned long long length = 0;
        HINTERNET request = OpenServerRequest(L"/game.zip", session, connection, length);
        HANDLE file = INVALID_HANDLE_VALUE;
        bool cancelled = false;
        DownloadArchive(request, length, file, folder + "\\game.zip", progress, cancelled, std::nullopt);
        CloseHandle(file);
        for (HINTERNET handle : {request, connection, session}) WinHttpCloseHandle(handle);

        char status[128] = {};
        GetWindowTextA(progress->statusLabel, status, sizeof status);
        EXPECT_STREQ(status, c.status);
        EXPECT_EQ(SendMessageA(progress->progressBar, PBM_GETPOS, 0, 0), c.bar) << c.status;
        const auto lines = LogMessages(folder + "\\launcher.log");
        const std::string announced = "winhttp: Content-Length=" + std::to_string(std::max(c.announced, 0ll)) + " bytes";
        EXPECT_EQ(std::count(lines.begin(), lines.end(), announced), 1) << announced;
    }
    // A close only asks to cancel: the window stays until its owner releases it.
    SendMessageA(progress->window, WM_CLOSE, 0, 0);
    EXPECT_TRUE(progress->cancelled && IsWindowVisible(progress->window));
    DestroyProgressWindow(progress);
    SetLogFilePath("");
}
