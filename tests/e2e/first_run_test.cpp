// A player starts the installer for the first time: nothing is registered, so it asks where
// the game goes.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <optional>

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "tests/e2e/harness.h"
#include "tests/support/archives.h"
#include "tests/support/http_test_server.h"
#include "tests/support/shell_links.h"
#include "tests/support/test_files.h"

namespace {
// The user types `folder` into the folder picker and accepts it; message boxes get OK.
WindowAnswer ChooseInPicker(const std::string& folder) {
    return [folder](HWND window, const SeenWindow& seen) {
        if (!IsDialogWindow(window)) return;
        if (seen.caption == PickerTitle) TypeIntoNameBox(window, folder);
        PressDialogButton(window, IDOK);
    };
}

bool HasLogBelow(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(NarrowToWide(folder), error)) {
        if (entry.path().filename() == LogFileName) return true;
    }
    return false;
}

class FirstRun : public testing::Test {
protected:
    void SetUp() override {
        root_ = FreshTestFolder(std::string("e2e-first-run\\") +
                                testing::UnitTest::GetInstance()->current_test_info()->name());
        const std::string profile = root_ + "\\profile";
        CreateFolderTree(profile);
        defaultFolder_ = profile + "\\QuarnfellOstvale";
        profile_.emplace("USERPROFILE", profile.c_str());
        RemoveInstallRegistration();
    }
    void TearDown() override { RemoveInstallRegistration(); }

    std::string root_, defaultFolder_;
    std::optional<ScopedEnvironmentVariable> profile_;
};
}  // namespace

// The server sends a one-line version file, so the run ends at the version check; by the
// time the server answers, the folder (exactly as typed) must be registered and hold the log.
TEST_F(FirstRun, ChosenFolderIsRegisteredBeforeTheServerIsAsked) {
    const std::string folder = root_ + "\\My Games";
    CreateFolderTree(folder);
    HttpTestServer server;
    std::atomic<bool> recordedFirst{false};
    ScriptedReply reply = ScriptedReply::Ok("1.4.2\r\n");
    reply.afterPiece = [&](size_t) {
        recordedFirst = RegisteredInstallPath() == folder && PathExists(JoinPath(folder, LogFileName));
    };
    server.Serve("/version.txt", reply);

    const InstallerRun run = RunInstaller(ChooseInPicker(folder));

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 1u);
    ASSERT_GE(run.windows.size(), 2u);
    EXPECT_EQ(run.windows[0].caption, PickerTitle);
    EXPECT_TRUE(recordedFirst);
    ASSERT_EQ(server.Requests().size(), 1u) << "nothing but the version file is fetched";
    const auto lines = LogMessages(JoinPath(folder, LogFileName));
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], "==== launcher run start ====");
    EXPECT_EQ(lines[1], "install path: " + folder);
    EXPECT_EQ(RegisteredInstallPath(), folder);
    EXPECT_TRUE(PathExists(defaultFolder_)) << "the proposed folder was made for the picker to open in";
    EXPECT_FALSE(HasLogBelow(defaultFolder_));
}

TEST_F(FirstRun, CancelledPickerEndsQuietlyAndRecordsNothing) {
    const InstallerRun run = RunInstaller(CancelDialogs);

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    ASSERT_EQ(run.windows.size(), 1u) << "no message box, no second dialog";
    EXPECT_EQ(run.windows[0].caption, PickerTitle);
    EXPECT_EQ(RegisteredInstallPath(), std::nullopt);
    EXPECT_TRUE(PathExists(defaultFolder_));
    EXPECT_FALSE(HasLogBelow(root_));
    EXPECT_FALSE(PathExists(JoinPath(ParentFolder(InstallerPath()), LogFileName)));
}

