// SNMP v2c traps (RFC 3416), the library's own by the names of ZVEVENT-MIB.
#include "listen/ber_reader.h"
#include "listen/decode.h"
#include "record_fields.h"

namespace zvevent::tool {

namespace {

constexpr unsigned char kInteger = 0x02, kOctets = 0x04, kIdentifier = 0x06, kSequence = 0x30,
                        kAddress = 0x40, kCounter = 0x41, kGauge = 0x42, kTicks = 0x43,
                        kCounter64 = 0x46, kTrap = 0xA7;
constexpr std::int64_t kVersion2c = 1;

constexpr std::string_view kTrapIdentifier = "1.3.6.1.6.3.1.1.4.1.0";

// What stands behind an enterprise's identifier, which the configuration may change.
struct Object {
    std::string_view suffix;
    std::string_view name;   // in the MIB
    std::string_view field;  // of the event, if it is one
};
constexpr Object kObjects[] = {
    {".1.1.0", "zvEventSeverity.0", ""},
    {".1.2.0", "zvEventSeverityName.0", "severity"},
    {".1.3.0", "zvEventId.0", "event_id"},
    {".1.4.0", "zvEventType.0", "event_type"},
    {".1.5.0", "zvEventSourceId.0", "source_id"},
    {".1.6.0", "zvEventSourceName.0", "source_name"},
    {".1.7.0", "zvEventAction.0", "action"},
    {".1.8.0", "zvEventMessage.0", "message"},
    {".1.9.0", "zvEventDedupeKey.0", "dedupe_key"},
    {".1.10.0", "zvEventCorrelationId.0", "correlation_id"},
    {".1.11.0", "zvEventUtcNs.0", "utc_ns"},
    {".1.12.0", "zvEventDetailsJson.0", "details_json"},
};

bool ReadValue(unsigned char tag, std::string_view contents, Json& value) {
    std::int64_t number = 0;
    std::uint64_t counter = 0;
    switch (tag) {
        case kInteger:
            if (!ReadBerSigned(contents, number)) return false;
            value = number;
            return true;
        case kCounter:
        case kGauge:
        case kTicks:
        case kCounter64:
            if (!ReadBerUnsigned(contents, counter)) return false;
            value = counter;
            return true;
        case kIdentifier:
            value = BerObjectIdentifier(contents);
            return !value.get_ref<const std::string&>().empty();
        case kAddress: {
            std::string address;
            for (const char c : contents)
                address.append(address.empty() ? "" : ".")
                    .append(std::to_string(static_cast<unsigned char>(c)));
            value = address;
            return true;
        }
        case kOctets:
            value = contents;
            return true;
        default:
            value = nullptr;
            return true;
    }
}

std::string ReadVariables(std::string_view contents, Json& variables) {
    BerReader list(contents);
    while (!list.IsEmpty()) {
        std::string_view pair, oid, contents_of_value;
        if (!list.Expect(kSequence, pair)) return "a variable is cut";
        BerReader reader(pair);
        unsigned char tag = 0;
        Json value;
        if (!reader.Expect(kIdentifier, oid) || !reader.Next(tag, contents_of_value) ||
            !ReadValue(tag, contents_of_value, value))
            return "a variable is wrong";
        const std::string dotted = BerObjectIdentifier(oid);
        if (dotted.empty()) return "a variable's identifier is wrong";
        Json& variable = variables.emplace_back(Json::object());
        variable["oid"] = dotted;
        variable["value"] = std::move(value);
    }
    return "";
}

const std::string& Identifier(const Json& variable) {
    return variable.at("oid").get_ref<const std::string&>();
}

// The identifier that the library's objects stand below, or empty when the trap is none of its own.
std::string Enterprise(const Json& variables) {
    if (variables.size() != 2 + std::size(kObjects)) return "";
    std::string base = Identifier(variables[2]);
    const std::string_view suffix = kObjects[0].suffix;
    if (!base.ends_with(suffix)) return "";
    base.resize(base.size() - suffix.size());
    for (std::size_t i = 0; i < std::size(kObjects); ++i)
        if (Identifier(variables[2 + i]) != base + std::string(kObjects[i].suffix)) return "";
    return base;
}

void NameVariables(Json& message) {
    Json& variables = message["variables"];
    for (Json& variable : variables) {
        if (Identifier(variable) == "1.3.6.1.2.1.1.3.0") variable["name"] = "sysUpTime.0";
        if (Identifier(variable) == kTrapIdentifier) variable["name"] = "snmpTrapOID.0";
    }
    if (Enterprise(variables).empty()) return;
    Json& event = message["event"] = Json::object();
    for (std::size_t i = 0; i < std::size(kObjects); ++i) {
        Json& variable = variables[2 + i];
        variable["name"] = kObjects[i].name;
        const RecordField* const field = FindRecordField(kObjects[i].field);
        const std::string* const text = variable["value"].get_ptr<const std::string*>();
        if (field != nullptr && text != nullptr)
            event[std::string(field->name)] = FieldValue(*field, *text);
    }
}

}  // namespace

std::string DecodeSnmp(std::string_view bytes, Json& message) {
    std::string_view contents, version, community, trap, ignored, list;
    if (!BerReader(bytes).Expect(kSequence, contents)) return "not an SNMP message, or cut";
    BerReader reader(contents);
    std::int64_t number = 0;
    if (!reader.Expect(kInteger, version) || !ReadBerSigned(version, number))
        return "not an SNMP message";
    if (number != kVersion2c) return "not SNMP version 2c";
    if (!reader.Expect(kOctets, community)) return "no community";
    message["community"] = community;
    if (!reader.Expect(kTrap, trap)) return "not a trap of version 2";
    BerReader fields(trap);
    for (int i = 0; i < 3; ++i)  // the request's number, error status and index
        if (!fields.Expect(kInteger, ignored)) return "the trap is wrong";
    if (!fields.Expect(kSequence, list)) return "the trap has no variables";
    std::string error = ReadVariables(list, message["variables"] = Json::array());
    NameVariables(message);
    return error;
}

}  // namespace zvevent::tool
