#include "support/tcp_server.h"

#include <cstdlib>

namespace zvevent::test {

namespace {

constexpr int kLookMs = 10;  // between two looks at whether the server stops

std::size_t RequestSize(const std::string& bytes) {
    const std::size_t end = bytes.find("\r\n\r\n");
    if (end == std::string::npos) return std::string::npos;
    const std::size_t length = bytes.find("Content-Length: ");
    return end + 4 + (length < end ? std::strtoul(&bytes[length + 16], nullptr, 10) : 0);
}

}  // namespace

bool TcpServer::Peer::ReadRequest() {
    while (unread.size() < RequestSize(unread)) {
        while (!ReadableWithin(socket, kLookMs)) {
            if (server.stopping_) return false;
        }
        char block[16384];
        const auto got = recv(socket, block, sizeof block, 0);
        if (got <= 0) return false;
        unread.append(block, static_cast<std::size_t>(got));
    }
    const std::scoped_lock lock(server.mutex_);
    server.requests_.push_back(unread.substr(0, RequestSize(unread)));
    unread.erase(0, RequestSize(unread));
    return true;
}

bool TcpServer::Peer::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent = SendSome(socket, bytes);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool TcpServer::Peer::ClosedWithin(int ms) {
    char block[4096];
    return server.stopping_ ||
           (ReadableWithin(socket, ms) && recv(socket, block, sizeof block, 0) <= 0);
}

void TcpServer::Peer::WaitForClose() {
    while (!ClosedWithin(kLookMs)) {
    }
}

TcpServer::TcpServer(Script script)
    : BoundSocket("127.0.0.1", SOCK_STREAM), script_(std::move(script)) {
    listen(socket_, 64);
    accepting_ = std::thread([this] { Accept(); });
}

TcpServer::~TcpServer() {
    stopping_ = true;
    accepting_.join();
    for (std::thread& peer : peers_)
        peer.join();
}

void TcpServer::Accept() {
    while (!stopping_) {
        if (!ReadableWithin(socket_, kLookMs)) continue;
        const Socket socket = accept(socket_, nullptr, nullptr);
        ++connections_;
        peers_.emplace_back([this, socket] {
            Peer peer{*this, socket};
            script_(peer);
            CloseSocket(socket);
        });
    }
}

std::string TcpServer::Url(std::string_view scheme) const {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(Port());
}

std::vector<std::string> TcpServer::Requests() const {
    const std::scoped_lock lock(mutex_);
    return requests_;
}

}  // namespace zvevent::test
