#pragma once
#include <windows.h>
#include <winhttp.h>

#include <cstddef>
#include <string>

// FetchVersionFile reads until more than this has arrived and keeps what it read: at most this
// and one more read of up to 4 KiB. A keyed build refuses a body longer than this.
inline constexpr size_t VersionFileLimit = 65536;

// Opens a fresh session, connection and GET request for path on the download server, sends it
// with the extra header lines given (CR LF between them; null for none) and waits for the
// response. Returns the request, or null after a logged failure; the caller closes every
// non-null handle: request, then connection, then session.
HINTERNET SendServerRequest(const wchar_t* path, const wchar_t* headers, HINTERNET& session, HINTERNET& connection);

// The response's status code; false after a logged failure.
bool ReadStatus(HINTERNET request, DWORD& status);

// The announced Content-Length; 0 when there is none or it cannot be read, as when it is 0.
unsigned long long ReadContentLength(HINTERNET request);

// "<host>:<port>" of the download server, as the log names it.
std::string ServerName();

// SendServerRequest without extra headers, insisting on status 200: the request, positioned at
// the body, or null. The caller closes every non-null handle, as above.
HINTERNET OpenServerRequest(const wchar_t* path, HINTERNET& session, HINTERNET& connection,
                            unsigned long long& contentLength);

// GET /version.txt into body (left untouched on failure).
bool FetchVersionFile(std::string& body);
