#include "core/alert_state.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "base/ascii.h"
#include "base/number_text.h"
#include "base/texts.h"
#include "core/event_fields.h"
#include "platform/random_words.h"

namespace zvevent {

namespace {

constexpr std::string_view kRaise = "raise";
constexpr std::string_view kUpdate = "update";
constexpr std::string_view kClear = "clear";
constexpr std::string_view kRepeat = "repeat";

// The alert action a text means, in lower case; empty for an ordinary event.
std::string_view RecognizedAction(std::string_view action) {
    // Lengths first, which spares most of the calls.
    for (const auto known : std::array{kRaise, kUpdate, kClear, kRepeat}) {
        if (action.size() == known.size() && EqualsLowerAscii(action, known)) return known;
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
    alerts_.Clear();
    digest_key_.reset();
}

std::size_t AlertState::ActiveCount() const {
    const std::scoped_lock lock(mutex_);
    return alerts_.Count();
}

std::uint32_t AlertState::Process(zvEventNormalizedEvent* event, bool* forward) {
    if (event == nullptr || forward == nullptr) return ZVEVENT_E_INVALID_ARGUMENT;
    *forward = true;
    const std::string_view action = RecognizedAction(event->action);
    if (action.empty()) return ZVEVENT_OK;
    const std::scoped_lock lock(mutex_);
    if (!active_) return ZVEVENT_OK;
    const Digest key = KeyOf(*event);
    Alert* const alert = alerts_.Find(key);
    *forward = alert != nullptr ? ProcessActive(*event, *alert, action)
                                : ProcessAbsent(*event, key, action);
    ClearBuffer(text_);
    return ZVEVENT_OK;
}

bool AlertState::ProcessActive(zvEventNormalizedEvent& event, Alert& alert,
                               std::string_view action) {
    if (action == kClear) {
        alerts_.Remove(alert);
        return send_clear_;
    }
    const bool within_interval = WithinInterval(alert, event);
    if (within_interval && action != kUpdate) return false;
    if (action == kRaise) event.action = kRepeat;
    const Digest content = ContentOf(event);
    if (within_interval && content == alert.content) return false;
    alert.content = content;
    alert.forwarded_ns = event.utc_ns;
    return true;
}

bool AlertState::ProcessAbsent(zvEventNormalizedEvent& event, const Digest& key,
                               std::string_view action) {
    if (action == kClear) return route_orphan_clear_;
    if (action == kRepeat) return false;
    if (action == kUpdate) event.action = kRaise;
    const Digest content = ContentOf(event);
    Alert& alert = alerts_.Add(key);
    alert.content = content;
    alert.forwarded_ns = event.utc_ns;
    return true;
}

bool AlertState::WithinInterval(const Alert& alert, const zvEventNormalizedEvent& event) const {
    return repeat_interval_ns_ != 0 && alert.forwarded_ns != 0 &&
           event.utc_ns >= alert.forwarded_ns &&
           event.utc_ns - alert.forwarded_ns < repeat_interval_ns_;
}

Digest AlertState::KeyOf(const zvEventNormalizedEvent& event) {
    if (!digest_key_) {
        const auto [first, second] = RandomWords();
        digest_key_ = {first, second};
    }
    if (!event.dedupe_key.empty()) return DigestOf(*digest_key_, event.dedupe_key);
    text_.assign(event.source_id).append(1, ':').append(event.event_type);
    return DigestOf(*digest_key_, text_);
}

// Of all but number and times, as texts that end with a line feed each. Line feeds inside texts are
// not escaped, and numbers are as they would be read: two events have equal content exactly when
// these texts are equal.
Digest AlertState::ContentOf(const zvEventNormalizedEvent& event) {
    // All members by name: whoever adds one has to say here whether it is content.
    const auto& [event_id, event_type, source_id, source_name, message, severity, action,
                 dedupe_key, correlation_id, utc_ns, ptp_ns, pts, timecode, value, threshold, units,
                 duration_ms, details_json] = event;
    // Room for all of it at once: an append for each member would look for room thirty times.
    std::size_t bytes = 6 * (kMostGeneralBytes + 1);
    ForEachEventText([&](const auto& field) { bytes += (event.*field.event).size() + 1; });
    text_.resize(bytes);
    char* at = text_.data();
    const auto end_with = [&at](char* end) {
        *end = '\n';
        at = end + 1;
    };
    const auto text = [&](std::string_view member) { end_with(std::ranges::copy(member, at).out); };
    const auto number = [&](auto member) {
        end_with(std::to_chars(at, at + kMostGeneralBytes, member).ptr);
    };
    const auto measure = [&](double member) {
        end_with(WriteGeneral(at, member, kRoundTripDigits));
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
    return DigestOf(*digest_key_, {text_.data(), at});
}

}  // namespace zvevent
