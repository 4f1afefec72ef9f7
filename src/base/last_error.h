// The calling thread's last-error text: one a thread, empty at first, replaced and never appended
// to. No lock, since no other thread sees it.
//
// It is plain memory of the thread without a destructor: it can be used until the thread's very
// end, from destructors and exit handlers too, and leaves nothing to run when the library is
// unloaded before the thread ends.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace zvevent {

// Bytes of a text that are kept; a longer one is cut.
inline constexpr std::size_t kLastErrorBytes = 4096;

void SetLastErrorText(std::string_view text) noexcept;
// The parts one after the other. Like all here it needs no memory that could run out.
void SetLastErrorText(std::initializer_list<std::string_view> parts) noexcept;
void ClearLastErrorText() noexcept;

// Valid until the calling thread's next set or clear.
std::string_view LastErrorText() noexcept;

}  // namespace zvevent
