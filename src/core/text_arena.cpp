#include "core/text_arena.h"

#include <cstdint>
#include <cstring>
#include <new>

#include "platform/mapped_memory.h"

namespace zvevent {

// At the beginning of the memory that it describes.
struct TextArena::Segment {
    TextArena* arena;   // null: the segment is for one block
    std::size_t bytes;  // of all its memory
    std::size_t used = sizeof(Segment);
    std::atomic<std::uint32_t> users{1};  // its blocks, and the arena while it is the current one
};

namespace {

constexpr std::size_t kSegmentBytes = 1 << 20;

// A larger block gets a segment of its own.
constexpr std::size_t kMostInSegment = 256 * 1024;

// Before a block lies the address of its segment.
constexpr std::size_t kHeaderBytes = sizeof(void*);

constexpr std::size_t WithHeader(std::size_t bytes) {
    return (kHeaderBytes + bytes + kHeaderBytes - 1) / kHeaderBytes * kHeaderBytes;
}

}  // namespace

void TextArena::Releaser::operator()(char* block) const noexcept {
    Segment* segment = nullptr;
    std::memcpy(&segment, block - kHeaderBytes, kHeaderBytes);
    Leave(segment);
}

TextArena::Block TextArena::Allocate(std::size_t bytes) {
    const std::size_t needed = WithHeader(bytes);
    if (needed > kMostInSegment) {
        const std::size_t whole = sizeof(Segment) + needed;
        auto* const own = new (MapMemory(whole)) Segment{nullptr, whole};
        Block block = PlaceIn(*own, needed);
        Leave(own);
        return block;
    }
    // Empty again: the memory that is in the caches is used once more.
    if (current_ != nullptr && current_->users.load(std::memory_order_acquire) == 1) {
        current_->used = sizeof(Segment);
    }
    if (current_ == nullptr || current_->used + needed > current_->bytes) {
        Segment& next = NextSegment();
        if (current_ != nullptr) Leave(current_);
        current_ = &next;
    }
    return PlaceIn(*current_, needed);
}

void TextArena::Trim() noexcept {
    if (current_ != nullptr && current_->users.load(std::memory_order_acquire) == 1) {
        UnmapMemory(current_, current_->bytes);
        current_ = nullptr;
    }
    for (std::atomic<Segment*>& spare : spare_) {
        Segment* const segment = spare.exchange(nullptr, std::memory_order_acquire);
        if (segment != nullptr) UnmapMemory(segment, segment->bytes);
    }
}

TextArena::Block TextArena::PlaceIn(Segment& segment, std::size_t bytes) noexcept {
    char* const header = reinterpret_cast<char*>(&segment) + segment.used;
    Segment* const address = &segment;
    std::memcpy(header, &address, kHeaderBytes);
    segment.used += bytes;
    segment.users.fetch_add(1, std::memory_order_relaxed);
    return Block(header + kHeaderBytes);
}

void TextArena::Leave(Segment* segment) noexcept {
    if (segment->users.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (segment->arena != nullptr) {
        segment->arena->Recycle(segment);
    } else {
        UnmapMemory(segment, segment->bytes);
    }
}

void TextArena::Recycle(Segment* segment) noexcept {
    for (std::atomic<Segment*>& spare : spare_) {
        Segment* none = nullptr;
        if (spare.compare_exchange_strong(none, segment, std::memory_order_release,
                                          std::memory_order_relaxed)) {
            return;
        }
    }
    UnmapMemory(segment, segment->bytes);
}

TextArena::Segment& TextArena::NextSegment() {
    void* memory = nullptr;
    for (std::size_t i = 0; i < spare_.size() && memory == nullptr; ++i)
        memory = spare_[i].exchange(nullptr, std::memory_order_acquire);
    if (memory == nullptr) memory = MapMemory(kSegmentBytes);
    return *new (memory) Segment{this, kSegmentBytes};
}

}  // namespace zvevent
