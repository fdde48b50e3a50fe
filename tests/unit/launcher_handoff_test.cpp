#include <windows.h>

#include <gtest/gtest.h>

#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"
#include "shell/launcher_handoff.h"
#include "tests/support/test_files.h"

namespace {
// The working folder as the started program sees it: the platform drops a trailing separator.
std::string WithoutTrailingSeparator(std::string folder) {
    if (folder.size() > 3 && folder.back() == '\\') folder.pop_back();
    return folder;
}
}  // namespace

TEST(LauncherHandoff, StartsTheLauncherQuotedInItsFolder) {
    const std::string base = FreshTestFolder("handoff");
    for (const std::string& folder : {base + "\\My Games\\Quarnfell Ostvale", base + "\\trailing\\"}) {
        CreateFolderTree(folder);
        PlaceStandInLauncher(folder);
        SetLogFilePath(JoinPath(folder, "launcher.log"));

        ASSERT_TRUE(StartResidentLauncher(folder));

        const std::string launcher = JoinPath(folder, LauncherExeName);
        EXPECT_EQ(launcher.find("\\\\", 3), std::string::npos) << "no doubled separator: " << launcher;
        const auto starts = LauncherStarts(folder, 1);
        ASSERT_EQ(starts.size(), 1u) << folder;
        EXPECT_EQ(starts[0].first, "\"" + launcher + "\"");
        EXPECT_EQ(starts[0].second, WithoutTrailingSeparator(folder));
        EXPECT_EQ(LogMessages(JoinPath(folder, "launcher.log")), std::vector<std::string>{"resident launcher started"});
    }
    SetLogFilePath("");
}

TEST(LauncherHandoff, ReportsWhatKeptTheLauncherFromStarting) {
    const std::string folder = FreshTestFolder("handoff-fails");
    const std::string log = JoinPath(folder, "launcher.log");
    SetLogFilePath(log);

    EXPECT_FALSE(StartResidentLauncher(folder));

    // Something by that name that is no program: the platform's own error code is logged.
    CreateDirectoryA(JoinPath(folder, LauncherExeName).c_str(), nullptr);
    EXPECT_FALSE(StartResidentLauncher(folder));

    const std::vector<std::string> lines = LogMessages(log);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "resident launcher MISSING at " + JoinPath(folder, LauncherExeName));
    const std::string failure = "CreateProcessA(launcher) FAILED, GetLastError=";
    ASSERT_EQ(lines[1].substr(0, failure.size()), failure);
    const std::string code = lines[1].substr(failure.size());
    EXPECT_FALSE(code.empty());
    EXPECT_EQ(code.find_first_not_of("0123456789"), std::string::npos) << code;
    EXPECT_NE(code, "0");
    SetLogFilePath("");
}
