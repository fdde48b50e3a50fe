#include <windows.h>

#include <gtest/gtest.h>

#include "common/paths.h"
#include "log/run_log.h"
#include "tests/support/test_files.h"

TEST(RunLog, AppendsTimestampedLinesAcrossRuns) {
    const std::string folder = FreshTestFolder("run-log");
    const std::string path = JoinPath(folder, "launcher.log");

    SetLogFilePath("");
    LogLine("dropped: no log file yet");
    SetLogFilePath(path);
    EXPECT_FALSE(PathExists(path)) << "naming the file must not create it";

    LogLine("==== launcher run start ====");
    LogLine("");
    LogLine("two\nlines");
    SetLogFilePath(path);  // a second run appends below the first
    LogLine("second run");

    const std::string bytes = ReadFileBytes(path);
    EXPECT_EQ(bytes.find("dropped"), std::string::npos);
    EXPECT_EQ(bytes.substr(0, 1), "[");
    EXPECT_EQ(bytes.substr(20, 2), "] ");
    EXPECT_NE(bytes.find("] \r\n["), std::string::npos) << "an empty message is the stamp and a blank";
    EXPECT_NE(bytes.find("] two\nlines\r\n"), std::string::npos) << "the message is written unchanged";
    EXPECT_EQ(bytes.substr(bytes.size() - 12), "second run\r\n");
    EXPECT_EQ(bytes.find('\xef'), std::string::npos) << "no byte-order mark";
}

TEST(RunLog, LosesLinesQuietlyWhenTheFileCannotBeWritten) {
    const std::string folder = FreshTestFolder("run-log-blocked");
    const std::string path = JoinPath(folder, "launcher.log");

    SetLogFilePath(JoinPath(folder, "missing\\launcher.log"));
    LogLine("nowhere to go");
    EXPECT_FALSE(PathExists(JoinPath(folder, "missing")));

    SetLogFilePath(path);
    LogLine("first");
    // A reader that lets others write (a support person following the log) does not block it...
    HANDLE follower = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    LogLine("while followed");
    CloseHandle(follower);
    // ...a writer that shares nothing does, and only for as long as it holds the file.
    HANDLE writer = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    LogLine("while locked");
    CloseHandle(writer);
    LogLine("after unlock");

    EXPECT_EQ(LogMessages(path), (std::vector<std::string>{"first", "while followed", "after unlock"}));
    SetLogFilePath("");
}
