#include "core/alert_state.h"

#include <array>
#include <string_view>

#include "base/ascii.h"
#include "base/number_text.h"
#include "base/texts.h"

namespace zvevent {

namespace {

constexpr std::string_view kRaise = "raise";
constexpr std::string_view kUpdate = "update";
constexpr std::string_view kClear = "clear";
constexpr std::string_view kRepeat = "repeat";

// The alert action a text means, in lower case; empty for an ordinary event.
std::string_view RecognizedAction(std::string_view action) {
    for (const auto known : std::array{kRaise, kUpdate, kClear, kRepeat}) {
        if (EqualsLowerAscii(action, known)) return known;
    }
    return {};
}

}  // namespace

void AlertState::Configure(const zvEventConfig& config) {
    const std::scoped_lock lock(mutex_);
    active_ = config.state_enabled && config.dedupe_enabled;
    send_clear_ = config.send_clear;
    route_orphan_clear_ = config.route_orphan_clear;
    repeat_interval_ns_ = std::uint64_t{config.default_repeat_interval_sec} * 1'000'000'000;
}

void AlertState::Clear() {
    const std::scoped_lock lock(mutex_);
    alerts_.clear();
}

std::size_t AlertState::ActiveCount() const {
    const std::scoped_lock lock(mutex_);
    return alerts_.size();
}

std::uint32_t AlertState::Process(zvEventNormalizedEvent* event, bool* forward) {
    if (event == nullptr || forward == nullptr) return ZVEVENT_E_INVALID_ARGUMENT;
    *forward = true;
    const std::string_view action = RecognizedAction(event->action);
    const std::scoped_lock lock(mutex_);
    if (!active_ || action.empty()) return ZVEVENT_OK;
    BuildKey(*event);
    const auto alert = alerts_.find(key_);
    *forward = alert != alerts_.end() ? ProcessActive(*event, alert, action)
                                      : ProcessAbsent(*event, action);
    ClearBuffer(key_);
    ClearBuffer(fingerprint_);
    return ZVEVENT_OK;
}

bool AlertState::ProcessActive(zvEventNormalizedEvent& event, Alerts::iterator alert,
                               std::string_view action) {
    if (action == kClear) {
        alerts_.erase(alert);
        return send_clear_;
    }
    const bool within_interval = WithinInterval(alert->second, event);
    if (within_interval && action != kUpdate) return false;
    if (action == kRaise) event.action = kRepeat;
    BuildFingerprint(event);
    if (within_interval && fingerprint_ == alert->second.fingerprint) return false;
    alert->second.fingerprint = fingerprint_;
    alert->second.forwarded_ns = event.utc_ns;
    return true;
}

bool AlertState::ProcessAbsent(zvEventNormalizedEvent& event, std::string_view action) {
    if (action == kClear) return route_orphan_clear_;
    if (action == kRepeat) return false;
    if (action == kUpdate) event.action = kRaise;
    BuildFingerprint(event);
    alerts_.emplace(key_, Alert{fingerprint_, event.utc_ns});
    return true;
}

bool AlertState::WithinInterval(const Alert& alert, const zvEventNormalizedEvent& event) const {
    return repeat_interval_ns_ != 0 && alert.forwarded_ns != 0 &&
           event.utc_ns >= alert.forwarded_ns &&
           event.utc_ns - alert.forwarded_ns < repeat_interval_ns_;
}

void AlertState::BuildKey(const zvEventNormalizedEvent& event) {
    if (!event.dedupe_key.empty()) {
        key_ = event.dedupe_key;
    } else {
        key_.assign(event.source_id).append(1, ':').append(event.event_type);
    }
}

// All content but number and times, each member ended by a line feed. Line feeds inside texts are
// not escaped: two events have equal content exactly when these texts are equal.
void AlertState::BuildFingerprint(const zvEventNormalizedEvent& event) {
    // All members by name: whoever adds one has to say here whether it is content.
    const auto& [event_id, event_type, source_id, source_name, message, severity, action,
                 dedupe_key, correlation_id, utc_ns, ptp_ns, pts, timecode, value, threshold, units,
                 duration_ms, details_json] = event;
    fingerprint_.clear();
    const auto text = [this](std::string_view member) { fingerprint_.append(member) += '\n'; };
    const auto number = [this](auto member) {
        AppendDecimal(fingerprint_, member);
        fingerprint_ += '\n';
    };
    const auto measure = [this](double member) {
        AppendGeneral(fingerprint_, member, kRoundTripDigits);
        fingerprint_ += '\n';
    };
    text(event_type);
    text(source_id);
    text(source_name);
    text(message);
    number(severity);
    text(RecognizedAction(action));  // only alert actions come here
    text(dedupe_key);
    text(correlation_id);
    number(pts);
    text(timecode);
    measure(value);
    measure(threshold);
    text(units);
    number(duration_ms);
    text(details_json);
}

}  // namespace zvevent
