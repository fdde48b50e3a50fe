#include <windows.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/paths.h"
#include "common/text.h"
#include "common/unique_handle.h"
#include "log/run_log.h"
#include "shell/desktop_shortcut.h"
#include "tests/support/shell_links.h"
#include "tests/support/test_files.h"

namespace {
constexpr char ShellFoldersKey[] =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

// Moves the user's desktop to a folder of the test's own, the way the shell records a
// redirected desktop, and puts it back afterwards.
class DesktopShortcut : public testing::Test {
protected:
    void SetUp() override {
        root_ = FreshTestFolder("desktop-shortcut");
        logPath_ = root_ + "\\launcher.log";
        SetLogFilePath(logPath_);
        char saved[MAX_PATH] = {};
        DWORD size = sizeof saved;
        ASSERT_EQ(RegGetValueA(HKEY_CURRENT_USER, ShellFoldersKey, "Desktop",
                               RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, saved, &size),
                  ERROR_SUCCESS);
        savedDesktop_ = saved;
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE)));
    }
    void TearDown() override {
        CoUninitialize();
        if (!savedDesktop_.empty()) MoveDesktop(savedDesktop_);
        SetLogFilePath("");
    }
    static void MoveDesktop(const std::string& folder) {
        RegSetKeyValueA(HKEY_CURRENT_USER, ShellFoldersKey, "Desktop", REG_EXPAND_SZ, folder.c_str(),
                        static_cast<DWORD>(folder.size() + 1));
    }

    std::string root_, logPath_, savedDesktop_;
};
}  // namespace

TEST_F(DesktopShortcut, LinksTheLauncherFromTheCurrentDesktopReplacingAnOldLink) {
    const std::string desktop = root_ + "\\Desktop";
    CreateFolderTree(desktop);
    MoveDesktop(desktop);
    const std::string linkPath = desktop + "\\Quarnfell Ostvale.lnk";
    WriteFileBytes(linkPath, "left over");

    const struct {
        const char* installFolder;
        const char* target;
    } cases[] = {
        {"C:\\Users\\ann\\QuarnfellOstvale", "C:\\Users\\ann\\QuarnfellOstvale\\Launcher_x64_win.exe"},
        {"D:\\Games\\", "D:\\Games\\Launcher_x64_win.exe"},
    };
    for (const auto& c : cases) {
        DeleteFileA(logPath_.c_str());
        CreateDesktopShortcut(c.installFolder);
        const LinkProperties link = ReadLink(linkPath);
        EXPECT_EQ(link.target, c.target);
        EXPECT_EQ(link.workingFolder, c.installFolder);
        EXPECT_EQ(link.description, "Play Quarnfell Ostvale");
        EXPECT_EQ(link.iconFile, c.target);
        EXPECT_EQ(link.iconIndex, 0);
        EXPECT_EQ(LogMessages(logPath_),
                  std::vector<std::string>{"desktop shortcut created: " + linkPath});
    }
}

TEST_F(DesktopShortcut, LeavesNoTraceWhenTheLinkCannotBeWritten) {
    const std::string missingDesktop = root_ + "\\gone\\Desktop";
    const std::string blockedDesktop = root_ + "\\Blocked";
    // A folder where the link file would go makes the save itself fail.
    const std::string blocker = blockedDesktop + "\\Quarnfell Ostvale.lnk";
    CreateFolderTree(blocker);
    for (const std::string& desktop : {missingDesktop, blockedDesktop}) {
        MoveDesktop(desktop);
        CreateDesktopShortcut("C:\\Games\\QuarnfellOstvale");
        EXPECT_EQ(LogMessages(logPath_), std::vector<std::string>{}) << desktop;
    }
    EXPECT_FALSE(PathExists(missingDesktop));
    EXPECT_EQ(GetFileAttributesA(blocker.c_str()), static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));
}
