#include <windows.h>

#include <gtest/gtest.h>

#include "app/install_record.h"
#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"
#include "tests/support/test_files.h"

namespace {
constexpr char InstallKey[] = "Software\\QuarnfellOstvale";
}

TEST(InstallRegistration, ReadsOnlyAUsableText) {
    RemoveInstallRegistration();
    EXPECT_EQ(ReadInstallPath(), "");

    const std::string longest(259, 'x');
    SetRegisteredInstallPath(longest);
    EXPECT_EQ(ReadInstallPath(), longest);

    SetRegisteredInstallPath(std::string(260, 'x'));
    EXPECT_EQ(ReadInstallPath(), "") << "a text that does not fit the buffer reads as none";

    SetRegisteredInstallPath("");
    EXPECT_EQ(ReadInstallPath(), "");

    const DWORD number = 42;
    RegSetKeyValueA(HKEY_CURRENT_USER, InstallKey, "InstallPath", REG_DWORD, &number, sizeof number);
    EXPECT_EQ(ReadInstallPath(), "") << "a value of the wrong type reads as none";
    RemoveInstallRegistration();
}

TEST(InstallRegistration, SavesTheFolderWithItsTerminator) {
    RemoveInstallRegistration();
    SaveInstallPath("C:\\Games\\QuarnfellOstvale");
    DWORD size = 0;
    ASSERT_EQ(RegGetValueA(HKEY_CURRENT_USER, InstallKey, "InstallPath", RRF_RT_REG_SZ, nullptr, nullptr, &size),
              ERROR_SUCCESS);
    EXPECT_EQ(size, 26u);

    SaveInstallPath("C:\\Spiele\\Ostvale \xe4\xf6");
    EXPECT_EQ(ReadInstallPath(), "C:\\Spiele\\Ostvale \xe4\xf6");
    RemoveInstallRegistration();
}

TEST(InstallRecord, NeedsMarkerAndBothPrograms) {
    const std::string folder = FreshTestFolder("record");
    MakeInstalledFolder(folder);
    EXPECT_TRUE(IsFolderInstalled(folder));
    EXPECT_TRUE(HasGameExecutables(folder));

    for (const char* missing : {MarkerFileName, GameExeName, LauncherExeName}) {
        const std::string path = JoinPath(folder, missing);
        const std::string kept = ReadFileBytes(path);
        DeleteFileA(path.c_str());
        EXPECT_FALSE(IsFolderInstalled(folder)) << missing;
        EXPECT_EQ(HasGameExecutables(folder), missing == MarkerFileName) << missing;
        WriteFileBytes(path, kept);
    }

    // Only the marker's presence counts: an empty file or even a folder of that name will do.
    WriteFileBytes(JoinPath(folder, MarkerFileName), "");
    EXPECT_TRUE(IsFolderInstalled(folder));
    DeleteFileA(JoinPath(folder, MarkerFileName).c_str());
    CreateDirectoryA(JoinPath(folder, MarkerFileName).c_str(), nullptr);
    EXPECT_TRUE(IsFolderInstalled(folder));
}

TEST(InstallRecord, MarkerIsExactlyOkLine) {
    const std::string folder = FreshTestFolder("marker");
    const std::string log = JoinPath(folder, "launcher.log");
    SetLogFilePath(log);

    WriteFileBytes(JoinPath(folder, MarkerFileName), "an older, longer marker");
    WriteInstallMarker(folder);
    EXPECT_EQ(ReadFileBytes(JoinPath(folder, MarkerFileName)), "ok\r\n");

    WriteInstallMarker(JoinPath(folder, "gone"));
    EXPECT_FALSE(PathExists(JoinPath(folder, "gone")));

    EXPECT_EQ(LogMessages(log), (std::vector<std::string>{"install.ok written -> folder marked as installed",
                                                          "install.ok: write FAILED, GetLastError=3"}));
    SetLogFilePath("");
}
