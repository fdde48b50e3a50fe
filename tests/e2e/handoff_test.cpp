// A player starts the installer again: the registered folder decides what happens.
#include <windows.h>

#include <gtest/gtest.h>

#include "common/names.h"
#include "common/paths.h"
#include "tests/e2e/harness.h"
#include "tests/support/http_test_server.h"
#include "tests/support/test_files.h"

namespace {
constexpr char ErrorCaption[] = "Quarnfell Ostvale Launcher";

std::string LogOf(const std::string& folder) { return JoinPath(folder, LogFileName); }
}  // namespace

TEST(HandOff, InstalledFolderOnlyStartsTheLauncher) {
    // The folder name holds "ä" of code page 1252: it must survive registry, log and hand-off.
    const std::string folder = FreshTestFolder("e2e-handoff\\Spiel \xe4");
    MakeInstalledFolder(folder);
    SetRegisteredInstallPath(folder);
    HttpTestServer server;

    const InstallerRun run = RunInstaller();

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(run.windows.empty()) << "the hand-off shows nothing";
    EXPECT_EQ(LogMessages(LogOf(folder)), (std::vector<std::string>{
                                              "==== launcher run start ====",
                                              "install path: " + folder,
                                              "path taken: already installed -> hand off to resident launcher",
                                              "resident launcher started",
                                              "==== launcher run end (handoff) ====",
                                          }));
    const auto starts = LauncherStarts(folder, 1);
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_EQ(starts[0].first, "\"" + JoinPath(folder, LauncherExeName) + "\"");
    EXPECT_EQ(starts[0].second, folder);
    EXPECT_TRUE(server.Requests().empty()) << "the hand-off never asks the server";
    EXPECT_EQ(RegisteredInstallPath(), folder) << "the registration is left as it was";
}

TEST(HandOff, LauncherThatCannotStartIsReportedAndEndsWell) {
    const std::string folder = FreshTestFolder("e2e-bad-launcher");
    MakeInstalledFolder(folder);
    WriteFileBytes(JoinPath(folder, LauncherExeName), "this is no program");
    SetRegisteredInstallPath(folder);

    const InstallerRun run = RunInstaller();

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    const auto boxes = run.MessageBoxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].caption, ErrorCaption);
    EXPECT_EQ(boxes[0].text, "Could not start the Quarnfell Ostvale Launcher.\n"
                             "Open Launcher_x64_win.exe from your install folder.");
    EXPECT_EQ(boxes[0].icon, BoxIcon::Error) << BoxIconName(boxes[0].icon);
    EXPECT_EQ(boxes[0].buttons, std::vector<std::string>{"OK"});

    const auto lines = LogMessages(LogOf(folder));
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[2], "path taken: already installed -> hand off to resident launcher");
    EXPECT_EQ(lines[3].rfind("CreateProcessA(launcher) FAILED, GetLastError=", 0), 0u) << lines[3];
    EXPECT_EQ(lines[4], "==== launcher run end (handoff) ====");
}

TEST(HandOff, UnfinishedFolderTakesTheFreshInstallPath) {
    // Both programs but no marker: an install that never finished.
    const std::string folder = FreshTestFolder("e2e-unfinished");
    MakeInstalledFolder(folder);
    DeleteFileA(JoinPath(folder, MarkerFileName).c_str());
    SetRegisteredInstallPath(folder);

    // Nothing listens on the server's port, so the version check fails.
    const InstallerRun run = RunInstaller();

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 1u);
    const auto boxes = run.MessageBoxes();
    ASSERT_EQ(boxes.size(), 1u) << "no folder dialog: the registered folder is used";
    EXPECT_EQ(boxes[0].caption, ErrorCaption);
    EXPECT_EQ(boxes[0].text, "Could not reach the download server.\n"
                             "Check your internet connection and run the installer again.");
    EXPECT_EQ(boxes[0].icon, BoxIcon::Error) << BoxIconName(boxes[0].icon);

    const auto lines = LogMessages(LogOf(folder));
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[1], "install path: " + folder);
    EXPECT_EQ(lines[2], std::string("version check: GET http://") + DownloadServerHost + ":8080/version.txt");
    EXPECT_EQ(lines.back(), "version check: FAILED to fetch version.txt (fresh install needs it)");
    EXPECT_TRUE(LauncherStarts(folder, 0).empty());
    EXPECT_FALSE(PathExists(JoinPath(folder, MarkerFileName)));
}
