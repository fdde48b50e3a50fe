#include <gtest/gtest.h>

#include "app/version_manifest.h"
#include "common/text.h"
#include "tests/support/log_folder.h"
#include "tests/support/test_files.h"

namespace {
TEST(WriteLocalVersionFile, ReplacesTheFileWithTwoCrLfLines) {
    LogFolder log;
    const std::string path = log.File("version.txt");
    WriteFileBytes(path, "0.9.0\r\nold digest and more than the new file holds\r\n");
    WriteLocalVersionFile(log.Path(), "1.4.2", ToLowerAscii("ABCDEF0123"));
    EXPECT_EQ(ReadFileBytes(path), "1.4.2\r\nabcdef0123\r\n");
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"version.txt: local version written -> 1.4.2"});
}

TEST(WriteLocalVersionFile, LogsTheErrorWhenTheFolderIsMissing) {
    LogFolder log;
    WriteLocalVersionFile(log.File("missing"), "1.4.2", "abcdef");
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"version.txt: local write FAILED, GetLastError=3"});
}
}  // namespace
