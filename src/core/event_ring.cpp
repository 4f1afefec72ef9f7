#include "core/event_ring.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/mapped_memory.h"

namespace zvevent {

namespace {

constexpr std::size_t kFirstRingSize = 64;

// Slots are allocated in steps of an eighth of the ring within these bounds, so that no submit has
// to wait for much memory at once.
constexpr std::size_t kFewestSlots = 64;
constexpr std::size_t kMostSlots = 1024;

constexpr std::uint32_t kHighestEvictable = zvEventSeverityInfo;

EventRing::Slots MakeSlots(std::size_t count) {
    auto* const slots = static_cast<PackedEvent*>(MapMemory(count * sizeof(PackedEvent)));
    std::uninitialized_default_construct_n(slots, count);
    return {slots, UnmapSlots{count}};
}

}  // namespace

void UnmapSlots::operator()(PackedEvent* slots) const noexcept {
    std::destroy_n(slots, count);
    UnmapMemory(slots, count * sizeof(PackedEvent));
}

EventRing::Extension EventRing::PrepareExtension() {
    Extension extension;
    std::size_t positions = memory_.positions.size();
    // Where the position has a slot and that is not enough, the ring is too small.
    if (positions == 0 || PositionOf(tail_.load(std::memory_order_relaxed)) != nullptr) {
        positions = std::max(kFirstRingSize, positions * 2);
        extension.positions.resize(positions);
    }
    extension.slots = MakeSlots(std::clamp(positions / 8, kFewestSlots, kMostSlots));
    memory_.slots.reserve(memory_.slots.size() + 1);
    return extension;
}

void EventRing::Extend(Extension extension) noexcept {
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    std::vector<PackedEvent*>& larger = extension.positions;
    if (!larger.empty()) {
        // Every position keeps its slot and the event in it.
        for (std::uint64_t at = tail - memory_.positions.size(); at != tail; ++at)
            larger[at & (larger.size() - 1)] = PositionOf(at);
        memory_.positions.swap(larger);
    }
    std::uint64_t at = tail;
    const std::size_t count = extension.slots.get_deleter().count;
    for (std::size_t i = 0; i < count && PositionOf(at) == nullptr; ++i, ++at)
        PositionOf(at) = &extension.slots[i];
    memory_.slots.push_back(std::move(extension.slots));
}

bool EventRing::RemoveOldestDebugOrInfo() {
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    // Severities do not change and the order stays, so what was searched need not be again.
    std::uint64_t at = std::max(searched_to_, head_.load(std::memory_order_relaxed));
    while (at != tail && SlotAt(at).severity() > kHighestEvictable)
        ++at;
    searched_to_ = at;
    if (at == tail) return false;
    SlotAt(at).ReleaseTexts();
    Remove(at);
    return true;
}

// Closes the gap from the side that has fewer events to move.
void EventRing::Remove(std::uint64_t at) {
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

std::uint64_t EventRing::RemoveDebugOrInfo(std::uint64_t most) {
    std::uint64_t removed = 0;
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    for (std::uint64_t at = head_.load(std::memory_order_relaxed); at != tail; ++at) {
        if (removed < most && SlotAt(at).severity() <= kHighestEvictable) {
            ++removed;
        } else {
            std::swap(PositionOf(at), PositionOf(at - removed));
        }
    }
    RemoveNewest(removed);
    return removed;
}

void EventRing::RemoveNewest(std::uint64_t count) {
    const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
    for (std::uint64_t at = tail - count; at != tail; ++at)
        SlotAt(at).ReleaseTexts();
    tail_.store(tail - count, std::memory_order_release);
    searched_to_ = head_.load(std::memory_order_relaxed);
}

void EventRing::Release() {
    tail_.store(0);
    head_.store(0);
    known_head_ = 0;
    searched_to_ = 0;
    TakeMemory();
}

}  // namespace zvevent
