#include "platform/cancellation_shield.h"

namespace zvevent {

CancellationShield::CancellationShield() noexcept = default;

CancellationShield::~CancellationShield() {
    static_cast<void>(former_state_);
}

}  // namespace zvevent
