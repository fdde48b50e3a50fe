// The installer behind a caching edge, as players meet it behind a CDN: Varnish in front of
// nginx, both real, where the installer connects (tests/edge/edge.sh). A release published in
// place meets an edge that mixes two releases; the cdn layout does not, while players install
// around a publish, and its origin sends each archive's body once.
#include <windows.h>
#include <winhttp.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "common/unique_handle.h"
#include "tests/support/host_shell.h"
#include "tests/support/test_bed.h"
#include "tests/support/ui_robot.h"

namespace {
const std::string Root = "C:\\qo-tests\\edge", Edge = QO_EDGE_DIR;
const std::string Tools = "python3 \"" QO_SOURCE_DIR "/tools/";
const std::string Success = "Quarnfell Ostvale [information] Quarnfell Ostvale installed successfully!*";
const std::string NotVerified = "Quarnfell Ostvale Launcher [error] The game could not be downloaded or verified.*";

// The game at one version: 1 MiB that no other version shares, so a mix of two never passes.
std::string Game(unsigned version) {
    std::mt19937 bytes(version);
    std::string data(1 << 20, '\0');
    std::generate(data.begin(), data.end(), [&] { return static_cast<char>(bytes()); });
    return MakeZip({{"Launcher_x64_win.exe", ReadBytes(BuiltProgram("stand_in_launcher.exe"))},
                    {"Game_x64_win.exe", "version " + std::to_string(version)}, {"data/blob.pak", data}});
}

void OnHost(const std::string& commandLine, const char* folder = nullptr) {
    const HostRun run = RunOnHost(commandLine, folder, 60000);
    ASSERT_EQ(run.exitCode, 0) << commandLine << "\n" << run.output;
}

void Publish(const std::string& zip, const std::string& version, const std::string& layout) {
    const std::string folder = FreshFolder(Root + "\\publish");
    WriteBytes(folder + "\\game.zip", zip);
    OnHost(Tools + "publish.py\" " + version + " game.zip \"" + Edge + "/" + layout + "\" --layout " + layout, folder.c_str());
}

int CheckServer() { return RunOnHost(Tools + "check_server.py\" http://127.0.0.1:8080", nullptr, 60000).exitCode; }

// A player's run: the box it showed (answered OK), its exit code, and the version it read.
struct Player {
    std::string folder;
    UniqueKernelHandle process;
    std::string box;
    DWORD exitCode = STILL_ACTIVE;
    std::string versionRead;
};

// Each player gets a fresh install folder, registered until its installer has read it (its log
// begun), so that several can run at once.
void Start(Player& player) {
    WriteRegistration(FolderRegistration(FreshFolder(player.folder)));
    STARTUPINFOA startup{.cb = sizeof startup};
    PROCESS_INFORMATION started{};
    std::string program = BuiltProgram("QuarnfellOstvale.exe"), commandLine = "\"" + program + "\"";
    ASSERT_TRUE(CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &startup, &started));
    CloseHandle(started.hThread);
    player.process.Reset(started.hProcess);
    for (int waited = 0; !Exists(player.folder + "\\launcher.log"); ++waited, Sleep(50)) {
        ASSERT_LT(waited, 200) << "the installer in " << player.folder << " had begun no log 10 s after its start";
    }
}

// Answers every box of the players' installers until all have ended; a minute at most.
void Finish(std::vector<Player>& players) {
    for (const DWORD start = GetTickCount(); GetTickCount() - start < 60000; Sleep(50)) {
        bool running = false;
        for (Player& player : players) {
            if (!GetExitCodeProcess(player.process.Get(), &player.exitCode) || player.exitCode != STILL_ACTIVE) continue;
            running = true;
            for (HWND window : ShownWindows(GetProcessId(player.process.Get()))) {
                if (ClassOf(window) != "#32770") continue;
                Sleep(300);  // read once it has painted
                player.box = ReadMessageBox(window);
                Press(window, IDOK);
            }
        }
        if (!running) break;
    }
    for (Player& player : players) {
        EXPECT_NE(player.exitCode, STILL_ACTIVE) << "the installer in " << player.folder << " had not ended after a minute";
        TerminateProcess(player.process.Get(), 1);
        for (const std::string& line : LogMessages(player.folder + "\\launcher.log")) {
            if (line.rfind("version check: server_version=", 0) == 0) player.versionRead = line.substr(30);
        }
    }
}

std::vector<Player> Install(const std::vector<std::string>& names) {
    std::vector<Player> players;
    for (const std::string& name : names) Start(players.emplace_back(Player{.folder = Root + "\\" + name}));
    Finish(players);
    return players;
}

bool Matches(const std::string& expected, const std::string& text) {
    return text.rfind(expected.substr(0, expected.size() - 1), 0) == 0;
}

// Installed this version, the one it read, and says so.
void ExpectInstalled(const Player& player, const std::string& version, const std::string& zip) {
    EXPECT_EQ(player.exitCode, 0u) << player.folder;
    EXPECT_TRUE(Matches(Success, player.box)) << player.box;
    EXPECT_EQ(ReadBytes(player.folder + "\\version.txt"), version + "\r\n" + Sha256Hex(zip) + "\r\n") << player.folder;
}

