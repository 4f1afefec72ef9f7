#include "format/syslog_message.h"

#include <algorithm>

#include "base/byte_set.h"
#include "base/severity.h"
#include "base/syslog_code.h"
#include "format/piece_writer.h"

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

constexpr ByteSet kNeedBackslash([](auto byte) {
    return (byte == '"') | (byte == '\\') | (byte == ']');
});

constexpr ByteSet kNotForHeader([](auto byte) { return (byte < '!') | (byte > '~'); });

// A header field holds printable ASCII without spaces; "-" stands for nothing.
void AppendHeaderField(PieceWriter& out, std::string_view text, std::size_t limit) {
    text = text.substr(0, limit);
    if (text.empty()) {
        out.Byte('-');
    } else if (!out.TextWithout(kNotForHeader, text)) {
        for (const char byte : text)
            out.Byte(kNotForHeader.Contains(byte) ? '_' : byte);
    }
}

// How many bytes more make `out` a longest message.
std::size_t Room(const PieceWriter& out) {
    return kMaxSyslogMessageBytes - std::min(out.Size(), kMaxSyslogMessageBytes);
}

// The parameters of the structured-data element. `name` is everything from the end of the value
// before to where this one begins.
class ParameterWriter {
public:
    explicit ParameterWriter(PieceWriter& out) : out_(out) {}

    // What a message has no room for is not looked at: escaping never shortens.
    void Text(std::string_view name, std::string_view text) {
        out_.Text(name);
        text = text.substr(0, Room(out_));
        if (!out_.TextWithout(kNeedBackslash, text)) out_.TextWithMarks(kNeedBackslash, '\\', text);
    }

    template <typename Number>
    void Decimal(std::string_view name, Number number) {
        out_.Text(name);
        out_.Decimal(number);
    }

    void Measure(std::string_view name, double number) {
        out_.Text(name);
        out_.General(number, kMeasureDigits);
    }

private:
    PieceWriter& out_;
};

void AppendParameters(PieceWriter& out, const zvEventNormalizedEvent& event) {
    ParameterWriter parameters(out);
    parameters.Decimal(R"( version=")", ZVEVENT_API_VERSION);
    parameters.Decimal(R"(" event_id=")", event.event_id);
    parameters.Text(R"(" severity=")", SeverityName(event.severity, "info"));
    parameters.Text(R"(" action=")", event.action);
    parameters.Text(R"(" event_type=")", event.event_type);
    parameters.Text(R"(" source_id=")", event.source_id);
    parameters.Text(R"(" source_name=")", event.source_name);
    parameters.Text(R"(" dedupe_key=")", event.dedupe_key);
    parameters.Text(R"(" correlation_id=")", event.correlation_id);
    parameters.Decimal(R"(" utc_ns=")", event.utc_ns);
    parameters.Decimal(R"(" ptp_ns=")", event.ptp_ns);
    parameters.Decimal(R"(" pts=")", event.pts);
    parameters.Text(R"(" timecode=")", event.timecode);
    parameters.Measure(R"(" value=")", event.value);
    parameters.Measure(R"(" threshold=")", event.threshold);
    parameters.Text(R"(" units=")", event.units);
    parameters.Decimal(R"(" duration_ms=")", event.duration_ms);
    parameters.Text(R"(" details_json=")", event.details_json);
}

}  // namespace

SyslogOrigin::SyslogOrigin(std::uint32_t facility, std::string_view host_name,
                           std::string_view app_name, std::string_view process_id)
    : facility_(facility) {
    PieceWriter header(header_);
    header.Byte(' ');
    AppendHeaderField(header, host_name, kMaxHostNameBytes);
    header.Byte(' ');
    AppendHeaderField(header, app_name, kMaxAppNameBytes);
    header.Byte(' ');
    AppendHeaderField(header, process_id, kMaxProcessIdBytes);
    header.Byte(' ');
    header.Finish();
}

void SyslogOrigin::Format(const zvEventNormalizedEvent& event, std::string& message) const {
    message.clear();
    PieceWriter out(message);
    out.Byte('<');
    out.Decimal(SyslogPriority(facility_, event.severity));
    out.Text(">1 ");
    out.UtcIso8601Nanos(event.utc_ns);
    out.Text(header_);
    AppendHeaderField(out, event.event_type, kMaxMessageIdBytes);
    out.Text(" [");
    out.Text(kElementId);
    AppendParameters(out, event);
    out.Text("\"] ");
    out.Text(std::string_view(event.message).substr(0, Room(out)));
    out.Finish();
    if (message.size() > kMaxSyslogMessageBytes) message.resize(kMaxSyslogMessageBytes);
}

}  // namespace zvevent
