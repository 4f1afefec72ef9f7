// What every output is.
#pragma once

#include <cstdint>
#include <memory>

#include "zvEvent/zvEventNormalizedEvent.h"

class zvEventSink {
public:
    zvEventSink() = default;
    zvEventSink(const zvEventSink&) = delete;
    zvEventSink& operator=(const zvEventSink&) = delete;
    virtual ~zvEventSink() = default;

    // Delivers one event; called on the worker, one event at a time. No lock of the library is held
    // meanwhile, and no other output proceeds. Returns ZVEVENT_OK, also for an event below the
    // sink's minimum severity, or a code; may throw. An output that got the event out by a fallback
    // path only adds one to *fallbacks, which may be null.
    virtual std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) = 0;

    // Writes out what the sink holds back. Called on the thread that flushes or stops, possibly
    // while the worker is in write: a sink that keeps anything locks it itself.
    virtual std::uint32_t flush(std::uint32_t timeout_ms);
};

using zvEventSinkPtr = std::shared_ptr<zvEventSink>;
