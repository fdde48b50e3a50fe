#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "archive/extract.h"
#include "common/paths.h"
#include "log/run_log.h"
#include "tests/support/archives.h"
#include "tests/support/test_files.h"

namespace {

const std::string GameArchive = MakeZip({{"Game_x64_win.exe", "game"}, {"data/level 1.dat", "level one"}});

// A fresh folder holding "install folder" with the archive in it, and the run log beside it.
struct ExtractBed {
    std::string root, folder, logPath;
};

ExtractBed MakeBed(const std::string& name, const std::string& archiveName, const std::string& archive) {
    ExtractBed bed;
    bed.root = FreshTestFolder(name);
    bed.folder = JoinPath(bed.root, "install folder");
    bed.logPath = JoinPath(bed.root, "launcher.log");
    CreateFolderTree(bed.folder);
    WriteFileBytes(JoinPath(bed.folder, archiveName), archive);
    SetLogFilePath(bed.logPath);
    return bed;
}

}  // namespace

TEST(TarPath, SystemDirectoryOrBareNameWhenItFailsOrDoesNotFit) {
    const std::string longest(259, 'x');
    EXPECT_EQ(TarPathFor("C:\\windows\\system32", 19), "C:\\windows\\system32\\tar.exe");
    EXPECT_EQ(TarPathFor(longest.c_str(), 259), longest + "\\tar.exe");
    EXPECT_EQ(TarPathFor("", 0), "tar.exe");
    EXPECT_EQ(TarPathFor(longest.c_str(), 260), "tar.exe");
    EXPECT_EQ(TarPathFor(longest.c_str(), 4000), "tar.exe");
}

// Both the folder and the archive's name have blanks: the folder travels as tar's working
// directory and the name is quoted on its command line.
TEST(ExtractArchive, UnpacksIntoTheFolderAndLogsExitCodeZero) {
    const ExtractBed bed = MakeBed("extract-ok", "game archive.zip", GameArchive);
    EXPECT_TRUE(ExtractArchive(bed.folder, "game archive.zip"));
    EXPECT_EQ(ReadFileBytes(JoinPath(bed.folder, "Game_x64_win.exe")), "game");
    EXPECT_EQ(ReadFileBytes(JoinPath(bed.folder, "data\\level 1.dat")), "level one");
    EXPECT_EQ(LogMessages(bed.logPath), std::vector<std::string>{"tar: exit code 0"});
}

TEST(ExtractArchive, CorruptArchiveFailsWithTarsExitCode) {
    std::string corrupt = GameArchive;
    corrupt[corrupt.find("level one")] ^= 0x20;
    const ExtractBed bed = MakeBed("extract-corrupt", "game.zip", corrupt);
    EXPECT_FALSE(ExtractArchive(bed.folder, "game.zip"));
    EXPECT_EQ(LogMessages(bed.logPath), std::vector<std::string>{"tar: exit code 1"});
    EXPECT_EQ(ReadFileBytes(JoinPath(bed.folder, "Game_x64_win.exe")), "game") << "what tar wrote stays";
}

TEST(ExtractArchive, MissingFolderFailsToStartTarAndNamesTarInTheLog) {
    const ExtractBed bed = MakeBed("extract-no-folder", "game.zip", GameArchive);
    EXPECT_FALSE(ExtractArchive(JoinPath(bed.root, "not there"), "game.zip"));

    char systemDirectory[MAX_PATH];
    const UINT length = GetSystemDirectoryA(systemDirectory, MAX_PATH);
    const std::string expected =
        "tar: CreateProcessA(" + std::string(systemDirectory, length) + "\\tar.exe) failed, GetLastError=";
    const std::vector<std::string> messages = LogMessages(bed.logPath);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].substr(0, expected.size()), expected);
    EXPECT_GT(std::stoul(messages[0].substr(expected.size())), 0ul);
}
