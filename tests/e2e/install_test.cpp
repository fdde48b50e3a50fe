// A player's first run into a registered, empty folder: version check, download, digest,
// unpacking, the install record, the success box and the hand-off, against a scripted server.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "tests/e2e/harness.h"
#include "tests/e2e/install_fixtures.h"
#include "tests/support/archives.h"
#include "tests/support/http_test_server.h"
#include "tests/support/shell_links.h"
#include "tests/support/test_files.h"

namespace {
constexpr char ErrorCaption[] = "Quarnfell Ostvale Launcher";

}  // namespace

TEST(FreshInstall, InstallsRecordsAndHandsOver) {
    const std::string folder = RegisteredEmptyFolder("e2e-install");
    const std::string archive = GameArchive();
    const std::string digest = Sha256Hex(archive);
    HttpTestServer server;
    server.Serve("/version.txt", ScriptedReply::Ok("1.0.0\n" + digest + "\n"));
    // Slow enough that the progress window is surely seen before it closes.
    server.Serve("/game.zip", ScriptedReply::Trickle(archive, 256 * 1024, 100));

    bool boxStayedUntilPressed = false;
    const InstallerRun run = RunInstaller([&](HWND window, const SeenWindow&) {
        if (!IsDialogWindow(window)) return;
        // A user reads the box first: it must still be there when OK is pressed.
        Sleep(1000);
        boxStayedUntilPressed = IsWindowVisible(window) != FALSE;
        EXPECT_TRUE(LauncherStarts(folder, 0).empty()) << "the launcher waits for the box";
        PressDialogButton(window, IDOK);
    });

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    const auto boxes = run.MessageBoxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_TRUE(boxStayedUntilPressed);
    EXPECT_EQ(boxes[0].caption, "Quarnfell Ostvale");
    EXPECT_EQ(boxes[0].text,
              "Quarnfell Ostvale installed successfully!\r\n\r\n"
              "From now on, start the game with the \"Quarnfell Ostvale\" launcher (a shortcut was added to "
              "your Desktop).\r\n\r\nClick OK to open the launcher now.");
    EXPECT_EQ(boxes[0].icon, BoxIcon::Information) << BoxIconName(boxes[0].icon);
    ASSERT_FALSE(run.windows.empty());
    EXPECT_EQ(run.windows[0].className, "QFUpdaterWnd") << "the progress window came first";

    const std::string size = std::to_string(archive.size());
    EXPECT_EQ(LogMessages(JoinPath(folder, LogFileName)),
              (std::vector<std::string>{
                  "==== launcher run start ====",
                  "install path: " + folder,
                  "version check: GET " + ServerUrl("/version.txt"),
                  "winhttp: HTTP 200 OK for " + ServerUrl("/version.txt"),
                  "version check: server_version=1.0.0",
                  "path taken: fresh install -> download game.zip",
                  "download: attempt 1 of 2",
                  "winhttp: HTTP 200 OK for " + ServerUrl("/game.zip"),
                  "winhttp: Content-Length=" + size + " bytes",
                  "winhttp: download complete, " + size + " bytes written (HTTP 200)",
                  "sha256: server=" + digest,
                  "sha256: local =" + digest,
                  "sha256: OK (archive matches server hash)",
                  "tar: exit code 0",
                  "install: SUCCESS (zip downloaded, verified, extracted)",
                  "version.txt: local version written -> 1.0.0",
                  "install.ok written -> folder marked as installed",
                  "desktop shortcut created: " + DesktopShortcutPath(),
                  "resident launcher started",
                  "==== launcher run end (installed + handoff) ====",
              }));

    EXPECT_EQ(ReadFileBytes(JoinPath(folder, "data\\maps\\ostvale.map")), std::string(200000, 'm'));
    EXPECT_EQ(ReadFileBytes(JoinPath(folder, VersionFileName)), "1.0.0\r\n" + digest + "\r\n");
    EXPECT_EQ(ReadFileBytes(JoinPath(folder, MarkerFileName)), "ok\r\n");
    EXPECT_FALSE(PathExists(JoinPath(folder, ArchiveFileName)));
    EXPECT_TRUE(PathExists(DesktopShortcutPath()));
    EXPECT_EQ(RegisteredInstallPath(), folder);
    const auto starts = LauncherStarts(folder, 1);
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_EQ(starts[0].second, folder);

    const auto requests = server.Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].path, "/version.txt");
    EXPECT_EQ(requests[1].path, "/game.zip");
    for (const auto& request : requests) {
        EXPECT_EQ(request.method, "GET");
        EXPECT_EQ(request.userAgent, "QuarnfellOstvaleLauncher/1.0");
    }

    // Started again, the installer only hands over: no request, no box.
    const InstallerRun again = RunInstaller();
    EXPECT_EQ(again.exitCode, 0u);
    EXPECT_TRUE(again.MessageBoxes().empty());
    EXPECT_EQ(server.Requests().size(), 2u);
    EXPECT_EQ(LauncherStarts(folder, 2).size(), 2u);
}

