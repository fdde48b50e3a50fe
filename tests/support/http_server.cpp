#include <winsock2.h>
#include <ws2tcpip.h>

#include "tests/support/http_server.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>

#include "common/names.h"
#include "tests/support/host_shell.h"

namespace {
constexpr DWORD IdleClientMs = 10000;

void MakeNonBlocking(SOCKET socket) {
    u_long on = 1;
    ioctlsocket(socket, FIONBIO, &on);
}
}  // namespace

HttpServer::HttpServer(std::function<std::string()> note) : note_(std::move(note)) {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    // Sockets are inheritable by default: a process started while this one listened, by a
    // CreateProcess that passes handles on, would keep the port for as long as it ran.
    listener_ = WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    // Connections of earlier servers linger in TIME_WAIT on the same port.
    const BOOL reuse = TRUE;
    setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof reuse);
    MakeNonBlocking(listener_);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(DownloadServerPort);
    inet_pton(AF_INET, DownloadServerHost, &address.sin_addr);
    // In the test bed's own loopback only the test bed can hold the port; ss names what does.
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(listener_, 8) != 0) {
        const std::string port = std::to_string(DownloadServerPort);
        ADD_FAILURE() << "the scripted server cannot listen on port " << port << ", error " << WSAGetLastError()
                      << "; the listeners on it:\n" << RunOnHost("ss -tlnp \"sport = :" + port + "\"", nullptr, 10000).output;
        return;
    }
    stop_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    thread_ = CreateThread(nullptr, 0, [](void* self) -> DWORD {
        static_cast<HttpServer*>(self)->Run();
        return 0;
    }, this, 0, nullptr);
}

HttpServer::~HttpServer() {
    if (thread_) {
        SetEvent(stop_);
        // Every wait of the thread is sliced, but Winsock under Wine has blocked for good
        // before (a blocking send to a client that had gone), so its end is not taken on trust.
        if (WaitForSingleObject(thread_, 5000) != WAIT_OBJECT_0) {
            ADD_FAILURE() << "the scripted server's thread did not stop within 5 s; it was ended";
            TerminateThread(thread_, 1);
        }
        CloseHandle(thread_);
        CloseHandle(stop_);
    }
    // However the thread ended, nothing it accepted or listened on outlives the server.
    if (client_ != ~Socket(0)) closesocket(client_);
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

void HttpServer::Run() {
    while (WaitUntil(listener_, false, INFINITE)) {
        client_ = accept(listener_, nullptr, nullptr);
        if (client_ == INVALID_SOCKET) continue;  // gone again before it was taken
        MakeNonBlocking(client_);
        Answer(client_);
        closesocket(std::exchange(client_, INVALID_SOCKET));
    }
}

bool HttpServer::WaitUntil(Socket socket, bool writable, DWORD limitMs) const {
    for (const DWORD start = GetTickCount(); WaitForSingleObject(stop_, 0) == WAIT_TIMEOUT;) {
        fd_set ready;
        FD_ZERO(&ready);
        FD_SET(socket, &ready);
        timeval slice = {0, 50000};
        if (select(0, writable ? nullptr : &ready, writable ? &ready : nullptr, nullptr, &slice) != 0) return true;
        if (limitMs != INFINITE && GetTickCount() - start > limitMs) return false;
    }
    return false;
}

bool HttpServer::Pause(DWORD ms) const { return WaitForSingleObject(stop_, ms) == WAIT_TIMEOUT; }

// A client that has gone fails the send at once, or stops taking data; either ends the reply.
bool HttpServer::SendAll(Socket client, const std::string& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        const int result = send(client, bytes.data() + sent, static_cast<int>(bytes.size() - sent), 0);
        if (result > 0) {
            sent += static_cast<size_t>(result);
        } else if (WSAGetLastError() != WSAEWOULDBLOCK || !WaitUntil(client, true, IdleClientMs)) {
            return false;
        }
    }
    return true;
}

void HttpServer::Answer(Socket client) {
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos) {
        const int received = WaitUntil(client, false, IdleClientMs) ? recv(client, buffer, sizeof buffer, 0) : 0;
        if (received <= 0) return;
        head.append(buffer, static_cast<size_t>(received));
    }
    const auto header = [&head](const std::string& name) {
        const size_t at = head.find("\r\n" + name + ": ");
        return at == std::string::npos ? "" : head.substr(at + name.size() + 4, head.find("\r\n", at + 2) - at - name.size() - 4);
    };
    Request request{head.substr(0, head.find("\r\n")), header("User-Agent"), header("Range"), note_()};
    Reply reply{.status = 404};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
        auto& queued = replies_[request.line.substr(4, request.line.rfind(' ') - 4)];
        if (!queued.empty()) reply = queued.front();
        if (queued.size() > 1) queued.pop_front();
    }

    if (!reply.etag.empty()) {
        reply.headers += "ETag: " + reply.etag + "\r\n";
        const size_t from = std::strtoull(request.range.c_str() + 6, nullptr, 10);
        if (request.range.rfind("bytes=", 0) == 0 && header("If-Range") == reply.etag && from < reply.body.size()) {
            reply.headers += "Content-Range: bytes " + std::to_string(from) + "-" + std::to_string(reply.body.size() - 1) +
                             "/" + std::to_string(reply.body.size()) + "\r\n";
            reply.status = 206;
            reply.body.erase(0, from);
        }
    }
    const std::string length = reply.announced.empty() ? std::to_string(reply.body.size()) : reply.announced;
    if (reply.cutAfter && reply.cutAfter < reply.body.size()) reply.body.resize(reply.cutAfter);
    bool connected = SendAll(client, "HTTP/1.1 " + std::to_string(reply.status) + " Scripted\r\n" +
                                         (reply.withoutLength ? "" : "Content-Length: " + length + "\r\n") +
                                         reply.headers + "Connection: close\r\n\r\n");
    const size_t pieceSize = reply.pieceSize ? reply.pieceSize : reply.body.size() + 1;
    for (size_t at = 0; connected && at < reply.body.size(); at += pieceSize) {
        connected = (at == 0 || Pause(reply.pauseMs)) && SendAll(client, reply.body.substr(at, pieceSize));
        if (connected && reply.afterPiece) reply.afterPiece(at / pieceSize + 1);
    }
    if (!reply.reset) {
        shutdown(client, SD_SEND);
    } else if (Pause(reply.pauseMs)) {
        // No shutdown() first: it would send FIN, and the client would see a clean, short end.
        const linger abort = {1, 0};
        setsockopt(client, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abort), sizeof abort);
    }
}
