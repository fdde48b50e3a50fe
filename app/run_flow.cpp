#include "app/run_flow.h"

#include <windows.h>

#include <string>

#include "app/install_record.h"
#include "app/version_acceptance.h"
#include "app/version_manifest.h"
#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "log/run_log.h"
#include "net/http_request.h"
#include "net/install_pipeline.h"
#include "shell/desktop_shortcut.h"
#include "shell/launcher_handoff.h"
#include "ui/folder_choice.h"

namespace {
constexpr char ErrorCaption[] = "Quarnfell Ostvale Launcher";
constexpr char SuccessCaption[] = "Quarnfell Ostvale";
constexpr char SuccessText[] =
    "Quarnfell Ostvale installed successfully!\r\n\r\n"
    "From now on, start the game with the \"Quarnfell Ostvale\" launcher (a shortcut was added to "
    "your Desktop).\r\n\r\n"
    "Click OK to open the launcher now.";

int HandOffToLauncher(const std::string& installFolder) {
    LogLine("path taken: already installed -> hand off to resident launcher");
    if (!StartResidentLauncher(installFolder)) {
        ShowError("Could not start the Quarnfell Ostvale Launcher.\n"
                  "Open Launcher_x64_win.exe from your install folder.");
    }
    LogLine("==== launcher run end (handoff) ====");
    return 0;
}

// Releasing the progress window leaves WM_QUIT in the thread's queue. A modal loop that meets
// it ends at once, so every box shown after the pipeline would vanish before it is read.
void DiscardPendingQuit() {
    MSG message;
    PeekMessageA(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
}

int InstallFresh(const std::string& installFolder) {
    LogLine(std::string("version check: GET http://") + DownloadServerHost + ":" +
            std::to_string(DownloadServerPort) + "/version.txt");
    std::string body;
    if (!FetchVersionFile(body)) {
        LogLine("version check: FAILED to fetch version.txt (fresh install needs it)");
        ShowError("Could not reach the download server.\n"
                  "Check your internet connection and run the installer again.");
        return 1;
    }
    const VersionManifest manifest = ParseVersionManifest(body);
    LogLine("version check: server_version=" + VersionLineForLog(manifest.version));
    const bool wellFormed = !manifest.version.empty() && !manifest.sha256.empty();
    if (!wellFormed) LogLine("version check: version.txt malformed (need 2 non-empty lines)");
    std::optional<unsigned long long> signedSize;
    if (!wellFormed || !AcceptVersionFile(body, manifest, signedSize)) {
        ShowError("The download server returned an invalid version file.\nPlease try again later.");
        return 1;
    }

    LogLine("path taken: fresh install -> download game.zip");
    const InstallOutcome outcome = RunInstallPipeline(installFolder, manifest.sha256, signedSize);
    DiscardPendingQuit();
    if (outcome == InstallOutcome::Cancelled) {
        LogLine("cancelled by user during download; nothing installed");
        LogLine("==== launcher run end (cancelled) ====");
        const std::string kept = KeptDownloadNote(installFolder);
        if (!kept.empty()) MessageBoxA(nullptr, kept.c_str(), SuccessCaption, MB_OK | MB_ICONINFORMATION);
        return 0;
    }
    if (outcome == InstallOutcome::Failed) {
        LogLine("download/verify/extract FAILED; no markers written");
        const std::string kept = KeptDownloadNote(installFolder);
        ShowError(("The game could not be downloaded or verified.\n"
                   "Check your internet connection and run the installer again." +
                   (kept.empty() ? "" : "\n\n" + kept))
                      .c_str());
        return 1;
    }
    if (!HasGameExecutables(installFolder)) {
        LogLine("post-extract: expected exe(s) missing; aborting (no markers written)");
        ShowError("The game files are incomplete.\nPlease run the installer again.");
        return 1;
    }

    WriteLocalVersionFile(installFolder, manifest.version, ToLowerAscii(manifest.sha256));
    WriteInstallMarker(installFolder);
    CreateDesktopShortcut(installFolder);
    MessageBoxA(nullptr, SuccessText, SuccessCaption, MB_OK | MB_ICONINFORMATION);
    if (!StartResidentLauncher(installFolder)) {
        ShowError("Install complete, but the launcher could not be started.\n"
                  "Open Launcher_x64_win.exe from your install folder.");
    }
    LogLine("==== launcher run end (installed + handoff) ====");
    return 0;
}
}  // namespace

int ShowError(const char* text) {
    return MessageBoxA(nullptr, text, ErrorCaption, MB_OK | MB_ICONERROR);
}

int RunInstaller() {
    // A registered text that names nothing usable (gone, or not valid in this code page)
    // is treated like no registration at all.
    std::string installFolder = ReadInstallPath();
    if (installFolder.empty() || !PathExists(installFolder)) {
        installFolder.clear();
        if (ChooseInstallFolder(installFolder) != FolderChoiceResult::Chosen) return 0;
        CreateFolderTree(installFolder);
        SaveInstallPath(installFolder);
    }

    SetCurrentDirectoryA(installFolder.c_str());
    SetLogFilePath(JoinPath(installFolder, LogFileName));
    LogLine("==== launcher run start ====");
    LogLine("install path: " + installFolder);

    if (IsFolderInstalled(installFolder)) return HandOffToLauncher(installFolder);
    return InstallFresh(installFolder);
}
