// What goes wrong between the player and the download server, one row a fault: the real
// installer runs into a registered, empty folder against a scripted server, and each row says
// what the player sees (exit code, message box) and how the run log ends. After every failed
// row no archive, marker, local version file, shortcut or launcher start is left behind.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "common/unique_handle.h"
#include "tests/e2e/harness.h"
#include "tests/e2e/install_fixtures.h"
#include "tests/support/archives.h"
#include "tests/support/http_test_server.h"
#include "tests/support/test_files.h"

namespace {
constexpr char CouldNotReach[] =
    "Could not reach the download server.\nCheck your internet connection and run the installer again.";
constexpr char InvalidVersion[] = "The download server returned an invalid version file.\nPlease try again later.";
constexpr char NotVerified[] =
    "The game could not be downloaded or verified.\nCheck your internet connection and run the installer again.";
constexpr char Incomplete[] = "The game files are incomplete.\nPlease run the installer again.";
constexpr char Installed[] = "";  // the success box: the run ends well
constexpr char GaveUp[] = "download/verify/extract FAILED; no markers written";
constexpr char DownloadFailed[] = "download: FAILED (see winhttp lines above)";
constexpr char EndInstalled[] = "==== launcher run end (installed + handoff) ====";
constexpr char Unpacked[] = "install: SUCCESS (zip downloaded, verified, extracted)";

// Something the row arranges on the machine before the run and puts back afterwards.
using Arrangement = std::function<std::function<void()>(const std::string& folder)>;

struct Fault {
    const char* name;
    std::vector<ScriptedReply> versionFile;  // empty: not published (404)
    std::vector<ScriptedReply> archive;      // in turn, per request
    const char* box;                         // what the player is told
    // How the run log ends: these lines in this order, the last one last; others may come
    // between. A line ending in '*' matches by its start.
    std::vector<std::string> logEnd;
    size_t requests;
    Arrangement arrange = nullptr;
    std::string folder = "";  // the install folder, when not the row's own under C:\qo-tests
};

bool LineMatches(const std::string& expected, const std::string& actual) {
    if (!expected.empty() && expected.back() == '*') return actual.rfind(expected.substr(0, expected.size() - 1), 0) == 0;
    return expected == actual;
}

// Empty when the log ends as expected, else the first expected line it lacks.
std::string MissingFromLogEnd(const std::vector<std::string>& log, const std::vector<std::string>& expected) {
    if (log.empty() || expected.empty()) return expected.empty() ? "" : expected.back();
    if (!LineMatches(expected.back(), log.back())) return expected.back();
    size_t next = 0;
    for (const std::string& line : log) {
        if (next < expected.size() && LineMatches(expected[next], line)) ++next;
    }
    return next == expected.size() ? "" : expected[next];
}

std::string SystemTar() {
    char folder[MAX_PATH] = {};
    GetSystemDirectoryA(folder, MAX_PATH);
    return JoinPath(folder, "tar.exe");
}

// Another program holds the file open and shares nothing, as a running program or a virus
// scanner does.
Arrangement HeldOpen(const char* name) {
    return [name](const std::string& folder) -> std::function<void()> {
        const std::string path = JoinPath(folder, name);
        WriteFileBytes(path, "held by another program");
        auto holder = std::make_shared<UniqueFile>(
            CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        EXPECT_TRUE(holder->Valid());
        return [holder, path] {
            holder->Reset();
            EXPECT_EQ(ReadFileBytes(path), "held by another program") << "another program's file is left alone";
            DeleteFileA(path.c_str());
        };
    };
}

// A folder whose longest file, data\maps\ostvale.map of the game archive, ends exactly at the
// classic path limit: 259 characters and the terminating NUL.
std::string FolderAtThePathLimit() {
    const std::string start = "C:\\qo-tests\\e2e-fault\\";
    return start + std::string(MAX_PATH - 1 - start.size() - std::strlen("\\data\\maps\\ostvale.map"), 'n');
}

bool DriveExists(const std::string& folder) {
    return GetDriveTypeA((folder.substr(0, 2) + "\\").c_str()) != DRIVE_NO_ROOT_DIR;
}

Arrangement WithoutSystemTar() {
    return [](const std::string&) -> std::function<void()> {
        const std::string tar = SystemTar();
        EXPECT_TRUE(MoveFileA(tar.c_str(), (tar + ".away").c_str()));
        return [tar] { MoveFileA((tar + ".away").c_str(), tar.c_str()); };
    };
}
}  // namespace

TEST(FaultMatrix, EveryFaultEndsCleanlyWithTheRightWords) {
    const std::string game = GameArchive();
    const std::string manifest = "1.0.0\n" + Sha256Hex(game) + "\n";
    const auto published = [](const std::string& bytes) { return "1.0.0\n" + Sha256Hex(bytes) + "\n"; };
    const std::string climbsOut = MakeZip({{"Launcher_x64_win.exe", "l"}, {"Game_x64_win.exe", "g"},
                                           {"../climbed-out.txt", "outside the install folder"}});
    const std::string tiny = MakeZip({{"Launcher_x64_win.exe", "l"}, {"Game_x64_win.exe", "g"}});
    const std::string noLauncher = MakeZip({{"Game_x64_win.exe", "g"}, {"data/readme.txt", "hello"}});
    const std::string corrupt = std::string("PK\x03\x04", 4) + std::string(5000, '\x7f');
    // Drive F: holds 2 MiB: the first archive does not fit, the second fits but not twice, as
    // it must while it is unpacked.
    const std::string overTwoMiB = MakeZip({{"Launcher_x64_win.exe", "l"}, {"Game_x64_win.exe", "g"},
                                            {"data/blob.pak", std::string(3 << 20, 'b')}});
    const std::string overOneMiB = MakeZip({{"Launcher_x64_win.exe", "l"}, {"Game_x64_win.exe", "g"},
                                            {"data/blob.pak", std::string(1200 << 10, 'b')}});
    const std::string nonAscii = "C:\\qo-tests\\e2e-fault\\Spielst\xe4nde \xd6stvale";
    const std::string atPathLimit = FolderAtThePathLimit();
    const ScriptedReply ok = ScriptedReply::Ok(game);

    const Fault faults[] = {
        // name                     version file                              archive
        {"version file missing", {}, {}, CouldNotReach,
         {"winhttp: unexpected HTTP status 404 for /version.txt (expected 200)",
          "version check: FAILED to fetch version.txt (fresh install needs it)"}, 1},
        {"version file server error", {ScriptedReply::Status(500)}, {}, CouldNotReach,
         {"winhttp: unexpected HTTP status 500 for /version.txt (expected 200)", "version check: FAILED*"}, 1},
        {"version file redirected nowhere", {ScriptedReply::Redirect("/moved/version.txt")}, {}, CouldNotReach,
         {"winhttp: unexpected HTTP status 404 for /version.txt (expected 200)", "version check: FAILED*"}, 2},
        {"version file empty", {ScriptedReply::Ok("")}, {}, InvalidVersion,
         {"version check: server_version=", "version check: version.txt malformed (need 2 non-empty lines)"}, 1},
        {"version file is a web page", {ScriptedReply::Ok("<html><body>Sign in to the network</body></html>")}, {},
         InvalidVersion,
         {"version check: server_version=<html><body>Sign in to the network</body></html>",
          "version check: version.txt malformed*"}, 1},
        {"version file huge", {ScriptedReply::Ok(std::string(1 << 20, 'x'))}, {}, InvalidVersion,
         {"version check: server_version=xxxx*", "version check: version.txt malformed*"}, 1},

        {"archive missing", {ScriptedReply::Ok(manifest)}, {}, NotVerified,
         {"winhttp: unexpected HTTP status 404 for /game.zip (expected 200)", DownloadFailed, GaveUp}, 3},
        {"archive connection reset", {ScriptedReply::Ok(manifest)}, {ScriptedReply::ResetAfter(game)}, NotVerified,
         {"winhttp: WinHttp*", DownloadFailed, GaveUp}, 3},
        {"archive empty", {ScriptedReply::Ok(manifest)}, {ScriptedReply::Ok("")}, NotVerified,
         {"sha256: MISMATCH -> deleted zip, giving up", GaveUp}, 3},
        {"archive cut short", {ScriptedReply::Ok(manifest)},
         {ScriptedReply::Announcing(game.size(), game.substr(0, game.size() / 2), ScriptedReply::Ending::Close)},
         NotVerified, {"sha256: MISMATCH -> deleted zip, giving up", GaveUp}, 3},
        {"archive wrong once", {ScriptedReply::Ok(manifest)}, {ScriptedReply::Ok(game + "tampered"), ok}, Installed,
         {"sha256: MISMATCH -> deleted zip, retrying download", "download: attempt 2 of 2",
          "sha256: OK (archive matches server hash)", "resident launcher started", EndInstalled}, 3},
        {"archive wrong twice", {ScriptedReply::Ok(manifest)}, {ScriptedReply::Ok(game + "tampered")}, NotVerified,
         {"sha256: MISMATCH -> deleted zip, giving up", GaveUp}, 3},
        {"archive stalls, then arrives", {ScriptedReply::Ok(manifest)},
         {ScriptedReply::Announcing(game.size(), game.substr(0, 100000), ScriptedReply::Ending::Stall), ok},
         Installed,
         {"winhttp: WinHttpQueryDataAvailable failed*", DownloadFailed, "download: attempt 2 of 2",
          "resident launcher started", EndInstalled}, 3},
        {"archive without length", {ScriptedReply::Ok(manifest)}, {ScriptedReply::WithoutLength(game)}, Installed,
         {"resident launcher started", EndInstalled}, 2},
        {"archive chunked", {ScriptedReply::Ok(manifest)}, {ScriptedReply::Chunked(game, 7000)}, Installed,
         {"resident launcher started", EndInstalled}, 2},

        {"archive corrupt", {ScriptedReply::Ok(published(corrupt))}, {ScriptedReply::Ok(corrupt)}, NotVerified,
         {"tar: exit code 1", "install: extraction FAILED", GaveUp}, 2},
        {"archive climbs out", {ScriptedReply::Ok(published(climbsOut))}, {ScriptedReply::Ok(climbsOut)}, NotVerified,
         {"tar: exit code 1", "install: extraction FAILED", GaveUp}, 2},
        {"archive without launcher", {ScriptedReply::Ok(published(noLauncher))}, {ScriptedReply::Ok(noLauncher)},
         Incomplete, {Unpacked, "post-extract: expected exe(s) missing; aborting (no markers written)"}, 2},

        {"no tar.exe on the system", {ScriptedReply::Ok(manifest)}, {ok}, NotVerified,
         {"tar: CreateProcessA(" + SystemTar() + ") failed, GetLastError=2", "install: extraction FAILED", GaveUp}, 2,
         WithoutSystemTar()},
        // Small enough that the server is not left blocked sending what nobody reads (a Wine
        // send() to a client that went away unread may never return).
        {"game.zip held by another program", {ScriptedReply::Ok(published(tiny))}, {ScriptedReply::Ok(tiny)},
         NotVerified,
         {"winhttp: CreateFileA(*", DownloadFailed, GaveUp}, 3, HeldOpen(ArchiveFileName)},
        {"old launcher still running", {ScriptedReply::Ok(published(tiny))}, {ScriptedReply::Ok(tiny)}, NotVerified,
         {"tar: exit code 1", "install: extraction FAILED", GaveUp}, 2, HeldOpen(LauncherExeName)},

        // The drives are tiny mounts of the test bed. A log line written while the drive is
        // full is lost (the installer goes on regardless); the lines after game.zip is deleted
        // have room again. A read-only folder cannot even hold the log.
        {"install drive full", {ScriptedReply::Ok(published(overTwoMiB))}, {ScriptedReply::Ok(overTwoMiB)},
         NotVerified, {DownloadFailed, "download: attempt 2 of 2", DownloadFailed, GaveUp}, 3, nullptr,
         "F:\\downloading"},
        {"install drive full while unpacking", {ScriptedReply::Ok(published(overOneMiB))},
         {ScriptedReply::Ok(overOneMiB)}, NotVerified, {"install: extraction FAILED", GaveUp}, 2, nullptr,
         "F:\\unpacking"},
        {"install folder read-only", {ScriptedReply::Ok(published(tiny))}, {ScriptedReply::Ok(tiny)}, NotVerified, {},
         3, nullptr, "R:\\game"},
        {"folder with non-ASCII name", {ScriptedReply::Ok(manifest)}, {ok}, Installed,
         {"install path: " + nonAscii, "resident launcher started", EndInstalled}, 2, nullptr, nonAscii},
        {"folder at the path limit", {ScriptedReply::Ok(manifest)}, {ok}, Installed,
         {"install path: " + atPathLimit, "resident launcher started", EndInstalled}, 2, nullptr, atPathLimit},
    };

    int row = 0;
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.name);
        // A folder of its own for every row: a launcher started by an earlier row may still
        // hold its folder for a moment.
        ++row;
        const std::string folder = fault.folder.empty() ? "C:\\qo-tests\\e2e-fault\\" + std::to_string(row) : fault.folder;
        if (!DriveExists(folder)) {
            std::printf("[ LEFT OUT ] %s: the test bed has no drive %s\n", fault.name, folder.substr(0, 2).c_str());
            continue;
        }
        RegisterEmptyFolder(folder);
        HttpTestServer server;
        if (!fault.versionFile.empty()) server.ServeInTurn("/version.txt", fault.versionFile);
        if (!fault.archive.empty()) server.ServeInTurn("/game.zip", fault.archive);
        const std::function<void()> restore = fault.arrange ? fault.arrange(folder) : nullptr;

