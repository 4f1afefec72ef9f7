// A HTTP server with a port and a thread of its own, for those that include the HTTP library
// anyway.
#pragma once

#include <sockets.h>
// After the system's sockets, which it includes in an order of its own.
#include <httplib.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "listen/receivers.h"

namespace zvevent::tool {

class HttpService {
public:
    // Paths are matched by a regular expression, which calls itself for every character: a long one
    // would take more stack than threads have on Windows.
    static constexpr std::size_t kMaxTargetBytes = 500;
    static constexpr int kTargetTooLong = 414;

    HttpService() {
        server_.set_socket_options(TakePortAlone);
        server_.set_tcp_nodelay(true);
    }
    ~HttpService() { Stop(); }
    HttpService(const HttpService&) = delete;
    HttpService& operator=(const HttpService&) = delete;

    // To be set up before the start.
    httplib::Server& server() { return server_; }

    // Serves from now on. `address` is numeric; port 0 takes a free one. Returns the port; throws
    // BindError.
    std::uint16_t Start(const std::string& address, std::uint16_t port) {
        const int bound = port == 0 ? server_.bind_to_any_port(address)
                          : server_.bind_to_port(address, int{port}) ? int{port}
                                                                     : -1;
        if (bound < 0)
            throw BindError(address + " port " + std::to_string(port) +
                            " over TCP: " + SocketError());
        thread_ = std::thread([this] {
            server_.listen_after_bind();
            ended_ = true;
        });
        return static_cast<std::uint16_t>(bound);
    }

    // Returns once no handler runs any more.
    void Stop() {
        if (!thread_.joinable()) return;
        // A stop before the server listens would be lost.
        while (!server_.is_running() && !ended_)
            std::this_thread::yield();
        server_.stop();
        thread_.join();
    }

private:
    httplib::Server server_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

}  // namespace zvevent::tool
