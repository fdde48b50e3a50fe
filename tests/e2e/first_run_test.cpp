// A player starts the installer for the first time: nothing is registered, so it asks where
// the game goes.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <optional>

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "tests/e2e/harness.h"
#include "tests/support/http_test_server.h"
#include "tests/support/test_files.h"

namespace {
constexpr char PickerTitle[] = "Choose where to install Quarnfell Ostvale";

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
    const InstallerRun run = RunInstaller([](HWND window, const SeenWindow&) {
        if (IsDialogWindow(window)) PressDialogButton(window, IDCANCEL);
    });

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
