// The calling thread's last-error text: one a thread, empty at first, replaced and never appended
// to, gone with the thread. No lock, since no other thread sees it.
#pragma once

#include <string>
#include <string_view>

namespace zvevent {

void SetLastErrorText(std::string_view text);
void ClearLastErrorText() noexcept;

// Valid until the calling thread's next set or clear.
const std::string& LastErrorText();

}  // namespace zvevent
