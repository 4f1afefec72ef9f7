// Sends datagrams to one destination, which is looked up once: what the outputs over UDP share.
// Not thread-safe: the owner locks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zvevent {

// Starts the process's network use; 0, or the system's code. Windows only; elsewhere there is
// nothing to start. Never undone.
int StartNetwork() noexcept;

// A kind of output, as error texts call it. Each kind starts the network once a process, with a
// guard of its own; a failed start is final.
struct UdpOwner {
    std::string_view channel;  // "zvEvent ... resolve failed for ..."
    std::string_view sink;     // "WSAStartup failed for zvEvent ...: "
    int (*start_network)();    // calls StartNetwork the first time, and always returns its result
};

class UdpSender {
public:
    // `owner` must stay. Touches no network.
    UdpSender(const UdpOwner& owner, std::string host, std::uint32_t port)
        : owner_(owner), host_(std::move(host)), port_(port) {}
    ~UdpSender() { Close(); }
    UdpSender(const UdpSender&) = delete;
    UdpSender& operator=(const UdpSender&) = delete;

    // Looks the host up and creates the socket; once that went well, later calls do nothing. False
    // with a text in `error` on failure. Takes as long as the system's resolver does.
    bool Open(std::string& error);

    // Sends one datagram from an open sender. When the system has no room for it, waits at most
    // kWaitMs; after a wait that did not help, later calls do not wait until a datagram has gone
    // out again. On failure returns false with a text in `error`; the socket stays open.
    bool Send(std::string_view datagram, std::string& error);

    // Milliseconds: enough for a burst to drain into a working network, little enough for a stuck
    // one not to hold up the other outputs.
    static constexpr int kWaitMs = 50;

private:
    enum class Step { kResolve, kCreateSocket };
    struct Failure {
        Step step;
        int code;  // of the system, or of its resolver
    };

    // One file a platform. OpenSocket takes the first address that a socket can be had for.
    std::optional<Failure> OpenSocket();
    std::optional<int> SendDatagram(std::string_view datagram);  // the code of a failure
    void Close() noexcept;

    bool IsOpen() const { return socket_ != kNoSocket; }
    bool Fail(std::string_view what, int code, std::string& error) const;

    static constexpr std::intptr_t kNoSocket = -1;

    const UdpOwner& owner_;
    const std::string host_;
    const std::uint32_t port_;
    std::intptr_t socket_ = kNoSocket;
    bool stuck_ = false;                               // the last wait for room did not help
    alignas(8) std::array<std::byte, 128> address_{};  // a sockaddr of any family
    std::uint32_t address_bytes_ = 0;
};

}  // namespace zvevent
