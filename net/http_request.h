#pragma once
#include <windows.h>
#include <winhttp.h>

#include <string>

// Opens a fresh session, connection and GET request for path on the download server, sends
// it and insists on status 200. Returns the request, positioned at the body, or null. The
// caller closes every non-null handle: request, then connection, then session.
HINTERNET OpenServerRequest(const wchar_t* path, HINTERNET& session, HINTERNET& connection,
                            unsigned long long& contentLength);

// GET /version.txt into body (left untouched on failure).
bool FetchVersionFile(std::string& body);
