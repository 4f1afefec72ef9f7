// What became of one output's events, for whoever looks in from outside. The worker alone counts,
// so plain stores do; any thread reads.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "sinks/sink.h"

namespace zvevent {

// Every event that was given to an output is one of delivered, below_severity and failed.
struct OutputStatus {
    std::string output;
    std::uint64_t delivered = 0;
    std::uint64_t below_severity = 0;  // not meant for this output
    std::uint64_t failed = 0;
    std::uint64_t fallback = 0;               // of those delivered: by a fallback path only
    std::uint64_t last_delivered_utc_ns = 0;  // 0: none so far, or times are not kept
    SinkFailure last_failure;
};

class OutputCounts {
public:
    // `now_utc_ns` is 0 where times are not kept.
    void CountDelivered(std::uint64_t fallbacks, std::uint64_t now_utc_ns) {
        Add(delivered_, 1);
        Add(fallback_, fallbacks);
        if (now_utc_ns != 0) last_delivered_utc_ns_.store(now_utc_ns, std::memory_order_relaxed);
    }
    void CountBelowSeverity() { Add(below_severity_, 1); }
    void CountFailed() { Add(failed_, 1); }

    // The counts of `sink`'s events.
    OutputStatus Status(const zvEventSink& sink) const {
        return {sink.OutputName(),      delivered_,        below_severity_, failed_, fallback_,
                last_delivered_utc_ns_, sink.LastFailure()};
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
    Count last_delivered_utc_ns_{0};
};

// One active output.
struct Output {
    zvEventSinkPtr sink;
    std::shared_ptr<OutputCounts> counts;
};

}  // namespace zvevent
