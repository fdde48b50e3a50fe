#include <gtest/gtest.h>

#include "common/paths.h"
#include "common/text.h"

TEST(JoinPath, AddsOneSeparatorOnlyWhereNeeded) {
    const struct {
        const char* folder;
        const char* expected;
    } cases[] = {
        {"C:\\Games\\QuarnfellOstvale", "C:\\Games\\QuarnfellOstvale\\x.exe"},
        {"D:\\Games\\", "D:\\Games\\x.exe"},
        {"D:/Games/", "D:/Games/x.exe"},
        {"C:", "C:x.exe"},
        {"C:\\", "C:\\x.exe"},
        {"", "x.exe"},
        {"relative", "relative\\x.exe"},
        {"C:\\a\\..\\b", "C:\\a\\..\\b\\x.exe"},  // never resolved
        {"\\\\server\\share", "\\\\server\\share\\x.exe"},
    };
    for (const auto& c : cases) EXPECT_EQ(JoinPath(c.folder, "x.exe"), c.expected) << c.folder;
}

TEST(ParentFolder, DropsTheLastElementButNeverTheRoot) {
    const struct {
        const char* path;
        const char* parent;
    } cases[] = {
        {"C:\\Games\\Setup.exe", "C:\\Games"},
        {"C:\\Setup.exe", "C:\\"},
        {"C:\\Games\\\\Setup.exe", "C:\\Games"},
        {"C:/Games/Setup.exe", "C:/Games"},
        {"\\\\server\\share\\Setup.exe", "\\\\server\\share"},
        {"\\Setup.exe", "\\"},
        {"\\:\\Setup.exe", "\\:"},  // a colon after the root is no drive
        {"Setup.exe", ""},
        {"", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(ParentFolder(c.path), c.parent) << c.path;
}

TEST(ToLowerAscii, FoldsOnlyAsciiCapitals) {
    EXPECT_EQ(ToLowerAscii("E3B0C442 AbZ@[`{"), "e3b0c442 abz@[`{");
    EXPECT_EQ(ToLowerAscii("\xc4\xd6\xdc"), "\xc4\xd6\xdc");  // Ä Ö Ü stay as they are
}
