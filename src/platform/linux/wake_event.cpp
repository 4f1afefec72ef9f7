#include "platform/wake_event.h"

#include <condition_variable>
#include <mutex>

namespace zvevent {

struct WakeEvent::Impl {
    std::mutex mutex;
    bool rung = false;  // guarded by mutex
    std::condition_variable changed;
};

WakeEvent::WakeEvent() : impl_(std::make_unique<Impl>()) {}

WakeEvent::~WakeEvent() = default;

void WakeEvent::Ring() noexcept {
    {
        const std::scoped_lock lock(impl_->mutex);
        impl_->rung = true;
    }
    impl_->changed.notify_one();
}

void WakeEvent::Wait() {
    std::unique_lock lock(impl_->mutex);
    impl_->changed.wait(lock, [this] { return impl_->rung; });
    impl_->rung = false;
}

void WakeEvent::WaitFor(std::chrono::microseconds time) {
    std::unique_lock lock(impl_->mutex);
    impl_->changed.wait_for(lock, time, [this] { return impl_->rung; });
    impl_->rung = false;
}

}  // namespace zvevent
