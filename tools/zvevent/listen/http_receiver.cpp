#include <utility>

#include "listen/http_service.h"

namespace zvevent::tool {

namespace {

constexpr std::size_t kMaxBodyBytes = std::size_t{4} << 20;
constexpr std::size_t kRequestsAConnection = 1'000'000;
constexpr int kNoContent = 204;

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
        httplib::Server& server = service_.server();
        server.set_payload_max_length(kMaxBodyBytes);
        server.set_keep_alive_max_count(kRequestsAConnection);
        server.set_pre_routing_handler(
            [](const httplib::Request& request, httplib::Response& response) {
                if (request.target.size() <= HttpService::kMaxTargetBytes)
                    return httplib::Server::HandlerResponse::Unhandled;
                response.status = HttpService::kTargetTooLong;
                return httplib::Server::HandlerResponse::Handled;
            });
        // Reads the body itself: the server would take small ones only from a plain `curl -d`,
        // which calls everything a form.
        server.Post(R"([\s\S]*)",
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
        server.set_error_handler(
            [this](const httplib::Request& request, httplib::Response& response) {
                Received received = FromRequest(request);
                received.refused = "answered with " + std::to_string(response.status);
                if (!request.method.empty()) received.refused += ": " + request.method;
                inbox_.Put(std::move(received));
            });
        port_ = service_.Start(address, port);
    }

private:
    Inbox& inbox_;
    HttpService service_;  // last: its handlers use the rest
};

}  // namespace

std::unique_ptr<Receiver> ReceiveHttp(const std::string& address, std::uint16_t port,
                                      Inbox& inbox) {
    return std::make_unique<HttpReceiver>(address, port, inbox);
}

}  // namespace zvevent::tool
