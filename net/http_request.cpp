#include "net/http_request.h"

// The download client arrives in its own change; until then no request is made and the
// fresh-install path ends at the version check.
HINTERNET OpenServerRequest(const wchar_t*, HINTERNET& session, HINTERNET& connection,
                            unsigned long long& contentLength) {
    session = nullptr;
    connection = nullptr;
    contentLength = 0;
    return nullptr;
}

bool FetchVersionFile(std::string&) { return false; }
