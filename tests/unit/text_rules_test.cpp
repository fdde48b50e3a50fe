#include <gtest/gtest.h>

#include "app/version_manifest.h"
#include "common/paths.h"
#include "common/text.h"

TEST(ParseVersionManifest, TakesTheFirstTwoLinesWithoutTheirEnds) {
    const std::string digest = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";
    const struct {
        std::string body, version, sha256;
    } cases[] = {
        {"1.4.2\r\n" + digest + "\r\n", "1.4.2", digest},   {"1.4.2\n" + digest, "1.4.2", digest},
        {"1.4.2 \t\r\n" + digest + "\t \r\r\n", "1.4.2", digest},
        {"  1.4.2\n\t" + digest + "\n", "  1.4.2", "\t" + digest},  // leading blanks stay
        {"1.4\r.2\n" + digest + "\n", "1.4\r.2", digest},   {"1.4.2\nABCDEF0123\n", "1.4.2", "ABCDEF0123"},
        {"1.4.2\n" + digest + "\nthird\n", "1.4.2", digest}, {"1.4.2\n \t \r\n" + digest + "\n", "1.4.2", ""},
        {"1.4.2", "1.4.2", ""},                             {"\n" + digest + "\n", "", digest},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        const VersionManifest manifest = ParseVersionManifest(c.body);
        EXPECT_EQ(manifest.version, c.version) << c.body;
        EXPECT_EQ(manifest.sha256, c.sha256) << c.body;
    }
}

TEST(Paths, JoinAddsOneSeparatorOnlyWhereNeededAndParentUndoesIt) {
    const struct {
        const char *folder, *joined, *parent;
    } cases[] = {
        {"C:\\Games\\Ostvale", "C:\\Games\\Ostvale\\x.exe", "C:\\Games\\Ostvale"},
        {"D:\\Games\\", "D:\\Games\\x.exe", "D:\\Games"},
        {"D:/Games/", "D:/Games/x.exe", "D:/Games"},
        {"C:", "C:x.exe", ""},
        {"C:\\", "C:\\x.exe", "C:\\"},
        {"", "x.exe", ""},
        {"C:\\a\\..\\b", "C:\\a\\..\\b\\x.exe", "C:\\a\\..\\b"},
        {"\\\\server\\share", "\\\\server\\share\\x.exe", "\\\\server\\share"},
        {"\\", "\\x.exe", "\\"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(JoinPath(c.folder, "x.exe"), c.joined) << c.folder;
        EXPECT_EQ(ParentFolder(c.joined), c.parent) << c.joined;
    }
    EXPECT_EQ(ToLowerAscii("E3B0C442 AbZ@[`{\xc4\xd6\xdc"), "e3b0c442 abz@[`{\xc4\xd6\xdc");
}
