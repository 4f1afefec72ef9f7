// An event as the body of the Alertmanager API v2 call that posts alerts: a JSON array with one
// alert. Everything is appended to the caller's text, and nothing else is allocated. Pure
// functions, any thread, the same bytes whatever the process's locale; they fail only when there is
// no memory.
#pragma once

#include <string>
#include <string_view>

#include "zvEvent/zvEventAlertmanager.h"

namespace zvevent {

// Whether the event ends its alert: its action is "clear", "resolve" or "resolved" in any case.
bool IsResolution(const zvEventNormalizedEvent& event);

// The alert, or "[]" for a resolution that is not to be sent. Its labels depend neither on the
// action nor on what was measured, so that a resolution carries those of the alert that it ends.
void AppendAlertmanagerAlert(std::string& out, const zvEventNormalizedEvent& event,
                             const zvEventAlertmanagerFormatterConfig& config);

// A label's value: letters, digits, "-", ".", ":" and "_" in lower case, one "_" for every run of
// other bytes, none at either end; `fallback` when nothing is left.
void SanitizeLabelValue(std::string& out, std::string_view text, std::string_view fallback);

// The alert's name: the letters, digits and "_" of `prefix` ("ZvEvent" when it has none), then the
// words of `event_type`, each with a capital ("Event" when it has none).
void BuildAlertName(std::string& out, std::string_view prefix, std::string_view event_type);

// The message, and where it happened unless the message says so itself; escaped for JSON.
void BuildDescription(std::string& out, const zvEventNormalizedEvent& event);

}  // namespace zvevent
