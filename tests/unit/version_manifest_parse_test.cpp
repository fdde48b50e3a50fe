#include <gtest/gtest.h>

#include "app/version_manifest.h"

namespace {
TEST(ParseVersionManifest, SplitsTheFirstTwoLinesAndTrimsTheirEnds) {
    const std::string digest = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";
    const struct {
        const char* name;
        std::string body;
        std::string version;
        std::string sha256;
    } cases[] = {
        {"CRLF", "1.4.2\r\n" + digest + "\r\n", "1.4.2", digest},
        {"LF, no final line end", "1.4.2\n" + digest, "1.4.2", digest},
        {"trailing blanks and tabs", "1.4.2 \t\r\n" + digest + "\t \r\r\n", "1.4.2", digest},
        {"leading blanks kept", "  1.4.2\n\t" + digest + "\n", "  1.4.2", "\t" + digest},
        {"stray CR inside a line", "1.4\r.2\n" + digest + "\n", "1.4\r.2", digest},
        {"upper-case digest kept", "1.4.2\nABCDEF0123\n", "1.4.2", "ABCDEF0123"},
        {"extra lines ignored", "1.4.2\n" + digest + "\nthird\nfourth\n", "1.4.2", digest},
        {"blank second line", "1.4.2\n \t \r\n" + digest + "\n", "1.4.2", ""},
        {"no line feed", "1.4.2", "1.4.2", ""},
        {"starts with a line feed", "\n" + digest + "\n", "", digest},
        {"empty", "", "", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const VersionManifest manifest = ParseVersionManifest(test.body);
        EXPECT_EQ(manifest.version, test.version);
        EXPECT_EQ(manifest.sha256, test.sha256);
    }
}
}  // namespace
