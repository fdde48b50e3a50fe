#include "shell/desktop_shortcut.h"

#include <windows.h>
#include <shlobj.h>

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"
#include "common/unique_handle.h"
#include "log/run_log.h"

void CreateDesktopShortcut(const std::string& installFolder) {
    wchar_t desktop[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_DESKTOPDIRECTORY, nullptr, SHGFP_TYPE_CURRENT,
                                desktop))) {
        return;
    }
    const std::wstring shortcutPath = std::wstring(desktop) + L"\\Quarnfell Ostvale.lnk";
    const std::wstring target = NarrowToWide(JoinPath(installFolder, LauncherExeName));
    const std::wstring workingFolder = NarrowToWide(installFolder);

    ComPtr<IShellLinkW> link;
    if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                link.PutVoid())) ||
        !link) {
        return;
    }
    link->SetPath(target.c_str());
    link->SetWorkingDirectory(workingFolder.c_str());
    link->SetDescription(L"Play Quarnfell Ostvale");
    link->SetIconLocation(target.c_str(), 0);

    ComPtr<IPersistFile> file;
    if (FAILED(link->QueryInterface(IID_IPersistFile, file.PutVoid())) || !file) return;
    const HRESULT saved = file->Save(shortcutPath.c_str(), TRUE);
    file.Reset();
    if (SUCCEEDED(saved)) LogLine("desktop shortcut created: " + WideToNarrow(shortcutPath.c_str()));
}
