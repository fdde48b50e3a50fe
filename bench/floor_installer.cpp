// The least program that does the installer's required work, for the benchmarks to hold the
// installer against on the same Wine, server and tar. Started with no arguments, like the
// installer, it takes the registered folder and either hands off (marker, game and launcher
// there) or installs: version file, archive read as WinHTTP offers it with the progress text,
// bar and message pump after every read, digest, the system's tar.exe, the records, the desktop
// link, one success box, the launcher. It writes the run log's lines at the same points, so
// one watcher times the phases of both. It checks little: it exits with 1 on the first failure.
// Built as the floor of the player's build (FLOOR_OF_PLAYERS_BUILD) it also does that build's
// required work: the version file's signature, checked by the installer's own code against the
// same key, the record that lets a later run go on with the archive, a connection of its own for
// every archive request, and a request for the rest whenever a body ends short, as Wine's WinHTTP
// ends every body at 2 GiB.
#include <windows.h>
#include <commctrl.h>
#include <shlobj.h>
#include <winhttp.h>

#include <cstdio>
#include <string>

#include "app/version_manifest.h"
#include "archive/sha256.h"
#ifdef FLOOR_OF_PLAYERS_BUILD
#include "trust/signature_cng.h"
#include "trust/utc_clock.h"
#include "trust/version_signature.h"

extern const TrustedKey TrustedKeys[];
extern const size_t TrustedKeyCount;
#endif

namespace {
std::string folder;

// Opened and closed per line, as the installer's log is.
void Log(const std::string& message) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char line[600];
    const int length = std::snprintf(line, sizeof line, "[%04d-%02d-%02d %02d:%02d:%02d] %s\r\n", now.wYear, now.wMonth,
                                     now.wDay, now.wHour, now.wMinute, now.wSecond, message.c_str());
    HANDLE file = CreateFileA((folder + "\\launcher.log").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, line, static_cast<DWORD>(length), &written, nullptr);
    CloseHandle(file);
}

bool Exists(const char* name) {
    return GetFileAttributesA((folder + "\\" + name).c_str()) != INVALID_FILE_ATTRIBUTES;
}

[[noreturn]] void Fail(const char* what) {
    Log(std::string("floor: FAILED at ") + what);
    ExitProcess(1);
}

bool StartLauncher() {
    const std::string launcher = folder + "\\Launcher_x64_win.exe";
    if (!Exists("Launcher_x64_win.exe")) return false;
    std::string commandLine = "\"" + launcher + "\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(launcher.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(),
                        &startup, &process)) {
        return false;
    }
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    Log("resident launcher started");
    return true;
}

// A session, connection and request of their own for each request, with the installer's
// timeouts, redirect policy and header queries; the request once its status is the one expected.
HINTERNET Get(const wchar_t* path, const std::wstring& headers, DWORD expected, HINTERNET& session,
              HINTERNET& connection, unsigned long long& length) {
    session = WinHttpOpen(L"QuarnfellOstvaleLauncher/1.0", WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME,
                          WINHTTP_NO_PROXY_BYPASS, 0);
    WinHttpSetTimeouts(session, 15000, 15000, 30000, 60000);
    connection = WinHttpConnect(session, L"127.0.0.1", 8080, 0);
    HINTERNET request = WinHttpOpenRequest(connection, L"GET", path, nullptr, WINHTTP_NO_REFERER,
                                           WINHTTP_DEFAULT_ACCEPT_TYPES, 0);
    DWORD policy = WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS, status = 0, size = sizeof status;
    WinHttpSetOption(request, WINHTTP_OPTION_REDIRECT_POLICY, &policy, sizeof policy);
    if (!WinHttpSendRequest(request, headers.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : headers.c_str(),
                            static_cast<DWORD>(headers.size()), WINHTTP_NO_REQUEST_DATA, 0, 0, 0) ||
        !WinHttpReceiveResponse(request, nullptr) ||
        !WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                             WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX) ||
        status != expected) {
        Fail("request");
    }
    wchar_t text[32] = {};
    size = sizeof text;
    length = WinHttpQueryHeaders(request, WINHTTP_QUERY_CONTENT_LENGTH, WINHTTP_HEADER_NAME_BY_INDEX, text, &size,
                                 WINHTTP_NO_HEADER_INDEX)
                 ? _wcstoui64(text, nullptr, 10)
                 : 0;
    return request;
}

void Close(HINTERNET request, HINTERNET connection, HINTERNET session) {
    for (HINTERNET handle : {request, connection, session}) WinHttpCloseHandle(handle);
}

void Pump() {
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
}

