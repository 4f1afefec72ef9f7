// A TCP server on loopback for tests: it plays a script on every connection, each on a thread of
// its own, and remembers the HTTP requests that it has read.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/udp_receiver.h"

namespace zvevent::test {

class TcpServer : private BoundSocket {
public:
    // One connection, for the script. Everything ends early when the server stops.
    struct Peer {
        // A whole request with the body its Content-Length announces. False when the client closed.
        bool ReadRequest();
        // False when the client is gone.
        bool Send(std::string_view bytes);
        // Waits up to `ms` for bytes or the client's end; true when it ended.
        bool ClosedWithin(int ms);
        void WaitForClose();

        TcpServer& server;
        const Socket socket;
        std::string unread = {};
    };
    using Script = std::function<void(Peer&)>;

    explicit TcpServer(Script script);
    ~TcpServer();

    // "<scheme>://127.0.0.1:<port>"
    std::string Url(std::string_view scheme = "http") const;
    std::vector<std::string> Requests() const;
    int Connections() const { return connections_; }

private:
    void Accept();

    const Script script_;
    std::atomic<bool> stopping_{false};
    std::atomic<int> connections_{0};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::vector<std::thread> peers_;  // the accepting thread's, until it is joined
    std::thread accepting_;
};

}  // namespace zvevent::test
