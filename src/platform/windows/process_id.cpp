#include "platform/process_id.h"

#include <windows.h>

namespace zvevent {

std::uint32_t ProcessId() noexcept {
    return ::GetCurrentProcessId();
}

}  // namespace zvevent
