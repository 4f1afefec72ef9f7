#include "core/event_queue.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace zvevent {

namespace {

// After draining, the worker lingers this long before it looks again, as long as its last round
// found at least so many events: while events come thick, producers then need no wake-up call and
// the worker takes them in batches whose cache lines are at rest.
constexpr std::chrono::microseconds kLinger{50};
constexpr std::uint32_t kWorthLingering = 4;

// Blocks that slots keep for large events: none above the first, together none above the second.
constexpr std::size_t kKeptBlockBytes = 16 * 1024;
constexpr std::size_t kKeptBlocksBytes = 4 * 1024 * 1024;

}  // namespace

void EventQueue::Open(std::uint32_t capacity, zvEventDropPolicy policy) {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    ring_.Release();
    capacity_ = capacity;
    policy_ = policy;
    accepting_ = true;
    stop_requested_ = false;
    asleep_ = false;
    in_flight_ = false;
    worker_ended_ = false;
}

std::uint64_t EventQueue::Reconfigure(std::uint32_t capacity, zvEventDropPolicy policy) {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    RingLingering();
    capacity_ = capacity;
    policy_ = policy;
    if (ring_.Depth() <= capacity_) return 0;
    // At least one event stays queued: the queue cannot have drained by this.
    const std::uint64_t excess = ring_.Depth() - capacity_;
    const std::uint64_t evicted =
        policy_ == zvEventDropPolicy::drop_debug_info_first ? ring_.RemoveDebugOrInfo(excess) : 0;
    ring_.RemoveNewest(excess - evicted);
    return excess;
}

void EventQueue::StopAccepting() {
    const std::scoped_lock lock(producers_mutex_);
    accepting_ = false;
}

std::uint64_t EventQueue::Purge() {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    const std::uint64_t purged = ring_.RemoveAll();
    if (IsDrained()) drained_.notify_all();
    return purged;
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
    own_block_bytes_.store(0);
    drained_.notify_all();
}

EventQueue::Pushed EventQueue::Push(const EventView& event) {
    const std::size_t bytes = PackedEvent::TextBytes(event);
    PackedEvent::Block block;  // for a large event; allocated and freed outside the lock
    for (;;) {
        std::unique_lock lock(producers_mutex_);
        if (!accepting_ || stop_requested_) return Pushed::kRefused;
        const bool full = ring_.Holds(capacity_);
        if (full) RingLingering();
        if (full && policy_ == zvEventDropPolicy::drop_newest) return Pushed::kDropped;
        ProvideSlot();
        // Which slot an eviction frees is not known yet: it then counts as one without room.
        const bool needs_block =
            bytes > PackedEvent::kInlineBytes && (full || !ring_.AtTail().HasRoom(bytes));
        if (needs_block && block == nullptr) {
            lock.unlock();
            block = std::make_unique_for_overwrite<char[]>(bytes);
            continue;
        }
        const bool evicted = full && EvictOldestDebugOrInfo();
        if (full && !evicted && ring_.Holds(capacity_)) return Pushed::kDropped;

        PackedEvent& slot = ring_.AtTail();
        if (!slot.HasRoom(bytes)) {
            own_block_bytes_.fetch_add(bytes - slot.own_bytes(), std::memory_order_relaxed);
            block = slot.Adopt(std::move(block), bytes);
        }
        slot.Pack(event);
        ring_.Publish();
        const bool ring = MustRing();
        lock.unlock();
        if (ring) bell_.Ring();
        return evicted ? Pushed::kQueuedByEviction : Pushed::kQueued;
    }
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

EventQueue::Taken EventQueue::Take(zvEventNormalizedEvent& event) {
    for (;;) {
        {
            PackedEvent::Block freed;  // outlives the lock
            const std::scoped_lock lock(take_mutex_);
            in_flight_ = false;
            if (ring_.Depth() != 0) {
                ++taken_since_rest_;
                return TakeNext(event, freed) ? Taken::kEvent : Taken::kLost;
            }
            if (drain_waiters_ != 0) drained_.notify_all();
        }
        if (!Rest()) return Taken::kStopped;
    }
}

void EventQueue::WorkerEnded() noexcept {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    accepting_ = false;
    in_flight_ = false;
    worker_ended_ = true;
    drained_.notify_all();
}

bool EventQueue::IsDrained() const {
    return ring_.Depth() == 0 && !in_flight_;
}

void EventQueue::RingLingering() {
    if (lingering_.exchange(false, std::memory_order_relaxed)) bell_.Ring();
}

void EventQueue::ProvideSlot() {
    if (!ring_.NeedsExtension(capacity_)) return;
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

bool EventQueue::TakeNext(zvEventNormalizedEvent& event, PackedEvent::Block& freed) {
    PackedEvent& slot = ring_.AtHead();
    bool unpacked = true;
    try {
        AssignEvent(slot.View(), event);
    } catch (const std::exception&) {
        unpacked = false;
    }
    if (slot.own_bytes() > kKeptBlockBytes ||
        (slot.own_bytes() != 0 &&
         own_block_bytes_.load(std::memory_order_relaxed) > kKeptBlocksBytes)) {
        own_block_bytes_.fetch_sub(slot.own_bytes(), std::memory_order_relaxed);
        freed = slot.Release();
    }
    in_flight_ = true;
    ring_.Advance();
    return unpacked;
}

// Nothing is queued: linger or sleep. Returns false when the worker is to end.
bool EventQueue::Rest() {
    if (std::exchange(taken_since_rest_, 0) >= kWorthLingering) {
        lingering_.store(true, std::memory_order_relaxed);
        // Who saw no lingering worker did not ring: look once more at what it queued.
        if (ring_.Depth() == 0) bell_.WaitFor(kLinger);
        lingering_.store(false, std::memory_order_relaxed);
        return true;
    }
    {
        // Decided under the producers' lock: an event is queued either before, and seen here, or
        // after, and then rings.
        const std::scoped_lock lock(producers_mutex_);
        if (ring_.Depth() != 0) return true;
        if (stop_requested_) return false;
        asleep_ = true;
    }
    bell_.Wait();
    return true;
}

}  // namespace zvevent
