// What became of one output's events, for whoever looks in from outside. The worker alone counts,
// so plain stores do; any thread reads.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "format/status_document.h"
#include "sinks/sink.h"

namespace zvevent {

class OutputCounts {
public:
    void CountDelivered(std::uint64_t fallbacks) {
        Add(delivered_, 1);
        Add(fallback_, fallbacks);
        failing_.store(false, std::memory_order_relaxed);
    }
    void CountBelowSeverity() { Add(below_severity_, 1); }
    void CountFailed() {
        Add(failed_, 1);
        failing_.store(true, std::memory_order_relaxed);
    }

    // The counts of `sink`'s events. When the last one was delivered is not known here.
    OutputStatus Status(const zvEventSink& sink) const {
        SinkFailure failure = sink.LastFailure();
        return {.output = sink.OutputName(),
                .delivered = delivered_,
                .below_severity = below_severity_,
                .failed = failed_,
                .fallback = fallback_,
                .failing = failing_,
                .last_error = std::move(failure.text),
                .last_error_ns = failure.utc_ns,
                .outbox = sink.Outbox()};
    }

private:
    using Count = std::atomic<std::uint64_t>;

    static void Add(Count& count, std::uint64_t number) {
        count.store(count.load(std::memory_order_relaxed) + number, std::memory_order_relaxed);
    }

    Count delivered_{0};
    Count below_severity_{0};
    Count failed_{0};
    Count fallback_{0};
    std::atomic<bool> failing_{false};
};

// One active output.
struct Output {
    zvEventSinkPtr sink;
    std::shared_ptr<OutputCounts> counts;
};

}  // namespace zvevent
