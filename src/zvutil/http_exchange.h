// What the HTTP clients of all platforms share: the request taken apart and checked, and the
// response kept up to its bound. Any thread; an object belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
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
    // From the header lines:
    std::vector<std::string_view> headers;  // lines with a name and a colon, in the given order
    bool verify_tls = true;
    std::uint32_t connect_timeout_ms = 0;  // 0: none of its own
};

// Takes the header text apart into `request`, whose other members are given. False when something
// must not go out: a scheme other than http and https, a control character, a method that is no
// word.
bool ParseHttpRequest(std::string_view headers, HttpRequest& request);

// The name of a header line, without white space around it.
std::string_view HttpHeaderName(std::string_view line);

// Whether two header names are the same one, in any letter case.
bool SameHttpHeader(std::string_view a, std::string_view b);

constexpr bool IsHttpSuccess(long status) {
    return status >= 200 && status <= 299;
}

class HttpResponse {
public:
    static constexpr std::size_t kMaxBytes = 1024 * 1024;

    HttpResponse() = default;
    ~HttpResponse();
    HttpResponse(const HttpResponse&) = delete;
    HttpResponse& operator=(const HttpResponse&) = delete;

    // Keeps what fits. False when not everything did, or memory ran out: end the transfer.
    bool Append(const void* bytes, std::size_t count);

    // The bound was met.
    bool Truncated() const { return truncated_; }

    // Gives the bytes to the caller, to be released with std::free; null when there are none.
    void HandOver(void** bytes, std::uint32_t* count);

private:
    bool Reserve(std::size_t count);

    char* bytes_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    bool truncated_ = false;
};

// The platform's client: true when a whole answer (or one up to the bound) with a good status came.
bool RunHttpExchange(const HttpRequest& request, HttpResponse& response);

}  // namespace zvevent
