#include "platform/udp_sender.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>
#include <limits>
#include <memory>

namespace zvevent {

namespace {

SOCKET CreateNonBlocking(const addrinfo& entry, int& code) {
    const SOCKET created =
        ::WSASocketW(entry.ai_family, entry.ai_socktype, entry.ai_protocol, nullptr, 0,
                     WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    u_long non_blocking = 1;
    if (created != INVALID_SOCKET &&
        ::ioctlsocket(created, static_cast<long>(FIONBIO), &non_blocking) == 0) {
        return created;
    }
    code = ::WSAGetLastError();
    if (created != INVALID_SOCKET) ::closesocket(created);
    return INVALID_SOCKET;
}

}  // namespace

int StartNetwork() noexcept {
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 2), &data);
}

std::optional<UdpSender::Failure> UdpSender::OpenSocket() {
    // Some resolvers take such a port modulo 65536.
    if (port_ > std::numeric_limits<std::uint16_t>::max()) {
        return Failure{Step::kResolve, WSATYPE_NOT_FOUND};
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_protocol = IPPROTO_UDP;
    addrinfo* found = nullptr;
    const int resolved =
        ::getaddrinfo(host_.c_str(), std::to_string(port_).c_str(), &hints, &found);
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(found, &::freeaddrinfo);
    if (resolved != 0 || found == nullptr) return Failure{Step::kResolve, resolved};

    int code = 0;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        const SOCKET created = CreateNonBlocking(*entry, code);
        if (created == INVALID_SOCKET) continue;
        if (entry->ai_addrlen <= address_.size()) {
            std::memcpy(address_.data(), entry->ai_addr, entry->ai_addrlen);
            address_bytes_ = static_cast<std::uint32_t>(entry->ai_addrlen);
            socket_ = static_cast<std::intptr_t>(created);
            return {};
        }
        ::closesocket(created);
    }
    return Failure{Step::kCreateSocket, code};
}

std::optional<int> UdpSender::SendDatagram(std::string_view datagram) {
    const SOCKET socket = static_cast<SOCKET>(socket_);
    for (bool waited = false;; waited = true) {
        const int sent = ::sendto(socket, datagram.data(), static_cast<int>(datagram.size()), 0,
                                  reinterpret_cast<const sockaddr*>(address_.data()),
                                  static_cast<int>(address_bytes_));
        if (sent == static_cast<int>(datagram.size())) {
            stuck_ = false;
            return {};
        }
        const int code = sent < 0 ? ::WSAGetLastError() : WSAEMSGSIZE;
        if (waited || stuck_ || code != WSAEWOULDBLOCK) return code;
        fd_set room;
        FD_ZERO(&room);
        FD_SET(socket, &room);
        timeval wait{0, kWaitMs * 1000};
        stuck_ = ::select(0, nullptr, &room, nullptr, &wait) == 0;
        if (stuck_) return code;
    }
}

void UdpSender::Close() noexcept {
    if (IsOpen()) ::closesocket(static_cast<SOCKET>(socket_));
    socket_ = kNoSocket;
}

}  // namespace zvevent
