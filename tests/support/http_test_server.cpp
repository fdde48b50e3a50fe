#include <winsock2.h>
#include <ws2tcpip.h>

#include "tests/support/http_test_server.h"

#include <algorithm>
#include <cstdio>

#include "common/names.h"
#include "common/unique_handle.h"

namespace {
struct SocketTraits {
    using Handle = SOCKET;
    static Handle None() { return INVALID_SOCKET; }
    static void Close(Handle socket) { closesocket(socket); }
};
using UniqueSocket = UniqueHandle<SocketTraits>;

const char* ReasonPhrase(int status) {
    switch (status) {
    case 200: return "OK";
    case 302: return "Found";
    case 404: return "Not Found";
    case 500: return "Internal Server Error";
    default: return "Status";
    }
}

bool SendAll(SOCKET socket, const std::string& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        const int chunk = static_cast<int>(std::min<size_t>(bytes.size() - sent, 1 << 20));
        const int result = send(socket, bytes.data() + sent, chunk, 0);
        if (result <= 0) return false;
        sent += static_cast<size_t>(result);
    }
    return true;
}

std::string Headers(const ScriptedReply& reply) {
    std::string headers = "HTTP/1.1 " + std::to_string(reply.status) + " " + ReasonPhrase(reply.status) + "\r\n";
    if (reply.framing == ScriptedReply::Framing::Length) {
        const unsigned long long length = reply.announceOther ? reply.announcedLength : reply.body.size();
        headers += "Content-Length: " + std::to_string(length) + "\r\n";
    } else if (reply.framing == ScriptedReply::Framing::Chunked) {
        headers += "Transfer-Encoding: chunked\r\n";
    }
    if (!reply.location.empty()) headers += "Location: " + reply.location + "\r\n";
    return headers + "Content-Type: application/octet-stream\r\nConnection: close\r\n\r\n";
}

std::string Framed(const ScriptedReply& reply, const std::string& piece) {
    if (reply.framing != ScriptedReply::Framing::Chunked) return piece;
    char size[32];
    std::snprintf(size, sizeof(size), "%zx\r\n", piece.size());
    return size + piece + "\r\n";
}

// The value of a header, looked up without regard to case; empty when it is missing.
std::string HeaderValue(const std::string& head, const std::string& lowerName) {
    std::string lowerHead = head;
    std::transform(head.begin(), head.end(), lowerHead.begin(), [](unsigned char c) { return std::tolower(c); });
    const size_t name = lowerHead.find("\r\n" + lowerName + ":");
    if (name == std::string::npos) return {};
    const size_t value = head.find_first_not_of(' ', name + lowerName.size() + 3);
    return head.substr(value, head.find("\r\n", value) - value);
}
}  // namespace

ScriptedReply ScriptedReply::Ok(std::string body) {
    ScriptedReply reply;
    reply.body = std::move(body);
    return reply;
}

ScriptedReply ScriptedReply::Status(int status) {
    ScriptedReply reply = Ok(std::string(ReasonPhrase(status)) + "\n");
    reply.status = status;
    return reply;
}

ScriptedReply ScriptedReply::Redirect(std::string location) {
    ScriptedReply reply = Status(302);
    reply.location = std::move(location);
    return reply;
}

ScriptedReply ScriptedReply::Chunked(std::string body, size_t pieceSize) {
    ScriptedReply reply = Ok(std::move(body));
    reply.framing = Framing::Chunked;
    reply.pieceSize = pieceSize;
    return reply;
}

ScriptedReply ScriptedReply::WithoutLength(std::string body) {
    ScriptedReply reply = Ok(std::move(body));
    reply.framing = Framing::NoLength;
    return reply;
}

ScriptedReply ScriptedReply::Announcing(unsigned long long announcedLength, std::string body, Ending ending) {
    ScriptedReply reply = Ok(std::move(body));
    reply.announceOther = true;
    reply.announcedLength = announcedLength;
    reply.ending = ending;
    return reply;
}

ScriptedReply ScriptedReply::Trickle(std::string body, size_t pieceSize, unsigned long pauseMs) {
    ScriptedReply reply = Ok(std::move(body));
    reply.pieceSize = pieceSize;
    reply.pauseMs = pauseMs;
    return reply;
}

