// RFC 5424.
#include <charconv>

#include "listen/decode.h"
#include "record_fields.h"

namespace zvevent::tool {

namespace {

constexpr std::string_view kElement = "zavorin@32473";  // the library's own
constexpr int kMaxPriority = 191;
constexpr int kSeverities = 8;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// What is still to be read. Each function takes from the front what it names and says whether it
// was there.
struct Rest {
    std::string_view text;

    bool Skip(char c) {
        if (text.empty() || text.front() != c) return false;
        text.remove_prefix(1);
        return true;
    }

    bool Until(char end, std::string_view& word) {
        const std::size_t length = text.find(end);
        if (length == std::string_view::npos) return false;
        word = text.substr(0, length);
        text.remove_prefix(length);
        return true;
    }

    // A parameter's value behind its first quotation mark; the last one is taken too.
    bool Value(std::string& value) {
        while (!text.empty()) {
            char c = text.front();
            text.remove_prefix(1);
            if (c == '"') return true;
            const bool escapes =
                c == '\\' && !text.empty() &&
                std::string_view("\"\\]").find(text.front()) != std::string_view::npos;
            if (escapes) {
                c = text.front();
                text.remove_prefix(1);
            }
            value += c;
        }
        return false;
    }
};

bool ReadPriority(Rest& rest, Json& header) {
    std::string_view digits;
    if (!rest.Skip('<') || !rest.Until('>', digits) || digits.empty()) return false;
    int priority = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, priority);
    if (error != std::errc() || stop != end || priority < 0 || priority > kMaxPriority)
        return false;
    header["facility"] = priority / kSeverities;
    header["severity"] = priority % kSeverities;
    rest.text.remove_prefix(1);
    return true;
}

// One element behind its "[".
std::string ReadElement(Rest& rest, Json& message) {
    const std::size_t name_end = rest.text.find_first_of(" ]");
    if (name_end == std::string_view::npos) return "structured data is cut";
    const std::string id(rest.text.substr(0, name_end));
    rest.text.remove_prefix(name_end);
    const bool is_ours = id == kElement;
    Json& parameters = is_ours ? message["event"] : message["elements"][id];
    parameters = Json::object();
    while (rest.Skip(' ')) {
        std::string_view name;
        std::string value;
        if (!rest.Until('=', name) || !rest.Skip('=') || !rest.Skip('"') || !rest.Value(value))
            return "structured data is cut or wrong";
        const RecordField* const field = is_ours ? FindRecordField(name) : nullptr;
        if (field != nullptr)
            parameters[std::string(name)] = FieldValue(*field, value);
        else if (!is_ours)
            parameters[std::string(name)] = value;
    }
    return rest.Skip(']') ? "" : "structured data is cut or wrong";
}

}  // namespace

std::string DecodeSyslog(std::string_view bytes, Json& message) {
    Rest rest{bytes};
    Json header = Json::object();
    if (!ReadPriority(rest, header)) return "no priority: not a syslog message";
    if (!rest.Skip('1') || !rest.Skip(' ')) return "not of version 1 (RFC 5424)";
    for (const char* const name : {"timestamp", "host", "app", "process", "message_id"}) {
        std::string_view word;
        if (!rest.Until(' ', word)) return "the header is cut";
        if (word != "-") header[name] = word;
        rest.Skip(' ');
    }
    message["header"] = std::move(header);
    if (!rest.Skip('-')) {
        if (rest.text.empty() || rest.text.front() != '[') return "no structured data";
        while (rest.Skip('[')) {
            std::string error = ReadElement(rest, message);
            if (!error.empty()) return error;
        }
    }
    if (!rest.text.empty() && !rest.Skip(' ')) return "no space before the message";
    if (rest.text.starts_with(kByteOrderMark)) rest.text.remove_prefix(kByteOrderMark.size());
    if (message.contains("event"))
        message["event"]["message"] = rest.text;
    else
        message["text"] = rest.text;
    return "";
}

}  // namespace zvevent::tool