std::string FetchVersionFile() {
    HINTERNET session, connection;
    unsigned long long length;
    HINTERNET request = Get(L"/version.txt", L"", 200, session, connection, length);
    std::string body;
    char buffer[4096];
    for (DWORD available = 0, read = 0; WinHttpQueryDataAvailable(request, &available) && available != 0;) {
        if (!WinHttpReadData(request, buffer, available < sizeof buffer ? available : sizeof buffer, &read) || !read) break;
        body.append(buffer, read);
    }
    Close(request, connection, session);
    return body;
}

void WriteText(const char* name, const std::string& text) {
    HANDLE file = CreateFileA((folder + "\\" + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
}

// Reads the body into the file with the progress text, bar and pump after every read.
void ReadBody(HINTERNET request, HANDLE file, unsigned long long length, unsigned long long& total, HWND status,
              HWND bar) {
    static char buffer[65536];
    DWORD available = 0, read = 0, written = 0;
    while (WinHttpQueryDataAvailable(request, &available) && available != 0) {
        if (!WinHttpReadData(request, buffer, available < sizeof buffer ? available : sizeof buffer, &read) || !read) break;
        WriteFile(file, buffer, read, &written, nullptr);
        total += read;
        char text[160];
        std::snprintf(text, sizeof text, "Downloading game data...  %llu / %llu MB", total >> 20, length >> 20);
        SendMessageA(bar, PBM_SETPOS, static_cast<WPARAM>(length ? total * 1000 / length : 0), 0);
        SetWindowTextA(status, text);
        Pump();
    }
}

#ifdef FLOOR_OF_PLAYERS_BUILD
std::wstring ETagOf(HINTERNET request) {
    wchar_t etag[256] = {};
    DWORD size = sizeof etag;
    WinHttpQueryHeaders(request, WINHTTP_QUERY_ETAG, WINHTTP_HEADER_NAME_BY_INDEX, etag, &size, WINHTTP_NO_HEADER_INDEX);
    return etag;
}
#endif

void Download(const std::string& path, [[maybe_unused]] const std::string& digest, HWND status, HWND bar) {
    HINTERNET session, connection;
    unsigned long long length, total = 0;
#ifdef FLOOR_OF_PLAYERS_BUILD
    const std::wstring ownConnection = L"Connection: close";
#else
    const std::wstring ownConnection;
#endif
    HINTERNET request = Get(L"/game.zip", ownConnection, 200, session, connection, length);
    Log("winhttp: Content-Length=" + std::to_string(length) + " bytes");
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
#ifdef FLOOR_OF_PLAYERS_BUILD
    const std::wstring etag = ETagOf(request);
    std::string record = digest + "\r\n" + std::to_string(length) + "\r\n";
    for (const wchar_t c : etag) record += static_cast<char>(c);
    WriteText("game.zip.resume", record + "\r\n");
#endif
    ReadBody(request, file, length, total, status, bar);
#ifdef FLOOR_OF_PLAYERS_BUILD
    while (total < length) {
        Close(request, connection, session);
        unsigned long long rest;
        request = Get(L"/game.zip", ownConnection + L"\r\nRange: bytes=" + std::to_wstring(total) + L"-\r\nIf-Range: " + etag,
                      206, session, connection, rest);
        if (total + rest != length) Fail("range");
        ReadBody(request, file, length, total, status, bar);
    }
#endif
    if (total != length) Fail("download");
    // Logged before the handles are closed, as the installer does, so closing a file of a
    // gigabyte falls into the same phase for both.
    Log("winhttp: download complete, " + std::to_string(total) + " bytes written (HTTP 200)");
    CloseHandle(file);
    Close(request, connection, session);
}

bool Unpack() {
    char system[MAX_PATH];
    const std::string tar = std::string(system, GetSystemDirectoryA(system, MAX_PATH)) + "\\tar.exe";
    std::string commandLine = "\"" + tar + "\" -x -f \"game.zip\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESHOWWINDOW;
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(tar.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                        folder.c_str(), &startup, &process)) {
        return false;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = 1;
    GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    Log("tar: exit code " + std::to_string(exitCode));
    return exitCode == 0;
}

void CreateLink() {
    char desktop[MAX_PATH];
    IShellLinkA* link = nullptr;
    IPersistFile* file = nullptr;
    if (FAILED(SHGetFolderPathA(nullptr, CSIDL_DESKTOPDIRECTORY, nullptr, SHGFP_TYPE_CURRENT, desktop)) ||
        FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkA,
                                reinterpret_cast<void**>(&link)))) {
        return;
    }
    const std::string launcher = folder + "\\Launcher_x64_win.exe";
    link->SetPath(launcher.c_str());
    link->SetWorkingDirectory(folder.c_str());
    link->SetDescription("Play Quarnfell Ostvale");
    link->SetIconLocation(launcher.c_str(), 0);
    if (SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file)))) {
        const std::wstring path = L"\\Quarnfell Ostvale.lnk";
        wchar_t wide[MAX_PATH];
        MultiByteToWideChar(CP_ACP, 0, desktop, -1, wide, MAX_PATH);
        if (SUCCEEDED(file->Save((wide + path).c_str(), TRUE))) Log(std::string("desktop shortcut created: ") + desktop);
        file->Release();
    }
    link->Release();
}

