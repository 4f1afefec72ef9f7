// The Alertmanager output: formats every event as an alert document and keeps the latest one. It
// sends nothing; an application that wants its alerts in an Alertmanager posts them itself (see the
// formatter functions in zvEvent/zvEventAlertmanager.h). The section's address, authorization,
// time-outs and retries are therefore loaded but not used.
//
// write runs on the worker, LastPayload on any thread. Events are formatted outside the lock.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "config/config.h"
#include "sinks/sink.h"
#include "zvEvent/zvEventAlertmanager.h"

class zvEventAlertmanagerSink final : public zvEventSink {
public:
    explicit zvEventAlertmanagerSink(const zvEventSinkConfig& config);

    std::uint32_t write(const zvEventNormalizedEvent& event, std::uint64_t* fallbacks) override;

    // The latest document; empty before the first event.
    std::string LastPayload();

private:
    std::string TakeSpare();
    void Keep(std::string payload);

    const zvEventAlertmanagerFormatterConfig formatter_config_;

    std::mutex mutex_;
    // Guarded by mutex_:
    std::string last_payload_;
    std::string spare_;  // the document before, for its memory
};
