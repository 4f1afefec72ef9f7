// Memory for the texts of events that are too long for their slot: segments from the system, filled
// from front to back, each free again when the last block in it is released. Events leave about in
// the order in which they came, so that a backlog's memory goes as the backlog does.
//
// Allocate and Trim belong to one thread at a time, whose owner locks. A block may be released by
// any thread, without a lock, but before its arena ends.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

namespace zvevent {

class TextArena {
public:
    struct Releaser {
        void operator()(char* block) const noexcept;
    };
    using Block = std::unique_ptr<char[], Releaser>;

    TextArena() = default;
    ~TextArena() { Trim(); }
    TextArena(const TextArena&) = delete;
    TextArena& operator=(const TextArena&) = delete;

    // Throws std::bad_alloc.
    Block Allocate(std::size_t bytes);

    // Gives back to the system what no block lies in.
    void Trim() noexcept;

private:
    static constexpr std::size_t kMostSpare = 4;

    struct Segment;

    static Block PlaceIn(Segment& segment, std::size_t bytes) noexcept;
    static void Leave(Segment* segment) noexcept;
    void Recycle(Segment* segment) noexcept;
    Segment& NextSegment();

    Segment* current_ = nullptr;                             // blocks come from it
    std::array<std::atomic<Segment*>, kMostSpare> spare_{};  // empty, for when that one is full
};

}  // namespace zvevent
