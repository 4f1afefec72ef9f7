#include "platform/process_id.h"

#include <unistd.h>

namespace zvevent {

std::uint32_t ProcessId() noexcept {
    return static_cast<std::uint32_t>(::getpid());
}

}  // namespace zvevent
