#include "tests/support/test_bed.h"

#include <bcrypt.h>
#include <gtest/gtest.h>
#include <shlobj.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <utility>

#include "common/text.h"
#include "common/unique_handle.h"
#include "tests/support/ui_robot.h"

constexpr wchar_t InstallKey[] = L"Software\\QuarnfellOstvale";

std::string FreshFolder(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(NarrowToWide(path), ignored);
    std::filesystem::create_directories(NarrowToWide(path));
    return path;
}

// The C runtime opens files sharing everything, so a file another program writes can be read.
std::string ReadBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const std::string& path, const std::string& bytes) {
    EXPECT_TRUE(std::ofstream(path, std::ios::binary) << bytes) << path;
}

bool Exists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string BuiltProgram(const std::string& fileName) {
    char self[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, self, MAX_PATH);
    return std::string(self, std::strrchr(self, '\\') + 1) + fileName;
}

std::vector<std::string> LogMessages(const std::string& logPath) {
    const std::string text = ReadBytes(logPath);
    const std::regex stamp(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] )");
    std::vector<std::string> messages;
    for (size_t start = 0, end; start < text.size(); start = end + 2) {
        end = text.find("\r\n", start);
        const std::string line = text.substr(start, end - start);
        const bool stamped = line.size() >= 22 && std::regex_match(line.substr(0, 22), stamp);
        EXPECT_TRUE(stamped && end != std::string::npos) << "not a log line: " << line;
        messages.push_back(line.substr(stamped ? 22 : 0));
        if (end == std::string::npos) break;
    }
    return messages;
}

// The bytes as stored, with or without a terminator: RegGetValue would add a missing one.
Registration ReadRegistration() {
    Registration value{REG_NONE, std::string(4096, '\0')};
    DWORD size = static_cast<DWORD>(value.bytes.size());
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_CURRENT_USER, InstallKey, 0, KEY_READ, &key);
    const bool found = RegQueryValueExW(key, L"InstallPath", nullptr, &value.type,
                                        reinterpret_cast<BYTE*>(value.bytes.data()), &size) == ERROR_SUCCESS;
    RegCloseKey(key);
    value.bytes.resize(found ? size : 0);
    return found ? value : Registration{};
}

void WriteRegistration(const Registration& value) {
    RegDeleteTreeW(HKEY_CURRENT_USER, InstallKey);
    if (value.type == REG_NONE) return;
    RegSetKeyValueW(HKEY_CURRENT_USER, InstallKey, L"InstallPath", value.type, value.bytes.data(),
                    static_cast<DWORD>(value.bytes.size()));
}

Registration FolderRegistration(const std::string& folder) {
    const std::wstring text = NarrowToWide(folder);
    return {REG_SZ, std::string(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t))};
}

void MakeInstalledFolder(const std::string& folder) {
    WriteBytes(folder + "\\install.ok", "ok\r\n");
    WriteBytes(folder + "\\Game_x64_win.exe", "game");
    CopyFileA(BuiltProgram("stand_in_launcher.exe").c_str(), (folder + "\\Launcher_x64_win.exe").c_str(), FALSE);
}

std::vector<std::string> LauncherStarts(const std::string& folder, size_t expected) {
    std::vector<std::string> starts;
    for (int waited = 0; waited <= 50; ++waited, Sleep(100)) {
        const std::string text = ReadBytes(folder + "\\launcher-starts.txt");
        starts.clear();
        for (size_t start = 0, end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
            starts.push_back(text.substr(start, end - start));
        }
        if (starts.size() >= expected) break;
    }
    return starts;
}

Shortcut ReadShellLink(const std::string& path) {
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    Shortcut found;
    {  // the interfaces are released before COM is
        ComPtr<IShellLinkW> link;
        ComPtr<IPersistFile> file;
        if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, link.PutVoid())) &&
            SUCCEEDED(link->QueryInterface(IID_IPersistFile, file.PutVoid())) &&
            SUCCEEDED(file->Load(NarrowToWide(path).c_str(), STGM_READ))) {
            wchar_t text[4][MAX_PATH] = {};
            int icon = 0;
            // Wine keeps the path as text of the saving program's code page, and reads it in the
            // reader's; the item list holds it in UTF-16 whatever the programs' code pages.
            PIDLIST_ABSOLUTE items = nullptr;
            link->GetIDList(&items);
            SHGetPathFromIDListW(UniqueCoTaskMem<PIDLIST_ABSOLUTE>(items).Get(), text[0]);
            link->GetWorkingDirectory(text[1], MAX_PATH);
            link->GetDescription(text[2], MAX_PATH);
            link->GetIconLocation(text[3], MAX_PATH, &icon);
            found = {WideToNarrow(text[0]), WideToNarrow(text[1]), WideToNarrow(text[2]),
                     WideToNarrow(text[3]) + "," + std::to_string(icon)};
        }
    }
    if (SUCCEEDED(com)) CoUninitialize();
    return found;
}

