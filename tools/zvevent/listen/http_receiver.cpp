#include <sockets.h>
// After the system's sockets, which it includes in an order of its own.
#include <httplib.h>

#include <atomic>
#include <thread>
#include <utility>

#include "listen/receivers.h"

namespace zvevent::tool {

namespace {

constexpr std::size_t kMaxBodyBytes = std::size_t{4} << 20;
constexpr std::size_t kRequestsAConnection = 1'000'000;
constexpr std::size_t kMaxPathBytes = 500;
constexpr int kNoContent = 204;
constexpr int kPathTooLong = 414;

Received FromRequest(const httplib::Request& request) {
    Received received;
    received.protocol = Protocol::kHttp;
    const std::string& host = request.remote_addr;
    received.from = host.find(':') == std::string::npos ? host : "[" + host + "]";
    // Unknown when the request's first lines cannot be read.
    received.from += host.empty() ? "?" : ":" + std::to_string(request.remote_port);
    received.bytes = request.body;
    received.path = request.target;
    for (const auto& [name, value] : request.headers) {
        std::string lower = name;
        for (char& c : lower)
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        // What the server adds by itself.
        if (!lower.starts_with("remote_") && !lower.starts_with("local_"))
            received.headers.emplace(std::move(lower), value);
    }
    return received;
}

class HttpReceiver : public Receiver {
public:
    HttpReceiver(const std::string& address, std::uint16_t port, Inbox& inbox) : inbox_(inbox) {
        server_.set_socket_options(TakePortAlone);
        server_.set_payload_max_length(kMaxBodyBytes);
        server_.set_tcp_nodelay(true);
        server_.set_keep_alive_max_count(kRequestsAConnection);
        // Paths are matched by a regular expression, which calls itself for every character: a long
        // one would take more stack than threads have on Windows.
        server_.set_pre_routing_handler(
            [](const httplib::Request& request, httplib::Response& response) {
                if (request.target.size() <= kMaxPathBytes)
                    return httplib::Server::HandlerResponse::Unhandled;
                response.status = kPathTooLong;
                return httplib::Server::HandlerResponse::Handled;
            });
        // Reads the body itself: the server would take small ones only from a plain `curl -d`,
        // which calls everything a form.
        server_.Post(R"([\s\S]*)",
                     [this](const httplib::Request& request, httplib::Response& response,
                            const httplib::ContentReader& read) {
                         Received received = FromRequest(request);
                         const bool is_whole = read([&](const char* data, std::size_t length) {
                             received.bytes.append(data, length);
                             return received.bytes.size() <= kMaxBodyBytes;
                         });
                         if (!is_whole) return;  // the server has set an error
                         inbox_.Put(std::move(received));
                         response.status = kNoContent;
                     });
        // Everything that is answered with an error, requests that cannot be read included.
        server_.set_error_handler(
            [this](const httplib::Request& request, httplib::Response& response) {
                Received received = FromRequest(request);
                received.refused = "answered with " + std::to_string(response.status);
                if (!request.method.empty()) received.refused += ": " + request.method;
                inbox_.Put(std::move(received));
            });
        const int bound = port == 0 ? server_.bind_to_any_port(address)
                          : server_.bind_to_port(address, int{port}) ? int{port}
                                                                     : -1;
        if (bound < 0)
            throw BindError(address + " port " + std::to_string(port) +
                            " over TCP: " + SocketError());
        port_ = static_cast<std::uint16_t>(bound);
        thread_ = std::thread([this] {
            server_.listen_after_bind();
            ended_ = true;
        });
    }
    ~HttpReceiver() override {
        // A stop before the server listens would be lost.
        while (!server_.is_running() && !ended_)
            std::this_thread::yield();
        server_.stop();
        thread_.join();
    }

private:
    Inbox& inbox_;
    httplib::Server server_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

}  // namespace

std::unique_ptr<Receiver> ReceiveHttp(const std::string& address, std::uint16_t port,
                                      Inbox& inbox) {
    return std::make_unique<HttpReceiver>(address, port, inbox);
}

}  // namespace zvevent::tool
