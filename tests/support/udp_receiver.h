// A plain UDP socket of a test, and what the system itself answers to the calls of a sender.
#pragma once

#include <sockets.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace zvevent::test {

// Resolves as a sender does; the code of a failure.
inline int Resolve(const std::string& host, sockaddr_storage& address, socklen_t& size) {
    StartSockets();
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const int code = ::getaddrinfo(host.c_str(), "0", &hints, &found);
    if (code != 0) return code;
    size = static_cast<socklen_t>(found->ai_addrlen);
    std::memcpy(&address, found->ai_addr, found->ai_addrlen);
    ::freeaddrinfo(found);
    return 0;
}

// Bound to a free port of a numeric address. One thread.
class UdpReceiver {
public:
    explicit UdpReceiver(const std::string& host) {
        sockaddr_storage address{};
        socklen_t size = 0;
        if (Resolve(host, address, size) != 0) return;
        socket_ = ::socket(address.ss_family, SOCK_DGRAM, 0);
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (::bind(socket_, any, size) != 0 || ::getsockname(socket_, any, &size) != 0) return;
        // The port stands at the same place in both families.
        port_ = ntohs(reinterpret_cast<sockaddr_in*>(any)->sin_port);
    }
    ~UdpReceiver() { CloseSocket(socket_); }
    UdpReceiver(const UdpReceiver&) = delete;
    UdpReceiver& operator=(const UdpReceiver&) = delete;

    std::uint32_t Port() const { return port_; }  // 0: the system has no such address

    // The next datagram; empty when none comes for ten seconds.
    std::string Receive() {
        fd_set ready;
        FD_ZERO(&ready);
        FD_SET(socket_, &ready);
        timeval wait{10, 0};
        if (::select(static_cast<int>(socket_) + 1, &ready, nullptr, nullptr, &wait) != 1)
            return {};
        char datagram[65536];
        const auto size = ::recv(socket_, datagram, sizeof datagram, 0);
        return {datagram, size > 0 ? static_cast<std::size_t>(size) : 0};
    }

private:
    Socket socket_ = static_cast<Socket>(-1);
    std::uint32_t port_ = 0;
};

inline int ResolveCode(const std::string& host) {
    sockaddr_storage address{};
    socklen_t size = 0;
    return Resolve(host, address, size);
}

// The code of sending to an address, from a socket that may not broadcast.
inline int SendCode(const std::string& host) {
    sockaddr_storage address{};
    socklen_t size = 0;
    Resolve(host, address, size);
    reinterpret_cast<sockaddr_in*>(&address)->sin_port = htons(9);
    const Socket socket = ::socket(address.ss_family, SOCK_DGRAM, 0);
    const auto sent =
        ::sendto(socket, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), size);
    const int code = sent == 1 ? 0 : LastSocketError();
    CloseSocket(socket);
    return code;
}

}  // namespace zvevent::test