// GET as the installer asks, redirects followed; `midway` runs once the first 64 KiB have come.
std::string Download(INTERNET_PORT port, const wchar_t* path, const wchar_t* headers, std::function<void()> midway) {
    const UniqueInternet session(WinHttpOpen(L"QuarnfellOstvaleLauncher/1.0", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0));
    const UniqueInternet connection(WinHttpConnect(session.Get(), L"127.0.0.1", port, 0));
    const UniqueInternet request(WinHttpOpenRequest(connection.Get(), L"GET", path, nullptr, nullptr, nullptr, 0));
    WinHttpSetTimeouts(request.Get(), 10000, 10000, 10000, 10000);
    std::string body;
    if (!WinHttpSendRequest(request.Get(), headers, -1, nullptr, 0, 0, 0) || !WinHttpReceiveResponse(request.Get(), nullptr)) {
        return body;
    }
    char piece[65536];
    for (DWORD read = 0; WinHttpReadData(request.Get(), piece, sizeof piece, &read) && read > 0;) {
        body.append(piece, read);
        if (body.size() >= sizeof piece && midway) std::exchange(midway, nullptr)();
    }
    return body;
}
}  // namespace

TEST(Edge, ACacheNeverMixesTwoReleasesOfTheCdnLayout) {
    FreshFolder(Root);
    const std::string v1 = Game(1), v2 = Game(2);
    const std::string edgeTool = "\"" QO_SOURCE_DIR "/tests/edge/edge.sh\" use \"" + Edge + "\" ";

    // Published in place behind an edge that keeps game.zip for its default two minutes, as the
    // single-server site is served: the new version file comes with the old archive.
    OnHost(edgeTool + "plain");
    Publish(v1, "1.0", "plain");
    ExpectInstalled(Install({"plain 1"})[0], "1.0", v1);
    Publish(v2, "2.0", "plain");
    EXPECT_EQ(CheckServer(), 1) << "the mixed edge";
    const std::vector<Player> mixed = Install({"plain 2"});
    EXPECT_EQ(mixed[0].exitCode, 1u);
    EXPECT_TRUE(Matches(NotVerified, mixed[0].box)) << mixed[0].box;
    EXPECT_EQ(mixed[0].versionRead, "2.0");

    OnHost(edgeTool + "cdn");
    Publish(v1, "1.0", "cdn");
    ExpectInstalled(Install({"cdn 1"})[0], "1.0", v1);
    EXPECT_EQ(CheckServer(), 0);
    // A download under way at the switch ends with the bytes it began with, and so does one
    // resumed after it at an edge that never had them: the origin keeps the old archive.
    std::string resumed;
    const std::string downloaded = Download(8080, L"/game.zip", nullptr, [&] {
        Publish(v2, "2.0", "cdn");
        const std::string digest = Sha256Hex(v1);
        const std::wstring path = L"/archives/" + std::wstring(digest.begin(), digest.end()) + L".zip";
        resumed = v1.substr(0, 65536) + Download(8081, path.c_str(), L"Range: bytes=65536-", nullptr);
    });
    EXPECT_TRUE(downloaded == v1 && resumed == v1) << downloaded.size() << " and " << resumed.size() << " bytes";
    ExpectInstalled(Install({"cdn 2"})[0], "2.0", v2);
    EXPECT_EQ(CheckServer(), 0);

    // Players install around a rollback to 1.0. Each that read the version file after the
    // switch installs 1.0; one that read it before gets 2.0, or fails if it asked for the
    // archive only after the switch (the next run installs 1.0).
    std::vector<Player> players(4);
    for (size_t i = 0; i < players.size(); ++i) {
        players[i].folder = Root + "\\around " + std::to_string(i);
        if (i == 2) Publish(v1, "1.0", "cdn");
        Start(players[i]);
    }
    Finish(players);
    for (const Player& player : players) {
        if (player.versionRead == "1.0") {
            ExpectInstalled(player, "1.0", v1);
        } else if (player.exitCode == 0) {
            ExpectInstalled(player, "2.0", v2);
        } else {
            EXPECT_TRUE(Matches(NotVerified, player.box) && player.versionRead == "2.0") << player.box;
        }
    }
    EXPECT_EQ(CheckServer(), 0);

    // However many players fetched an archive, the origin sent its body once.
    const std::string log = ReadBytes("Z:" + Edge + "/origin-access.log");
    for (const std::string& zip : {v1, v2}) {
        const std::string fetched = "\"GET /archives/" + Sha256Hex(zip) + ".zip HTTP/1.1\" 200 ";
        size_t count = 0;
        for (size_t at = log.find(fetched); at != std::string::npos; at = log.find(fetched, at + 1)) ++count;
        EXPECT_EQ(count, 1u) << fetched;
    }
    WriteRegistration({});
}
