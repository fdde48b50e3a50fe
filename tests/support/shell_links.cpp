#include "tests/support/shell_links.h"

#include <windows.h>
#include <shlobj.h>

#include "common/text.h"
#include "common/unique_handle.h"

LinkProperties ReadLink(const std::string& path) {
    // Works on threads with or without an apartment of their own.
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    LinkProperties properties;
    {
        ComPtr<IShellLinkW> link;
        ComPtr<IPersistFile> file;
        if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                       link.PutVoid())) &&
            SUCCEEDED(link->QueryInterface(IID_IPersistFile, file.PutVoid())) &&
            SUCCEEDED(file->Load(NarrowToWide(path).c_str(), STGM_READ))) {
            wchar_t text[MAX_PATH] = {};
            link->GetPath(text, MAX_PATH, nullptr, SLGP_RAWPATH);
            properties.target = WideToNarrow(text);
            link->GetWorkingDirectory(text, MAX_PATH);
            properties.workingFolder = WideToNarrow(text);
            link->GetDescription(text, MAX_PATH);
            properties.description = WideToNarrow(text);
            link->GetIconLocation(text, MAX_PATH, &properties.iconIndex);
            properties.iconFile = WideToNarrow(text);
        }
    }
    if (SUCCEEDED(com)) CoUninitialize();
    return properties;
}

std::string DesktopShortcutPath() {
    wchar_t desktop[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_DESKTOPDIRECTORY, nullptr, SHGFP_TYPE_CURRENT, desktop);
    return WideToNarrow(desktop) + "\\Quarnfell Ostvale.lnk";
}
