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
const std::string Root = "C:\\qo-tests\\edge", Edge = QO_EDGE_DIR, Tools = "python3 \"" QO_SOURCE_DIR "/tools/";

// The game at one version: 1 MiB that no other version shares, so a mix of two never passes.
std::string Game(unsigned version) {
    std::mt19937 bytes(version);
    std::string data(1 << 20, '\0');
    std::generate(data.begin(), data.end(), [&] { return static_cast<char>(bytes()); });
    return MakeZip({{"Launcher_x64_win.exe", ReadBytes(BuiltProgram("stand_in_launcher.exe"))},
                    {"Game_x64_win.exe", "version " + std::to_string(version)}, {"data/blob.pak", data}});
}

void OnHost(const std::string& commandLine, int exitCode, const char* folder = nullptr) {
    const HostRun run = RunOnHost(commandLine, folder, 60000);
    EXPECT_EQ(run.exitCode, exitCode) << commandLine << "\n" << run.output;
}

void Publish(const std::string& zip, const std::string& version, const std::string& layout, const std::string& options = "") {
    const std::string folder = FreshFolder(Root + "\\publish");
    WriteBytes(folder + "\\game.zip", zip);
    OnHost(Tools + "publish.py\" " + version + " game.zip \"" + Edge + "/" + layout + "\" --layout " + layout + options, 0,
           folder.c_str());
}

void CheckServer(int exitCode) { OnHost(Tools + "check_server.py\" http://127.0.0.1:8080", exitCode); }

// A player's installer. Its fresh install folder stays registered until the installer has
// begun its log there, so that several can run at once.
struct Player {
    std::string folder;
    UniqueKernelHandle process;
    DWORD exitCode = STILL_ACTIVE;
    std::string box;
};

void Start(Player& player, const std::string& name) {
    player.folder = Root + "\\" + name;
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

// "read V, installed V" or "read V, failed: <box>", once every box of every player has been
// answered OK and all have ended; one still running a minute later is ended.
std::vector<std::string> Outcomes(std::vector<Player>& players) {
    for (const DWORD start = GetTickCount(); GetTickCount() - start < 60000; Sleep(50)) {
        size_t running = 0;
        for (Player& player : players) {
            if (!GetExitCodeProcess(player.process.Get(), &player.exitCode) || player.exitCode != STILL_ACTIVE) continue;
            ++running;
            for (HWND window : ShownWindows(GetProcessId(player.process.Get()))) {
                if (ClassOf(window) != "#32770") continue;
                Sleep(300);  // read once it has painted
                player.box = ReadMessageBox(window);
                Press(window, IDOK);
            }
        }
        if (running == 0) break;
    }
    std::vector<std::string> outcomes;
    for (Player& player : players) {
        TerminateProcess(player.process.Get(), STILL_ACTIVE);
        std::string outcome = "read ";
        for (const std::string& line : LogMessages(player.folder + "\\launcher.log")) {
            if (line.rfind("version check: server_version=", 0) == 0) outcome += line.substr(30);
        }
        const std::string installed = ReadBytes(player.folder + "\\version.txt");
        const bool success = player.exitCode == 0 && player.box.find("installed successfully") != std::string::npos;
        outcomes.push_back(outcome + (player.exitCode == STILL_ACTIVE ? ", still running a minute after its start; ended"
                                      : success ? ", installed " + installed.substr(0, installed.find('\r'))
                                                : ", failed: " + player.box.substr(0, player.box.find('\n'))));
    }
    return outcomes;
}

std::string Install(const std::string& name) {
    std::vector<Player> player(1);
    Start(player[0], name);
    return Outcomes(player)[0];
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
    const std::string v1 = Game(1), v2 = Game(2), failed = "failed: Quarnfell Ostvale Launcher [error] The game could "
                                                         "not be downloaded or verified.";
    const std::string useEdge = "\"" QO_SOURCE_DIR "/tests/edge/edge.sh\" use \"" + Edge + "\" ";

    // Published in place behind an edge that keeps game.zip for its default two minutes, as the
    // single-server site is served: the new version file comes with the old archive.
    OnHost(useEdge + "plain", 0);
    Publish(v1, "1.0", "plain");
    EXPECT_EQ(Install("plain 1"), "read 1.0, installed 1.0");
    Publish(v2, "2.0", "plain");
    CheckServer(1);
    EXPECT_EQ(Install("plain 2"), "read 2.0, " + failed);

    OnHost(useEdge + "cdn", 0);
    Publish(v1, "1.0", "cdn");
    EXPECT_EQ(Install("cdn 1"), "read 1.0, installed 1.0");
    CheckServer(0);
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
    EXPECT_EQ(Install("cdn 2"), "read 2.0, installed 2.0");
    CheckServer(0);

    // Players install around a rollback to 1.0. Each that read the version file after the
    // switch installs 1.0; one that read it before gets 2.0, or fails if it asked for the
    // archive only after the switch (the next run installs 1.0).
    std::vector<Player> players(4);
    for (size_t i = 0; i < players.size(); ++i) {
        if (i == 2) Publish(v1, "1.0", "cdn");
        Start(players[i], "around " + std::to_string(i));
    }
    for (const std::string& outcome : Outcomes(players)) {
        EXPECT_TRUE(outcome == "read 1.0, installed 1.0" || outcome == "read 2.0, installed 2.0" || outcome == "read 2.0, " + failed)
            << outcome;
    }
    CheckServer(0);

    // However many players fetched an archive, the origin sent its body once. Past its days,
    // an archive no longer current is gone.
    const std::string log = ReadBytes("Z:" + Edge + "/origin-access.log");
    for (const std::string& zip : {v1, v2}) {
        const std::string fetched = "\"GET /archives/" + Sha256Hex(zip) + ".zip HTTP/1.1\" 200 ";
        size_t count = 0;
        for (size_t at = log.find(fetched); at != std::string::npos; at = log.find(fetched, at + 1)) ++count;
        EXPECT_EQ(count, 1u) << fetched;
    }
    Publish(v1, "1.0", "cdn", " --keep-days 0");
    EXPECT_FALSE(Exists("Z:" + Edge + "/cdn/archives/" + Sha256Hex(v2) + ".zip"));
    EXPECT_TRUE(Exists("Z:" + Edge + "/cdn/archives/" + Sha256Hex(v1) + ".zip"));
    WriteRegistration({});
}
