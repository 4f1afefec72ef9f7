#include "zvutil/http_response.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace zvevent {

HttpResponse::~HttpResponse() {
    std::free(bytes_);
}

bool HttpResponse::Append(const void* bytes, std::size_t count) {
    const std::size_t fitting = std::min(count, kMaxBytes - size_);
    if (!Reserve(size_ + fitting)) return false;
    if (fitting != 0) std::memcpy(bytes_ + size_, bytes, fitting);
    size_ += fitting;
    truncated_ = fitting < count;
    return !truncated_;
}

// One byte more than counted, for the 0 after the last one.
bool HttpResponse::Reserve(std::size_t count) {
    if (count < capacity_) return true;
    const std::size_t capacity = std::max<std::size_t>({count + 1, 2 * capacity_, 1024});
    void* const grown = std::realloc(bytes_, capacity);
    if (grown == nullptr) return false;
    bytes_ = static_cast<char*>(grown);
    capacity_ = capacity;
    return true;
}

void HttpResponse::HandOver(void** bytes, std::uint32_t* count) {
    if (size_ == 0 || bytes == nullptr) return;
    bytes_[size_] = 0;
    *bytes = bytes_;
    if (count != nullptr) *count = static_cast<std::uint32_t>(size_);
    bytes_ = nullptr;
    size_ = capacity_ = 0;
}

}  // namespace zvevent