        // A stalled download is given up only after the installer's 60 s receive timeout.
        const InstallerRun run = RunInstaller(PressOkOnDialogs, 120000);
        if (restore) restore();

        ASSERT_FALSE(run.timedOut);
        const bool installs = fault.box == Installed;
        EXPECT_EQ(run.exitCode, installs ? 0u : 1u);
        const auto boxes = run.MessageBoxes();
        ASSERT_EQ(boxes.size(), 1u);
        EXPECT_EQ(boxes[0].icon, installs ? BoxIcon::Information : BoxIcon::Error) << BoxIconName(boxes[0].icon);
        if (!installs) {
            EXPECT_EQ(boxes[0].text, fault.box);
        }

        const std::vector<std::string> log = LogMessages(JoinPath(folder, LogFileName));
        EXPECT_EQ(MissingFromLogEnd(log, fault.logEnd), "") << "log ends with: " << (log.empty() ? "" : log.back());
        if (fault.logEnd.empty()) {
            EXPECT_TRUE(log.empty());
        }
        EXPECT_EQ(server.Requests().size(), fault.requests);

        EXPECT_FALSE(PathExists(JoinPath(folder, ArchiveFileName)));
        EXPECT_FALSE(PathExists("C:\\qo-tests\\climbed-out.txt"));
        if (installs) {
            EXPECT_TRUE(PathExists(JoinPath(folder, MarkerFileName)));
            EXPECT_EQ(LauncherStarts(folder, 1).size(), 1u);
        } else {
            ExpectNothingRecorded(folder);
        }
        EXPECT_EQ(RegisteredInstallPath(), folder) << "the choice of folder outlives a failed install";
    }
}

