// A gate that threads wait at until the test opens it, and that tells how many have arrived: what
// tests use in place of sleeping.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace zvevent::test {

// Far beyond what any awaited condition takes; only a fault reaches it.
inline constexpr std::chrono::seconds kPatience{60};

class Gate {
public:
    explicit Gate(bool open = true) : open_(open) {}

    void Set(bool open) {
        const std::scoped_lock lock(mutex_);
        open_ = open;
        changed_.notify_all();
    }

    // Counts as arrived, then waits until the gate is open.
    void Pass() {
        std::unique_lock lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        changed_.wait_for(lock, kPatience, [this] { return open_; });
    }

    bool WaitForArrivals(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, [&] { return arrived_ >= count; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_;
    int arrived_ = 0;
};

}  // namespace zvevent::test
