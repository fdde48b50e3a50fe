#include <windows.h>

#include <gtest/gtest.h>

#include "common/paths.h"
#include "common/text.h"
#include "tests/support/test_files.h"

TEST(TextConversion, UsesTheAnsiCodePageBothWays) {
    ASSERT_EQ(GetACP(), 1252u) << "the test prefix is expected to run in code page 1252";
    EXPECT_EQ(NarrowToWide("C:\\Spiel \xe4\x80"), L"C:\\Spiel \u00e4\u20ac");
    EXPECT_EQ(WideToNarrow(L"C:\\Spiel \u00e4\u20ac"), "C:\\Spiel \xe4\x80");
    EXPECT_EQ(NarrowToWide(""), L"");
    EXPECT_EQ(WideToNarrow(L""), "");
    EXPECT_EQ(WideToNarrow(nullptr), "");
    // Outside the code page: the platform's replacement, without an error.
    EXPECT_EQ(WideToNarrow(L"D:\\\u65e5\u672c"), "D:\\??");
    // Conversion stops at the first NUL, as the platform's counted-by-NUL calls do.
    EXPECT_EQ(NarrowToWide(std::string("ab\0cd", 5)), L"ab");
}

TEST(PathExists, TellsPresentFromAbsentWithoutErrors) {
    const std::string folder = FreshTestFolder("path-exists");
    WriteFileBytes(folder + "\\file.txt", "x");
    CreateFolderTree(folder + "\\sub \xe4\\deeper");

    unsigned long error = 123;
    EXPECT_TRUE(PathExists(folder + "\\file.txt", &error));
    EXPECT_EQ(error, 0u);
    EXPECT_TRUE(PathExists(folder + "\\sub \xe4\\deeper"));
    EXPECT_TRUE(PathExists(folder + "\\sub \xe4\\"));

    for (const std::string& absent : {folder + "\\nothing", folder + "\\no\\such\\parent", folder + "\\bad<name>",
                                      std::string(), std::string("Q:\\no-drive")}) {
        EXPECT_FALSE(PathExists(absent, &error)) << absent;
        EXPECT_EQ(error, 0u) << absent;
    }
}
