#include <sockets.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "listen/receivers.h"

namespace zvevent::tool {

namespace {

constexpr int kLookForStopMs = 100;
constexpr std::size_t kMaxDatagram = 65536;
constexpr int kBufferBytes = 4 << 20;  // for bursts; the system may give less

std::string AddressText(const sockaddr_storage& address, SocketLength length) {
    char host[NI_MAXHOST] = "?";
    char port[NI_MAXSERV] = "?";
    getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host, sizeof host, port,
                sizeof port, NI_NUMERICHOST | NI_NUMERICSERV);
    const std::string name = address.ss_family == AF_INET6 ? "[" + std::string(host) + "]" : host;
    return name + ":" + port;
}

// A bound socket. Throws BindError.
class UdpSocket {
public:
    UdpSocket(const std::string& address, std::uint16_t port) {
        const std::string place = address + " port " + std::to_string(port);
        addrinfo hints{};
        hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
        hints.ai_socktype = SOCK_DGRAM;
        addrinfo* found = nullptr;
        if (!StartSockets() ||
            getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
            throw BindError(address + " is not an address");
        socket_ = socket(found->ai_family, found->ai_socktype, found->ai_protocol);
        const int bytes = kBufferBytes;
        setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&bytes),
                   sizeof bytes);
        const bool bound =
            socket_ != kNoSocket &&
            bind(socket_, found->ai_addr, static_cast<SocketLength>(found->ai_addrlen)) == 0;
        freeaddrinfo(found);
        if (bound) return;
        const std::string why = SocketError();
        if (socket_ != kNoSocket) CloseSocket(socket_);
        throw BindError(place + " over UDP: " + why);
    }
    ~UdpSocket() { CloseSocket(socket_); }
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    std::uint16_t Port() const {
        sockaddr_storage address{};
        SocketLength length = sizeof address;
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
        const auto port = address.ss_family == AF_INET6
                              ? reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port
                              : reinterpret_cast<const sockaddr_in*>(&address)->sin_port;
        return ntohs(port);
    }

    // Waits a moment for a datagram and appends nothing when none comes.
    bool Receive(std::vector<char>& buffer, Received& received) const {
        if (!WaitReadable(socket_, kLookForStopMs)) return false;
        sockaddr_storage sender{};
        SocketLength length = sizeof sender;
        const auto count =
            recvfrom(socket_, buffer.data(), static_cast<BufferLength>(buffer.size()), 0,
                     reinterpret_cast<sockaddr*>(&sender), &length);
        if (count < 0) return false;
        received.bytes.assign(buffer.data(), static_cast<std::size_t>(count));
        received.from = AddressText(sender, length);
        return true;
    }

private:
    Socket socket_ = kNoSocket;
};

class UdpReceiver : public Receiver {
public:
    UdpReceiver(Protocol protocol, const std::string& address, std::uint16_t port, Inbox& inbox)
        : socket_(address, port), protocol_(protocol), inbox_(inbox) {
        port_ = socket_.Port();
        thread_ = std::thread([this] { Run(); });
    }
    ~UdpReceiver() override {
        stop_ = true;
        thread_.join();
    }

private:
    void Run() {
        std::vector<char> buffer(kMaxDatagram);
        while (!stop_) {
            Received received;
            received.protocol = protocol_;
            if (!socket_.Receive(buffer, received)) continue;
            received.at = std::chrono::system_clock::now();
            inbox_.Put(std::move(received));
        }
    }

    const UdpSocket socket_;
    const Protocol protocol_;
    Inbox& inbox_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace

std::unique_ptr<Receiver> ReceiveUdp(Protocol protocol, const std::string& address,
                                     std::uint16_t port, Inbox& inbox) {
    return std::make_unique<UdpReceiver>(protocol, address, port, inbox);
}

}  // namespace zvevent::tool
