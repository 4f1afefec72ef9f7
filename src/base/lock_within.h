// A lock with a limit to the wait, for the few places where whoever holds it may never let go.
#pragma once

#include <chrono>
#include <mutex>
#include <thread>

namespace zvevent {

// Far longer than any lock is held that is only held briefly, a loaded machine considered.
inline constexpr std::chrono::milliseconds kBriefLock{500};

// Takes the lock, trying for `time`. Returns whether it is held. (A plain mutex and short sleeps:
// the thread sanitizer does not know the timed locks of the standard library.)
inline bool LockWithin(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!lock.try_lock()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace zvevent
