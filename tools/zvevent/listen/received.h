// What came from the network, as it came.
#pragma once

#include <chrono>
#include <map>
#include <string>

namespace zvevent::tool {

enum class Protocol { kSyslog, kSnmp, kHttp };

constexpr const char* ProtocolName(Protocol protocol) {
    constexpr const char* kNames[] = {"syslog", "snmp", "http"};
    return kNames[static_cast<int>(protocol)];
}

struct Received {
    Protocol protocol{};
    std::chrono::system_clock::time_point at = std::chrono::system_clock::now();
    std::string from;   // address and port, "127.0.0.1:4711" or "[::1]:4711"
    std::string bytes;  // the datagram, or the request's body

    // HTTP only.
    std::string path;
    std::map<std::string, std::string> headers;  // names in lower case
    std::string refused;  // why the request was answered with an error; empty when it was taken
};

}  // namespace zvevent::tool
