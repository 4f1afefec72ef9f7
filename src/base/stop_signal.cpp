#include "base/stop_signal.h"

#include "base/lock_within.h"
#include "base/no_destructor.h"

namespace zvevent {

StopSignal& StopSignal::Instance() {
    static NoDestructor<StopSignal> instance;
    return *instance;
}

void StopSignal::Raise() {
    std::unique_lock lock(mutex_, std::defer_lock);
    if (!LockWithin(lock, kBriefLock)) return;  // held for good, as the process ends
    raised_ = true;
    raised_changed_.notify_all();
}

void StopSignal::Announce(std::chrono::steady_clock::time_point end) {
    std::unique_lock lock(mutex_, std::defer_lock);
    if (LockWithin(lock, kBriefLock)) end_ = end;
}

std::optional<std::chrono::steady_clock::time_point> StopSignal::End() {
    std::unique_lock lock(mutex_, std::defer_lock);
    return LockWithin(lock, kBriefLock) ? end_ : std::chrono::steady_clock::now();
}

void StopSignal::Clear() {
    const std::scoped_lock lock(mutex_);
    raised_ = false;
    end_.reset();
}

void StopSignal::RenewInChild() {
    new (this) StopSignal();
}

bool StopSignal::Pause(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    std::unique_lock lock(mutex_);
    return !raised_changed_.wait_until(lock, end, [this] { return raised_; });
}

}  // namespace zvevent
