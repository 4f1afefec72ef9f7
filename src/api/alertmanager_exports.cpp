// The exported formatter functions. Unlike the other exports they run outside the exception guard:
// they are C++ functions for C++ callers, and running out of memory is theirs to see.
#include <string>

#include "core/normalize.h"
#include "format/alertmanager_alert.h"
#include "zvEvent/zvEventAlertmanager.h"

namespace {

// The number of an event that brings none. The process-wide counter is for events that are
// submitted, which this one is not.
constexpr std::uint64_t kUnnumberedEventId = 1;

}  // namespace

std::uint32_t zvEventFormatAlertmanagerAlert(const zvEventNormalizedEvent& event,
                                             const zvEventAlertmanagerFormatterConfig& config,
                                             std::string* out) {
    if (out == nullptr) return ZVEVENT_E_INVALID_ARGUMENT;
    out->clear();
    zvevent::AppendAlertmanagerAlert(*out, event, config);
    return ZVEVENT_OK;
}

std::uint32_t zvEventFormatAlertmanagerRecord(const zvEventRecord* record,
                                              const zvEventAlertmanagerFormatterConfig& config,
                                              std::string* out) {
    if (record == nullptr || out == nullptr) return ZVEVENT_E_INVALID_ARGUMENT;
    zvEventNormalizedEvent event;
    const std::uint32_t result = zvevent::NormalizeRecord(record, kUnnumberedEventId, &event);
    if (result != ZVEVENT_OK) return result;
    return zvEventFormatAlertmanagerAlert(event, config, out);
}
