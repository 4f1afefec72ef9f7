// A UDP socket of a test, bound to a free port of a numeric address. One thread.
#pragma once

#include <sockets.h>

#include <cstdint>
#include <string>

namespace zvevent::test {

class UdpReceiver {
public:
    explicit UdpReceiver(const char* host) {
        StartSockets();
        addrinfo hints{};
        hints.ai_socktype = SOCK_DGRAM;
        addrinfo* found = nullptr;
        if (::getaddrinfo(host, "0", &hints, &found) != 0) return;
        socket_ = ::socket(found->ai_family, SOCK_DGRAM, 0);
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
    ~UdpReceiver() { CloseSocket(socket_); }
    UdpReceiver(const UdpReceiver&) = delete;

    std::uint32_t Port() const { return port_; }  // 0: the system has no such address

    // The next datagram; empty when none comes for ten seconds.
    std::string Receive() {
        fd_set sockets;
        FD_ZERO(&sockets);
        FD_SET(socket_, &sockets);
        timeval wait{10, 0};
        if (::select(static_cast<int>(socket_) + 1, &sockets, nullptr, nullptr, &wait) != 1)
            return {};
        char datagram[65536];
        const auto size = ::recv(socket_, datagram, sizeof datagram, 0);
        return {datagram, size > 0 ? static_cast<std::size_t>(size) : 0};
    }

private:
    Socket socket_ = static_cast<Socket>(-1);
    std::uint32_t port_ = 0;
};

}  // namespace zvevent::test
