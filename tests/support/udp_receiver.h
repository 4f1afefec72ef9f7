// Sockets of a test, bound to a free port of a numeric address. One thread.
#pragma once

#include <sockets.h>

#include <cstdint>
#include <string>

namespace zvevent::test {

inline bool ReadableWithin(Socket socket, int ms) {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(socket, &sockets);
    timeval wait{.tv_sec = ms / 1000, .tv_usec = ms % 1000 * 1000};
    return ::select(static_cast<int>(socket) + 1, &sockets, nullptr, nullptr, &wait) > 0;
}

class BoundSocket {
public:
    BoundSocket(const char* host, int type) {
        StartSockets();
        addrinfo hints{};
        hints.ai_socktype = type;
        addrinfo* found = nullptr;
        if (::getaddrinfo(host, "0", &hints, &found) != 0) return;
        socket_ = ::socket(found->ai_family, type, 0);
        sockaddr_storage bound{};
        auto size = static_cast<socklen_t>(sizeof bound);
        auto* const any = reinterpret_cast<sockaddr*>(&bound);
        if (::bind(socket_, found->ai_addr, static_cast<socklen_t>(found->ai_addrlen)) == 0 &&
            ::getsockname(socket_, any, &size) == 0) {
            // The port stands at the same place in both families.
            port_ = ntohs(reinterpret_cast<sockaddr_in*>(any)->sin_port);
        }
        ::freeaddrinfo(found);
    }
    ~BoundSocket() { CloseSocket(socket_); }
    BoundSocket(const BoundSocket&) = delete;
    BoundSocket& operator=(const BoundSocket&) = delete;

    std::uint32_t Port() const { return port_; }  // 0: the system has no such address

protected:
    Socket socket_ = static_cast<Socket>(-1);

private:
    std::uint32_t port_ = 0;
};

class UdpReceiver : public BoundSocket {
public:
    explicit UdpReceiver(const char* host) : BoundSocket(host, SOCK_DGRAM) {}

    // The next datagram; empty when none comes for ten seconds.
    std::string Receive() {
        char datagram[65536];
        if (!ReadableWithin(socket_, 10'000)) return {};
        const auto size = ::recv(socket_, datagram, sizeof datagram, 0);
        return {datagram, size > 0 ? static_cast<std::size_t>(size) : 0};
    }
};

}  // namespace zvevent::test
