// The bell that a sleeping worker is woken by. A ring is remembered until one wait has used it, so
// none is lost between deciding to sleep and sleeping. Ring: any thread; waits: the worker only.
#pragma once

#include <chrono>
#include <memory>

namespace zvevent {

class WakeEvent {
public:
    WakeEvent();
    ~WakeEvent();
    WakeEvent(const WakeEvent&) = delete;
    WakeEvent& operator=(const WakeEvent&) = delete;

    void Ring() noexcept;

    // Sleeps until a ring.
    void Wait();

    // Sleeps until a ring, at most about `time`. The platform's timers decide how exactly: at most
    // 1 ms longer, or, where they are coarser than that, no sleep at all.
    void WaitFor(std::chrono::microseconds time);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zvevent
