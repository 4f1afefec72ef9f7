#include "config/sink_faults.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/ascii.h"
#include "base/texts.h"
#include "config/outbox_limit.h"

namespace zvevent {

namespace {

template <std::size_t Count>
bool IsOneOf(const std::array<std::string_view, Count>& words, std::string_view text) {
    return std::any_of(words.begin(), words.end(),
                       [text](std::string_view word) { return EqualsLowerAscii(text, word); });
}

constexpr std::array<std::string_view, 2> kCloudEventsModes = {"cloudevents",
                                                               "cloudevents_structured"};
constexpr std::array<std::string_view, 2> kNativeModes = {"native_json", "native"};
constexpr std::array<std::string_view, 2> kOutboxSyncs = {"normal", "full"};
constexpr std::array<std::string_view, 3> kNamesOfVersion2c = {"2c", "v2c", "snmpv2c"};
constexpr std::array<std::string_view, 3> kNamesOfVersion3 = {"3", "v3", "snmpv3"};

}  // namespace

const char* CsvFault(std::string_view path) {
    return path.empty() ? "zvEvent CSV sink path is empty" : nullptr;
}

bool IsCloudEventsMode(std::string_view payload_mode) {
    return IsOneOf(kCloudEventsModes, payload_mode);
}

const char* WebhookFault(std::string_view endpoint_url, std::string_view payload_mode) {
    const std::string url = LowerAscii(endpoint_url);
    if (!url.starts_with("http://") && !url.starts_with("https://")) {
        return "zvEvent webhook sink requires an http:// or https:// endpoint_url";
    }
    if (IsCloudEventsMode(payload_mode) || IsOneOf(kNativeModes, payload_mode)) return nullptr;
    return "zvEvent webhook payload_mode must be native_json or cloudevents";
}

const char* OutboxFault(std::string_view limit, std::string_view sync) {
    OutboxLimit parsed;
    if (!ParseOutboxLimit(limit, parsed)) {
        return "zvEvent webhook outbox_limit must be a number of events, or of KB, MB or GB";
    }
    if (sync.empty() || IsOneOf(kOutboxSyncs, sync)) return nullptr;
    return "zvEvent webhook outbox_sync must be normal or full";
}

const char* SnmpTrapFault(std::string_view version) {
    if (IsOneOf(kNamesOfVersion3, version)) {
        return "SNMPv3 requires a future external-library backend";
    }
    return IsOneOf(kNamesOfVersion2c, version)
               ? nullptr
               : "zvEvent SNMP trap sink currently supports SNMP v2c only";
}

const char* SinkFault(const zvEventSinkConfig& entry) {
    switch (entry.kind) {
        case zvEventSinkKind::csv:
            return CsvFault(entry.csv.path);
        case zvEventSinkKind::webhook_http:
        case zvEventSinkKind::cloudevents_http: {
            using Webhook = zvEventSinkConfig::WebhookHttp;
            const Webhook& webhook = entry.webhook_http;
            const char* const fault = WebhookFault(
                webhook.endpoint_url, OrElse(webhook.payload_mode, Webhook::kDefaultPayloadMode));
            return fault != nullptr || webhook.outbox.empty()
                       ? fault
                       : OutboxFault(webhook.outbox_limit, webhook.outbox_sync);
        }
        case zvEventSinkKind::snmp_trap:
            return SnmpTrapFault(
                OrElse(entry.snmp_trap.version, zvEventSinkConfig::SnmpTrap::kDefaultVersion));
        default:
            return nullptr;
    }
}

}  // namespace zvevent
