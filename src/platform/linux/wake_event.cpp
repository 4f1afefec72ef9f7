#include "platform/wake_event.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <ctime>

namespace zvevent {

// One word that the system lets a thread sleep on. Without a lock, Ring can be called whatever the
// calling thread was interrupted in.
struct WakeEvent::Impl {
    std::atomic<std::uint32_t> rung{0};

    // Returns after a ring, a time-out or an interruption; `time` null: no time-out.
    void Sleep(const timespec* time) {
        syscall(SYS_futex, &rung, FUTEX_WAIT_PRIVATE, 0, time, nullptr, 0);
    }
};

WakeEvent::WakeEvent() : impl_(std::make_unique<Impl>()) {}

WakeEvent::~WakeEvent() = default;

void WakeEvent::Ring() noexcept {
    if (impl_->rung.exchange(1) == 0) {
        syscall(SYS_futex, &impl_->rung, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }
}

void WakeEvent::Wait() {
    while (impl_->rung.exchange(0) == 0)
        impl_->Sleep(nullptr);
}

void WakeEvent::WaitFor(std::chrono::microseconds time) {
    // No signal interrupts the worker, and one early return would only cost it a look.
    const timespec relative = {static_cast<time_t>(time.count() / 1'000'000),
                               static_cast<long>(time.count() % 1'000'000 * 1000)};
    if (impl_->rung.load() == 0) impl_->Sleep(&relative);
    impl_->rung.store(0);
}

}  // namespace zvevent
