#pragma once
// The download server as the tests script it: an HTTP/1.1 server on the installer's host and
// port that gives each path the replies it was given, in turn (the last one for every later
// request), one connection at a time; unscripted paths get 404. No wait in it is unbounded: a
// client that sends no request or takes no data for 10 s is dropped, and the destructor returns
// within five seconds whatever its thread is doing.
#include <windows.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

struct Reply {
    int status = 200;
    std::string body;
    bool withoutLength = false;  // no Content-Length: the body ends when the connection does
    std::string announced;       // a Content-Length other than the body's size, as sent
    bool reset = false;  // after the body (and a pause of pauseMs), RST instead of FIN
    size_t pieceSize = 0;  // the body in pieces of this size, pauseMs apart (also before a reset)
    unsigned long pauseMs = 0;
    std::function<void(size_t piecesSent)> afterPiece;
    std::string headers;  // more header lines, each ending in CR LF
    // Sent as the ETag; a request for "Range: bytes=N-" whose If-Range names it gets the rest (206).
    std::string etag;
    size_t cutAfter = 0;  // the body ends after this many bytes, with a FIN (or a reset)
};

struct Request {
    std::string line;  // "GET /game.zip HTTP/1.1"
    std::string userAgent;
    std::string range;  // its Range header, if any
    std::string note;  // what the server's note said when the request came in
};

class HttpServer {
public:
    explicit HttpServer(std::function<std::string()> note = [] { return ""; });
    ~HttpServer();
    // False when it could not listen; the test has already failed, naming why.
    bool Listening() const { return thread_ != nullptr; }
    void Serve(const std::string& path, std::vector<Reply> replies);
    std::vector<Request> Requests() const;

private:
    using Socket = std::uintptr_t;  // Winsock's SOCKET, without winsock2.h in this header
    void Run();
    void Answer(Socket client);
    bool SendAll(Socket client, const std::string& bytes);
    // Waits, in short slices, until the socket can be read (or written); false when the server
    // stops first or limitMs pass (never, for INFINITE).
    bool WaitUntil(Socket socket, bool writable, DWORD limitMs) const;
    bool Pause(DWORD ms) const;  // false when the server stops first

    std::function<std::string()> note_;
    Socket listener_ = ~Socket(0);
    Socket client_ = ~Socket(0);  // the connection being answered
    HANDLE stop_ = nullptr;
    HANDLE thread_ = nullptr;
    mutable std::mutex mutex_;
    std::map<std::string, std::deque<Reply>> replies_;
    std::vector<Request> requests_;
};
