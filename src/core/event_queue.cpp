#include "core/event_queue.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "base/lock_within.h"

namespace zvevent {

namespace {

// After draining, the worker lingers this long before it looks again, as long as its last round
// found at least so many events: while events come thick, producers then need no wake-up call and
// the worker takes them in batches whose cache lines are at rest.
constexpr std::chrono::microseconds kLinger{50};
constexpr std::uint32_t kWorthLingering = 4;

// More bytes of texts are copied without the producers' lock.
constexpr std::size_t kMostCopiedUnderLock = 16 * 1024;

// False when there is no memory; `event` then holds anything.
bool Unpack(const EventView& view, zvEventNormalizedEvent& event) {
    try {
        AssignEvent(view, event);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

void EventQueue::Open(std::uint32_t capacity, zvEventDropPolicy policy) {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    ring_.Release();
    SetLimits(capacity, policy);
    accepting_ = true;
    stop_requested_ = false;
    asleep_ = false;
    in_flight_ = false;
    worker_ended_ = false;
    full_.store(0);
    for (std::uint64_t* count :
         {&accepted_, &evicted_, &processed_, &suppressed_, &lost_, &purged_, &high_water_}) {
        *count = 0;
    }
}

void EventQueue::Reconfigure(std::uint32_t capacity, zvEventDropPolicy policy) {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    RingLingering();
    SetLimits(capacity, policy);
    if (ring_.Depth() <= capacity_) return;
    // At least one event stays queued: the queue cannot have drained by this.
    const std::uint64_t excess = ring_.Depth() - capacity_;
    CountPurged(excess);
    const std::uint64_t evicted =
        policy_ == zvEventDropPolicy::drop_debug_info_first ? ring_.RemoveDebugOrInfo(excess) : 0;
    ring_.RemoveNewest(excess - evicted);
}

void EventQueue::SetLimits(std::uint32_t capacity, zvEventDropPolicy policy) {
    capacity_ = capacity;
    policy_ = policy;
    was_full_.store(false);
    full_from_.store(policy == zvEventDropPolicy::drop_newest ? capacity : kNever);
}

void EventQueue::StopAccepting() {
    const std::scoped_lock lock(producers_mutex_);
    accepting_ = false;
    full_from_.store(kNever);
}

void EventQueue::Purge() {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    CountPurged(ring_.Depth());
    ring_.RemoveAll();
    if (IsDrained()) drained_.notify_all();
}

// Before they are removed.
void EventQueue::CountPurged(std::uint64_t count) {
    purged_ += count;
    high_water_ = std::max<std::uint64_t>(high_water_, ring_.Depth());
}

EventQueue::ForExit EventQueue::DrainForExit(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    bell_.Ring();  // an interrupted submit may not have come to it
    std::unique_lock producers(producers_mutex_, std::defer_lock);
    std::unique_lock take(take_mutex_, std::defer_lock);
    const std::uint64_t queued_until = ring_.Tail();  // what comes later is not waited for
    bool drained = false;
    // Looks again and again: an interrupted wait would leave a condition variable unusable, too.
    while (!drained && LockWithin(take, kBriefLock)) {
        drained = IsDrained() || ring_.HasPassed(queued_until) || worker_ended_;
        take.unlock();
        if (std::chrono::steady_clock::now() >= end) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!LockWithin(producers, kBriefLock) || !LockWithin(take, kBriefLock)) {
        return ForExit::kLockHeld;
    }
    if (drained) return ForExit::kDrained;
    CountPurged(ring_.Depth());
    ring_.RemoveAll();
    return ForExit::kPurged;
}

void EventQueue::RequestStop() {
    {
        const std::scoped_lock lock(producers_mutex_);
        stop_requested_ = true;
        asleep_ = false;
    }
    bell_.Ring();
}

void EventQueue::Close() {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    ring_.Release();
    in_flight_ = false;
    accepting_ = false;
    stop_requested_ = false;
    texts_.Trim();
    drained_.notify_all();
}

// The flag comes first: it is hardly ever written, so that looking at it costs nothing while the
// queue has room.
bool EventQueue::DropsForLackOfRoom() {
    if (!was_full_.load(std::memory_order_relaxed)) return false;
    if (!ring_.HeldAtLeast(full_from_.load(std::memory_order_relaxed))) {
        was_full_.store(false, std::memory_order_relaxed);
        return false;
    }
    CountFull();
    return true;
}

EventQueue::Pushed EventQueue::CountFull() {
    RingLingering();
    full_.fetch_add(1, std::memory_order_relaxed);
    return Pushed::kDropped;
}

EventQueue::Pushed EventQueue::Push(const EventView& event) {
    const std::size_t bytes = PackedEvent::TextBytes(event);
    PackedEvent::Block texts;  // of a large event
    for (;;) {
        std::unique_lock lock(producers_mutex_);
        if (!accepting_ || stop_requested_) return Pushed::kRefused;
        const bool full = ring_.Holds(capacity_);
        if (full && policy_ == zvEventDropPolicy::drop_newest) {
            was_full_.store(true, std::memory_order_relaxed);
            return CountFull();
        }
        if (full) RingLingering();
        if (ring_.NeedsExtension(capacity_)) ProvideSlot();
        if (bytes > PackedEvent::kInlineBytes && texts == nullptr) {
            texts = texts_.Allocate(bytes);
            const bool many = bytes > kMostCopiedUnderLock;
            if (many) lock.unlock();
            PackedEvent::CopyTexts(event, texts.get());
            if (many) continue;
        }
        const bool evicted = full && EvictOldestDebugOrInfo();
        if (full && !evicted && ring_.Holds(capacity_)) {
            return CountFull();
        }

        ring_.AtTail().Pack(event, std::move(texts));
        ++accepted_;
        if (evicted) ++evicted_;
        ring_.Publish();
        const bool ring = MustRing();
        lock.unlock();
        if (ring) bell_.Ring();
        return Pushed::kQueued;
    }
}

void EventQueue::AddTo(CoreStatistics& statistics) const {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    const std::uint64_t full = full_.load();
    statistics.received += accepted_ + full;
    statistics.processed += processed_;
    statistics.queued += ring_.Depth();
    statistics.in_hand += in_flight_ ? 1 : 0;
    statistics.dropped.full += full;
    statistics.dropped.evicted += evicted_;
    statistics.dropped.purged += purged_;
    statistics.dropped.suppressed += suppressed_;
    statistics.dropped.memory += lost_;
    statistics.queue_capacity = capacity_;
    statistics.queue_high_water = std::max<std::uint64_t>(high_water_, ring_.Depth());
}

bool EventQueue::WaitUntilDrained(std::uint32_t timeout_ms) {
    std::unique_lock lock(take_mutex_);
    // The answer of the look that ends the wait: a later look could see the next event already.
    bool drained = IsDrained();
    if (drained) return true;
    RingLingering();
    const auto done = [&] {
        drained = IsDrained();
        return drained || worker_ended_;
    };
    ++drain_waiters_;
    if (timeout_ms == 0) {
        drained_.wait(lock, done);
    } else {
        drained_.wait_for(lock, std::chrono::milliseconds(timeout_ms), done);
    }
    --drain_waiters_;
    return drained;
}

EventQueue::Taken EventQueue::Take(zvEventNormalizedEvent& event, Outcome of_the_one_before) {
    for (;;) {
        {
            std::unique_lock lock(take_mutex_);
            FinishTheOneInHand(of_the_one_before);
            if (const std::size_t depth = ring_.Depth(); depth != 0) {
                high_water_ = std::max<std::uint64_t>(high_water_, depth);
                ++taken_since_rest_;
                idle_told_ = false;
                return TakeNext(event, std::move(lock));
            }
            if (drain_waiters_ != 0) drained_.notify_all();
        }
        switch (Rest()) {
            case Rested::kLookAgain:
                break;
            case Rested::kIdle:
                return Taken::kIdle;
            case Rested::kStopped:
                return Taken::kStopped;
        }
    }
}

void EventQueue::WorkerEnded() noexcept {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    accepting_ = false;
    full_from_.store(kNever);
    FinishTheOneInHand(Outcome::kProcessed);  // a callback ended the thread
    worker_ended_ = true;
    drained_.notify_all();
}

void EventQueue::FinishTheOneInHand(Outcome outcome) {
    if (!std::exchange(in_flight_, false)) return;
    switch (outcome) {
        case Outcome::kProcessed:
            ++processed_;
            break;
        case Outcome::kSuppressed:
            ++suppressed_;
            break;
        case Outcome::kLost:
            ++lost_;
            break;
    }
}

bool EventQueue::IsDrained() const {
    return ring_.Depth() == 0 && !in_flight_;
}

// The exchange alone would take the cache line from the others each time.
void EventQueue::RingLingering() {
    if (lingering_.load(std::memory_order_relaxed) &&
        lingering_.exchange(false, std::memory_order_relaxed)) {
        bell_.Ring();
    }
}

void EventQueue::ProvideSlot() {
    EventRing::Extension extension = ring_.PrepareExtension();
    const std::scoped_lock lock(take_mutex_);
    ring_.Extend(std::move(extension));
}

bool EventQueue::EvictOldestDebugOrInfo() {
    const std::scoped_lock lock(take_mutex_);
    if (!ring_.Holds(capacity_)) return false;  // the worker has made room meanwhile
    return ring_.RemoveOldestDebugOrInfo();
}

bool EventQueue::MustRing() {
    if (std::exchange(asleep_, false)) return true;
    // A lingering worker is left alone until the queue is half full.
    return ring_.Holds(std::max<std::uint32_t>(1, capacity_ / 2)) &&
           lingering_.exchange(false, std::memory_order_relaxed);
}

// A slot may be filled anew once the head has moved on, so that its texts are unpacked before.
// Those of a large event leave it with their block: unpacking them keeps nobody waiting.
EventQueue::Taken EventQueue::TakeNext(zvEventNormalizedEvent& event,
                                       std::unique_lock<std::mutex> lock) {
    PackedEvent& slot = ring_.AtHead();
    const EventView view = slot.View();
    const std::size_t text_bytes = slot.text_bytes();
    const PackedEvent::Block texts = slot.ReleaseTexts();
    in_flight_ = true;
    bool unpacked = texts == nullptr && Unpack(view, event);
    slot.ClaimLines();
    ring_.Advance();
    lock.unlock();
    if (texts != nullptr) {
        unpacked = Unpack(view, event);
        PackedEvent::ClaimLines(texts, text_bytes);
    }
    return unpacked ? Taken::kEvent : Taken::kLost;
}

// Nothing is queued: linger, or sleep, once the worker knows that it is about to.
EventQueue::Rested EventQueue::Rest() {
    if (std::exchange(taken_since_rest_, 0) >= kWorthLingering) {
        lingering_.store(true, std::memory_order_relaxed);
        // Who saw no lingering worker did not ring: look once more at what it queued.
        if (ring_.Depth() == 0) bell_.WaitFor(kLinger);
        lingering_.store(false, std::memory_order_relaxed);
        return Rested::kLookAgain;
    }
    if (!std::exchange(idle_told_, true)) return Rested::kIdle;
    GiveMemoryBack();
    {
        // Decided under the producers' lock: an event is queued either before, and seen here, or
        // after, and then rings.
        const std::scoped_lock lock(producers_mutex_);
        if (ring_.Depth() != 0) return Rested::kLookAgain;
        if (stop_requested_) return Rested::kStopped;
        asleep_ = true;
    }
    bell_.Wait();
    return Rested::kLookAgain;
}

// What a deep queue took, before the worker sleeps.
void EventQueue::GiveMemoryBack() {
    EventRing::Memory memory;  // a long way back to the system, without the locks
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    if (!ring_.IsLarge() || ring_.Depth() != 0) return;
    memory = ring_.TakeMemory();
    texts_.Trim();
}

}  // namespace zvevent
