#include <gtest/gtest.h>

#include "net/http_request.h"
#include "tests/support/http_test_server.h"
#include "tests/support/log_folder.h"
#include "tests/support/server_request.h"

namespace {
std::string LastMessage(const LogFolder& log) {
    const auto messages = log.Messages();
    return messages.empty() ? "" : messages.back();
}

TEST(OpenServerRequest, AcceptsOnlyStatus200AndReadsTheAnnouncedLength) {
    HttpTestServer server;
    ASSERT_TRUE(server.Listening());
    server.Serve("/moved.zip", ScriptedReply::Ok("moved body"));
    const std::string ok = "winhttp: HTTP 200 OK for " + ServerUrl("/game.zip");
    const unsigned long long fiveGiB = 5ull << 30;
    const struct {
        const char* name;
        ScriptedReply reply;
        bool opened;
        unsigned long long contentLength;
        std::string lastLine;
    } cases[] = {
        {"bytes", ScriptedReply::Ok("abc"), true, 3, ok},
        {"empty body", ScriptedReply::Ok(""), true, 0, ok},
        {"chunked", ScriptedReply::Chunked("abcdef", 2), true, 0, ok},
        {"no length", ScriptedReply::WithoutLength("abcdef"), true, 0, ok},
        {"above 4 GiB", ScriptedReply::Announcing(fiveGiB, "abc", ScriptedReply::Ending::Close), true, fiveGiB, ok},
        {"redirect", ScriptedReply::Redirect(ServerUrl("/moved.zip")), true, 10, ok},
        {"404", ScriptedReply::Status(404), false, 0,
         "winhttp: unexpected HTTP status 404 for /game.zip (expected 200)"},
        {"500", ScriptedReply::Status(500), false, 0,
         "winhttp: unexpected HTTP status 500 for /game.zip (expected 200)"},
        {"redirect to nothing", ScriptedReply::Redirect(ServerUrl("/gone.zip")), false, 0,
         "winhttp: unexpected HTTP status 404 for /game.zip (expected 200)"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        LogFolder log;
        server.Serve("/game.zip", test.reply);
        const ServerRequest opened = OpenRequest(L"/game.zip");
        EXPECT_EQ(opened.request.Valid(), test.opened);
        EXPECT_TRUE(opened.session.Valid());
        EXPECT_TRUE(opened.connection.Valid());
        EXPECT_EQ(opened.contentLength, test.contentLength);
        EXPECT_EQ(LastMessage(log), test.lastLine);
    }
    const auto requests = server.Requests();
    ASSERT_EQ(requests.size(), 11u);
    EXPECT_EQ(requests[6].path, "/moved.zip");
    EXPECT_EQ(requests[10].path, "/gone.zip");
}

TEST(OpenServerRequest, LogsTheErrorCodeWhenNoServerListens) {
    LogFolder log;
    const ServerRequest opened = OpenRequest(L"/game.zip");
    EXPECT_FALSE(opened.request.Valid());
    EXPECT_TRUE(opened.session.Valid());
    EXPECT_TRUE(opened.connection.Valid());
    EXPECT_EQ(LastMessage(log), "winhttp: WinHttpSendRequest failed, GetLastError=12029");
}

TEST(FetchVersionFile, ReadsTheWholeBodyWithTheLauncherUserAgent) {
    HttpTestServer server;
    ASSERT_TRUE(server.Listening());
    LogFolder log;
    std::string body = "previous";
    const struct {
        const char* name;
        ScriptedReply reply;
        std::string body;
    } cases[] = {
        {"two lines", ScriptedReply::Ok("1.4.2\r\nABCDEF\r\n"), "1.4.2\r\nABCDEF\r\n"},
        {"chunked", ScriptedReply::Chunked("1.4.3\nabc\n", 3), "1.4.3\nabc\n"},
        {"cut short", ScriptedReply::Announcing(100, "1.4.4\n", ScriptedReply::Ending::Close), "1.4.4\n"},
        {"empty", ScriptedReply::Ok(""), ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        server.Serve("/version.txt", test.reply);
        ASSERT_TRUE(FetchVersionFile(body));
        EXPECT_EQ(body, test.body);
        EXPECT_EQ(LastMessage(log), "winhttp: HTTP 200 OK for " + ServerUrl("/version.txt"));
    }
    const auto requests = server.Requests();
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].path, "/version.txt");
    EXPECT_EQ(requests[0].userAgent, "QuarnfellOstvaleLauncher/1.0");
}

TEST(FetchVersionFile, StopsReadingJustPastTheCap) {
    HttpTestServer server;
    ASSERT_TRUE(server.Listening());
    std::string large(200000, '\0');
    for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>('a' + i % 26);
    server.Serve("/version.txt", ScriptedReply::Trickle(large, 10000, 0));
    LogFolder log;
    std::string body;
    ASSERT_TRUE(FetchVersionFile(body));
    EXPECT_GT(body.size(), 65536u);
    EXPECT_LE(body.size(), 65536u + 4096u);
    EXPECT_TRUE(body == large.substr(0, body.size()));
}

TEST(FetchVersionFile, LeavesTheCallersTextAloneOnFailure) {
    HttpTestServer server;
    ASSERT_TRUE(server.Listening());
    const struct {
        const char* name;
        ScriptedReply reply;
        std::string lastLine;
    } cases[] = {
        {"404", ScriptedReply::Status(404), "winhttp: unexpected HTTP status 404 for /version.txt (expected 200)"},
        // Under Wine a reset reads as WSAECONNRESET (10054) where Windows reports 12030.
        {"reset mid-body", ScriptedReply::ResetAfter("1.4.2\n"),
         "winhttp: WinHttpQueryDataAvailable(version.txt) failed, GetLastError=10054"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        server.Serve("/version.txt", test.reply);
        LogFolder log;
        std::string body = "untouched";
        EXPECT_FALSE(FetchVersionFile(body));
        EXPECT_EQ(body, "untouched");
        EXPECT_EQ(LastMessage(log), test.lastLine);
    }
}
}  // namespace