ScriptedReply ScriptedReply::ResetAfter(std::string body) {
    const unsigned long long announced = 2 * body.size();
    ScriptedReply reply = Announcing(announced, std::move(body), Ending::Reset);
    reply.pauseMs = 300;
    return reply;
}

HttpTestServer::HttpTestServer() {
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return;
    UniqueSocket listener(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    if (!listener) return;
    // Earlier runs leave their closed connections in TIME_WAIT on this port.
    const BOOL reuse = TRUE;
    setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof(reuse));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(DownloadServerPort);
    if (inet_pton(AF_INET, DownloadServerHost, &address.sin_addr) != 1 ||
        bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener.Get(), SOMAXCONN) != 0) {
        return;
    }
    listener_ = listener.Release();
    thread_ = std::thread(&HttpTestServer::AcceptLoop, this);
}

HttpTestServer::~HttpTestServer() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
    UniqueSocket listener(listener_);
    WSACleanup();
}

void HttpTestServer::Serve(const std::string& path, ScriptedReply reply) { ServeInTurn(path, {std::move(reply)}); }

void HttpTestServer::ServeInTurn(const std::string& path, std::vector<ScriptedReply> replies) {
    std::lock_guard<std::mutex> lock(mutex_);
    scripts_[path] = std::deque<ScriptedReply>(replies.begin(), replies.end());
}

std::vector<ServedRequest> HttpTestServer::Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

bool HttpTestServer::WaitReadable(Socket socket) const {
    while (!stopping_) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(socket, &readable);
        timeval timeout = {0, 50000};
        if (select(0, &readable, nullptr, nullptr, &timeout) != 0) return true;
    }
    return false;
}

void HttpTestServer::AcceptLoop() {
    while (WaitReadable(listener_)) {
        UniqueSocket client(accept(listener_, nullptr, nullptr));
        if (client) Answer(client.Get());
    }
}

bool HttpTestServer::ReadRequest(Socket client, ServedRequest& request) const {
    std::string head;
    while (head.find("\r\n\r\n") == std::string::npos) {
        char buffer[4096];
        const int received = WaitReadable(client) ? recv(client, buffer, sizeof(buffer), 0) : 0;
        if (received <= 0) return false;
        head.append(buffer, static_cast<size_t>(received));
    }
    const size_t pathStart = head.find(' ') + 1;
    request.method = head.substr(0, pathStart - 1);
    request.path = head.substr(pathStart, head.find(' ', pathStart) - pathStart);
    request.userAgent = HeaderValue(head, "user-agent");
    return true;
}

void HttpTestServer::Answer(Socket client) {
    ServedRequest request;
    if (!ReadRequest(client, request)) return;
    ScriptedReply reply = ScriptedReply::Status(404);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
        const auto script = scripts_.find(request.path);
        if (script != scripts_.end() && !script->second.empty()) {
            reply = script->second.front();
            if (script->second.size() > 1) script->second.pop_front();
        }
    }

    bool connected = SendAll(client, Headers(reply));
    const size_t pieceSize = reply.pieceSize ? reply.pieceSize : std::max<size_t>(reply.body.size(), 1);
    for (size_t offset = 0; connected && offset < reply.body.size(); offset += pieceSize) {
        if (offset > 0) Sleep(reply.pauseMs);
        connected = SendAll(client, Framed(reply, reply.body.substr(offset, pieceSize)));
        if (connected && reply.afterPiece) reply.afterPiece(offset / pieceSize + 1);
    }

    switch (reply.ending) {
    case ScriptedReply::Ending::Close:
        if (connected && reply.framing == ScriptedReply::Framing::Chunked) SendAll(client, "0\r\n\r\n");
        shutdown(client, SD_SEND);
        break;
    case ScriptedReply::Ending::Reset: {
        // A reset discards whatever the client has not read yet; the pause lets it catch up.
        // A shutdown() first would send FIN and the client would see a clean, short end.
        Sleep(reply.pauseMs);
        const linger abort = {1, 0};
        setsockopt(client, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abort), sizeof(abort));
        break;
    }
    case ScriptedReply::Ending::Stall:
        // The client sends nothing more: readable means that it closed, or the server stops.
        WaitReadable(client);
        break;
    }
}
