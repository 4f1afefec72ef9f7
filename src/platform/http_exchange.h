// What the HTTP clients of all platforms share: the request taken apart and checked, and the
// response kept up to its bound. Any thread; an object belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zvevent {

// The views are those of the texts it was made from.
struct HttpRequest {
    std::vector<std::string_view> headers;  // lines with a name and a colon, in the given order
    bool verify_tls = true;
    std::uint32_t connect_timeout_ms = 0;  // 0: none of its own
    std::uint32_t timeout_ms = 0;          // never 0 once parsed
};

inline constexpr std::uint32_t kDefaultHttpTimeoutMs = 5000;
inline constexpr char kHttpHeaderSeparator = '\xA7';

// False when something in it must not go out: a scheme other than http and https, a control
// character, a method that is no word.
bool ParseHttpRequest(std::string_view url, std::string_view method, std::string_view headers,
                      std::uint32_t timeout_ms, HttpRequest& request);

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

}  // namespace zvevent
