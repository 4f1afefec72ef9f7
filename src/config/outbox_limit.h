// What an outbox keeps at most, as its setting says it. Pure function, any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace zvevent {

struct OutboxLimit {
    std::uint64_t events = UINT64_MAX;
    std::uint64_t body_bytes = UINT64_MAX;
};

// A number of events, such as "10000", or of bytes in all bodies, such as "64MB" (KB, MB or GB, by
// 1024); empty is 100,000 events. False for anything else, and for 0.
bool ParseOutboxLimit(std::string_view text, OutboxLimit& limit);

}  // namespace zvevent
