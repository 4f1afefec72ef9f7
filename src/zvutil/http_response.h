// An HTTP answer, its body kept up to a bound. An object belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zvevent {

class HttpResponse {
public:
    static constexpr std::size_t kMaxBytes = 1024 * 1024;

    HttpResponse() = default;
    ~HttpResponse();
    HttpResponse(const HttpResponse&) = delete;
    HttpResponse& operator=(const HttpResponse&) = delete;

    // Keeps what fits. False when not everything did, or memory ran out: end the transfer.
    bool Append(const void* bytes, std::size_t count);

    // Of the head, once a whole answer came; 0 before.
    std::uint32_t status = 0;
    std::uint32_t retry_after_s = 0;

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
