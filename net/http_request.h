#pragma once
#include <windows.h>
#include <winhttp.h>

#include <cstddef>
#include <string>

// FetchVersionFile reads until more than this has arrived and keeps what it read: at most this
// and one more read of up to 4 KiB. A keyed build refuses a body longer than this.
inline constexpr size_t VersionFileLimit = 65536;

// Opens a fresh session, connection and GET request for path on the download server, sends
// it and insists on status 200. Returns the request, positioned at the body, or null. The
// caller closes every non-null handle: request, then connection, then session.
HINTERNET OpenServerRequest(const wchar_t* path, HINTERNET& session, HINTERNET& connection,
                            unsigned long long& contentLength);

// GET /version.txt into body (left untouched on failure).
bool FetchVersionFile(std::string& body);
