// Two things that are done to texts in many places. Any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zvevent {

// `text`, or `absent` when it is empty.
inline std::string OrElse(std::string_view text, std::string_view absent) {
    return std::string(text.empty() ? absent : text);
}

// What one unusually large text leaves reserved in a buffer that is used again and again, at most.
inline constexpr std::size_t kKeptBytes = 64 * 1024;

// Empties a buffer for its next use. (Assigning an empty text would keep the memory.)
inline void ClearBuffer(std::string& buffer, std::size_t kept_bytes = kKeptBytes) noexcept {
    buffer.clear();
    if (buffer.capacity() > kept_bytes) std::string().swap(buffer);
}

}  // namespace zvevent
