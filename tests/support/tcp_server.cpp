#include "support/tcp_server.h"

#include <cstdlib>

namespace zvevent::test {

namespace {

constexpr int kLookMs = 10;  // between two looks at whether the server stops

bool ReadableWithin(Socket socket, int ms) {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(socket, &sockets);
    timeval wait{.tv_sec = ms / 1000, .tv_usec = ms % 1000 * 1000};
    return select(static_cast<int>(socket) + 1, &sockets, nullptr, nullptr, &wait) > 0;
}

std::size_t RequestSize(const std::string& bytes) {
    const std::size_t end = bytes.find("\r\n\r\n");
    if (end == std::string::npos) return std::string::npos;
    const std::size_t length = bytes.find("Content-Length: ");
    return end + 4 + (length < end ? std::strtoul(&bytes[length + 16], nullptr, 10) : 0);
}

}  // namespace

bool TcpServer::Peer::ReadRequest() {
    while (unread_.size() < RequestSize(unread_)) {
        while (!ReadableWithin(socket_, kLookMs)) {
            if (server_.stopping_) return false;
        }
        char block[16384];
        const auto got = recv(socket_, block, sizeof block, 0);
        if (got <= 0) return false;
        unread_.append(block, static_cast<std::size_t>(got));
    }
    const std::scoped_lock lock(server_.mutex_);
    server_.requests_.push_back(unread_.substr(0, RequestSize(unread_)));
    unread_.erase(0, RequestSize(unread_));
    return true;
}

bool TcpServer::Peer::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent = SendSome(socket_, bytes);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool TcpServer::Peer::ClosedWithin(int ms) {
    char block[4096];
    return server_.stopping_ ||
           (ReadableWithin(socket_, ms) && recv(socket_, block, sizeof block, 0) <= 0);
}

void TcpServer::Peer::WaitForClose() {
    while (!ClosedWithin(kLookMs)) {
    }
}

TcpServer::TcpServer(Script script) : script_(std::move(script)) {
    StartSockets();
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
    listen(listener_, 64);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    accepting_ = std::thread([this] { Accept(); });
}

TcpServer::~TcpServer() {
    stopping_ = true;
    accepting_.join();
    for (std::thread& peer : peers_)
        peer.join();
    CloseSocket(listener_);
}

void TcpServer::Accept() {
    while (!stopping_) {
        if (!ReadableWithin(listener_, kLookMs)) continue;
        const Socket socket = accept(listener_, nullptr, nullptr);
        if (socket == kNoSocket) continue;
        ++connections_;
        peers_.emplace_back([this, socket] {
            Peer peer(*this, socket);
            script_(peer);
            CloseSocket(socket);
        });
    }
}

std::string TcpServer::Url(std::string_view scheme) const {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(port_);
}

std::vector<std::string> TcpServer::Requests() const {
    const std::scoped_lock lock(mutex_);
    return requests_;
}

}  // namespace zvevent::test
