// Tells the outputs that a stop has waited as long as it wanted to: none may wait any longer of its
// own accord, as between two tries. One for the process. Raise and Clear: the thread that stops or
// starts the core; the rest: any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace zvevent {

class StopSignal {
public:
    // Never destroyed: an output may be pausing until the very end of the process.
    static StopSignal& Instance();

    StopSignal() = default;
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Ends every pause.
    void Raise();

    // A stop has begun, and outputs may take until `end` to get out what they hold.
    void Announce(std::chrono::steady_clock::time_point end);

    // Until when a stop that has begun waits; none: none has.
    std::optional<std::chrono::steady_clock::time_point> End();

    // No stop any more; pauses are possible again.
    void Clear();

    // After a fork, when its locks may be held by threads that are not in the child.
    void RenewInChild();

    // Sleeps for `time` on the monotonic clock. Returns false, at once, when the signal is raised
    // before or meanwhile.
    bool Pause(std::chrono::milliseconds time);

private:
    std::mutex mutex_;
    // Guarded by mutex_:
    std::condition_variable raised_changed_;
    bool raised_ = false;
    std::optional<std::chrono::steady_clock::time_point> end_;
};

}  // namespace zvevent
