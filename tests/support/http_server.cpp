#include <winsock2.h>
#include <ws2tcpip.h>

#include "tests/support/http_server.h"

#include "common/names.h"

namespace {
bool SendAll(SOCKET socket, const std::string& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        const int result = send(socket, bytes.data() + sent, static_cast<int>(bytes.size() - sent), 0);
        if (result <= 0) return false;
        sent += static_cast<size_t>(result);
    }
    return true;
}
}  // namespace

HttpServer::HttpServer(std::function<std::string()> note) : note_(std::move(note)) {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    const SOCKET listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    // Connections of earlier servers linger in TIME_WAIT on the same port.
    const BOOL reuse = TRUE;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof reuse);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(DownloadServerPort);
    inet_pton(AF_INET, DownloadServerHost, &address.sin_addr);
    listener_ = listener;
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(listener, 8) != 0) return;
    thread_ = std::thread([this] {
        while (WaitReadable(listener_)) {
            const SOCKET client = accept(listener_, nullptr, nullptr);
            Answer(client);
            closesocket(client);
        }
    });
}

HttpServer::~HttpServer() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
    closesocket(listener_);
    WSACleanup();
}

void HttpServer::Serve(const std::string& path, std::vector<Reply> replies) {
    std::lock_guard<std::mutex> lock(mutex_);
    replies_[path].assign(replies.begin(), replies.end());
}

std::vector<Request> HttpServer::Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

bool HttpServer::WaitReadable(Socket socket) const {
    while (!stopping_) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(socket, &readable);
        timeval timeout = {0, 50000};
        if (select(0, &readable, nullptr, nullptr, &timeout) != 0) return true;
    }
    return false;
}

void HttpServer::Answer(Socket client) {
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos) {
        const int received = WaitReadable(client) ? recv(client, buffer, sizeof buffer, 0) : 0;
        if (received <= 0) return;
        head.append(buffer, static_cast<size_t>(received));
    }
    Request request{head.substr(0, head.find("\r\n")), "", note_()};
    const size_t agent = head.find("\r\nUser-Agent: ");
    if (agent != std::string::npos) request.userAgent = head.substr(agent + 14, head.find("\r\n", agent + 2) - agent - 14);
    Reply reply{.status = 404};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
        auto& queued = replies_[request.line.substr(4, request.line.rfind(' ') - 4)];
        if (!queued.empty()) reply = queued.front();
        if (queued.size() > 1) queued.pop_front();
    }

    const long long length = reply.announced >= 0 ? reply.announced : static_cast<long long>(reply.body.size());
    bool connected = SendAll(client, "HTTP/1.1 " + std::to_string(reply.status) + " Scripted\r\n" +
                                         (reply.withoutLength ? "" : "Content-Length: " + std::to_string(length) + "\r\n") +
                                         "Connection: close\r\n\r\n");
    const size_t pieceSize = reply.pieceSize ? reply.pieceSize : reply.body.size() + 1;
    for (size_t at = 0; connected && at < reply.body.size(); at += pieceSize) {
        if (at > 0) Sleep(reply.pauseMs);
        connected = SendAll(client, reply.body.substr(at, pieceSize));
        if (connected && reply.afterPiece) reply.afterPiece(at / pieceSize + 1);
    }
    if (reply.ending == Reply::Close) {
        shutdown(client, SD_SEND);
    } else {
        // No shutdown() first: it would send FIN, and the client would see a clean, short end.
        Sleep(reply.pauseMs);
        const linger abort = {1, 0};
        setsockopt(client, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abort), sizeof abort);
    }
}
