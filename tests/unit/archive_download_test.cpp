#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include "net/archive_download.h"
#include "tests/support/http_test_server.h"
#include "tests/support/log_folder.h"
#include "tests/support/test_files.h"
#include "tests/support/server_request.h"

namespace {
constexpr unsigned long long MiB = 1 << 20;

std::string Pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
}

std::string WindowText(HWND window) {
    char text[256] = {};
    GetWindowTextA(window, text, sizeof(text));
    return text;
}

int BarPosition(const ProgressWindow& progress) {
    return static_cast<int>(SendMessageA(progress.progressBar, PBM_GETPOS, 0, 0));
}

struct Download {
    bool result = false;
    bool cancelled = false;
    bool fileCreated = false;
};

// Opens /game.zip on the test server and streams it to path like the install pipeline does.
Download DownloadGameZip(const std::string& path, ProgressWindow* progress, DWORD receiveTimeoutMs = 0) {
    ServerRequest opened = OpenRequest(L"/game.zip");
    if (receiveTimeoutMs) {
        WinHttpSetTimeouts(opened.request.Get(), 15000, 15000, 30000, receiveTimeoutMs);
    }
    Download download;
    HANDLE file = INVALID_HANDLE_VALUE;
    download.result =
        DownloadArchive(opened.request.Get(), opened.contentLength, file, path, progress, download.cancelled);
    download.fileCreated = file != INVALID_HANDLE_VALUE;
    UniqueFile created(file);
    return download;
}

class ArchiveDownload : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.Listening());
        ASSERT_TRUE(CreateProgressWindow(progress));
    }
    void TearDown() override {
        DestroyProgressWindow(progress);
        MSG quit;
        PeekMessageA(&quit, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
    }

    HttpTestServer server;
    LogFolder log;
    ProgressWindow* progress = nullptr;
    const std::string archive = log.File("game.zip");
};

TEST_F(ArchiveDownload, ReportsMebibytesAndTheFractionOfTheAnnouncedLength) {
    const std::string threeMiB = Pattern(3 * MiB + 5);
    const struct {
        const char* name;
        ScriptedReply reply;
        unsigned long long announced;
        std::string expectedStatus;
        int expectedBar;  // the bar stands at 123 before each download
    } cases[] = {
        {"half of 10 MiB", ScriptedReply::Announcing(10 * MiB, Pattern(5 * MiB), ScriptedReply::Ending::Close),
         10 * MiB, "Downloading game data...  5 / 10 MB", 500},
        {"no length", ScriptedReply::WithoutLength(threeMiB), 0, "Downloading game data...  3 MB", 123},
        {"chunked", ScriptedReply::Chunked(threeMiB, 100000), 0, "Downloading game data...  3 MB", 123},
        {"under 1 MiB", ScriptedReply::Ok(Pattern(300000)), 300000, "Downloading game data...  0 / 0 MB", 1000},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        server.Serve("/game.zip", test.reply);
        SendMessageA(progress->progressBar, PBM_SETPOS, 123, 0);
        const size_t logged = log.Messages().size();

        const Download download = DownloadGameZip(archive, progress);
        EXPECT_TRUE(download.result);
        EXPECT_FALSE(download.cancelled);
        EXPECT_EQ(WindowText(progress->statusLabel), test.expectedStatus);
        EXPECT_EQ(BarPosition(*progress), test.expectedBar);
        EXPECT_TRUE(ReadFileBytes(archive) == test.reply.body);
        const auto messages = log.Messages();
        ASSERT_EQ(messages.size(), logged + 3);
        EXPECT_EQ(messages[logged + 1], "winhttp: Content-Length=" + std::to_string(test.announced) + " bytes");
        EXPECT_EQ(messages[logged + 2], "winhttp: download complete, " + std::to_string(test.reply.body.size()) +
                                            " bytes written (HTTP 200)");
    }
}

