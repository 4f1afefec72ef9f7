// Where the core hands its events on: implemented above it, by the set of outputs.
#pragma once

#include <cstdint>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

class Dispatcher {
public:
    virtual ~Dispatcher() = default;

    // Delivers one event to every output. Worker only. Sets the tallies (each may be null) to the
    // number of outputs that failed and of deliveries by a fallback path. Returns ZVEVENT_OK or
    // ZVEVENT_E_FAILURE. May throw.
    virtual std::uint32_t Dispatch(const zvEventNormalizedEvent& event, std::uint64_t* failures,
                                   std::uint64_t* fallbacks) = 0;

    // Lets the outputs hand on what they have collected. Worker only, when the queue has run empty
    // and it is about to sleep.
    virtual void HandOver() = 0;

    // Writes out what the outputs hold back, each within timeout_ms. Any thread but the worker.
    virtual std::uint32_t Flush(std::uint32_t timeout_ms) = 0;
};

}  // namespace zvevent
