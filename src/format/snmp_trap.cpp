#include "format/snmp_trap.h"

#include "base/number_text.h"
#include "base/severity.h"
#include "format/ber.h"

namespace zvevent {

namespace {

constexpr std::uint32_t kVersion2c = 1;
constexpr std::string_view kSysUpTime = "1.3.6.1.2.1.1.3.0";
constexpr std::string_view kSnmpTrapOid = "1.3.6.1.6.3.1.1.4.1.0";
constexpr std::uint32_t kRequestIdMask = 0x7FFFFFFF;  // it is a signed number to managers
constexpr std::uint32_t kMsPerTick = 10;

// The bindings below the enterprise's identifier: their last parts and, where they are texts, the
// greatest length in bytes.
struct EnterpriseBinding {
    std::string_view suffix;
    std::size_t limit;
};
enum Binding : std::size_t {
    kSeverity,
    kSeverityName,
    kEventId,
    kEventType,
    kSourceId,
    kSourceName,
    kAction,
    kMessage,
    kDedupeKey,
    kCorrelationId,
    kUtcNs,
    kDetailsJson,
};
constexpr std::array<EnterpriseBinding, kEnterpriseBindings> kBindings = {{
    {".1.1.0", 0},
    {".1.2.0", 32},
    {".1.3.0", 32},
    {".1.4.0", 128},
    {".1.5.0", 128},
    {".1.6.0", 128},
    {".1.7.0", 64},
    {".1.8.0", 2048},
    {".1.9.0", 256},
    {".1.10.0", 128},
    {".1.11.0", 32},
    {".1.12.0", 2048},
}};

}  // namespace

SnmpTrapFormatter::SnmpTrapFormatter(std::string_view community, std::string_view enterprise_oid,
                                     std::string_view trap_oid)
    : community_(community) {
    AppendBerObjectIdentifier(uptime_, kSysUpTime);
    AppendBerObjectIdentifier(trap_object_, kSnmpTrapOid);
    if (!AppendBerObjectIdentifier(trap_object_, trap_oid)) {
        identifier_error_.assign("Invalid SNMP trap_oid: ").append(trap_oid);
        return;
    }
    for (std::size_t i = 0; i < names_.size(); ++i) {
        const std::string name = std::string(enterprise_oid).append(kBindings[i].suffix);
        if (!AppendBerObjectIdentifier(names_[i], name)) {
            identifier_error_.assign("Invalid SNMP enterprise_oid: ").append(enterprise_oid);
            return;
        }
    }
}

bool SnmpTrapFormatter::Format(const zvEventNormalizedEvent& event, std::uint32_t now_ms,
                               std::string& message, std::string& error) const {
    if (!identifier_error_.empty()) {
        error = identifier_error_;
        return false;
    }
    std::array<char, kMaxSnmpTrapBytes> block;
    BerWriter trap(block);
    const char* const end = trap.Begin();
    // From here on from the last element to the first.
    WriteBindings(event, now_ms, trap);
    trap.Wrap(BerTag::kSequence, end);
    trap.Unsigned(BerTag::kInteger, 0);  // error-index
    trap.Unsigned(BerTag::kInteger, 0);  // error-status
    trap.Unsigned(BerTag::kInteger, now_ms & kRequestIdMask);
    trap.Wrap(BerTag::kTrapV2Pdu, end);
    trap.Octets(community_);
    trap.Unsigned(BerTag::kInteger, kVersion2c);
    trap.Wrap(BerTag::kSequence, end);
    if (trap.Fits()) {
        message.assign(trap.Begin(), end);
        return true;
    }
    error = "zvEvent SNMP trap exceeds maximum datagram size";
    return false;
}

// From the last to the first.
void SnmpTrapFormatter::WriteBindings(const zvEventNormalizedEvent& event, std::uint32_t now_ms,
                                      BerWriter& trap) const {
    const auto text = [&](Binding binding, std::string_view value) {
        const char* const end = trap.Begin();
        trap.Octets(value.substr(0, kBindings[binding].limit));
        trap.Encoded(names_[binding]);
        trap.Wrap(BerTag::kSequence, end);
    };
    const auto decimal = [&](Binding binding, std::uint64_t number) {
        char digits[kMostDecimalBytes];
        text(binding, std::string_view(digits, WriteDecimal(digits, number)));
    };

    text(kDetailsJson, event.details_json);
    decimal(kUtcNs, event.utc_ns);
    text(kCorrelationId, event.correlation_id);
    text(kDedupeKey, event.dedupe_key);
    text(kMessage, event.message);
    text(kAction, event.action);
    text(kSourceName, event.source_name);
    text(kSourceId, event.source_id);
    text(kEventType, event.event_type);
    decimal(kEventId, event.event_id);
    text(kSeverityName, SeverityName(event.severity, "info"));
    const char* const severity_end = trap.Begin();
    trap.Unsigned(BerTag::kInteger, event.severity);
    trap.Encoded(names_[kSeverity]);
    trap.Wrap(BerTag::kSequence, severity_end);

    const char* const object_end = trap.Begin();
    trap.Encoded(trap_object_);
    trap.Wrap(BerTag::kSequence, object_end);
    const char* const uptime_end = trap.Begin();
    trap.Unsigned(BerTag::kTimeTicks, now_ms / kMsPerTick);
    trap.Encoded(uptime_);
    trap.Wrap(BerTag::kSequence, uptime_end);
}

}  // namespace zvevent
