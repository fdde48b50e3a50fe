#pragma once
#include <string>

#include "common/names.h"
#include "common/unique_handle.h"
#include "net/http_request.h"

// The handles of one OpenServerRequest call, closed request first.
struct ServerRequest {
    UniqueInternet session;
    UniqueInternet connection;
    UniqueInternet request;
    unsigned long long contentLength = 0;
};

inline ServerRequest OpenRequest(const wchar_t* path) {
    HINTERNET session = nullptr;
    HINTERNET connection = nullptr;
    ServerRequest opened;
    opened.request.Reset(OpenServerRequest(path, session, connection, opened.contentLength));
    opened.session.Reset(session);
    opened.connection.Reset(connection);
    return opened;
}

inline std::string ServerUrl(const std::string& path) {
    return "http://" + std::string(DownloadServerHost) + ":" + std::to_string(DownloadServerPort) + path;
}
