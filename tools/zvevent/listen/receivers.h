// Receivers: each binds a port when it is made, and puts into an inbox what arrives there until it
// is destroyed, on threads of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "listen/inbox.h"

namespace zvevent::tool {

class Receiver {
public:
    virtual ~Receiver() = default;

    std::uint16_t Port() const { return port_; }

protected:
    std::uint16_t port_ = 0;
};

// A port that cannot be had; says which and why.
struct BindError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `address` is numeric, IPv4 or IPv6; port 0 takes a free one. Both throw BindError. The inbox must
// outlive them.
std::unique_ptr<Receiver> ReceiveUdp(Protocol protocol, const std::string& address,
                                     std::uint16_t port, Inbox& inbox);
std::unique_ptr<Receiver> ReceiveHttp(const std::string& address, std::uint16_t port, Inbox& inbox);

}  // namespace zvevent::tool
