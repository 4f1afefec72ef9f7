// Two things that are done to texts in many places. Any thread.
#pragma once

#include <cstddef>
#include <string>

namespace zvevent {

// `text`, or `absent` when it is empty.
template <typename Text>
constexpr const Text& OrElse(const Text& text, const Text& absent) {
    return text.empty() ? absent : text;
}

// What one unusually large text leaves reserved in a buffer that is used again and again, at most.
inline constexpr std::size_t kKeptBytes = 64 * 1024;

// Empties a buffer for its next use. (Assigning an empty text would keep the memory.)
inline void ClearBuffer(std::string& buffer, std::size_t kept_bytes = kKeptBytes) noexcept {
    buffer.clear();
    if (buffer.capacity() > kept_bytes) std::string().swap(buffer);
}

}  // namespace zvevent
