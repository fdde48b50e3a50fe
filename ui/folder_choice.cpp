#include "ui/folder_choice.h"

#include <shlobj.h>
#include <shobjidl.h>

#include "common/paths.h"
#include "common/text.h"
#include "common/unique_handle.h"

namespace {
constexpr char ProductFolderName[] = "QuarnfellOstvale";
constexpr char DialogTitle[] = "Choose where to install Quarnfell Ostvale";

FolderChoiceResult ChosenUnlessEmpty(const std::string& installFolder) {
    return installFolder.empty() ? FolderChoiceResult::NotChosen : FolderChoiceResult::Chosen;
}

FolderChoiceResult PickFolderWithBrowseDialog(const std::string& defaultFolder,
                                              std::string& installFolder) {
    BROWSEINFOA browse{};
    browse.lpszTitle = DialogTitle;
    browse.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
    browse.lpfn = BrowseFolderCallback;
    browse.lParam = reinterpret_cast<LPARAM>(defaultFolder.c_str());
    UniqueCoTaskMem<PIDLIST_ABSOLUTE> items(SHBrowseForFolderA(&browse));
    if (!items) return FolderChoiceResult::NotChosen;

    if (!BrowsedFolder(items.Get(), installFolder)) return FolderChoiceResult::NotChosen;
    return ChosenUnlessEmpty(installFolder);
}
}  // namespace

std::string DefaultInstallFolder() {
    const std::string profile = UserProfileFolder();
    return JoinPath(profile.empty() ? ExecutableFolder() : profile, ProductFolderName);
}

FolderChoiceResult ChooseInstallFolder(std::string& installFolder) {
    const std::string defaultFolder = DefaultInstallFolder();
    // Created before either dialog so that both can open inside it; it stays even when the
    // user picks another folder or cancels.
    CreateFolderTree(defaultFolder);
    const FolderChoiceResult picked =
        PickFolderWithFileDialog(NarrowToWide(defaultFolder), installFolder);
    if (picked != FolderChoiceResult::DialogUnavailable) return picked;
    return PickFolderWithBrowseDialog(defaultFolder, installFolder);
}

FolderChoiceResult PickFolderWithFileDialog(const std::wstring& defaultFolder,
                                            std::string& installFolder) {
    ComPtr<IFileOpenDialog> dialog;
    if (FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFileOpenDialog, dialog.PutVoid())) ||
        !dialog) {
        return FolderChoiceResult::DialogUnavailable;
    }
    FILEOPENDIALOGOPTIONS options = 0;
    dialog->GetOptions(&options);
    dialog->SetOptions(options | FOS_PICKFOLDERS | FOS_FORCEFILESYSTEM | FOS_PATHMUSTEXIST);
    dialog->SetTitle(NarrowToWide(DialogTitle).c_str());
    if (!defaultFolder.empty()) {
        // Without SetFolder the picker opens wherever the shell last remembered.
        ComPtr<IShellItem> start;
        if (SUCCEEDED(SHCreateItemFromParsingName(defaultFolder.c_str(), nullptr, IID_IShellItem,
                                                  start.PutVoid())) &&
            start) {
            dialog->SetFolder(start.Get());
        }
    }

    const HRESULT shown = dialog->Show(nullptr);
    if (FAILED(shown)) {
        return shown == HRESULT_FROM_WIN32(ERROR_CANCELLED) ? FolderChoiceResult::NotChosen
                                                            : FolderChoiceResult::DialogUnavailable;
    }
    ComPtr<IShellItem> item;
    if (FAILED(dialog->GetResult(item.Put())) || !item) return FolderChoiceResult::NotChosen;
    PWSTR rawPath = nullptr;
    const HRESULT named = item->GetDisplayName(SIGDN_FILESYSPATH, &rawPath);
    UniqueCoTaskMem<PWSTR> path(rawPath);
    if (FAILED(named) || !path) return FolderChoiceResult::NotChosen;
    installFolder = WideToNarrow(path.Get());
    return ChosenUnlessEmpty(installFolder);
}

int CALLBACK BrowseFolderCallback(HWND dialog, UINT message, LPARAM, LPARAM data) {
    if (message == BFFM_INITIALIZED && data != 0) {
        SendMessageA(dialog, BFFM_SETSELECTIONA, TRUE, data);
    }
    return 0;
}
