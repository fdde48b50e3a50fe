#include <gtest/gtest.h>

#include "common/paths.h"
#include "common/text.h"

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
