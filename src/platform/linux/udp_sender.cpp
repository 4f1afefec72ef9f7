#include "platform/udp_sender.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>

#include "platform/cancellation_shield.h"

namespace zvevent {

int StartNetwork() noexcept {
    return 0;
}

std::optional<UdpSender::Failure> UdpSender::OpenSocket() {
    // Some resolvers take such a port modulo 65536.
    if (port_ > std::numeric_limits<std::uint16_t>::max())
        return Failure{Step::kResolve, EAI_SERVICE};

    const CancellationShield shield;
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
        const int created =
            ::socket(entry->ai_family, entry->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK,
                     entry->ai_protocol);
        if (created < 0) {
            code = errno;
        } else if (entry->ai_addrlen <= address_.size()) {
            std::memcpy(address_.data(), entry->ai_addr, entry->ai_addrlen);
            address_bytes_ = entry->ai_addrlen;
            socket_ = created;
            return {};
        } else {
            ::close(created);
        }
    }
    return Failure{Step::kCreateSocket, code};
}

std::optional<int> UdpSender::SendDatagram(std::string_view datagram) {
    const int socket = static_cast<int>(socket_);
    for (bool waited = false;; waited = true) {
        const ssize_t sent = ::sendto(socket, datagram.data(), datagram.size(), 0,
                                      reinterpret_cast<const sockaddr*>(address_.data()),
                                      static_cast<socklen_t>(address_bytes_));
        if (sent == static_cast<ssize_t>(datagram.size())) {
            stuck_ = false;
            return {};
        }
        const int code = sent < 0 ? errno : EMSGSIZE;  // never sent in part, but if it were
        if (waited || stuck_ || (code != EAGAIN && code != EWOULDBLOCK)) return code;
        pollfd room{socket, POLLOUT, 0};
        stuck_ = ::poll(&room, 1, kWaitMs) == 0;
        if (stuck_) return code;
    }
}

void UdpSender::Close() noexcept {
    if (!IsOpen()) return;
    const CancellationShield shield;
    ::close(static_cast<int>(socket_));
    socket_ = kNoSocket;
}

}  // namespace zvevent
