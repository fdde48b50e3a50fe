// The installer behind a caching edge, as players meet it behind a CDN: Varnish in front of
// nginx, both real, where the installer connects (tests/edge/edge.sh). A release published in
// place meets an edge that mixes two releases; the cdn layout does not, while players install
// around a publish, and its origin sends each archive's body once. Last, nginx alone, through a
// link that keeps dropping, gives the player's build the rest of the archive at each break.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

#include "tests/support/host_shell.h"
#include "tests/support/test_bed.h"
#include "tests/support/ui_robot.h"

namespace {
const std::string Root = "C:\\qo-tests\\edge", Edge = QO_EDGE_DIR, Tools = "python3 \"" QO_SOURCE_DIR "/tools/";
const std::string AccessLog = "Z:" + Edge + "/origin-access.log";
const std::string EdgeScript = "\"" QO_SOURCE_DIR "/tests/edge/edge.sh\" ";

// The game at one version: MiBs that no other version shares, so a mix of two never passes.
std::string Game(unsigned version, size_t mebibytes = 1) {
    std::mt19937 bytes(version);
    std::string data(mebibytes << 20, '\0');
    std::generate(data.begin(), data.end(), [&] { return static_cast<char>(bytes()); });
    return MakeZip({{"Launcher_x64_win.exe", ReadBytes(BuiltProgram("stand_in_launcher.exe"))},
                    {"Game_x64_win.exe", "version " + std::to_string(version)}, {"data/blob.pak", data}});
}

std::string OnHost(const std::string& commandLine, int exitCode = 0, const char* folder = nullptr) {
    const HostRun run = RunOnHost(commandLine, folder, 60000);
    EXPECT_EQ(run.exitCode, exitCode) << commandLine << "\n" << run.output;
    return run.output;
}

void Publish(const std::string& zip, const std::string& version, const std::string& layout, const std::string& options = "") {
    const std::string folder = FreshFolder(Root + "\\publish");
    WriteBytes(folder + "\\game.zip", zip);
    OnHost(Tools + "publish.py\" " + version + " game.zip \"" + Edge + "/" + layout + "\" --layout " + layout + options, 0,
           folder.c_str());
}

void CheckServer(int exitCode) { OnHost(Tools + "check_server.py\" http://127.0.0.1:8080", exitCode); }

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

// Players who run at once, each started once the one before has begun its log (the registration
// names its folder until then), every box answered OK; before(i) runs before player i starts.
// Each ends as "read V, installed V" or "read V, failed: <box>".
using Outcomes = std::vector<std::string>;
Outcomes Install(const std::string& name, size_t players = 1, const std::string& program = BuiltProgram("QuarnfellOstvale.exe"),
                 const std::function<void(size_t)>& before = [](size_t) {}, DWORD limitMs = 60000) {
    Outcomes outcomes(players);
    std::vector<std::thread> running;
    for (size_t i = 0; i < players; ++i) {
        before(i);
        const std::string folder = FreshFolder(Root + "\\" + name + " " + std::to_string(i)), log = folder + "\\launcher.log";
        WriteRegistration(FolderRegistration(folder));
        running.emplace_back([&outcomes, &program, limitMs, i, folder, log] {
            const InstallerRun run = RunInstaller(program, [](HWND box, const std::string&) { Press(box, IDOK); }, limitMs);
            const std::string installed = ReadBytes(folder + "\\version.txt"), box = run.dialogs.empty() ? "" : run.dialogs.back();
            outcomes[i] = "read ";
            for (const std::string& line : LogMessages(log)) {
                if (line.starts_with("version check: server_version=")) outcomes[i] += line.substr(30);
            }
            outcomes[i] += run.exitCode == 0 ? ", installed " + installed.substr(0, installed.find('\r'))
                                             : ", failed: " + box.substr(0, box.find('\n'));
        });
        for (int waited = 0; !Exists(log) && waited < 200; ++waited) Sleep(50);
        EXPECT_TRUE(Exists(log)) << "the installer in " << folder << " had begun no log 10 s after its start";
    }
    // Each player's run is ended limitMs after its start (RunInstaller), so each join ends too.
    for (std::thread& player : running) player.join();
    return outcomes;
}
}  // namespace

