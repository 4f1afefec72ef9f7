// The active alerts: which were raised and not cleared, and when each was last passed on. Decides
// for every event whether it goes to the outputs, and turns a repeated raise into a "repeat".
//
// Of an alert's key and of its content only digests are kept (base/keyed_digest.h): nothing asks
// for more than whether they are the same. The digests' key is drawn anew for each run, by the
// first event about an alert.
//
// Process runs on the worker; Configure and Clear on the thread that starts, stops or reloads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "base/keyed_digest.h"
#include "config/config.h"
#include "core/alert_table.h"
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
    bool ProcessActive(zvEventNormalizedEvent& event, Alert& alert, std::string_view action);
    bool ProcessAbsent(zvEventNormalizedEvent& event, const Digest& key, std::string_view action);
    bool WithinInterval(const Alert& alert, const zvEventNormalizedEvent& event) const;
    Digest KeyOf(const zvEventNormalizedEvent& event);
    Digest ContentOf(const zvEventNormalizedEvent& event);

    mutable std::mutex mutex_;
    // Guarded by mutex_:
    bool active_ = true;
    bool send_clear_ = true;
    bool route_orphan_clear_ = false;
    std::uint64_t repeat_interval_ns_ = 0;
    AlertTable alerts_;
    std::optional<DigestKey> digest_key_;
    std::string text_;  // whose digest is to be taken; kept for its capacity
};

}  // namespace zvevent
