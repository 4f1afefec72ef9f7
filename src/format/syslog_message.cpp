#include "format/syslog_message.h"

#include <algorithm>

#include "base/byte_set.h"
#include "base/number_text.h"
#include "base/severity.h"
#include "base/syslog_code.h"
#include "format/text.h"

namespace zvevent {

namespace {

// The most that RFC 5424 allows in the header's fields.
constexpr std::size_t kMaxHostNameBytes = 255;
constexpr std::size_t kMaxAppNameBytes = 48;
constexpr std::size_t kMaxProcessIdBytes = 128;
constexpr std::size_t kMaxMessageIdBytes = 32;

// 32473 is the enterprise number set aside for examples (RFC 5612).
constexpr std::string_view kElementId = "zavorin@32473";

constexpr int kMeasureDigits = 6;

constexpr ByteSet kNeedBackslash("\"\\]");

// A header field holds printable ASCII without spaces; "-" stands for nothing.
void AppendHeaderField(std::string& out, std::string_view text, std::size_t limit) {
    if (text.empty()) {
        out += '-';
        return;
    }
    for (const char c : text.substr(0, limit)) {
        out += c >= '!' && c <= '~' ? c : '_';
    }
}

// How many bytes more make `out` a longest message.
std::size_t Room(const std::string& out) {
    return kMaxSyslogMessageBytes - std::min(out.size(), kMaxSyslogMessageBytes);
}

// The parameters of the structured-data element.
class ParameterWriter {
public:
    explicit ParameterWriter(std::string& out) : out_(out) {}

    // What a message has no room for is not looked at: escaping never shortens.
    void Text(std::string_view name, std::string_view text) {
        Begin(name);
        text = text.substr(0, Room(out_));
        for (std::size_t special; (special = kNeedBackslash.FindFirstIn(text)) != text.size();) {
            out_.append(text.substr(0, special)) += '\\';
            out_ += text[special];
            text.remove_prefix(special + 1);
        }
        out_.append(text) += '"';
    }

    template <typename Number>
    void Decimal(std::string_view name, Number number) {
        Begin(name);
        AppendDecimal(out_, number);
        out_ += '"';
    }

    void Measure(std::string_view name, double number) {
        Begin(name);
        AppendGeneral(out_, number, kMeasureDigits);
        out_ += '"';
    }

private:
    void Begin(std::string_view name) { (out_ += ' ').append(name).append("=\""); }

    std::string& out_;
};

void AppendParameters(std::string& out, const zvEventNormalizedEvent& event) {
    ParameterWriter parameters(out);
    parameters.Decimal("version", ZVEVENT_API_VERSION);
    parameters.Decimal("event_id", event.event_id);
    parameters.Text("severity", SeverityName(event.severity, "info"));
    parameters.Text("action", event.action);
    parameters.Text("event_type", event.event_type);
    parameters.Text("source_id", event.source_id);
    parameters.Text("source_name", event.source_name);
    parameters.Text("dedupe_key", event.dedupe_key);
    parameters.Text("correlation_id", event.correlation_id);
    parameters.Decimal("utc_ns", event.utc_ns);
    parameters.Decimal("ptp_ns", event.ptp_ns);
    parameters.Decimal("pts", event.pts);
    parameters.Text("timecode", event.timecode);
    parameters.Measure("value", event.value);
    parameters.Measure("threshold", event.threshold);
    parameters.Text("units", event.units);
    parameters.Decimal("duration_ms", event.duration_ms);
    parameters.Text("details_json", event.details_json);
}

}  // namespace

SyslogOrigin::SyslogOrigin(std::uint32_t facility, std::string_view host_name,
                           std::string_view app_name, std::string_view process_id)
    : facility_(facility) {
    header_ += ' ';
    AppendHeaderField(header_, host_name, kMaxHostNameBytes);
    header_ += ' ';
    AppendHeaderField(header_, app_name, kMaxAppNameBytes);
    header_ += ' ';
    AppendHeaderField(header_, process_id, kMaxProcessIdBytes);
    header_ += ' ';
}

void SyslogOrigin::Format(const zvEventNormalizedEvent& event, std::string& message) const {
    message.assign(1, '<');
    AppendDecimal(message, SyslogPriority(facility_, event.severity));
    message += ">1 ";
    AppendUtcIso8601Nanos(message, event.utc_ns);
    message += header_;
    AppendHeaderField(message, event.event_type, kMaxMessageIdBytes);
    message.append(" [").append(kElementId);
    AppendParameters(message, event);
    message += "] ";
    message.append(event.message, 0, Room(message));
    if (message.size() > kMaxSyslogMessageBytes) message.resize(kMaxSyslogMessageBytes);
}

}  // namespace zvevent
