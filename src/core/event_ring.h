// Where the queue keeps its events: a ring of slots, each holding one packed event, between two
// positions that only ever grow. Events are filled in at the tail and taken from the head.
//
// Takes no lock and wakes nobody. Its owner has a lock for the filling side and one for the taking
// side; the functions stand below by which of the two their caller holds. The sides meet as little
// as possible: head and tail lie on cache lines of their own, and the filling side remembers where
// the head was.
//
// The ring starts small and doubles with the depth that is really reached, so that a large capacity
// costs nothing until it is used. Slots come straight from the system, so that what a deep queue
// took can be given back.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "core/packed_event.h"

namespace zvevent {

struct UnmapSlots {
    std::size_t count = 0;
    void operator()(PackedEvent* slots) const noexcept;
};

class EventRing {
public:
    using Slots = std::unique_ptr<PackedEvent[], UnmapSlots>;

    // Slots for the position at the tail and those behind it, and a larger ring if it needs one.
    struct Extension {
        std::vector<PackedEvent*> positions;  // empty: the ring is large enough
        Slots slots;
    };

    // What a ring is made of, to be freed without a lock.
    struct Memory {
        std::vector<PackedEvent*> positions;
        std::vector<Slots> slots;
    };

    // How many positions a ring may keep for good: their slots take 8 MiB. Bursts that go deeper
    // pay for new ones each time, some 100 ns an event.
    static constexpr std::size_t kKeptPositions = 16 * 1024;

    EventRing() = default;
    EventRing(const EventRing&) = delete;
    EventRing& operator=(const EventRing&) = delete;

    // --- Either side ---

    std::size_t Depth() const;

    // Whether at least so many events (below 2^63) were queued at a moment during the call.
    bool HeldAtLeast(std::uint64_t count) const;

    // The position of the next event to be queued, and whether an event that stands there, queued
    // later, has been taken: then so have all before it.
    std::uint64_t Tail() const { return tail_.load(std::memory_order_acquire); }
    bool HasPassed(std::uint64_t at) const { return head_.load(std::memory_order_acquire) > at; }

    // --- Filling side ---

    // Whether at least so many events are queued.
    bool Holds(std::uint64_t count) { return DepthSeen(count) >= count; }

    // Whether the tail's position lacks a slot. A full queue whose ring is exactly its capacity
    // lacks none: an eviction frees one.
    bool NeedsExtension(std::uint32_t capacity);
    Extension PrepareExtension();  // what was found to be needed; may throw std::bad_alloc

    bool IsLarge() const { return memory_.positions.size() > kKeptPositions; }

    // The slot to be filled next, and its handing over to the taking side.
    PackedEvent& AtTail() { return SlotAt(tail_.load(std::memory_order_relaxed)); }
    void Publish();

    // --- Taking side ---

    PackedEvent& AtHead() { return SlotAt(head_.load(std::memory_order_relaxed)); }
    void Advance();

    // --- Both sides ---

    void Extend(Extension extension) noexcept;

    // Returns whether there was one. The order of the others stays.
    bool RemoveOldestDebugOrInfo();

    // Removes the oldest debug and info events, at most so many, in one pass; returns how many.
    std::uint64_t RemoveDebugOrInfo(std::uint64_t most);

    void RemoveNewest(std::uint64_t count);

    void RemoveAll() { RemoveNewest(Depth()); }

    // The memory of a ring in which nothing is queued. The positions go on where they are.
    Memory TakeMemory() noexcept { return std::exchange(memory_, {}); }

    // Empties the ring, gives its memory back and begins anew.
    void Release();

private:
    std::uint64_t DepthSeen(std::uint64_t enough);
    void Remove(std::uint64_t at);
    PackedEvent*& PositionOf(std::uint64_t at) {
        return memory_.positions[at & (memory_.positions.size() - 1)];
    }
    PackedEvent& SlotAt(std::uint64_t at) { return *PositionOf(at); }

    // Written by the filling side (memory_ by both); tail_ and memory_ are read by the other.
    alignas(64) std::atomic<std::uint64_t> tail_{0};  // position of the next event to be queued
    std::uint64_t known_head_ = 0;                    // the head when the filling side last looked
    std::uint64_t searched_to_ = 0;  // no debug or info event is queued before this position
    Memory memory_;  // positions: a power of two, or none; those never reached have no slot yet

    // Written by the taking side.
    alignas(64) std::atomic<std::uint64_t> head_{0};  // position of the next event to be taken
};

// Inline is what happens for every event.

inline std::size_t EventRing::Depth() const {
    return static_cast<std::size_t>(tail_.load(std::memory_order_acquire) -
                                    head_.load(std::memory_order_acquire));
}

// The head only grows, so reading it last can only make the depth look smaller than it was.
inline bool EventRing::HeldAtLeast(std::uint64_t count) const {
    const std::uint64_t tail = tail_.load(std::memory_order_acquire);
    return head_.load(std::memory_order_acquire) + count <= tail;
}

// The depth by the remembered head, which is never less than the true one. The head is the taking
// side's cache line: it is looked at again only when what is remembered comes to `enough`.
inline std::uint64_t EventRing::DepthSeen(std::uint64_t enough) {
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    if (tail - known_head_ >= enough) known_head_ = head_.load(std::memory_order_acquire);
    return tail - known_head_;
}

inline bool EventRing::NeedsExtension(std::uint32_t capacity) {
    const std::size_t positions = memory_.positions.size();
    if (DepthSeen(positions) == positions) return positions < capacity;
    return PositionOf(tail_.load(std::memory_order_relaxed)) == nullptr;
}

inline void EventRing::Publish() {
    tail_.store(tail_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

inline void EventRing::Advance() {
    head_.store(head_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

}  // namespace zvevent
