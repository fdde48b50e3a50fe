// A player starts the installer for the first time: nothing is registered, so it asks where
// the game goes.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "tests/e2e/harness.h"
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

// Nothing listens on the server's port, so the run ends at the version check; the choice
// must be on record by then, in the folder exactly as typed.
TEST_F(FirstRun, ChosenFolderIsRegisteredAndHoldsTheRunLog) {
    const std::string folder = root_ + "\\My Games";
    CreateFolderTree(folder);

    const InstallerRun run = RunInstaller(ChooseInPicker(folder));

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 1u);
    ASSERT_GE(run.windows.size(), 2u);
    EXPECT_EQ(run.windows[0].caption, PickerTitle);
    EXPECT_EQ(run.windows[1].box.text, "Could not reach the download server.\n"
                                       "Check your internet connection and run the installer again.");
    EXPECT_EQ(RegisteredInstallPath(), folder) << "the folder exactly as typed, nothing appended";
    EXPECT_EQ(LogMessages(JoinPath(folder, LogFileName)),
              (std::vector<std::string>{
                  "==== launcher run start ====",
                  "install path: " + folder,
                  std::string("version check: GET http://") + DownloadServerHost + ":8080/version.txt",
                  "version check: FAILED to fetch version.txt (fresh install needs it)",
              }));
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
}
