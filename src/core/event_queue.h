// The bounded queue between the submitting threads and the one worker, in arrival order.
//
// Producers fill the slot at the ring's tail in place, under a lock of their own; the worker takes
// from the head under another one, so that the two meet only where the queue runs full, is trimmed,
// or the worker falls asleep. What costs in such a hand-over is not the copy but what both sides
// touch for every event: hence the separate locks, the ring's separate sides, and no wake-up call
// while the worker is awake.
//
// Locks: producers_mutex_ before take_mutex_; the bell's own lock last.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "config/config.h"
#include "core/core_statistics.h"
#include "core/event_ring.h"
#include "core/text_arena.h"
#include "platform/wake_event.h"

namespace zvevent {

class EventQueue {
public:
    enum class Pushed {
        kQueued,
        kDropped,  // the queue is full, and the policy has no older event to drop
        kRefused,  // not accepting
    };
    enum class Taken { kEvent, kLost, kIdle, kStopped };

    // What became of an event that the worker took.
    enum class Outcome { kProcessed, kSuppressed, kLost };

    EventQueue() = default;
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // --- Controlling thread ---

    // Empties the queue and accepts events from now on. `capacity` is at least 1.
    void Open(std::uint32_t capacity, zvEventDropPolicy policy);

    // Changes capacity and policy; drops what no longer fits.
    void Reconfigure(std::uint32_t capacity, zvEventDropPolicy policy);

    // From now on Push refuses.
    void StopAccepting();

    // Discards what is queued.
    void Purge();

    // Lets the worker end once nothing is queued.
    void RequestStop();

    // After the worker has ended: back to empty and not accepting, memory given back.
    void Close();

    // Waits until what is queued now is delivered, and discards what is still queued when the time
    // is over, without waiting for good for a lock whose holder may never let go of it.
    enum class ForExit {
        kDrained,
        kPurged,
        kLockHeld,  // for good, as by a submit that a signal handler has interrupted with exit()
    };
    ForExit DrainForExit(std::chrono::milliseconds time);

    // --- Any thread ---

    // Whether an event pushed now would be dropped because the queue is full; then it is counted as
    // that. No lock. False also when only Push can tell.
    bool DropsForLackOfRoom();

    // Copies the event into the queue, or drops one by the policy when that is full. One short
    // lock; takes memory from the system only when the queue is deeper than it was, or large events
    // have more texts queued. May throw std::bad_alloc or, with texts of more than 4 GiB,
    // std::length_error: the event is then lost and not counted.
    Pushed Push(const EventView& event);

    // Adds what the queue knows: every number but `filtered`, the outputs' and the alerts'.
    void AddTo(CoreStatistics& statistics) const;

    // Waits until nothing is queued and nothing is in the worker's hand. timeout_ms 0 waits
    // without limit. Returns whether that was reached; it is not when the worker is gone.
    bool WaitUntilDrained(std::uint32_t timeout_ms);

    // --- Worker only ---

    // Counts the event taken before, if any, as finished and takes the next one, sleeping until
    // there is one. kLost: there was no memory to unpack an event, which is gone. kIdle: nothing is
    // queued, told once before the worker sleeps. kStopped: a stop was requested and nothing is
    // queued.
    Taken Take(zvEventNormalizedEvent& event, Outcome of_the_one_before);

    // The worker ends, whatever the reason: nothing is in its hand any longer, who waits for the
    // queue to drain must not wait for it, and Push refuses.
    void WorkerEnded() noexcept;

private:
    bool IsDrained() const;  // under take_mutex_
    void RingLingering();
    Pushed CountFull();

    // Under both mutexes:
    void SetLimits(std::uint32_t capacity, zvEventDropPolicy policy);
    void CountPurged(std::uint64_t count);

    // Under producers_mutex_:
    void ProvideSlot();             // takes take_mutex_ when it has to allocate
    bool EvictOldestDebugOrInfo();  // takes take_mutex_
    bool MustRing();

    // Under take_mutex_:
    void FinishTheOneInHand(Outcome outcome);
    Taken TakeNext(zvEventNormalizedEvent& event, std::unique_lock<std::mutex> lock);

    // The worker, without a lock:
    enum class Rested { kLookAgain, kIdle, kStopped };
    Rested Rest();
    void GiveMemoryBack();

    TextArena texts_;  // of events too large for a slot; under producers_mutex_
    EventRing ring_;   // its filling side under producers_mutex_, its taking side under take_mutex_

    alignas(64) mutable std::mutex producers_mutex_;
    // Guarded by producers_mutex_. Counts are since Open, here and below.
    std::uint64_t accepted_ = 0;
    std::uint32_t capacity_ = 1;
    zvEventDropPolicy policy_ = zvEventDropPolicy::drop_newest;
    bool accepting_ = false;
    bool stop_requested_ = false;
    bool asleep_ = false;  // the worker sleeps, or is about to, until the bell rings
    std::uint64_t evicted_ = 0;

    alignas(64) mutable std::mutex take_mutex_;
    // Guarded by take_mutex_:
    std::uint64_t processed_ = 0;
    std::uint64_t high_water_ = 0;  // the most that were queued when the worker took one
    bool in_flight_ = false;
    bool worker_ended_ = false;
    std::uint32_t drain_waiters_ = 0;
    std::uint64_t suppressed_ = 0;
    std::uint64_t lost_ = 0;
    std::uint64_t purged_ = 0;
    std::condition_variable drained_;

    // For the look at a full queue without a lock. Both are written under producers_mutex_, apart
    // from the flag's reset.
    static constexpr std::uint64_t kNever = std::uint64_t{1} << 62;
    alignas(64) std::atomic<bool> was_full_{false};  // when Push last looked, under drop_newest
    std::atomic<std::uint64_t> full_from_{kNever};   // depth from which drop_newest drops
    std::atomic<std::uint64_t> full_{0};

    alignas(64) std::atomic<bool> lingering_{false};
    std::uint32_t taken_since_rest_ = 0;  // worker only
    bool idle_told_ = true;               // worker only: no event came since kIdle
    WakeEvent bell_;
};

}  // namespace zvevent