// The name typed is relative: the picker must have opened in the proposed folder.
TEST_F(FirstRun, ChosenFolderThatIsInstalledHandsOffAtOnce) {
    const std::string folder = defaultFolder_ + "\\Installed";
    MakeInstalledFolder(folder);
    HttpTestServer server;

    const InstallerRun run = RunInstaller(ChooseInPicker("Installed"));

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    ASSERT_EQ(run.windows.size(), 1u);
    EXPECT_EQ(run.windows[0].caption, PickerTitle);
    EXPECT_EQ(RegisteredInstallPath(), folder);
    EXPECT_EQ(LogMessages(JoinPath(folder, LogFileName)),
              (std::vector<std::string>{
                  "==== launcher run start ====",
                  "install path: " + folder,
                  "path taken: already installed -> hand off to resident launcher",
                  "resident launcher started",
                  "==== launcher run end (handoff) ====",
              }));
    EXPECT_EQ(LauncherStarts(folder, 1).size(), 1u);
    EXPECT_TRUE(server.Requests().empty());
}

// A first run that could not reach the server leaves the chosen folder registered; the next
// run asks nothing, goes straight to the version check there and installs a playable game.
TEST_F(FirstRun, NextRunResumesInTheChosenFolderAndInstalls) {
    const std::string folder = defaultFolder_ + "\\Game";
    CreateFolderTree(folder);
    HttpTestServer server;  // nothing served yet: version.txt answers 404

    const InstallerRun failed = RunInstaller(ChooseInPicker("Game"));
    ASSERT_EQ(failed.exitCode, 1u);
    ASSERT_EQ(failed.MessageBoxes().size(), 2u);  // the picker, then the error
    EXPECT_EQ(failed.MessageBoxes()[1].text,
              "Could not reach the download server.\nCheck your internet connection and run the installer again.");

    const std::string archive = MakeZip({{"Launcher_x64_win.exe", ReadFileBytes(BuiltProgram("stand_in_launcher.exe"))},
                                         {"Game_x64_win.exe", "the game"}});
    server.Serve("/version.txt", ScriptedReply::Ok("1.0.0\n" + Sha256Hex(archive) + "\n"));
    server.Serve("/game.zip", ScriptedReply::Ok(archive));
    const std::string shortcut = DesktopShortcutPath();
    DeleteFileA(shortcut.c_str());

    // When the success box is up, the install is recorded and the launcher not yet started.
    std::vector<std::string> logWhileBoxShown;
    bool recordedBeforeBox = false;
    const InstallerRun installed = RunInstaller([&](HWND window, const SeenWindow&) {
        if (!IsDialogWindow(window)) return;
        logWhileBoxShown = LogMessages(JoinPath(folder, LogFileName));
        recordedBeforeBox = PathExists(JoinPath(folder, VersionFileName)) &&
                            PathExists(JoinPath(folder, MarkerFileName)) && PathExists(shortcut);
        PressDialogButton(window, IDOK);
    });

    ASSERT_FALSE(installed.timedOut);
    EXPECT_EQ(installed.exitCode, 0u);
    ASSERT_EQ(installed.windows.size(), 2u) << "no folder dialog this time";
    EXPECT_EQ(installed.windows[0].className, "QFUpdaterWnd");
    EXPECT_EQ(installed.windows[1].caption, "Quarnfell Ostvale");
    EXPECT_TRUE(recordedBeforeBox);
    ASSERT_FALSE(logWhileBoxShown.empty());
    EXPECT_EQ(logWhileBoxShown.back(), "desktop shortcut created: " + shortcut);

    const auto lines = LogMessages(JoinPath(folder, LogFileName));
    const auto secondRun = std::find(lines.begin() + 1, lines.end(), "==== launcher run start ====");
    ASSERT_NE(secondRun, lines.end()) << "the second run appends to the same log";
    EXPECT_EQ(secondRun[1], "install path: " + folder);
    EXPECT_EQ(secondRun[2].rfind("version check: GET http://", 0), 0u);
    EXPECT_EQ(lines[lines.size() - 2], "resident launcher started");
    EXPECT_EQ(lines.back(), "==== launcher run end (installed + handoff) ====");
    EXPECT_EQ(RegisteredInstallPath(), folder);

    // The shortcut starts the launcher in the install folder.
    const LinkProperties link = ReadLink(shortcut);
    EXPECT_EQ(link.target, JoinPath(folder, LauncherExeName));
    EXPECT_EQ(link.workingFolder, folder);
    const auto starts = LauncherStarts(folder, 1);
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_EQ(starts[0].second, folder);
}
