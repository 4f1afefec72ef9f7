// The active alerts: which were raised and not cleared, and when each was last passed on. Decides
// for every event whether it goes to the outputs, and turns a repeated raise into a "repeat".
//
// Process runs on the worker; Configure and Clear on the thread that starts, stops or reloads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "config/config.h"
#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

class AlertState {
public:
    // Takes over the state settings; active alerts stay.
    void Configure(const zvEventConfig& config);

    void Clear();

    std::size_t ActiveCount() const;

    // Passes one event through the table. May rewrite event->action and sets *forward to whether
    // the event goes on. Returns ZVEVENT_OK, or ZVEVENT_E_INVALID_ARGUMENT for a null pointer.
    std::uint32_t Process(zvEventNormalizedEvent* event, bool* forward);

private:
    struct Alert {
        std::string fingerprint;  // of the event last forwarded
        std::uint64_t forwarded_ns = 0;
    };
    using Alerts = std::map<std::string, Alert, std::less<>>;

    bool ProcessActive(zvEventNormalizedEvent& event, Alerts::iterator alert,
                       std::string_view action);
    bool ProcessAbsent(zvEventNormalizedEvent& event, std::string_view action);
    bool WithinInterval(const Alert& alert, const zvEventNormalizedEvent& event) const;
    void BuildKey(const zvEventNormalizedEvent& event);
    void BuildFingerprint(const zvEventNormalizedEvent& event);

    mutable std::mutex mutex_;
    // Guarded by mutex_:
    bool active_ = true;
    bool send_clear_ = true;
    bool route_orphan_clear_ = false;
    std::uint64_t repeat_interval_ns_ = 0;
    Alerts alerts_;
    std::string key_;          // of the event in hand; kept for its capacity
    std::string fingerprint_;  // likewise
};

}  // namespace zvevent
