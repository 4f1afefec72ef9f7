// One event through every encoder, read back by readers that share no code with them.
#include <cmath>
#include <nlohmann/json.hpp>

#include "format/alertmanager_alert.h"
#include "format/ber.h"
#include "format/cloud_event.h"
#include "format/csv_row.h"
#include "format/json_event.h"
#include "format/snmp_trap.h"
#include "format/syslog_message.h"
#include "random_event.h"
#include "readers/ber.h"
#include "readers/csv.h"
#include "readers/syslog.h"
#include "require.h"

namespace zvevent::fuzz {
namespace {

using Json = nlohmann::json;
using Event = zvEventNormalizedEvent;

struct NamedText {
    const char* name;
    std::string Event::*member;
    std::size_t csv_column;
    std::size_t trap_binding;  // 0: not in a trap
    std::size_t trap_limit;
};
constexpr NamedText kTexts[] = {
    {"action", &Event::action, 5, 8, 64},
    {"event_type", &Event::event_type, 6, 5, 128},
    {"source_id", &Event::source_id, 7, 6, 128},
    {"source_name", &Event::source_name, 8, 7, 128},
    {"dedupe_key", &Event::dedupe_key, 9, 10, 256},
    {"correlation_id", &Event::correlation_id, 10, 11, 128},
    {"message", &Event::message, 11, 9, 2048},
    {"units", &Event::units, 14, 0, 0},
    {"timecode", &Event::timecode, 18, 0, 0},
    {"details_json", &Event::details_json, 19, 13, 2048},
};

void CheckCsv(const Event& event) {
    std::string row;
    AppendCsvRow(row, event);
    const auto fields = ReadCsvRow(row);
    Require(fields && fields->size() == 20, "a CSV row has twenty columns");
    for (const NamedText& text : kTexts)
        Require(fields->at(text.csv_column) == event.*text.member, text.name);
    Require(fields->at(1) == std::to_string(event.event_id), "event_id of the row");
    Require(fields->at(17) == std::to_string(event.pts), "pts of the row");
    const double value = std::strtod(fields->at(12).c_str(), nullptr);
    Require(value == event.value || std::isnan(event.value), "value of the row");
}

void CheckDocument(const Json& document, const Event& event) {
    for (const NamedText& text : kTexts)
        Require(document.at(text.name) == event.*text.member, text.name);
    Require(document.at("utc_ns") == event.utc_ns, "utc_ns of the document");
    Require(document.at("duration_ms") == event.duration_ms, "duration_ms of the document");
    Require(document.at("pts") == event.pts, "pts of the document");
    if (std::isfinite(event.value)) {
        Require(document.at("value") == event.value, "value of the document");
    } else {
        Require(document.at("value").is_null(), "no value in the document");
    }
}

void CheckJson(const Event& event, const std::string& text) {
    CheckDocument(Json::parse(BuildNativeEventJson(event)), event);
    const Json envelope = Json::parse(BuildCloudEventJson(event, text, text));
    Require(envelope.at("specversion") == "1.0", "version of the envelope");
    CheckDocument(envelope.at("data"), event);
    std::string alert;
    AppendAlertmanagerAlert(alert, event, zvEventAlertmanagerFormatterConfig());
    const Json alerts = Json::parse(alert);
    Require(alerts.is_array() && alerts.size() <= 1, "at most one alert");
    if (alerts.empty()) return;
    for (const auto& [name, label] : alerts[0].at("labels").items())
        Require(label.is_string() && !label.get<std::string>().empty(), "labels have texts");
}

void CheckSyslog(const Event& event, const std::string& text) {
    std::string bytes;
    SyslogOrigin(16, text, text, text).Format(event, bytes);
    Require(bytes.size() <= kMaxSyslogMessageBytes, "a syslog message's length");
    if (bytes.size() == kMaxSyslogMessageBytes) return;  // cut, or nearly
    const auto message = ReadSyslogMessage(bytes);
    Require(message.has_value(), "a syslog message can be read");
    Require(message->text == event.message, "the message's text");
    for (const NamedText& parameter : kTexts)
        if (parameter.member != &Event::message)
            Require(message->parameters.at(parameter.name) == event.*parameter.member,
                    parameter.name);
}

void CheckTrap(const Event& event, const std::string& community, std::uint32_t now_ms) {
    std::string trap, error;
    const SnmpTrapFormatter formatter(community, "1.3.6.1.4.1.32473.1.1",
                                      "1.3.6.1.4.1.32473.1.1.0.1");
    if (!formatter.Format(event, now_ms, trap, error)) {
        Require(community.size() > kMaxSnmpTrapBytes / 4, "only what is too large is refused");
        return;
    }
    std::string_view bytes = trap;
    const auto next = [](std::string_view& from, BerTag tag) {
        const auto element = ReadBer(from);
        Require(element && element->tag == static_cast<unsigned char>(tag), "a BER element");
        return element->contents;
    };
    std::string_view packet = next(bytes, BerTag::kSequence);
    next(packet, BerTag::kInteger);
    Require(next(packet, BerTag::kOctetString) == community, "the community");
    std::string_view pdu = next(packet, BerTag::kTrapV2Pdu);
    for (int number = 0; number < 3; ++number)
        next(pdu, BerTag::kInteger);
    std::string_view bindings = next(pdu, BerTag::kSequence);
    Require(bytes.empty() && packet.empty() && pdu.empty(), "nothing behind the bindings");
    std::size_t count = 0;
    for (; !bindings.empty(); ++count) {
        std::string_view binding = next(bindings, BerTag::kSequence);
        next(binding, BerTag::kObjectIdentifier);
        const auto value = ReadBer(binding);
        Require(value && binding.empty(), "a binding's value");
        for (const NamedText& text : kTexts)
            if (text.trap_binding == count && count != 0)
                Require(value->contents == (event.*text.member).substr(0, text.trap_limit),
                        text.name);
    }
    Require(count == 14, "fourteen bindings");
}

}  // namespace
}  // namespace zvevent::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace zvevent::fuzz;
    FuzzedDataProvider data(bytes, size);
    const zvEventNormalizedEvent event = RandomEvent(data);
    const std::string text = RandomText(data);
    CheckCsv(event);
    CheckJson(event, text);
    CheckSyslog(event, text);
    CheckTrap(event, text, data.ConsumeIntegral<std::uint32_t>());
    return 0;
}
