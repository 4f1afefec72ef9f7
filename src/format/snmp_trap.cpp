#include "format/snmp_trap.h"

#include <charconv>

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
                                     std::string_view trap_oid) {
    AppendBerUnsigned(head_, BerTag::kInteger, kVersion2c);
    AppendBerOctets(head_, community);

    AppendBerObjectIdentifier(trap_object_, kSnmpTrapOid);
    if (!AppendBerObjectIdentifier(trap_object_, trap_oid)) {
        identifier_error_.assign("Invalid SNMP trap_oid: ").append(trap_oid);
        return;
    }
    WrapBer(trap_object_, 0, BerTag::kSequence);
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
    message = head_;
    const std::size_t pdu = message.size();
    AppendBerUnsigned(message, BerTag::kInteger, now_ms & kRequestIdMask);
    AppendBerUnsigned(message, BerTag::kInteger, 0);  // error-status
    AppendBerUnsigned(message, BerTag::kInteger, 0);  // error-index
    const std::size_t bindings = message.size();
    AppendBindings(event, now_ms, message);
    WrapBer(message, bindings, BerTag::kSequence);
    WrapBer(message, pdu, BerTag::kTrapV2Pdu);
    WrapBer(message, 0, BerTag::kSequence);
    if (message.size() <= kMaxSnmpTrapBytes) return true;
    error = "zvEvent SNMP trap exceeds maximum datagram size";
    return false;
}

void SnmpTrapFormatter::AppendBindings(const zvEventNormalizedEvent& event, std::uint32_t now_ms,
                                       std::string& message) const {
    const auto text = [&](Binding binding, std::string_view value) {
        const std::size_t start = message.size();
        message += names_[binding];
        AppendBerOctets(message, value.substr(0, kBindings[binding].limit));
        WrapBer(message, start, BerTag::kSequence);
    };
    const auto decimal = [&](Binding binding, std::uint64_t number) {
        char digits[20];  // enough for 64 bits
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        text(binding, std::string_view(digits, end));
    };

    const std::size_t uptime = message.size();
    AppendBerObjectIdentifier(message, kSysUpTime);
    AppendBerUnsigned(message, BerTag::kTimeTicks, now_ms / kMsPerTick);
    WrapBer(message, uptime, BerTag::kSequence);
    message += trap_object_;

    const std::size_t severity = message.size();
    message += names_[kSeverity];
    AppendBerUnsigned(message, BerTag::kInteger, event.severity);
    WrapBer(message, severity, BerTag::kSequence);
    text(kSeverityName, SeverityName(event.severity, "info"));
    decimal(kEventId, event.event_id);
    text(kEventType, event.event_type);
    text(kSourceId, event.source_id);
    text(kSourceName, event.source_name);
    text(kAction, event.action);
    text(kMessage, event.message);
    text(kDedupeKey, event.dedupe_key);
    text(kCorrelationId, event.correlation_id);
    decimal(kUtcNs, event.utc_ns);
    text(kDetailsJson, event.details_json);
}

}  // namespace zvevent