// The server announces more than 4 GiB, sends a few MiB and then nothing more. Both lengths
// lose their meaning when cut to 32 bits: the first one's low half (1 MiB and a bit) is less
// than the body, which would fill the bar; the second one's is negative as an int, which
// would leave it empty. Each body is a thousandth of its length, one step of the bar.
TEST_F(ArchiveDownload, ShowsTheExactShareOfALengthAboveFourGiB) {
    PBRANGE range = {};
    SendMessageA(progress->progressBar, PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
    ASSERT_EQ(range.iLow, 0);
    ASSERT_EQ(range.iHigh, 1000);
    const struct {
        const char* name;
        unsigned long long announced;
        size_t sent;
        std::string expectedStatus;
        int expectedBar;
    } cases[] = {
        {"low half small", 4296016001, 4296016, "Downloading game data...  4 / 4097 MB", 1},
        {"low half negative", 6443500000, 6443500, "Downloading game data...  6 / 6145 MB", 1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const std::string body = Pattern(test.sent);
        server.Serve("/game.zip", ScriptedReply::Announcing(test.announced, body, ScriptedReply::Ending::Stall));
        SendMessageA(progress->progressBar, PBM_SETPOS, 123, 0);
        const size_t logged = log.Messages().size();

        // Unlike a reset, a stall loses none of what was sent: the download ends when the short
        // receive timeout runs out with every byte read.
        const Download download = DownloadGameZip(archive, progress, 500);
        EXPECT_FALSE(download.result);
        EXPECT_FALSE(download.cancelled);
        EXPECT_TRUE(ReadFileBytes(archive) == body);
        EXPECT_EQ(WindowText(progress->statusLabel), test.expectedStatus);
        EXPECT_EQ(BarPosition(*progress), test.expectedBar);
        const auto messages = log.Messages();
        ASSERT_EQ(messages.size(), logged + 3);
        EXPECT_EQ(messages[logged + 1], "winhttp: Content-Length=" + std::to_string(test.announced) + " bytes");
        EXPECT_EQ(messages[logged + 2], "winhttp: WinHttpQueryDataAvailable failed, GetLastError=10060");
    }
}

TEST_F(ArchiveDownload, StopsAfterTheChunkInHandWhenTheWindowIsClosed) {
    ScriptedReply trickle = ScriptedReply::Trickle(Pattern(8 * 65536), 65536, 100);
    const HWND window = progress->window;
    trickle.afterPiece = [window](size_t pieces) {
        if (pieces == 2) PostMessageA(window, WM_CLOSE, 0, 0);
    };
    server.Serve("/game.zip", trickle);

    const Download download = DownloadGameZip(archive, progress);
    EXPECT_FALSE(download.result);
    EXPECT_TRUE(download.cancelled);
    EXPECT_TRUE(IsWindowVisible(window));
    const std::string written = ReadFileBytes(archive);
    EXPECT_GT(written.size(), 0u);
    EXPECT_LT(written.size(), trickle.body.size());
    EXPECT_TRUE(written == trickle.body.substr(0, written.size()));
    EXPECT_EQ(log.Messages().back(),
              "winhttp: download CANCELLED by user after " + std::to_string(written.size()) + " bytes");
}

TEST_F(ArchiveDownload, FailsWhenTheConnectionBreaksAndKeepsWhatArrived) {
    const std::string head = Pattern(100000);
    // Under Wine a reset reads as WSAECONNRESET (10054) and a timeout as WSAETIMEDOUT (10060),
    // where Windows reports 12030 and 12002.
    const struct {
        const char* name;
        ScriptedReply reply;
        std::string lastLine;
    } cases[] = {
        {"reset", ScriptedReply::ResetAfter(head), "winhttp: WinHttpQueryDataAvailable failed, GetLastError=10054"},
        {"stall", ScriptedReply::Announcing(MiB, head, ScriptedReply::Ending::Stall),
         "winhttp: WinHttpQueryDataAvailable failed, GetLastError=10060"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        server.Serve("/game.zip", test.reply);
        // A short receive timeout on the request spares the test the product's 60 s.
        const Download download = DownloadGameZip(archive, progress, 500);
        EXPECT_FALSE(download.result);
        EXPECT_FALSE(download.cancelled);
        EXPECT_TRUE(ReadFileBytes(archive) == head);
        EXPECT_EQ(log.Messages().back(), test.lastLine);
    }
}

TEST_F(ArchiveDownload, ReplacesAnExistingFileAndRunsWithoutAWindow) {
    WriteFileBytes(archive, std::string(MiB, 'J'));
    server.Serve("/game.zip", ScriptedReply::Ok("tiny archive"));
    const Download download = DownloadGameZip(archive, nullptr);
    EXPECT_TRUE(download.result);
    EXPECT_EQ(ReadFileBytes(archive), "tiny archive");
}

TEST_F(ArchiveDownload, LogsTheCreateFailureAndDownloadsNothing) {
    server.Serve("/game.zip", ScriptedReply::Ok(Pattern(200000)));
    const std::string unwritable = log.File("missing\\game.zip");

    const Download download = DownloadGameZip(unwritable, progress);
    EXPECT_FALSE(download.result);
    EXPECT_FALSE(download.fileCreated);
    EXPECT_EQ(WindowText(progress->statusLabel), "Checking for updates...");
    EXPECT_EQ(log.Messages().back(), "winhttp: CreateFileA(" + unwritable + ") failed, GetLastError=3");

    bool cancelled = false;
    HANDLE file = INVALID_HANDLE_VALUE;
    const size_t logged = log.Messages().size();
    EXPECT_FALSE(DownloadArchive(nullptr, 0, file, archive, progress, cancelled));
    EXPECT_EQ(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(log.Messages().size(), logged);
}
}  // namespace
