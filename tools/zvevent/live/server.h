// Serves the live page: its files, what is held, and a stream of what comes. Threads of its own,
// from when it is made until it is destroyed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "live/store.h"

namespace zvevent::tool {

class LiveServer {
public:
    virtual ~LiveServer() = default;

    std::uint16_t Port() const { return port_; }

protected:
    std::uint16_t port_ = 0;
};

struct LiveOptions {
    std::string address;  // numeric; on a loopback address only requests that name one are served,
                          // so that no page from elsewhere can read this one by a name of its own
    std::uint16_t port = 0;   // 0: a free one
    std::string status_path;  // a status file to look at once a second, UTF-8; empty: none
};

// Throws BindError. The store must outlive it.
std::unique_ptr<LiveServer> ServeLive(const LiveOptions& options, LiveStore& store);

}  // namespace zvevent::tool
