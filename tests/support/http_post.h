// Posts through the utility layer, and what a scripted server answers.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

#include "support/tcp_server.h"
#include "zvutil/zvutil.h"

namespace zvevent::test {

struct Outcome {
    bool good = false;
    std::string body;
    std::int64_t ms = 0;
};

// `headers` are separated by "|".
inline Outcome Post(const std::string& url, std::string headers = "", std::uint32_t timeout = 20000,
                    const std::string& body = "{}") {
    std::replace(headers.begin(), headers.end(), '|', '\xA7');
    const auto start = std::chrono::steady_clock::now();
    void* bytes = nullptr;
    std::uint32_t length = 0;
    Outcome outcome;
    outcome.good =
        zvOSHTTPCommand(url.c_str(), "POST", headers.c_str(), body.data(),
                        static_cast<std::uint32_t>(body.size()), &bytes, &length, timeout) != 0;
    outcome.ms = (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
    if (bytes != nullptr) outcome.body.assign(static_cast<const char*>(bytes), length);
    ZVFree(bytes);
    return outcome;
}

// Answers one request and closes.
inline TcpServer::Script AnsweringOnce(std::string answer) {
    return [answer](TcpServer::Peer& peer) { peer.ReadRequest() && peer.Send(answer); };
}

// Answers every request on a connection alike.
inline TcpServer::Script Answering(std::string answer) {
    return [answer](TcpServer::Peer& peer) {
        while (peer.ReadRequest() && peer.Send(answer)) {
        }
    };
}

inline const std::string kOk = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

}  // namespace zvevent::test
