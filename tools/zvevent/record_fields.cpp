#include "record_fields.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace zvevent::tool {

namespace {

using R = zvEventRecord;
constexpr std::string_view kDetails = "details_json";
constexpr std::string_view kSeverityNames[] = {"debug", "info", "warning", "error"};
// What the library's JSON documents say besides the record's fields.
constexpr std::string_view kDocumentOnly[] = {"version", "severity_value", "severity_code"};

constexpr RecordField kFields[] = {
    {"severity", "severity", "debug, info (default), warning or error", &R::severity},
    {"event_type", "type", "kind of event, such as temperature", &R::event_type},
    {"source_id", "source", "identifier of what reports, such as psu-1", &R::source_id},
    {"source_name", "name", "its name for people", &R::source_name},
    {"message", "message", "sentence for people; an event must have one", &R::message},
    {"action", "action", "raise, update, clear or repeat for an alert", &R::action},
    {"dedupe_key", "dedupe-key", "ties the events of one alert together", &R::dedupe_key},
    {"correlation_id", "correlation-id", "yours, carried along", &R::correlation_id},
    {"value", "value", "what was measured", &R::value},
    {"threshold", "threshold", "the limit it is held against", &R::threshold},
    {"units", "units", "of value and threshold", &R::units},
    {"duration_ms", "duration-ms", "milliseconds", &R::duration_ms},
    {"details_json", "details", "free JSON text", &R::details_json},
    {"event_id", "event-id", "number of the event; 0: the library's next", &R::event_id},
    {"utc_ns", "utc-ns", "nanoseconds since 1970 UTC; 0: now", &R::utc_ns},
    {"ptp_ns", "ptp-ns", "PTP time in nanoseconds; 0: now", &R::ptp_ns},
    {"pts", "pts", "media presentation time stamp", &R::pts},
    {"timecode", "timecode", "media time code", &R::timecode},
};

template <typename Number>
bool ReadNumber(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

std::string Read(std::string_view text, double& number) {
    return ReadNumber(text, number) ? "" : "is not a number";
}

std::string Read(std::string_view text, std::uint64_t& number) {
    return ReadNumber(text, number) ? "" : "is not a whole number from 0 to 18446744073709551615";
}

std::string Read(std::string_view text, std::int64_t& number) {
    return ReadNumber(text, number) ? "" : "is not a whole number of 64 bits";
}

// A severity. Numbers beyond the known ones are the library's to refuse.
std::string Read(std::string_view text, std::uint32_t& number) {
    const auto* const name = std::find(std::begin(kSeverityNames), std::end(kSeverityNames), text);
    if (name == std::end(kSeverityNames))
        return ReadNumber(text, number) ? "" : "is not debug, info, warning or error";
    number = static_cast<std::uint32_t>(name - std::begin(kSeverityNames));
    return "";
}

std::size_t Place(const RecordField& field) {
    return static_cast<std::size_t>(&field - std::begin(kFields));
}

}  // namespace

std::span<const RecordField> RecordFields() {
    static_assert(std::size(kFields) == Event::kFieldCount);
    return kFields;
}

const RecordField* FindRecordField(std::string_view name) {
    const auto* const found = std::find_if(
        std::begin(kFields), std::end(kFields),
        [&](const RecordField& field) { return field.name == name || field.option == name; });
    return found == std::end(kFields) ? nullptr : found;
}

Json FieldValue(const RecordField& field, std::string_view text) {
    return std::visit(
        [&]<typename Value>(Value zvEventRecord::*) -> Json {
            if constexpr (std::is_same_v<Value, const char*> ||
                          std::is_same_v<Value, std::uint32_t>) {
                return text;
            } else {
                Value number{};
                return ReadNumber(text, number) ? Json(number) : Json(text);
            }
        },
        field.member);
}

std::string Event::Set(const RecordField& field, std::string_view text) {
    std::string error = std::visit(
        [&]<typename Value>(Value zvEventRecord::*member) -> std::string {
            if constexpr (std::is_same_v<Value, const char*>) {
                if (text.find('\0') != std::string_view::npos) return "holds a zero byte";
                texts_[Place(field)] = text;
                return "";
            } else {
                return Read(text, record_.*member);
            }
        },
        field.member);
    return error.empty() ? error : std::string(field.name) + " " + error;
}

std::string Event::SetAll(const Json& object) {
    if (!object.is_object()) return "not a JSON object";
    for (const auto& [name, value] : object.items()) {
        const RecordField* const field = FindRecordField(name);
        if (field == nullptr) {
            const auto* const end = std::end(kDocumentOnly);
            if (std::find(std::begin(kDocumentOnly), end, name) != end) continue;
            return "unknown member \"" + name + "\"";
        }
        const bool is_text = std::holds_alternative<const char * zvEventRecord::*>(field->member);
        std::string error;
        if (value.is_string())
            error = Set(*field, value.get_ref<const std::string&>());
        else if (std::holds_alternative<double zvEventRecord::*>(field->member) && value.is_null())
            record_.*std::get<double zvEventRecord::*>(field->member) =
                std::numeric_limits<double>::quiet_NaN();
        else if (is_text && field->name != kDetails)
            error = name + " is not a text";
        else
            error = Set(*field, value.dump());
        if (!error.empty()) return error;
    }
    return "";
}

const zvEventRecord& Event::Record() {
    for (const RecordField& field : kFields) {
        const auto* const member = std::get_if<const char * zvEventRecord::*>(&field.member);
        const auto& text = texts_[Place(field)];
        if (member != nullptr) record_.*(*member) = text ? text->c_str() : nullptr;
    }
    return record_;
}

bool Event::HasMessage() const {
    return texts_[Place(*FindRecordField("message"))].has_value();
}

}  // namespace zvevent::tool