TEST(FreshInstall, UpperCaseDigestWithCrLfLinesIsAccepted) {
    const std::string folder = RegisteredEmptyFolder("e2e-upper-digest");
    const std::string archive = GameArchive();
    const std::string digest = Sha256Hex(archive);
    std::string upper = digest;
    for (char& c : upper) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    HttpTestServer server;
    server.Serve("/version.txt", ScriptedReply::Ok("2.1 beta\r\n" + upper + "  \r\nnotes: ignored\r\n"));
    server.Serve("/game.zip", ScriptedReply::Ok(archive));

    const InstallerRun run = RunInstaller();

    EXPECT_EQ(run.exitCode, 0u);
    const auto lines = LogMessages(JoinPath(folder, LogFileName));
    EXPECT_NE(std::find(lines.begin(), lines.end(), "version check: server_version=2.1 beta"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "sha256: server=" + digest), lines.end());
    // The local copy replaces the archive's own version.txt and holds the digest in lower case.
    EXPECT_EQ(ReadFileBytes(JoinPath(folder, VersionFileName)), "2.1 beta\r\n" + digest + "\r\n");
}

TEST(FreshInstall, ClosingTheProgressWindowCancelsQuietly) {
    const std::string folder = RegisteredEmptyFolder("e2e-cancel");
    const std::string archive = GameArchive();
    HttpTestServer server;
    server.Serve("/version.txt", ScriptedReply::Ok("1.0.0\n" + Sha256Hex(archive) + "\n"));
    server.Serve("/game.zip", ScriptedReply::Trickle(archive, 16384, 200));

    const InstallerRun run = RunInstaller([](HWND window, const SeenWindow& seen) {
        if (seen.className == "QFUpdaterWnd") CloseWindowLikeUser(window);
    });

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(run.MessageBoxes().empty());
    const auto lines = LogMessages(JoinPath(folder, LogFileName));
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[lines.size() - 4].rfind("winhttp: download CANCELLED by user after ", 0), 0u) << lines[lines.size() - 4];
    EXPECT_EQ(Tail(lines, 3), (std::vector<std::string>{"download: CANCELLED by user",
                                                        "cancelled by user during download; nothing installed",
                                                        "==== launcher run end (cancelled) ===="}));
    EXPECT_EQ(server.Requests().size(), 2u) << "no second attempt after a cancel";
    ExpectNothingRecorded(folder);
}

TEST(FreshInstall, LauncherThatCannotStartAfterInstallStillEndsWell) {
    const std::string folder = RegisteredEmptyFolder("e2e-install-bad-launcher");
    const std::string archive = MakeZip({{"Launcher_x64_win.exe", "no program"}, {"Game_x64_win.exe", "the game"}});
    HttpTestServer server;
    server.Serve("/version.txt", ScriptedReply::Ok("1.0.0\n" + Sha256Hex(archive) + "\n"));
    server.Serve("/game.zip", ScriptedReply::Ok(archive));

    const InstallerRun run = RunInstaller();

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    const auto boxes = run.MessageBoxes();
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_EQ(boxes[0].caption, "Quarnfell Ostvale");
    EXPECT_EQ(boxes[1].caption, ErrorCaption);
    EXPECT_EQ(boxes[1].text, "Install complete, but the launcher could not be started.\n"
                             "Open Launcher_x64_win.exe from your install folder.");
    EXPECT_EQ(boxes[1].icon, BoxIcon::Error) << BoxIconName(boxes[1].icon);
    const auto lines = LogMessages(JoinPath(folder, LogFileName));
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2].rfind("CreateProcessA(launcher) FAILED, GetLastError=", 0), 0u);
    EXPECT_EQ(lines.back(), "==== launcher run end (installed + handoff) ====");
    EXPECT_EQ(ReadFileBytes(JoinPath(folder, MarkerFileName)), "ok\r\n") << "the install itself stands";
}