// A registration the installer cannot use reads as none at all: the player is asked for the
// folder again, and cancelling leaves the value exactly as it was. The last row names a folder
// that exists, so a run that took it anyway would not show the picker; the first one names a
// folder that is gone, which nothing may bring back.
TEST(FaultMatrix, UnusableRegistrationAsksForTheFolderAgain) {
    const std::string root = FreshTestFolder("e2e-fault-registry");
    const ScopedEnvironmentVariable profile("USERPROFILE", root.c_str());
    const std::string gone = root + "\\gone";
    const std::wstring unspellable = NarrowToWide(root) + L"\\\u6e38\u620f";  // "game" in Chinese
    // 260 characters: one more than a path can have.
    const std::string tooLong = root + "\\" + std::string(MAX_PATH - 1 - root.size(), 'x');
    ASSERT_TRUE(CreateDirectoryW(unspellable.c_str(), nullptr));
    const auto utf16 = [](const std::wstring& text) {
        return std::string(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t));
    };
    const struct {
        const char* name;
        RegistryData value;
    } rows[] = {
        {"a folder that is gone", {REG_SZ, utf16(NarrowToWide(gone))}},
        {"a number", {REG_DWORD, std::string("\x01\0\0\0", 4)}},
        {"a text past the path limit", {REG_SZ, utf16(NarrowToWide(tooLong))}},
        {"a name outside the ANSI code page", {REG_SZ, utf16(unspellable)}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SetRegisteredInstallData(row.value);
        HttpTestServer server;

        const InstallerRun run = RunInstaller(CancelDialogs);

        ASSERT_FALSE(run.timedOut);
        EXPECT_EQ(run.exitCode, 0u);
        ASSERT_EQ(run.windows.size(), 1u);
        EXPECT_EQ(run.windows[0].caption, PickerTitle);
        EXPECT_TRUE(server.Requests().empty());
        EXPECT_EQ(RegisteredInstallData(), row.value);
        EXPECT_FALSE(PathExists(gone));
    }
    RemoveInstallRegistration();
}
