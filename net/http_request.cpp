#include "net/http_request.h"

#include <cwchar>
#include <string>

#include "common/names.h"
#include "common/text.h"
#include "common/unique_handle.h"
#include "log/run_log.h"
#include "net/failure_log.h"

namespace {
constexpr wchar_t UserAgent[] = L"QuarnfellOstvaleLauncher/1.0";
constexpr int ResolveTimeoutMs = 15000;
constexpr int ConnectTimeoutMs = 15000;
constexpr int SendTimeoutMs = 30000;
constexpr int ReceiveTimeoutMs = 60000;

constexpr DWORD VersionReadChunk = 4096;

// Reads the rest of the version file's body; false after a logged failure.
bool ReadVersionBody(HINTERNET request, std::string& body) {
    DWORD available = 0;
    if (!WinHttpQueryDataAvailable(request, &available)) {
        LogWinHttpFailure("WinHttpQueryDataAvailable", "version.txt");
        return false;
    }
    char buffer[VersionReadChunk];
    while (available != 0) {
        DWORD read = 0;
        if (!WinHttpReadData(request, buffer, available < VersionReadChunk ? available : VersionReadChunk,
                             &read)) {
            LogWinHttpFailure("WinHttpReadData", "version.txt");
            return false;
        }
        if (read == 0) return true;
        body.append(buffer, read);
        if (body.size() > VersionFileLimit) return true;
        available = 0;
        if (!WinHttpQueryDataAvailable(request, &available)) {
            LogWinHttpFailure("WinHttpQueryDataAvailable", "version.txt");
            return false;
        }
    }
    return true;
}
}  // namespace

unsigned long long ReadContentLength(HINTERNET request) {
    wchar_t text[32] = {};
    DWORD size = sizeof(text);
    if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_CONTENT_LENGTH, WINHTTP_HEADER_NAME_BY_INDEX,
                             text, &size, WINHTTP_NO_HEADER_INDEX)) {
        return 0;
    }
    return _wcstoui64(text, nullptr, 10);
}

HINTERNET SendServerRequest(const wchar_t* path, const wchar_t* headers, HINTERNET& session, HINTERNET& connection) {
    session = nullptr;
    connection = nullptr;
    session = WinHttpOpen(UserAgent, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME,
                          WINHTTP_NO_PROXY_BYPASS, 0);
    if (!session) {
        LogWinHttpFailure("WinHttpOpen");
        return nullptr;
    }
    WinHttpSetTimeouts(session, ResolveTimeoutMs, ConnectTimeoutMs, SendTimeoutMs, ReceiveTimeoutMs);

    connection = WinHttpConnect(session, NarrowToWide(DownloadServerHost).c_str(), DownloadServerPort, 0);
    if (!connection) {
        LogWinHttpFailure("WinHttpConnect", ServerName().c_str());
        return nullptr;
    }

    UniqueInternet request(WinHttpOpenRequest(connection, L"GET", path, nullptr, WINHTTP_NO_REFERER,
                                              WINHTTP_DEFAULT_ACCEPT_TYPES, 0));
    if (!request) {
        LogWinHttpFailure("WinHttpOpenRequest", WideToNarrow(path).c_str());
        return nullptr;
    }
    // ALWAYS also follows a redirect from HTTPS down to HTTP, which the default policy refuses.
    DWORD redirectPolicy = WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS;
    WinHttpSetOption(request.Get(), WINHTTP_OPTION_REDIRECT_POLICY, &redirectPolicy, sizeof(redirectPolicy));

    if (!WinHttpSendRequest(request.Get(), headers ? headers : WINHTTP_NO_ADDITIONAL_HEADERS, headers ? -1L : 0,
                            WINHTTP_NO_REQUEST_DATA, 0, 0, 0)) {
        LogWinHttpFailure("WinHttpSendRequest");
        return nullptr;
    }
    if (!WinHttpReceiveResponse(request.Get(), nullptr)) {
        LogWinHttpFailure("WinHttpReceiveResponse");
        return nullptr;
    }
    return request.Release();
}

bool ReadStatus(HINTERNET request, DWORD& status) {
    DWORD size = sizeof(status);
    if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                             WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX)) {
        LogWinHttpFailure("WinHttpQueryHeaders", "status");
        return false;
    }
    return true;
}

std::string ServerName() { return DownloadServerHost + (":" + std::to_string(DownloadServerPort)); }

HINTERNET OpenServerRequest(const wchar_t* path, HINTERNET& session, HINTERNET& connection,
                            unsigned long long& contentLength) {
    contentLength = 0;
    UniqueInternet request(SendServerRequest(path, nullptr, session, connection));
    DWORD status = 0;
    if (!request || !ReadStatus(request.Get(), status)) return nullptr;
    const std::string narrowPath = WideToNarrow(path);
    if (status != 200) {
        LogLine("winhttp: unexpected HTTP status " + std::to_string(status) + " for " + narrowPath +
                " (expected 200)");
        return nullptr;
    }
    LogLine("winhttp: HTTP 200 OK for http://" + ServerName() + narrowPath);
    contentLength = ReadContentLength(request.Get());
    return request.Release();
}

bool FetchVersionFile(std::string& body) {
    HINTERNET rawSession = nullptr;
    HINTERNET rawConnection = nullptr;
    unsigned long long contentLength = 0;
    HINTERNET rawRequest = OpenServerRequest(L"/version.txt", rawSession, rawConnection, contentLength);
    UniqueInternet session(rawSession);
    UniqueInternet connection(rawConnection);
    UniqueInternet request(rawRequest);
    if (!request) return false;

    std::string received;
    if (!ReadVersionBody(request.Get(), received)) return false;
    body = std::move(received);
    return true;
}
