#include "listen/describe.h"

#include <string_view>

#include "record_fields.h"

namespace zvevent::tool {

namespace {

constexpr std::size_t kMaxRawBytes = 1000;
constexpr std::string_view kIndent = "    ";

// The member's text without quotation marks, other values as JSON, and nothing for what is not
// there.
std::string Text(const Json& object, const std::string& name) {
    if (!object.is_object()) return "";
    const auto member = object.find(name);
    if (member == object.end() || member->is_null()) return "";
    return Printable(member->is_string() ? member->get_ref<const std::string&>()
                                         : JsonLine(*member));
}

Colour SeverityColour(std::string_view severity) {
    if (severity == "error" || severity == "critical") return Colour::kRed;
    if (severity == "warning") return Colour::kYellow;
    return severity == "debug" ? Colour::kDim : Colour::kGreen;
}

void AppendWord(std::string& line, const std::string& word) {
    if (!word.empty()) line.append(line.empty() ? "" : " ").append(word);
}

// In the headline, or of no use to people.
bool IsShownElsewhere(std::string_view field) {
    for (const std::string_view name :
         {"severity", "action", "event_type", "source_id", "message", "utc_ns", "ptp_ns"})
        if (field == name) return true;
    return false;
}

std::string DescribeEvent(const Json& event, const Painter& paint) {
    const std::string severity = Text(event, "severity");
    std::string line = paint(SeverityColour(severity), severity);
    for (const char* const name : {"action", "event_type", "source_id"})
        AppendWord(line, Text(event, name));
    line.append(": ").append(paint(Colour::kBold, Text(event, "message"))).append("\n");

    std::string rest;
    for (const RecordField& field : RecordFields()) {
        const std::string name(field.name);
        const std::string text = IsShownElsewhere(name) ? "" : Text(event, name);
        if (!text.empty() && text != "0" && text != "0.0" && text != "{}")
            AppendWord(rest, name + "=" + text);
    }
    if (!rest.empty()) line.append(kIndent).append(paint(Colour::kDim, rest)).append("\n");
    return line;
}

// Labels and annotations on a line each, the name of the alert in front.
std::string DescribeAlert(const Json& alert, const Painter& paint) {
    const Json& labels = alert.at("labels");
    const auto annotations = alert.find("annotations");
    const std::string severity = Text(labels, "severity");
    std::string line = paint(SeverityColour(severity), severity.empty() ? "alert" : severity);
    AppendWord(line, Text(alert, "status"));
    AppendWord(line, Text(labels, "alertname"));
    line += '\n';
    const auto append = [&](const Json& texts) {
        std::string words;
        for (const auto& [name, value] : texts.items())
            AppendWord(words, Printable(name) + "=" + Text(texts, name));
        if (!words.empty()) line.append(kIndent).append(paint(Colour::kDim, words)).append("\n");
    };
    append(labels);
    if (annotations != alert.end() && annotations->is_object()) append(*annotations);
    return line;
}

std::string DescribeOther(const Json& message) {
    std::string line;
    if (message.contains("header"))
        for (const char* const name : {"host", "app", "process"})
            AppendWord(line, Text(message["header"], name));
    for (const char* const name : {"text", "elements", "json"})
        AppendWord(line, Text(message, name));
    if (!message.contains("variables")) return line + "\n";
    for (const Json& variable : message["variables"])
        line.append(line.empty() ? "" : "\n")
            .append(line.empty() ? "" : kIndent)
            .append(Text(variable, variable.contains("name") ? "name" : "oid"))
            .append(" = ")
            .append(Text(variable, "value"));
    return line + "\n";
}

std::string DescribeContents(const Json& message, const Painter& paint) {
    if (message.contains("malformed")) {
        const auto& raw = message["raw"].get_ref<const std::string&>();
        std::string line = paint(Colour::kRed, "malformed: " + Text(message, "malformed")) + "\n";
        if (raw.empty()) return line;
        line.append(kIndent).append(Printable(std::string_view(raw).substr(0, kMaxRawBytes)));
        return line.append(raw.size() > kMaxRawBytes ? "...\n" : "\n");
    }
    if (message.contains("event")) return DescribeEvent(message["event"], paint);
    if (!message.contains("alerts")) return DescribeOther(message);
    std::string lines;
    for (const Json& alert : message["alerts"])
        lines += (lines.empty() ? "" : std::string(kIndent)) + DescribeAlert(alert, paint);
    return lines;
}

}  // namespace

std::string Describe(const Json& message, const Painter& paint) {
    std::string origin = Text(message, "protocol");
    AppendWord(origin, Text(message, "from"));
    AppendWord(origin, Text(message, "path"));
    const std::string time = Text(message, "received").substr(11, 12);  // without the date
    return paint(Colour::kDim, time + " " + origin) + " " + DescribeContents(message, paint);
}

}  // namespace zvevent::tool