TEST(Edge, ACacheNeverMixesTwoReleasesOfTheCdnLayout) {
    FreshFolder(Root);
    const std::string games[] = {"", Game(1), Game(2)}, failed = "failed: Quarnfell Ostvale Launcher [error] The game could "
                                                                 "not be downloaded or verified.";
    const auto archive = [&](unsigned version) { return "Z:" + Edge + "/cdn/archives/" + Sha256Hex(games[version]) + ".zip"; };

    // Published in place behind an edge that keeps game.zip for its default two minutes, as the
    // single-server site is served, the new version file comes with the old archive. Behind the
    // cdn layout's edge, each version file comes with its own.
    const struct { std::string layout; unsigned version; std::string outcome; int check; } steps[] = {
        {"plain", 1, "read 1.0, installed 1.0", -1}, {"plain", 2, "read 2.0, " + failed, 1},
        {"cdn", 1, "read 1.0, installed 1.0", 0}, {"cdn", 2, "read 2.0, installed 2.0", 0}};
    for (const auto& [layout, version, outcome, check] : steps) {
        if (version == 1) OnHost(EdgeScript + "use \"" + Edge + "\" " + layout);
        Publish(games[version], std::to_string(version) + ".0", layout);
        if (check >= 0) CheckServer(check);
        EXPECT_EQ(Install(layout), Outcomes{outcome});
    }

    // Players install around a rollback to 1.0. Each that read the version file after the
    // switch installs 1.0; one that read it before gets 2.0, or fails if it asked for the
    // archive only after the switch (the next run installs 1.0).
    for (const std::string& outcome : Install("around", 4, BuiltProgram("QuarnfellOstvale.exe"), [&](size_t i) {
             if (i == 2) Publish(games[1], "1.0", "cdn");
         })) {
        EXPECT_TRUE(outcome == "read 1.0, installed 1.0" || outcome == "read 2.0, installed 2.0" || outcome == "read 2.0, " + failed)
            << outcome;
    }
    CheckServer(0);

    // However many players fetched an archive, the origin sent its body once. An archive no
    // longer current stays for downloads under way, until its days are past.
    for (unsigned version : {1, 2}) {
        EXPECT_EQ(Count(ReadBytes(AccessLog), "\"GET /archives/" + Sha256Hex(games[version]) + ".zip HTTP/1.1\" 200 "), 1u);
    }
    EXPECT_TRUE(Exists(archive(2)));
    Publish(games[1], "1.0", "cdn", " --keep-days 0");
    EXPECT_FALSE(Exists(archive(2)));
    EXPECT_TRUE(Exists(archive(1)));

    // The player's build, from nginx alone through a link that resets every MiB: each break asks
    // for the rest under nginx's own ETag, and nginx sends just that.
    OnHost(EdgeScript + "cut \"" + Edge + "\" 1048576");
    const std::string large = Game(3, 4), path = "/archives/" + Sha256Hex(large) + ".zip";
    Publish(large, "3.0", "cdn", " --sign \"" QO_TEST_KEYS "/trusted/" QO_TRUSTED_KEY ".pem\"");
    EXPECT_EQ(Install("cut", 1, BuiltProgram("keyed\\QuarnfellOstvale.exe")), Outcomes{"read 3.0, installed 3.0"});
    const std::string etag = OnHost("python3 -c \"import urllib.request as u; print(u.urlopen('http://127.0.0.1:8081" + path +
                                    "').headers['ETag'], end='')\"");
    const std::string log = ReadBytes(Root + "\\cut 0\\launcher.log");
    // Only the line that asks for the rest names the validator.
    const size_t resumes = Count(log, " (If-Range: " + etag + ")\r\n");
    EXPECT_GE(resumes, 3u) << etag;
    EXPECT_EQ(Count(log, "winhttp: HTTP 206 Partial Content for http://127.0.0.1:8080/game.zip, Content-Range=bytes "), resumes);
    EXPECT_EQ(Count(ReadBytes(AccessLog), "\"GET " + path + " HTTP/1.1\" 206 "), resumes);
    EXPECT_EQ(Count(log, "MISMATCH"), 0u);
    WriteRegistration({});
}

// Wine's WinHTTP ends every body at 2 GiB as if it were whole; the player's build takes that for
// a break, as it is, and asks for the rest on a connection of its own. The archive is stored
// zeros, its holes dug again once published, so it costs the disk only the install.
TEST(Edge, ThePlayersBuildInstallsAGameOverTwoGiB) {
    OnHost(EdgeScript + "cut \"" + Edge + "\" " + std::to_string(1ull << 62));
    const std::string folder = FreshFolder(Root + "\\publish");
    WriteBytes(folder + "\\Launcher_x64_win.exe", ReadBytes(BuiltProgram("stand_in_launcher.exe")));
    WriteBytes(folder + "\\Game_x64_win.exe", "version 4");
    WriteBytes(folder + "\\publish.sh", "mkdir data && truncate -s 2049M data/blob.pak && bsdtar --format zip --options "
               "zip:compression=store -cf game.zip *.exe data && rm -r data && " + Tools + "publish.py\" 4.0 game.zip '" +
               Edge + "/cdn' --layout cdn --sign '" QO_TEST_KEYS "/trusted/" QO_TRUSTED_KEY ".pem' && rm game.zip && "
               "for archive in '" + Edge + "'/cdn/archives/*; do fallocate -d \"$archive\"; done\n");
    OnHost("sh publish.sh", 0, folder.c_str());
    EXPECT_EQ(Install("huge", 1, BuiltProgram("keyed\\QuarnfellOstvale.exe"), [](size_t) {}, 300000),
              Outcomes{"read 4.0, installed 4.0"});
    // A connection left to the pool after the cut would hold the rest of that body, and the next
    // request would read it as its answer and come back with nothing.
    const std::string log = ReadBytes(Root + "\\huge 0\\launcher.log");
    for (const char* trouble : {"nothing new came", "starting again from byte 0"}) EXPECT_EQ(Count(log, trouble), 0u) << trouble;
    FreshFolder(Root + "\\huge 0");
    WriteRegistration({});
}
