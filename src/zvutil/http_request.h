// An HTTP request taken apart and checked, before anything is sent. Any thread; an object belongs
// to one thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zvevent {

// Pointers and views are into the caller's texts.
struct HttpRequest {
    const char* url = nullptr;
    const char* method = nullptr;
    const void* body = nullptr;
    std::uint32_t body_length = 0;
    std::uint32_t timeout_ms = 0;  // of the whole exchange, never 0 once parsed
    std::uint32_t (*proceed)(void* context) = nullptr;  // 0 ends the exchange; null: never
    void* proceed_context = nullptr;
    // From the header lines:
    std::vector<std::string_view> headers{};  // lines with a name and a colon, in the given order
    bool verify_tls = true;
    std::uint32_t connect_timeout_ms = 0;  // 0: none of its own
    std::string ca_file{};                 // trusted in place of the system's store; empty: that
};

// Takes the header text apart into `request`, whose other members are given. False when something
// must not go out: a scheme other than http and https, a control character, a method that is no
// word.
bool ParseHttpRequest(std::string_view headers, HttpRequest& request);

// The name of a header line, without white space around it.
std::string_view HttpHeaderName(std::string_view line);

// Whether two header names are the same one, in any letter case.
bool SameHttpHeader(std::string_view a, std::string_view b);

}  // namespace zvevent
