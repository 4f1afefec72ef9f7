#include "core/event_queue.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <utility>

namespace zvevent {

namespace {

constexpr std::size_t kFirstRingSize = 64;

// Slots are allocated in steps of an eighth of the ring within these bounds, so that no submit has
// to wait for much memory at once.
constexpr std::size_t kFewestSlots = 64;
constexpr std::size_t kMostSlots = 1024;

// After draining, the worker lingers this long before it looks again, as long as its last round
// found at least so many events: while events come thick, producers then need no wake-up call and
// the worker takes them in batches whose cache lines are at rest.
constexpr std::chrono::microseconds kLinger{50};
constexpr std::uint32_t kWorthLingering = 4;

// Blocks that slots keep for large events: none above the first, together none above the second.
constexpr std::size_t kKeptBlockBytes = 16 * 1024;
constexpr std::size_t kKeptBlocksBytes = 4 * 1024 * 1024;

constexpr std::uint32_t kHighestEvictable = zvEventSeverityInfo;

}  // namespace

void EventQueue::Open(std::uint32_t capacity, zvEventDropPolicy policy) {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    tail_.store(0);
    head_.store(0);
    known_head_ = 0;
    searched_to_ = 0;
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
    if (Depth() <= capacity_) return 0;
    // At least one event stays queued: the queue cannot have drained by this.
    const std::uint64_t excess = Depth() - capacity_;
    const std::uint64_t evicted =
        policy_ == zvEventDropPolicy::drop_debug_info_first ? RemoveDebugOrInfo(excess) : 0;
    tail_.store(tail_.load() - (excess - evicted));
    searched_to_ = head_.load();
    return excess;
}

void EventQueue::StopAccepting() {
    const std::scoped_lock lock(producers_mutex_);
    accepting_ = false;
}

std::uint64_t EventQueue::Purge() {
    const std::scoped_lock lock(producers_mutex_, take_mutex_);
    const std::uint64_t purged = Depth();
    head_.store(tail_.load());
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
    head_.store(tail_.load());
    in_flight_ = false;
    accepting_ = false;
    stop_requested_ = false;
    std::exchange(ring_, {});
    std::exchange(slots_, {});
    own_block_bytes_.store(0);
    drained_.notify_all();
}

EventQueue::Pushed EventQueue::Push(const EventView& event) {
    const std::size_t bytes = PackedEvent::TextBytes(event);
    PackedEvent::Block block;  // for a large event; allocated and freed outside the lock
    for (;;) {
        std::unique_lock lock(producers_mutex_);
        if (!accepting_ || stop_requested_) return Pushed::kRefused;
        const bool full = IsFull();
        if (full) RingLingering();
        if (full && policy_ == zvEventDropPolicy::drop_newest) return Pushed::kDropped;
        ProvideSlot();
        // Which slot an eviction frees is not known yet: it then counts as one without room.
        const bool needs_block =
            bytes > PackedEvent::kInlineBytes &&
            (full || !SlotAt(tail_.load(std::memory_order_relaxed)).HasRoom(bytes));
        if (needs_block && block == nullptr) {
            lock.unlock();
            block = std::make_unique_for_overwrite<char[]>(bytes);
            continue;
        }
        const bool evicted = full && EvictOldestDebugOrInfo();
        if (full && !evicted && IsFull()) return Pushed::kDropped;

        const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
        PackedEvent& slot = SlotAt(tail);
        if (!slot.HasRoom(bytes)) {
            own_block_bytes_.fetch_add(bytes - slot.own_bytes(), std::memory_order_relaxed);
            block = slot.Adopt(std::move(block), bytes);
        }
        slot.Pack(event);
        tail_.store(tail + 1, std::memory_order_release);
        const bool ring = MustRing(tail + 1);
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
            if (Depth() != 0) {
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

std::size_t EventQueue::Depth() const {
    return static_cast<std::size_t>(tail_.load(std::memory_order_acquire) -
                                    head_.load(std::memory_order_acquire));
}

bool EventQueue::IsDrained() const {
    return Depth() == 0 && !in_flight_;
}

void EventQueue::RingLingering() {
    if (lingering_.exchange(false, std::memory_order_relaxed)) bell_.Ring();
}

bool EventQueue::IsFull() {
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    // The head is the worker's cache line: look at it only when the remembered one is not enough,
    // for the capacity or for the ring.
    if (tail - known_head_ >= std::min<std::uint64_t>(capacity_, ring_.size())) {
        known_head_ = head_.load(std::memory_order_acquire);
    }
    return tail - known_head_ >= capacity_;
}

bool EventQueue::EvictOldestDebugOrInfo() {
    const std::scoped_lock lock(take_mutex_);
    known_head_ = head_.load(std::memory_order_relaxed);
    if (Depth() < capacity_) return false;  // the worker has made room meanwhile
    return RemoveOldestDebugOrInfo();
}

bool EventQueue::RemoveOldestDebugOrInfo() {
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    // Severities do not change and the order stays, so what was searched need not be again.
    std::uint64_t at = std::max(searched_to_, head_.load(std::memory_order_relaxed));
    while (at != tail && SlotAt(at).severity() > kHighestEvictable)
        ++at;
    searched_to_ = at;
    if (at == tail) return false;
    Remove(at);
    return true;
}

// Closes the gap from the side that has fewer events to move.
void EventQueue::Remove(std::uint64_t at) {
    const std::uint64_t head = head_.load(std::memory_order_relaxed);
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    if (at - head < tail - at) {
        for (; at != head; --at)
            std::swap(PositionOf(at), PositionOf(at - 1));
        head_.store(head + 1, std::memory_order_release);
    } else {
        for (; at + 1 != tail; ++at)
            std::swap(PositionOf(at), PositionOf(at + 1));
        tail_.store(tail - 1, std::memory_order_release);
    }
}

// Removes the oldest debug and info events, `most` of them at most, in one pass.
std::uint64_t EventQueue::RemoveDebugOrInfo(std::uint64_t most) {
    std::uint64_t removed = 0;
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    for (std::uint64_t at = head_.load(std::memory_order_relaxed); at != tail; ++at) {
        if (removed < most && SlotAt(at).severity() <= kHighestEvictable) {
            ++removed;
        } else {
            std::swap(PositionOf(at), PositionOf(at - removed));
        }
    }
    tail_.store(tail - removed, std::memory_order_release);
    return removed;
}

// Sees to it that the position at the tail has a slot, with a larger ring when every position is
// taken. (A full queue whose ring is exactly its capacity needs none: an eviction frees one.)
void EventQueue::ProvideSlot() {
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    const std::size_t size = ring_.size();
    const bool all_taken = tail - known_head_ == size;
    if (all_taken ? size >= capacity_ : PositionOf(tail) != nullptr) return;

    std::vector<PackedEvent*> larger(all_taken ? std::max(kFirstRingSize, size * 2) : 0);
    const std::size_t positions = std::max(size, larger.size());
    const std::size_t count = std::clamp(positions / 8, kFewestSlots, kMostSlots);
    slots_.reserve(slots_.size() + 1);
    slots_.push_back(std::make_unique_for_overwrite<PackedEvent[]>(count));

    const std::scoped_lock lock(take_mutex_);
    if (all_taken) {
        // Every position keeps its slot and the event in it.
        for (std::uint64_t at = tail - size; at != tail; ++at) {
            larger[at & (larger.size() - 1)] = PositionOf(at);
        }
        ring_.swap(larger);
    }
    std::uint64_t at = tail;
    for (std::size_t i = 0; i < count && PositionOf(at) == nullptr; ++i, ++at) {
        PositionOf(at) = &slots_.back()[i];
    }
}

bool EventQueue::MustRing(std::uint64_t tail) {
    if (std::exchange(asleep_, false)) return true;
    // A lingering worker is left alone until the queue is half full.
    const std::uint64_t half = std::max<std::uint64_t>(1, capacity_ / 2);
    if (tail - known_head_ < half) return false;
    known_head_ = head_.load(std::memory_order_acquire);
    return tail - known_head_ >= half && lingering_.exchange(false, std::memory_order_relaxed);
}

bool EventQueue::TakeNext(zvEventNormalizedEvent& event, PackedEvent::Block& freed) {
    const std::uint64_t head = head_.load(std::memory_order_relaxed);
    PackedEvent& slot = SlotAt(head);
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
    head_.store(head + 1, std::memory_order_release);
    return unpacked;
}

// Nothing is queued: linger or sleep. Returns false when the worker is to end.
bool EventQueue::Rest() {
    if (std::exchange(taken_since_rest_, 0) >= kWorthLingering) {
        lingering_.store(true, std::memory_order_relaxed);
        // Who saw no lingering worker did not ring: look once more at what it queued.
        if (Depth() == 0) bell_.WaitFor(kLinger);
        lingering_.store(false, std::memory_order_relaxed);
        return true;
    }
    {
        // Decided under the producers' lock: an event is queued either before, and seen here, or
        // after, and then rings.
        const std::scoped_lock lock(producers_mutex_);
        if (Depth() != 0) return true;
        if (stop_requested_) return false;
        asleep_ = true;
    }
    bell_.Wait();
    return true;
}

}  // namespace zvevent
