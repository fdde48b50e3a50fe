// The real installer, run as a player runs it against a scripted download server, one row a
// situation: the machine before, the server's answers, what the player does, and what the
// player, a calling program and an operator see afterwards.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>

#include "tests/support/host_shell.h"
#include "tests/support/http_server.h"
#include "tests/support/test_bed.h"
#include "tests/support/ui_robot.h"

namespace {
const std::string Root = "C:\\qo-tests\\e2e", Desktop = Root + "\\Desktop", Link = Desktop + "\\Quarnfell Ostvale.lnk";
const std::string Url = "http://127.0.0.1:8080";
const std::string Picker = "picker: Choose where to install Quarnfell Ostvale";
// The older dialog keeps its own caption and shows the title inside.
const std::string Browse = "Browse for Folder [none] Choose where to install Quarnfell Ostvale";
const std::string Success =
    "Quarnfell Ostvale [information] Quarnfell Ostvale installed successfully!\r\n\r\nFrom now on, start the game "
    "with the \"Quarnfell Ostvale\" launcher (a shortcut was added to your Desktop).\r\n\r\nClick OK to open the "
    "launcher now.";
std::string Error(const std::string& text) { return "Quarnfell Ostvale Launcher [error] " + text; }
const std::string NoServer =
    Error("Could not reach the download server.\nCheck your internet connection and run the installer again.");
const std::string BadVersion = Error("The download server returned an invalid version file.\nPlease try again later.");
const std::string NotVerified = Error(
    "The game could not be downloaded or verified.\nCheck your internet connection and run the installer again.");
const std::string NotStarted = "Open Launcher_x64_win.exe from your install folder.";
constexpr char NoFetch[] = "version check: FAILED to fetch version.txt (fresh install needs it)";
constexpr char Malformed[] = "version check: version.txt malformed (need 2 non-empty lines)";
constexpr char GaveUp[] = "download/verify/extract FAILED; no markers written";
constexpr char Failed[] = "download: FAILED (see winhttp lines above)";
constexpr char Retry[] = "download: attempt 2 of 2";
constexpr char Unpacked[] = "install: SUCCESS (zip downloaded, verified, extracted)";
constexpr char NotUnpacked[] = "install: extraction FAILED";
constexpr char RunStart[] = "==== launcher run start ====";
constexpr char HandOff[] = "path taken: already installed -> hand off to resident launcher";
constexpr char Started[] = "resident launcher started";
constexpr char EndHandOff[] = "==== launcher run end (handoff) ====";
constexpr char EndInstalled[] = "==== launcher run end (installed + handoff) ====";
constexpr char EndCancelled[] = "==== launcher run end (cancelled) ====";
const std::string SignedOk = "version check: signature OK (key " QO_TRUSTED_KEY ")";
std::string NotSigned(const std::string& reason) {
    return "version check: version.txt not signed by a known key (" + reason + ")";
}
const std::string Tools = "python3 \"" QO_SOURCE_DIR "/tools/";
const std::string TrustedKeys = "\"" QO_TEST_KEYS "/trusted/" QO_TRUSTED_KEY ".pub\"";
const std::string SignTrusted = "--sign \"" QO_TEST_KEYS "/trusted/" QO_TRUSTED_KEY ".pem\"",
                  SignOther = "--sign \"" QO_TEST_KEYS "/other/" QO_OTHER_KEY ".pem\"";

// Something a row does to the machine before the run; what it returns undoes it afterwards.
using Undo = std::function<void()>;
using Arrangement = std::function<Undo(const std::string& folder)>;

struct Row {
    const char* name;
    // The machine before the run. Empty: a fresh, registered, empty install folder. Installed:
    // the same, holding an installed game. Unregistered: nothing registered (or .registration),
    // so the picker comes, and .choose is typed into it. Kept: as the row before left it.
    enum Start { Empty, Installed, Unregistered, Kept } start = Empty;
    const char* profile = nullptr;  // the player's profile folder in Root; null: one of the row's own
    std::string folder = "";        // "": a folder of the row's own
    std::optional<Registration> registration = std::nullopt;
    Arrangement arrange = nullptr;
    std::string program = "";  // "": the installer as built
    std::vector<Reply> version = {};               // none: 404
    std::vector<Reply> archive = {};
    bool listening = true;
    const char* choose = nullptr;  // null: the player cancels the folder dialog
    std::vector<std::string> dialogs = {};
    DWORD exitCode = 1;
    // These lines in this order, the last one last ('*' at the end matches by the start); with
    // wholeLog, exactly these last lines. None: no log anywhere.
    std::vector<std::string> log = {};
    bool wholeLog = false;
    size_t requests = 0;
    bool recorded = false;  // marker, local version file and shortcut written by this run
    size_t launcherStarts = 0;
    // The operators' server check, run against the same replies first: its exit code (-1: not run).
    int serverCheck = -1;
    bool kept = false;  // game.zip and its record left for the next run
    std::vector<std::string> ranges = {};  // when given: the Range of each request for game.zip
};

bool Matches(const std::string& expected, const std::string& line) {
    return expected.back() == '*' ? line.rfind(expected.substr(0, expected.size() - 1), 0) == 0 : line == expected;
}

// Empty when the log ends as the row says, else the first expected line it misses.
std::string MissingFromLog(const std::vector<std::string>& log, const Row& row) {
    const std::vector<std::string>& expected = row.log;
    size_t next = 0;
    for (size_t i = row.wholeLog && log.size() > expected.size() ? log.size() - expected.size() : 0;
         i < log.size() && next < expected.size(); ++i) {
        if (Matches(expected[next], log[i])) ++next;
        else if (row.wholeLog) break;
    }
    if (next < expected.size()) return expected[next];
    return Matches(expected.back(), log.back()) ? "" : expected.back();
}

Arrangement Doing(std::function<void(const std::string& folder)> change, Undo undo = [] {}) {
    return [change, undo](const std::string& folder) {
        change(folder);
        return undo;
    };
}

// Wine's load order for DLLs of one program, kept in the registry since Wine reads
// WINEDLLOVERRIDES only from the Unix environment: "native,builtin" prefers a DLL beside the
// program, as Windows' search order does; "" refuses the DLL.
Undo SetDllOrder(const std::string& program, const std::vector<std::string>& dlls, const char* order) {
    const std::string key = "Software\\Wine\\AppDefaults\\" + program + "\\DllOverrides";
    for (const std::string& dll : dlls) {
        RegSetKeyValueA(HKEY_CURRENT_USER, key.c_str(), dll.c_str(), REG_SZ, order, std::strlen(order) + 1);
    }
    return [key] { RegDeleteTreeA(HKEY_CURRENT_USER, key.c_str()); };
}

// Another program holds the file open and shares nothing, as a running program or a virus
// scanner does; the file is left as it was.
Undo HoldOpen(const std::string& path) {
    WriteBytes(path, "held");
    HANDLE held = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    return [held, path] {
        CloseHandle(held);
        EXPECT_EQ(ReadBytes(path), "held");
        DeleteFileA(path.c_str());
    };
}

// The player's first run starts the program from a Downloads folder, with no profile, so the
// picker proposes a folder beside the program. DLLs named like ones the installer and its
// dialogs load by name lie there too, and Wine prefers a DLL there, as Windows' search order does.
Arrangement FromDownloads(const std::string& downloads, const std::string& program) {
    return [=](const std::string&) -> Undo {
        const std::vector<std::string> dlls = {"winhttp", "comctl32", "uxtheme"};
        SetEnvironmentVariableA("USERPROFILE", nullptr);
        FreshFolder(downloads);
        CopyFileA(BuiltProgram(program).c_str(), (downloads + "\\QuarnfellOstvale.exe").c_str(), FALSE);
        const Undo order = SetDllOrder("QuarnfellOstvale.exe", dlls, "native,builtin");
        for (const std::string& dll : dlls) CopyFileA(BuiltProgram("planted.dll").c_str(), (downloads + "\\" + dll + ".dll").c_str(), FALSE);
        return [=] {
            for (const std::string& dll : dlls) EXPECT_FALSE(Exists(downloads + "\\" + dll + ".dll.loaded")) << dll;
            order();
        };
    };
}

std::string Published(const std::string& zip, const std::string& options) {
    const std::string folder = FreshFolder("C:\\qo-tests\\publish");
    WriteBytes(folder + "\\game.zip", zip);
    const HostRun run = RunOnHost(Tools + "publish.py\" 1.0.0 game.zip served " + options, folder.c_str(), 60000);
    EXPECT_EQ(run.exitCode, 0) << run.output;
    return ReadBytes(folder + "\\served\\version.txt");
}

// What the operators' check of a live server says of these replies, for an installer with the
// test key or without keys; it asks as the installer does.
int CheckServer(const Row& row, bool keyed) {
    HttpServer server;
    server.Serve("/version.txt", row.version);
    server.Serve("/game.zip", row.archive);
    const HostRun run =
        RunOnHost(Tools + "check_server.py\" " + Url + (keyed ? " --keys " + TrustedKeys : ""), nullptr, 60000);
    for (const Request& request : server.Requests()) EXPECT_EQ(request.userAgent, "QuarnfellOstvaleLauncher/1.0");
    EXPECT_NE(run.exitCode, -1) << run.output;
    return run.exitCode;
}

std::string ShellFolder(const char* name, const std::string& value) {
    constexpr char key[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";
    char old[MAX_PATH] = {};
    DWORD size = sizeof old;
    RegGetValueA(HKEY_CURRENT_USER, key, name, RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, old, &size);
    RegSetKeyValueA(HKEY_CURRENT_USER, key, name, REG_EXPAND_SZ, value.c_str(), value.size() + 1);
    return old;
}
}  // namespace

TEST(Installer, EveryRunEndsAsThePlayerExpects) {
    FreshFolder(Root);
    // The desktop moves into the test folder, as the shell records a redirected desktop.
    const std::string savedDesktop = ShellFolder("Desktop", FreshFolder(Desktop));
    const std::string launcher = ReadBytes(BuiltProgram("stand_in_launcher.exe"));
    const std::string game = MakeZip({{"Launcher_x64_win.exe", launcher}, {"Game_x64_win.exe", "the game"},
                                      {"data/", ""}, {"data/maps/ostvale.map", std::string(200000, 'm')},
                                      {"version.txt", "a version file of the archive's own, longer than the copy the installer writes over it\r\n"}});
    const std::string digest = Sha256Hex(game), size = std::to_string(game.size());
    const std::string noLauncher = MakeZip({{"Game_x64_win.exe", "g"}});
    const std::string badLauncher = MakeZip({{"Launcher_x64_win.exe", "no program"}, {"Game_x64_win.exe", "g"}});
    const std::string corrupt = std::string("PK\x03\x04", 4) + std::string(5000, '\x7f');
    // Drive F: holds 2 MiB; this archive does not fit.
    const std::string large = MakeZip({{"Launcher_x64_win.exe", launcher}, {"Game_x64_win.exe", "g"},
                                       {"data/blob.pak", std::string(3 << 20, 'b')}});
    const auto published = [](const std::string& zip) { return Reply{.body = "1.0.0\n" + Sha256Hex(zip) + "\n"}; };
    const Reply manifest = published(game), ok{.body = game}, wrong{.body = game + "tampered"};
    // The player closes the progress window once two pieces have come.
    const Reply trickle{.body = game, .pieceSize = 16384, .pauseMs = 100, .afterPiece = [](size_t sent) {
                            if (sent == 2) CloseLikeUser(FindWindowA("QFUpdaterWnd", nullptr));
                        }};
    const std::string upperDigest = CharUpperA(std::string(digest).data());
    // Chosen in the first row, which the picker offers <profile1>\QuarnfellOstvale.
    // The test bed's ANSI code page is Windows-1252, in which the plain build logs.
    const std::string firstRun = Root + "\\profile1\\QuarnfellOstvale\\Spielstände Östvale",
                      firstRunAnsi = Root + "\\profile1\\QuarnfellOstvale\\Spielst\xe4nde \xd6stvale";
    const std::string handOff = Root + "\\hand off ä\\", gone = Root + "\\gone";
    char system[MAX_PATH] = {};
    const std::string tar = std::string(system, GetSystemDirectoryA(system, MAX_PATH)) + "\\tar.exe";
    // The longest file of the game, data\maps\ostvale.map, ends at the path limit: 259 characters.
    const std::string longest =
        Root + "\\" + std::string(MAX_PATH - 1 - Root.size() - 1 - std::strlen("\\data\\maps\\ostvale.map"), 'n');
    // A keyed installer, and version files the publish tool signed; the network's own archive
    // is one of the broken ones above.
    const std::string keyed = BuiltProgram("keyed\\QuarnfellOstvale.exe");
    const std::string signedFile = Published(game, SignTrusted), notMatching = "signature does not match (key " QO_TRUSTED_KEY ")";
    const std::string signatureLines = signedFile.substr(signedFile.find('\n', signedFile.find('\n') + 1));
    // A key change: a line by a key the program does not know, then the trusted one's.
    const std::string twoKeys = Published(game, SignOther + " " + SignTrusted + " --expires 2999-12-31");
    const auto padded = [&](size_t length) { return Reply{.body = twoKeys + std::string(length - twoKeys.size() - 1, 'p') + "\n"}; };
    const std::string forged = "1.0.0\r[2026-11-25 12:00:00] " + SignedOk;
    // Names that no ANSI code page holds together: a profile in Devanagari, a Polish folder
    // picked under it, a Japanese one registered, whose 90 letters take 270 bytes in UTF-8.
    const std::string devanagari = Root + "\\अनुराधा", polish = devanagari + "\\QuarnfellOstvale\\Gry Łukasza";
    // 98 letters, 294 bytes in UTF-8: more than a narrow read of MAX_PATH bytes holds.
    std::string longLetters;
    for (int times = 0; times < 14; ++times) longLetters += "अनुराधा";
    const std::string LinkMade = "desktop shortcut created: " + Link;
    std::string japanese = Root + "\\";
    for (int letters = 0; letters < 90; letters += 3) japanese += "ゲーム";
    // A link that breaks off every MiB, and the rest of the large archive asked for at each break.
    const std::string largeSigned = Published(large, SignTrusted), largeSize = std::to_string(large.size());
    const Reply cutEveryMiB{.body = large, .etag = "\"v1\"", .cutAfter = 1 << 20};
    std::vector<std::string> restEveryMiB;
    for (size_t at = 0; at < large.size(); at += 1 << 20) restEveryMiB.push_back(at ? "bytes=" + std::to_string(at) + "-" : "");
    const std::string afterFirstMiB = "1048576 of " + largeSize, rest = "download: asking for the rest from byte " + afterFirstMiB;
    const auto keptNote = [&](size_t held) {
        return std::to_string(100 * held / large.size()) +
               "% of the game's download is kept. Run the installer again to continue where it stopped.";
    };
    const Row handsOff = {.name = "player's build: that folder hands off", .start = Row::Kept, .program = keyed, .exitCode = 0,
                          .log = {RunStart, "install path: *", HandOff, Started, EndHandOff}, .wholeLog = true, .launcherStarts = 2};

    const Row rows[] = {
        {.name = "a first run into the chosen folder, no version file yet", .start = Row::Unregistered,
         .choose = "Spielstände Östvale", .dialogs = {Picker, NoServer},
         .log = {RunStart, "install path: " + firstRunAnsi, "version check: GET " + Url + "/version.txt",
                 "winhttp: unexpected HTTP status 404 for /version.txt (expected 200)", NoFetch},
         .wholeLog = true, .requests = 1},
        {.name = "the next run goes straight there and installs", .start = Row::Kept, .folder = firstRun,
         .arrange = Doing([](const std::string&) { WriteBytes(Link, "an old link"); }),
         .version = {{.body = "1.0.0\r\n" + upperDigest + "  \r\nnotes: ignored\r\n"}},
         .archive = {{.body = game, .pieceSize = 65536, .pauseMs = 50}}, .dialogs = {Success}, .exitCode = 0,
         .log = {NoFetch, RunStart, "install path: " + firstRunAnsi, "version check: GET " + Url + "/version.txt",
                 "winhttp: HTTP 200 OK for " + Url + "/version.txt", "version check: server_version=1.0.0",
                 "path taken: fresh install -> download game.zip", "download: attempt 1 of 2",
                 "winhttp: HTTP 200 OK for " + Url + "/game.zip", "winhttp: Content-Length=" + size + " bytes",
                 "winhttp: download complete, " + size + " bytes written (HTTP 200)", "sha256: server=" + digest,
                 "sha256: local =" + digest, "sha256: OK (archive matches server hash)", "tar: exit code 0", Unpacked,
                 "version.txt: local version written -> 1.0.0", "install.ok written -> folder marked as installed",
                 "desktop shortcut created: " + Link, Started, EndInstalled},
         .wholeLog = true, .requests = 2, .recorded = true, .launcherStarts = 1, .serverCheck = 0},
        {.name = "a first run into a folder that holds the game hands off at once", .start = Row::Unregistered,
         .arrange = Doing([](const std::string& folder) { MakeInstalledFolder(FreshFolder(folder)); }), .choose = "Installed", .dialogs = {Picker}, .exitCode = 0,
         .log = {RunStart, "install path: *", HandOff, Started, EndHandOff}, .wholeLog = true, .launcherStarts = 1},
        // Without comdlg32.dll the picker cannot be created, as where its class is missing.
        {.name = "a first run without the picker offers the browse dialog", .start = Row::Unregistered,
         .arrange = [](const std::string&) { return SetDllOrder("QuarnfellOstvale.exe", {"comdlg32"}, ""); },
         .dialogs = {Browse}, .exitCode = 0},

        // The player's build (keyed, in the UTF-8 code page) carries every name whole, picked or
        // registered; the plain build cannot even read the registration back.
        {.name = "player's build: a Polish folder picked under a Devanagari profile", .start = Row::Unregistered,
         .profile = "अनुराधा", .program = keyed, .version = {{.body = signedFile}}, .archive = {ok}, .choose = "Gry Łukasza",
         .dialogs = {Picker, Success}, .exitCode = 0, .log = {RunStart, "install path: " + polish, LinkMade, EndInstalled},
         .requests = 2, .recorded = true, .launcherStarts = 1},
        handsOff,
        {.name = "the plain build: the same registration names nothing it can spell", .start = Row::Kept,
         .dialogs = {Picker}, .exitCode = 0, .log = {EndHandOff}, .wholeLog = true, .launcherStarts = 2},
        {.name = "player's build: a Japanese folder registered by an earlier run", .folder = japanese, .program = keyed,
         .version = {{.body = signedFile}}, .archive = {ok}, .dialogs = {Success}, .exitCode = 0,
         .log = {RunStart, "install path: " + japanese, LinkMade, EndInstalled}, .requests = 2, .recorded = true, .launcherStarts = 1},
        handsOff,
        {.name = "player's build: from Downloads under the Devanagari profile, none set, DLLs planted beside it",
         .start = Row::Unregistered, .folder = devanagari + "\\Downloads\\QuarnfellOstvale\\Game",
         .arrange = FromDownloads(devanagari + "\\Downloads", "keyed\\QuarnfellOstvale.exe"),
         .program = devanagari + "\\Downloads\\QuarnfellOstvale.exe", .version = {{.body = signedFile}}, .archive = {ok},
         .choose = "Game", .dialogs = {Picker, Success}, .exitCode = 0, .log = {LinkMade, EndInstalled}, .requests = 2,
         .recorded = true, .launcherStarts = 1},
        {.name = "player's build: a profile of 98 Devanagari letters", .start = Row::Unregistered, .profile = longLetters.c_str(),
         .program = keyed, .dialogs = {Picker}, .exitCode = 0},

        // A registration the installer cannot use reads as none: the picker comes again, and
        // cancelling it leaves the value as it was.
        {.name = "a registered folder that is gone", .start = Row::Unregistered,
         .registration = FolderRegistration(gone),
         .arrange = Doing([](const std::string&) {}, [gone] { EXPECT_FALSE(Exists(gone)); }), .dialogs = {Picker},
         .exitCode = 0},
        {.name = "a registration that is no text, though its bytes name a folder", .start = Row::Unregistered,
         .registration = Registration{REG_BINARY, Root + '\0'}, .dialogs = {Picker}, .exitCode = 0},

        {.name = "an installed folder only starts the launcher", .start = Row::Installed, .folder = handOff,
         .exitCode = 0, .log = {RunStart, "install path: " + Root + "\\hand off \xe4\\", HandOff, Started, EndHandOff}, .wholeLog = true,
         .launcherStarts = 1},
        {.name = "an installed folder whose launcher is no program", .start = Row::Installed,
         .arrange = Doing([](const std::string& folder) { WriteBytes(folder + "\\Launcher_x64_win.exe", "no"); }),
         .dialogs = {Error("Could not start the Quarnfell Ostvale Launcher.\n" + NotStarted)}, .exitCode = 0,
         .log = {HandOff, "CreateProcessA(launcher) FAILED, GetLastError=*", EndHandOff}, .wholeLog = true},
        {.name = "a folder without the marker, no server", .start = Row::Installed,
         .arrange = Doing([](const std::string& folder) { DeleteFileA((folder + "\\install.ok").c_str()); }),
         .listening = false, .dialogs = {NoServer},
         .log = {"version check: GET*", "winhttp: WinHttpSendRequest failed, GetLastError=12029", NoFetch},
         .wholeLog = true},
        {.name = "a folder without the game", .start = Row::Installed,
         .arrange = Doing([](const std::string& folder) { DeleteFileA((folder + "\\Game_x64_win.exe").c_str()); }),
         .dialogs = {NoServer}, .log = {NoFetch}, .requests = 1},
        {.name = "a folder without the launcher", .start = Row::Installed,
         .arrange = Doing([](const std::string& folder) { DeleteFileA((folder + "\\Launcher_x64_win.exe").c_str()); }),
         .dialogs = {NoServer}, .log = {NoFetch}, .requests = 1},

        {.name = "version file: empty", .version = {{}}, .dialogs = {BadVersion},
         .log = {"version check: server_version=", Malformed}, .wholeLog = true, .requests = 1},
        {.name = "version file: a digest, but no version", .version = {{.body = "\r\n" + digest + "\r\n"}},
         .dialogs = {BadVersion}, .log = {"version check: server_version=", Malformed}, .wholeLog = true, .requests = 1},
        {.name = "version file: a carriage return inside the version line", .version = {{.body = forged + "\n"}},
         .dialogs = {BadVersion}, .log = {"version check: server_version=" + forged, Malformed}, .wholeLog = true, .requests = 1},
        {.name = "version file: 1 MiB", .version = {{.body = std::string(1 << 20, 'x')}}, .dialogs = {BadVersion},
         .log = {"version check: server_version=xxx*", Malformed}, .requests = 1},
        {.name = "version file: connection reset",
         .version = {{.body = "1.0.0\n", .announced = "100", .reset = true, .pauseMs = 300}},
         .dialogs = {NoServer},
         .log = {"winhttp: WinHttpQueryDataAvailable(version.txt) failed, GetLastError=10054", NoFetch},
         .wholeLog = true, .requests = 1},

        {.name = "archive: answered 206 Partial Content", .version = {manifest},
         .archive = {{.status = 206, .body = game}}, .dialogs = {NotVerified},
         .log = {"winhttp: unexpected HTTP status 206 for /game.zip (expected 200)", Failed, Retry,
                 "winhttp: unexpected*", Failed, GaveUp},
         .wholeLog = true, .requests = 3},
        {.name = "archive: wrong twice", .version = {manifest}, .archive = {wrong}, .dialogs = {NotVerified},
         .log = {"sha256: MISMATCH -> deleted zip, retrying download", Retry, "sha256: MISMATCH -> deleted zip, giving up", GaveUp}, .requests = 3},
        {.name = "archive: broken off, then arrives", .version = {manifest},
         .archive = {{.body = game.substr(0, 100000), .announced = "1048576", .reset = true, .pauseMs = 300}, ok},
         .dialogs = {Success}, .exitCode = 0,
         .log = {"winhttp: WinHttpQueryDataAvailable failed*", Failed, Retry, EndInstalled}, .requests = 3,
         .recorded = true, .launcherStarts = 1},
        {.name = "archive: corrupt", .version = {published(corrupt)}, .archive = {{.body = corrupt}},
         .dialogs = {NotVerified}, .log = {"tar: exit code 1", NotUnpacked, GaveUp}, .wholeLog = true, .requests = 2,
         .serverCheck = 1},
        {.name = "archive: no launcher in it", .version = {published(noLauncher)}, .archive = {{.body = noLauncher}},
         .dialogs = {Error("The game files are incomplete.\nPlease run the installer again.")},
         .log = {Unpacked, "post-extract: expected exe(s) missing; aborting (no markers written)"}, .wholeLog = true,
         .requests = 2, .serverCheck = 1},
        {.name = "no tar.exe on the system",
         .arrange = Doing([&](const std::string&) { MoveFileA(tar.c_str(), (tar + ".away").c_str()); },
                          [&] { MoveFileA((tar + ".away").c_str(), tar.c_str()); }),
         .version = {manifest}, .archive = {ok}, .dialogs = {NotVerified},
         .log = {"tar: CreateProcessA(" + tar + ") failed, GetLastError=2", NotUnpacked, GaveUp}, .wholeLog = true,
         .requests = 2},
        // Small, so that the server is not left sending what nobody reads.
        {.name = "game.zip held by another program",
         .arrange = [](const std::string& folder) { return HoldOpen(folder + "\\game.zip"); },
         .version = {published(badLauncher)}, .archive = {{.body = badLauncher}}, .dialogs = {NotVerified},
         .log = {Retry, "winhttp: HTTP 200 OK*", "winhttp: Content-Length=*", "winhttp: CreateFileA(*", Failed, GaveUp},
         .wholeLog = true, .requests = 3},
        // A log line written while the drive is full is lost; the installer goes on regardless.
        {.name = "an install drive that fills up", .folder = "F:\\game", .version = {published(large)},
         .archive = {{.body = large}}, .dialogs = {NotVerified}, .log = {Failed, Retry, Failed, GaveUp},
         .requests = 3},
        {.name = "a folder whose longest file ends at the path limit", .folder = longest, .version = {manifest},
         .archive = {ok}, .dialogs = {Success}, .exitCode = 0, .log = {"install path: " + longest, EndInstalled},
         .requests = 2, .recorded = true, .launcherStarts = 1},
        {.name = "a desktop that cannot take the shortcut",
         .arrange = Doing([](const std::string&) { CreateDirectoryA(Link.c_str(), nullptr); },
                          [] { RemoveDirectoryA(Link.c_str()); }),
         .version = {manifest}, .archive = {ok}, .dialogs = {Success}, .exitCode = 0,
         .log = {"install.ok written -> folder marked as installed", Started, EndInstalled}, .wholeLog = true,
         .requests = 2, .recorded = true, .launcherStarts = 1},

        {.name = "the player closes the progress window during the retry", .version = {manifest},
         .archive = {wrong, trickle}, .exitCode = 0,
         .log = {Retry, "winhttp: HTTP 200 OK*", "winhttp: Content-Length=*", "winhttp: download CANCELLED by user after *",
                 "download: CANCELLED by user", "cancelled by user during download; nothing installed", EndCancelled},
         .wholeLog = true, .requests = 3},
        {.name = "the installed launcher cannot start", .version = {published(badLauncher)},
         .archive = {{.body = badLauncher}},
         .dialogs = {Success, Error("Install complete, but the launcher could not be started.\n" + NotStarted)},
         .exitCode = 0, .log = {"CreateProcessA(launcher) FAILED, GetLastError=*", EndInstalled}, .wholeLog = true,
         .requests = 2, .recorded = true},
        {.name = "Windows' HTTP client cannot be loaded",
         .arrange = [](const std::string&) { return SetDllOrder("QuarnfellOstvale.exe", {"winhttp"}, ""); },
         .dialogs = {Error("A part of Windows that the installer needs is missing or damaged.\n"
                           "Repair Windows and run the installer again.")},
         .log = {"version check: GET*", "dll: cannot load winhttp.dll, GetLastError=126"},
         .wholeLog = true},

        // A program built with a key takes only version files signed by it; whoever is on the
        // network path can change every byte the server sends, but cannot sign.
        {.name = "keyed: the network's own archive, with its digest and no signature", .program = keyed,
         .version = {published(badLauncher)}, .archive = {{.body = badLauncher}}, .dialogs = {BadVersion},
         .log = {"version check: server_version=1.0.0", NotSigned("no signature line")}, .wholeLog = true,
         .requests = 1, .serverCheck = 1},
        {.name = "keyed: the network's own archive, under a line the key signed", .program = keyed,
         .version = {{.body = "1.0.0\n" + Sha256Hex(badLauncher) + signatureLines}}, .archive = {{.body = badLauncher}},
         .dialogs = {BadVersion}, .log = {NotSigned(notMatching)}, .wholeLog = true, .requests = 1, .serverCheck = 1},
        {.name = "keyed: a signature that has expired", .program = keyed,
         .version = {{.body = Published(game, SignTrusted + " --expires 2001-01-01")}}, .archive = {ok},
         .dialogs = {BadVersion}, .log = {NotSigned("expired at 2001-01-01T00:00:00Z (key " QO_TRUSTED_KEY ")")},
         .wholeLog = true, .requests = 1, .serverCheck = 1},
        {.name = "keyed: an archive announced longer, then shorter, than the signed size", .program = keyed,
         .version = {{.body = signedFile}},
         .archive = {{.body = game + "more"}, {.body = game, .announced = std::to_string(game.size() - 1)}}, .dialogs = {NotVerified},
         .log = {"download: Content-Length " + std::to_string(game.size() + 4) + " is not the signed size " + size, Failed,
                 Retry, "download: Content-Length " + std::to_string(game.size() - 1) + " is not the signed size " + size,
                 Failed, GaveUp}, .requests = 3, .serverCheck = 1},
        {.name = "keyed: the archive's length with leading zeros", .program = keyed, .version = {{.body = signedFile}},
         .archive = {{.body = game, .announced = "000" + size}}, .dialogs = {Success}, .exitCode = 0,
         .log = {"winhttp: Content-Length=" + size + " bytes", EndInstalled}, .requests = 2, .recorded = true,
         .launcherStarts = 1, .serverCheck = 0},
        {.name = "keyed: 65,536 bytes, signed by an unknown key and the trusted one until 2999", .program = keyed,
         .version = {padded(65536)}, .archive = {ok}, .dialogs = {Success}, .exitCode = 0, .log = {SignedOk, EndInstalled},
         .requests = 2, .recorded = true, .launcherStarts = 1, .serverCheck = 0},
        {.name = "keyed: the same, one byte longer", .program = keyed, .version = {padded(65537)}, .archive = {ok},
         .dialogs = {BadVersion}, .log = {"version check: server_version=1.0.0", "version check: version.txt longer than 65536 bytes; refused"},
         .wholeLog = true, .requests = 1, .serverCheck = 1},
        // Bytes no signature vouches for yet never reach the log as they are.
        {.name = "keyed: a version line that would forge a log line, and no digest", .program = keyed,
         .version = {{.body = forged + "\n"}}, .dialogs = {BadVersion},
         .log = {"version check: server_version=1.0.0\\x0D[2026-11-25 12:00:00] " + SignedOk, Malformed}, .wholeLog = true,
         .requests = 1},
        // A second name for game.zip keeps the first attempt's file after the installer deletes it.
        {.name = "keyed: an archive without a length that runs one byte past the signed size",
         .arrange = [&](const std::string& folder) -> Undo {
             WriteBytes(folder + "\\game.zip", "");
             CreateHardLinkA((folder + "\\held.zip").c_str(), (folder + "\\game.zip").c_str(), nullptr);
             return [&, folder] {
                 const size_t held = ReadBytes(folder + "\\held.zip").size();
                 EXPECT_TRUE(held > 0 && held <= game.size()) << held << " bytes on disk, signed " << size;
             };
         },
         .program = keyed, .version = {{.body = signedFile}}, .archive = {{.body = game + "x", .withoutLength = true}},
         .dialogs = {NotVerified},
         .log = {"winhttp: Content-Length=0 bytes", "download: more than the signed " + size + " bytes; stopped", Failed,
                 Retry, "download: more than the signed*", Failed, GaveUp}, .requests = 3, .serverCheck = 1},

        // The player's build goes on where a broken download stopped, within a run and across
        // runs, and adds only the rest of the very response that started the file.
        {.name = "player's build: a link cut every MiB", .program = keyed, .version = {{.body = largeSigned}},
         .archive = {cutEveryMiB}, .dialogs = {Success}, .exitCode = 0,
         .log = {"download: broken off at byte " + afterFirstMiB + "; asking for the rest at once", rest + " (If-Range: \"v1\")",
                 "winhttp: HTTP 206 Partial Content for " + Url + "/game.zip, Content-Range=bytes 1048576-*",
                 "sha256: OK (archive matches server hash)", EndInstalled},
         .requests = 1 + restEveryMiB.size(), .recorded = true, .launcherStarts = 1, .ranges = restEveryMiB},
        {.name = "the plain build on that link starts again, twice at most", .version = {published(large)},
         .archive = {cutEveryMiB}, .dialogs = {NotVerified},
         .log = {"winhttp: download complete, 1048576 bytes written (HTTP 200)", "sha256: MISMATCH -> deleted zip, retrying download",
                 Retry, "sha256: MISMATCH -> deleted zip, giving up", GaveUp}, .requests = 3, .ranges = {"", ""}},
        {.name = "player's build: that link without ETag or Last-Modified", .program = keyed, .version = {{.body = largeSigned}},
         .archive = {{.body = large, .cutAfter = 1 << 20}}, .dialogs = {NotVerified},
         .log = {"download: no length, ETag or Last-Modified to resume by*", Failed, Retry, Failed, GaveUp}, .requests = 3,
         .ranges = {"", ""}},
        {.name = "player's build: a server that ignores Range, its file replaced meanwhile", .program = keyed,
         .version = {{.body = largeSigned}},
         .archive = {{.body = large, .headers = "ETag: \"v1\"\r\n", .cutAfter = 1 << 20},
                     {.body = large, .headers = "ETag: \"v2\"\r\n", .cutAfter = 2 << 20},
                     {.body = large, .headers = "Last-Modified: Wed, 25 Nov 2026 12:00:00 GMT\r\n"}},
         .dialogs = {Success}, .exitCode = 0,
         .log = {"download: the server sent the whole archive (HTTP 200); starting again from byte 0",
                 "download: broken off at byte " + std::to_string(2 << 20) + "*", EndInstalled},
         .requests = 4, .recorded = true, .launcherStarts = 1, .ranges = {"", "bytes=1048576-", "bytes=2097152-"}},
        {.name = "player's build: answers for another range, or of another length, are never added", .program = keyed,
         .version = {{.body = largeSigned}},
         .archive = {cutEveryMiB, {.status = 206, .body = large.substr(0, 1000), .headers = "Content-Range: bytes 0-999/" + largeSize + "\r\n"},
                     cutEveryMiB, {.status = 206, .body = large.substr(1 << 20),
                                   .headers = "Content-Range: bytes 1048576-" + std::to_string(large.size() - 1) + "/" +
                                              std::to_string(large.size() + 1) + "\r\n"},
                     {.body = large, .etag = "\"v1\""}},
         .dialogs = {Success}, .exitCode = 0,
         .log = {"download: that is not the rest from byte " + afterFirstMiB + "; starting again from byte 0",
                 "download: nothing new came; asking again in 1 s", "download: broken off at byte " + afterFirstMiB + "*",
                 "download: that is not the rest from byte " + afterFirstMiB + "; starting again from byte 0", EndInstalled},
         .requests = 6, .recorded = true, .launcherStarts = 1, .ranges = {"", "bytes=1048576-", "", "bytes=1048576-", ""}},
        // A reset may take with it what the client had not read yet; 64 KiB it has.
        {.name = "player's build: the link goes down for good after a reset", .program = keyed, .version = {{.body = largeSigned}},
         .archive = {{.body = large, .reset = true, .pauseMs = 500, .etag = "\"v1\"", .cutAfter = 65536}, {.status = 503}},
         .dialogs = {Error(NotVerified.substr(NotVerified.find(']') + 2) + "\n\n" + keptNote(65536))},
         .log = {"winhttp: WinHttpQueryDataAvailable failed*", "download: broken off at byte 65536 of*",
                 "download: nothing new came; asking again in 4 s", "download: nothing new in 4 requests in a row; giving up",
                 "download: 65536 of " + largeSize + " bytes kept for the next run", Failed, GaveUp},
         .requests = 6, .kept = true},
        {.name = "player's build: the next run for another archive starts afresh", .start = Row::Kept, .program = keyed,
         .version = {{.body = signedFile}}, .archive = {ok}, .dialogs = {Success}, .exitCode = 0,
         .log = {"download: the kept game.zip is not of this archive; starting from byte 0", EndInstalled}, .requests = 2,
         .recorded = true, .launcherStarts = 1, .ranges = {""}},
        {.name = "player's build: the player closes the window while it waits to ask again", .program = keyed,
         .version = {{.body = largeSigned}},
         .archive = {cutEveryMiB, {.status = 503, .body = "busy", .afterPiece = [](size_t) { CloseLikeUser(FindWindowA("QFUpdaterWnd", nullptr)); }}},
         .dialogs = {"Quarnfell Ostvale [information] " + keptNote(1 << 20)}, .exitCode = 0,
         .log = {"download: CANCELLED by user while waiting to ask again", "download: " + afterFirstMiB + " bytes kept for the next run",
                 "download: CANCELLED by user", "cancelled by user during download; nothing installed", EndCancelled},
         .wholeLog = true, .requests = 3, .kept = true},
        {.name = "player's build: the next run asks for the rest", .start = Row::Kept, .program = keyed,
         .version = {{.body = largeSigned}}, .archive = {{.body = large, .etag = "\"v1\""}}, .dialogs = {Success}, .exitCode = 0,
         .log = {"download: going on with the " + afterFirstMiB + " bytes an earlier run kept", rest + "*", EndInstalled},
         .requests = 2, .recorded = true, .launcherStarts = 1, .ranges = {"bytes=1048576-"}},
    };

    std::string folder;
    int number = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        // The picker proposes <profile>\QuarnfellOstvale; every row has a profile of its own.
        ++number;
        const std::string profile = Root + "\\" + (row.profile ? row.profile : "profile" + std::to_string(number));
        const std::string proposed = profile + "\\QuarnfellOstvale";
        SetEnvironmentVariableA("USERPROFILE", profile.c_str());
        if (row.start != Row::Kept) {
            const bool typed = row.choose && *row.choose;
            folder = !row.folder.empty() ? row.folder
                     : row.start != Row::Unregistered ? Root + "\\" + std::to_string(number)
                     : typed ? proposed + "\\" + row.choose : proposed;
            if (GetDriveTypeA((folder.substr(0, 2) + "\\").c_str()) == DRIVE_NO_ROOT_DIR) {
                std::printf("[ LEFT OUT ] %s: the test bed has no drive %s\n", row.name, folder.substr(0, 2).c_str());
                continue;
            }
            // A folder typed into a proposed one is made only once the dialog is up.
            if (row.start != Row::Unregistered || (typed && !row.folder.empty())) FreshFolder(folder);
            if (row.start == Row::Installed) MakeInstalledFolder(folder);
            WriteRegistration(row.registration ? *row.registration
                              : row.start == Row::Unregistered ? Registration{} : FolderRegistration(folder));
        }
        if (row.serverCheck >= 0) {
            EXPECT_EQ(CheckServer(row, row.program == keyed), row.serverCheck) << "the operators' server check";
        }
        // Every request must find the folder registered and its log begun.
        const std::string log = folder + "\\launcher.log";
        std::optional<HttpServer> server;
        if (row.listening) {
            server.emplace([&] { return ReadRegistration() == FolderRegistration(folder) && Exists(log) ? "" : "early"; });
            if (!server->Listening()) continue;
            if (!row.version.empty()) server->Serve("/version.txt", row.version);
            if (!row.archive.empty()) server->Serve("/game.zip", row.archive);
        }
        DeleteFileA(Link.c_str());
        const Undo undo = row.arrange ? row.arrange(folder) : nullptr;
        const Registration registeredBefore = ReadRegistration();
        const std::string markedBefore = ReadBytes(folder + "\\install.ok"), versionBefore = ReadBytes(folder + "\\version.txt");
        bool recordedAtSuccess = false, proposedAtDialog = false;

        const std::string program = row.program.empty() ? BuiltProgram("QuarnfellOstvale.exe") : row.program;
        const InstallerRun run = RunInstaller(program, [&](HWND dialog, const std::string& reading) {
            if (reading == Picker || reading == Browse) {
                // Made by the installer for the dialog to open in.
                proposedAtDialog = Exists(proposed);
                if (row.choose && *row.choose && !Exists(folder)) FreshFolder(folder);
                if (row.choose) TypeName(dialog, row.choose);
                Press(dialog, row.choose ? IDOK : IDCANCEL);
                return;
            }
            // Recorded before the success box, the launcher started only after it.
            if (reading == Success) {
                recordedAtSuccess = Exists(folder + "\\install.ok") && Exists(folder + "\\version.txt") &&
                                    LauncherStarts(folder, 0).empty();
            }
            Press(dialog, IDOK);
        });
        if (undo) undo();

        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_EQ(run.dialogs, row.dialogs);
        EXPECT_TRUE(run.dialogsStayed) << "a dialog went away before it was answered, or the progress window outlived the download";
        EXPECT_EQ(recordedAtSuccess, row.recorded);

        const std::vector<std::string> lines = LogMessages(log);
        if (row.log.empty()) {
            for (const std::string& where : {folder, proposed, BuiltProgram("")}) EXPECT_FALSE(Exists(where + "\\launcher.log"));
        } else {
            EXPECT_EQ(MissingFromLog(lines, row), "") << "the log ends with: " << (lines.empty() ? "" : lines.back());
        }
        for (const std::string& line : lines) EXPECT_LT(line.size(), 100000u) << "a log line too long";

        const std::vector<Request> requests = server ? server->Requests() : std::vector<Request>{};
        EXPECT_EQ(requests.size(), row.requests);
        std::vector<std::string> ranges;
        for (const Request& request : requests) {
            if (request.line == "GET /game.zip HTTP/1.1") ranges.push_back(request.range);
            EXPECT_TRUE(request.line == "GET /version.txt HTTP/1.1" || request.line == "GET /game.zip HTTP/1.1")
                << request.line;
            EXPECT_EQ(request.userAgent, "QuarnfellOstvaleLauncher/1.0");
            EXPECT_EQ(request.note, "") << "a request before the folder was registered and logged";
        }
        if (!row.ranges.empty()) {
            EXPECT_EQ(ranges, row.ranges);
        }
        if (row.program != keyed) {
            EXPECT_EQ(ranges, std::vector<std::string>(ranges.size(), "")) << "the plain build resumed";
        }
        EXPECT_EQ(ReadRegistration(), row.choose ? FolderRegistration(folder) : registeredBefore);
        if (row.start == Row::Unregistered && row.folder.empty()) {
            EXPECT_TRUE(proposedAtDialog) << "made for the picker to open in";
        }

        EXPECT_EQ(Exists(folder + "\\game.zip"), row.kept);
        EXPECT_EQ(Exists(folder + "\\game.zip.resume"), row.kept);
        EXPECT_EQ(ReadBytes(folder + "\\install.ok"), row.recorded ? "ok\r\n" : markedBefore);
        EXPECT_EQ(ReadBytes(folder + "\\version.txt"),
                  row.recorded ? "1.0.0\r\n" + Sha256Hex(row.archive.back().body) + "\r\n" : versionBefore);
        EXPECT_TRUE(!row.recorded || Exists(folder + "\\Game_x64_win.exe"));
        // A link is on the desktop exactly when the log says so, and it starts the launcher.
        const auto thisRun = std::find(lines.rbegin(), lines.rend(), RunStart).base();
        const bool linked = std::count(thisRun, lines.end(), "desktop shortcut created: " + Link) > 0;
        const std::string launcherPath = folder + (folder.back() == '\\' ? "" : "\\") + "Launcher_x64_win.exe";
        const Shortcut made{launcherPath, folder, "Play Quarnfell Ostvale", launcherPath + ",0"};
        EXPECT_EQ(ReadShellLink(Link), linked ? made : Shortcut{});
        // The platform drops a trailing separator from the working folder a program sees.
        const std::string started = "\"" + launcherPath + "\"\t" + folder.substr(0, folder.find_last_not_of('\\') + 1);
        EXPECT_EQ(LauncherStarts(folder, row.launcherStarts), std::vector<std::string>(row.launcherStarts, started));
    }
    ShellFolder("Desktop", savedDesktop);
    WriteRegistration({});
}
