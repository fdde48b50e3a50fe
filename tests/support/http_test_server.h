#pragma once
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// How the server answers one path. The factories cover what a download server (or a broken
// one) does; fields can be adjusted after a factory call.
struct ScriptedReply {
    enum class Framing { Length, NoLength, Chunked };
    enum class Ending { Close, Reset, Stall };

    int status = 200;
    std::string body;
    Framing framing = Framing::Length;
    // Content-Length to announce instead of the body's size (Framing::Length only).
    bool announceOther = false;
    unsigned long long announcedLength = 0;
    std::string location;  // Location header, when not empty
    // The body goes out in pieces of this size (0: all at once), with a pause between them.
    size_t pieceSize = 0;
    unsigned long pauseMs = 0;
    // Called on the server's thread after each piece with the count of pieces sent so far.
    std::function<void(size_t)> afterPiece;
    // Close: FIN after the body. Reset: RST instead, after one more pause. Stall: keep the
    // connection open, send nothing more, until the client goes away or the server stops.
    Ending ending = Ending::Close;

    static ScriptedReply Ok(std::string body);
    static ScriptedReply Status(int status);
    static ScriptedReply Redirect(std::string location);  // 302
    static ScriptedReply Chunked(std::string body, size_t pieceSize);
    // No Content-Length and no chunking: the body ends when the connection closes.
    static ScriptedReply WithoutLength(std::string body);
    // Announces announcedLength but sends only body, then ends the connection as told.
    static ScriptedReply Announcing(unsigned long long announcedLength, std::string body, Ending ending);
    static ScriptedReply Trickle(std::string body, size_t pieceSize, unsigned long pauseMs);
    // Announces twice the body's size, sends the body, waits until the client has surely read
    // it and is waiting for more, then resets the connection.
    static ScriptedReply ResetAfter(std::string body);
};

struct ServedRequest {
    std::string method;
    std::string path;
    std::string userAgent;
};

// An HTTP/1.1 server for tests on the download server's host and port. It answers from a
// thread of its own, one connection at a time, with "Connection: close" on every reply;
// paths without a script get 404. It listens as soon as the constructor returns.
class HttpTestServer {
public:
    HttpTestServer();
    ~HttpTestServer();
    HttpTestServer(const HttpTestServer&) = delete;
    HttpTestServer& operator=(const HttpTestServer&) = delete;

    bool Listening() const { return thread_.joinable(); }
    void Serve(const std::string& path, ScriptedReply reply);
    // One reply per request, in this order; the last one answers every later request.
    void ServeInTurn(const std::string& path, std::vector<ScriptedReply> replies);
    std::vector<ServedRequest> Requests() const;

private:
    // Winsock SOCKET values, kept out of this header so that its users need not order
    // winsock2.h before windows.h.
    using Socket = std::uintptr_t;
    void AcceptLoop();
    void Answer(Socket client);
    // Waits until socket is readable; false when the server stops first.
    bool WaitReadable(Socket socket) const;
    bool ReadRequest(Socket client, ServedRequest& request) const;

    Socket listener_ = ~Socket(0);
    std::atomic<bool> stopping_{false};
    mutable std::mutex mutex_;
    std::map<std::string, std::deque<ScriptedReply>> scripts_;
    std::vector<ServedRequest> requests_;
    std::thread thread_;
};
