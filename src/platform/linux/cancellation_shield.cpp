#include "platform/cancellation_shield.h"

#include <pthread.h>

namespace zvevent {

CancellationShield::CancellationShield() noexcept {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former_state_);
}

CancellationShield::~CancellationShield() {
    pthread_setcancelstate(former_state_, nullptr);
}

}  // namespace zvevent
