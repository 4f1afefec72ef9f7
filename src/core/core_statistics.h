// What the core counts. One snapshot is consistent, whatever moves meanwhile:
//     received = processed + queued + in_hand + dropped.Total()
#pragma once

#include <cstdint>

namespace zvevent {

// Events that reached no output, by reason.
struct DroppedEvents {
    std::uint64_t filtered = 0;    // below the minimum severity, or the core is disabled
    std::uint64_t full = 0;        // came to a full queue
    std::uint64_t evicted = 0;     // left a full queue for a newer event
    std::uint64_t purged = 0;      // queued when a reload made the queue smaller, or a stop gave up
    std::uint64_t suppressed = 0;  // held back by the alert state
    std::uint64_t memory = 0;      // there was no memory for it

    std::uint64_t Total() const { return filtered + full + evicted + purged + suppressed + memory; }
    bool operator==(const DroppedEvents&) const = default;
};

// Since the last start, but for the numbers of the moment.
struct CoreStatistics {
    std::uint64_t received = 0;   // submitted while the core accepted events
    std::uint64_t processed = 0;  // handed to the outputs, whatever these made of it
    std::uint64_t queued = 0;     // at the moment
    std::uint64_t in_hand = 0;    // at the moment: 1 while the worker has an event
    DroppedEvents dropped;
    std::uint64_t delivery_failures = 0;  // outputs that failed, event by event
    std::uint64_t fallback_deliveries = 0;
    std::uint64_t queue_capacity = 0;    // at the moment
    std::uint64_t queue_high_water = 0;  // the most that were queued
    std::uint64_t active_alerts = 0;     // at the moment

    bool operator==(const CoreStatistics&) const = default;
};

}  // namespace zvevent