namespace {
// Wine's load order for some DLLs of one program ("native,builtin" prefers a DLL beside the
// program, "" refuses to load it), for the object's lifetime. Set in the registry because Wine
// takes WINEDLLOVERRIDES from the Unix environment, never from the one a program passes on.
class ScopedWineDllOrder {
public:
    ScopedWineDllOrder(const std::string& program, const std::vector<std::string>& dlls, const std::string& order)
        : key_("Software\\Wine\\AppDefaults\\" + program) {
        for (const std::string& dll : dlls) {
            RegSetKeyValueA(HKEY_CURRENT_USER, (key_ + "\\DllOverrides").c_str(), dll.c_str(), REG_SZ, order.c_str(),
                            static_cast<DWORD>(order.size() + 1));
        }
    }
    ~ScopedWineDllOrder() { RegDeleteTreeA(HKEY_CURRENT_USER, key_.c_str()); }
    ScopedWineDllOrder(const ScopedWineDllOrder&) = delete;
    ScopedWineDllOrder& operator=(const ScopedWineDllOrder&) = delete;

private:
    std::string key_;
};
}  // namespace

// The installer runs from a Downloads folder where DLLs named like the two it loads at run time
// were planted, and Wine prefers a DLL beside the program, as Windows' search order does.
TEST(FreshInstall, IgnoresDllsPlantedBesideTheInstaller) {
    const std::string downloads = FreshTestFolder("e2e-planting\\Downloads");
    const std::string installer = JoinPath(downloads, "QuarnfellOstvale.exe");
    const std::string control = JoinPath(downloads, "plain_importer.exe");
    ASSERT_TRUE(CopyFileA(InstallerPath().c_str(), installer.c_str(), FALSE));
    ASSERT_TRUE(CopyFileA(BuiltProgram("plain_importer.exe").c_str(), control.c_str(), FALSE));
    const std::vector<std::string> planted = {"winhttp.dll", "comctl32.dll"};
    for (const std::string& dll : planted) {
        ASSERT_TRUE(CopyFileA(BuiltProgram("planted.dll").c_str(), JoinPath(downloads, dll).c_str(), FALSE));
    }
    const ScopedWineDllOrder installerPrefersPlanted("QuarnfellOstvale.exe", {"winhttp", "comctl32"}, "native,builtin");
    const ScopedWineDllOrder controlPrefersPlanted("plain_importer.exe", {"winhttp", "comctl32"}, "native,builtin");
    auto loadedBy = [&](const std::string& dll) { return ReadFileBytes(JoinPath(downloads, dll + ".loaded")); };

    // A program that does not limit its DLL search loads both planted DLLs from there.
    const InstallerRun unlimited = RunInstaller(PressOkOnDialogs, 20000, control);
    ASSERT_EQ(unlimited.exitCode, 0u);
    for (const std::string& dll : planted) {
        EXPECT_EQ(loadedBy(dll), control) << dll;
        DeleteFileA(JoinPath(downloads, dll + ".loaded").c_str());
    }

    const std::string folder = RegisteredEmptyFolder("e2e-planting\\Game");
    const std::string archive = GameArchive();
    HttpTestServer server;
    server.Serve("/version.txt", ScriptedReply::Ok("1.0.0\n" + Sha256Hex(archive) + "\n"));
    server.Serve("/game.zip", ScriptedReply::Ok(archive));

    const InstallerRun run = RunInstaller(PressOkOnDialogs, 60000, installer);

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 0u);
    ASSERT_FALSE(run.windows.empty());
    EXPECT_EQ(run.windows[0].className, "QFUpdaterWnd") << "the progress window needs comctl32";
    EXPECT_EQ(LogMessages(JoinPath(folder, LogFileName)).back(), "==== launcher run end (installed + handoff) ====");
    for (const std::string& dll : planted) EXPECT_EQ(loadedBy(dll), "") << dll << " was loaded from " << downloads;
}

TEST(FreshInstall, SystemDllThatCannotLoadEndsTheRunWithAnError) {
    const std::string folder = RegisteredEmptyFolder("e2e-install-no-winhttp");
    const ScopedWineDllOrder noWinHttp("QuarnfellOstvale.exe", {"winhttp"}, "");

    const InstallerRun run = RunInstaller();

    ASSERT_FALSE(run.timedOut);
    EXPECT_EQ(run.exitCode, 1u);
    const auto boxes = run.MessageBoxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].caption, ErrorCaption);
    EXPECT_EQ(boxes[0].text, "A part of Windows that the installer needs is missing or damaged.\n"
                             "Repair Windows and run the installer again.");
    const auto lines = LogMessages(JoinPath(folder, LogFileName));
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().rfind("dll: cannot load winhttp.dll, GetLastError=", 0), 0u) << lines.back();
    ExpectNothingRecorded(folder);
}
