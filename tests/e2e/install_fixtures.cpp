#include "tests/e2e/install_fixtures.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "common/names.h"
#include "common/paths.h"
#include "tests/support/archives.h"
#include "tests/support/shell_links.h"
#include "tests/support/test_files.h"

std::string GameArchive() {
    return MakeZip({{"Launcher_x64_win.exe", ReadFileBytes(BuiltProgram("stand_in_launcher.exe"))},
                    {"Game_x64_win.exe", "the game"},
                    {"data/", ""},
                    {"data/maps/", ""},
                    {"data/maps/ostvale.map", std::string(200000, 'm')},
                    {"version.txt", "brought by the archive\r\n"}});
}

std::string ServerUrl(const std::string& path) {
    return std::string("http://") + DownloadServerHost + ":" + std::to_string(DownloadServerPort) + path;
}

namespace {
// No desktop link from an earlier run may pass for one of this run.
void RegisterWithoutShortcut(const std::string& folder) {
    SetRegisteredInstallPath(folder);
    DeleteFileA(DesktopShortcutPath().c_str());
}
}  // namespace

std::string RegisteredEmptyFolder(const std::string& name) {
    const std::string folder = FreshTestFolder(name);
    RegisterWithoutShortcut(folder);
    return folder;
}

void RegisterEmptyFolder(const std::string& folder) {
    RemoveTree(folder);
    CreateFolderTree(folder);
    RegisterWithoutShortcut(folder);
}

void ExpectNothingRecorded(const std::string& folder) {
    EXPECT_FALSE(PathExists(JoinPath(folder, ArchiveFileName))) << folder;
    EXPECT_FALSE(PathExists(JoinPath(folder, MarkerFileName))) << folder;
    EXPECT_FALSE(PathExists(JoinPath(folder, VersionFileName))) << folder;
    EXPECT_FALSE(PathExists(DesktopShortcutPath())) << folder;
    EXPECT_TRUE(LauncherStarts(folder, 0).empty()) << folder;
}

std::vector<std::string> Tail(const std::vector<std::string>& lines, size_t count) {
    return std::vector<std::string>(lines.end() - std::min(count, lines.size()), lines.end());
}