void Install() {
    Log("version check: GET http://127.0.0.1:8080/version.txt");
    const std::string body = FetchVersionFile();
    const VersionManifest manifest = ParseVersionManifest(body);
    const std::string &version = manifest.version, &digest = manifest.sha256;
    Log("version check: server_version=" + version);
#ifdef FLOOR_OF_PLAYERS_BUILD
    if (!CheckVersionSignatures(body, manifest, TrustedKeys, TrustedKeyCount, UtcNow(), VerifyP256Signature)
             .accepted) {
        Fail("signature");
    }
    Log("version check: signature OK");
#endif
    Log("path taken: fresh install -> download game.zip");

    INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_PROGRESS_CLASS};
    InitCommonControlsEx(&controls);
    WNDCLASSEXA windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = DefWindowProcA;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    windowClass.lpszClassName = "FloorWindow";
    RegisterClassExA(&windowClass);
    HWND window = CreateWindowExA(0, "FloorWindow", "Quarnfell Updater", WS_POPUP | WS_CAPTION | WS_SYSMENU, 400, 300,
                                  426, 170, nullptr, nullptr, windowClass.hInstance, nullptr);
    HWND status = CreateWindowExA(0, "STATIC", "Downloading game data...", WS_CHILD | WS_VISIBLE, 12, 12, 396, 24,
                                  window, nullptr, nullptr, nullptr);
    HWND bar = CreateWindowExA(0, PROGRESS_CLASSA, nullptr, WS_CHILD | WS_VISIBLE | PBS_SMOOTH, 12, 48, 396, 28, window,
                               nullptr, nullptr, nullptr);
    SendMessageA(bar, PBM_SETRANGE, 0, MAKELPARAM(0, 1000));
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);

    Log("download: attempt 1 of 2");
    const std::string archive = folder + "\\game.zip";
    Download(archive, digest, status, bar);
    SetWindowTextA(status, "Verifying download...");
    Pump();
    if (ComputeFileSha256(archive) != digest) Fail("digest");
    Log("sha256: OK (archive matches server hash)");
#ifdef FLOOR_OF_PLAYERS_BUILD
    DeleteFileA((archive + ".resume").c_str());
#endif
    SendMessageA(bar, PBM_SETPOS, 1000, 0);
    SetWindowTextA(status, "Extracting game data...");
    Pump();
    const bool unpacked = Unpack();
    DeleteFileA(archive.c_str());
    DestroyWindow(window);
    if (!unpacked || !Exists("Game_x64_win.exe") || !Exists("Launcher_x64_win.exe")) Fail("unpacking");
    Log("install: SUCCESS (zip downloaded, verified, extracted)");

    WriteText("version.txt", version + "\r\n" + digest + "\r\n");
    WriteText("install.ok", "ok\r\n");
    Log("install.ok written -> folder marked as installed");
    CreateLink();
    MessageBoxA(nullptr,
                "Quarnfell Ostvale installed successfully!\r\n\r\nFrom now on, start the game with the \"Quarnfell "
                "Ostvale\" launcher (a shortcut was added to your Desktop).\r\n\r\nClick OK to open the launcher now.",
                "Quarnfell Ostvale", MB_OK | MB_ICONINFORMATION);
    StartLauncher();
    Log("==== launcher run end (installed + handoff) ====");
}
}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    char registered[MAX_PATH] = {};
    DWORD size = sizeof registered;
    if (RegGetValueA(HKEY_CURRENT_USER, "Software\\QuarnfellOstvale", "InstallPath", RRF_RT_REG_SZ, nullptr, registered,
                     &size) != ERROR_SUCCESS) {
        return 1;
    }
    folder = registered;
    SetCurrentDirectoryA(registered);
    Log("==== launcher run start ====");
    Log("install path: " + folder);
    if (Exists("install.ok") && Exists("Game_x64_win.exe") && Exists("Launcher_x64_win.exe")) {
        Log("path taken: already installed -> hand off to resident launcher");
        StartLauncher();
        Log("==== launcher run end (handoff) ====");
    } else {
        Install();
    }
    if (SUCCEEDED(com)) CoUninitialize();
    return 0;
}
