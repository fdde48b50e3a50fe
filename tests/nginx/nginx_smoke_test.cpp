#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <cstdlib>

#include "app/version_manifest.h"
#include "net/archive_download.h"
#include "tests/support/log_folder.h"
#include "tests/support/test_files.h"
#include "tests/support/server_request.h"

// A real web server in front of the download client: nginx_fixture.sh serves these files,
// and QO_NGINX_ROOT names its document folder in Windows form.
namespace {
std::string ServedFile(const std::string& name) {
    const char* root = std::getenv("QO_NGINX_ROOT");
    return root ? std::string(root) + "\\" + name : name;
}

TEST(NginxSmoke, FetchesTheVersionFileAndDownloadsTheArchiveByteForByte) {
    const std::string servedArchive = ReadFileBytes(ServedFile("game.zip"));
    ASSERT_FALSE(servedArchive.empty()) << "no archive at " << ServedFile("game.zip");
    LogFolder log;

    std::string body;
    ASSERT_TRUE(FetchVersionFile(body));
    EXPECT_EQ(body, ReadFileBytes(ServedFile("version.txt")));
    const VersionManifest manifest = ParseVersionManifest(body);
    EXPECT_EQ(manifest.version, "1.4.2");
    EXPECT_EQ(manifest.sha256.size(), 64u);

    ProgressWindow* progress = nullptr;
    ASSERT_TRUE(CreateProgressWindow(progress));
    const ServerRequest opened = OpenRequest(L"/game.zip");
    EXPECT_EQ(opened.contentLength, servedArchive.size());
    HANDLE file = INVALID_HANDLE_VALUE;
    bool cancelled = false;
    const std::string archive = log.File("game.zip");
    EXPECT_TRUE(DownloadArchive(opened.request.Get(), opened.contentLength, file, archive, progress, cancelled));
    CloseHandle(file);
    EXPECT_TRUE(ReadFileBytes(archive) == servedArchive);
    char status[128] = {};
    GetWindowTextA(progress->statusLabel, status, sizeof(status));
    EXPECT_STREQ(status, "Downloading game data...  3 / 3 MB");
    EXPECT_EQ(SendMessageA(progress->progressBar, PBM_GETPOS, 0, 0), 1000);
    DestroyProgressWindow(progress);

    EXPECT_FALSE(OpenRequest(L"/missing.zip").request.Valid());
    EXPECT_EQ(log.Messages().back(), "winhttp: unexpected HTTP status 404 for /missing.zip (expected 200)");
}
}  // namespace