std::string MakeZip(const std::vector<std::pair<std::string, std::string>>& entries) {
    const std::string staging = FreshFolder("C:\\qo-tests\\zip");
    std::string commandLine = "tar.exe -a -c -n --options zip:compression=store -f made.zip";
    for (const auto& [name, data] : entries) {
        const std::filesystem::path path = NarrowToWide(staging + "\\" + name);
        std::filesystem::create_directories(name.back() == '/' ? path : path.parent_path());
        if (name.back() != '/') WriteBytes(staging + "\\" + name, data);
        commandLine += " \"" + name + "\"";
    }
    STARTUPINFOA startup{.cb = sizeof startup};
    PROCESS_INFORMATION tar{};
    EXPECT_TRUE(CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, staging.c_str(),
                               &startup, &tar));
    const UniqueKernelHandle process(tar.hProcess), thread(tar.hThread);
    EXPECT_EQ(WaitForSingleObject(tar.hProcess, 60000), WAIT_OBJECT_0) << "tar.exe making a zip did not end within 60 s";
    return ReadBytes(staging + "\\made.zip");  // none if tar failed: the folder was emptied first
}

std::string Sha256Hex(const std::string& bytes) {
    unsigned char digest[32] = {};
    BCRYPT_ALG_HANDLE sha256 = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
    BCryptOpenAlgorithmProvider(&sha256, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
    BCryptCreateHash(sha256, &hash, nullptr, 0, nullptr, 0, 0);
    BCryptHashData(hash, reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data())), static_cast<ULONG>(bytes.size()), 0);
    BCryptFinishHash(hash, digest, sizeof digest, 0);
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(sha256, 0);
    std::string hex;
    for (unsigned char byte : digest) hex += "0123456789abcdef"[byte >> 4], hex += "0123456789abcdef"[byte & 15];
    return hex;
}

InstallerRun RunInstaller(const std::string& program, const std::function<void(HWND, const std::string&)>& answer,
                          DWORD limitMs) {
    InstallerRun run;
    STARTUPINFOA startup{.cb = sizeof startup};
    PROCESS_INFORMATION process{};
    std::string commandLine = "\"" + program + "\"";
    if (!CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process)) {
        ADD_FAILURE() << "cannot start " << program;
        return run;
    }
    const UniqueKernelHandle processHandle(process.hProcess), threadHandle(process.hThread);
    std::vector<HWND> seen;
    for (const DWORD start = GetTickCount(); WaitForSingleObject(process.hProcess, 50) == WAIT_TIMEOUT;) {
        if (GetTickCount() - start > limitMs) {
            ADD_FAILURE() << "the installer had not ended " << limitMs / 1000 << " s after its start; it was ended. Dialogs read: "
                          << ::testing::PrintToString(run.dialogs);
            TerminateProcess(process.hProcess, STILL_ACTIVE);
            WaitForSingleObject(process.hProcess, 10000);
            break;
        }
        for (HWND window : ShownWindows(process.dwProcessId)) {
            if (std::find(seen.begin(), seen.end(), window) != seen.end()) continue;
            seen.push_back(window);
            if (ClassOf(window) != "#32770") continue;  // message boxes and folder dialogs
            // Read as a player looks at it: once it has painted and reads the same twice.
            std::string reading, previous;
            for (int looks = 0; looks < 10 && (reading.empty() || reading != previous); ++looks) {
                Sleep(200);
                previous = std::exchange(reading, NameBox(window) ? "picker: " + TextOf(window) : ReadMessageBox(window));
            }
            run.dialogs.push_back(reading);
            // The progress window is gone before any box: left up, it would sit frozen beside it.
            run.dialogsStayed = run.dialogsStayed && IsWindowVisible(window) &&
                                !IsWindowVisible(FindWindowA("QFUpdaterWnd", nullptr));
            answer(window, reading);
        }
    }
    GetExitCodeProcess(process.hProcess, &run.exitCode);
    return run;
}
