#include "format/csv_row.h"

#include "base/byte_set.h"
#include "base/number_text.h"
#include "base/severity.h"
#include "format/piece_writer.h"

namespace zvevent {

namespace {

constexpr ByteSet kNeedQuotes([](auto byte) {
    return (byte == ',') | (byte == '"') | (byte == '\n') | (byte == '\r');
});
constexpr ByteSet kQuote([](auto byte) { return byte == '"'; });

// A comma after every column but the last.
class RowWriter {
public:
    explicit RowWriter(std::string& out) : out_(out) {}

    void Text(std::string_view text) {
        Separate();
        if (out_.TextWithout(kNeedQuotes, text)) return;
        out_.Byte('"');
        out_.TextWithMarks(kQuote, '"', text);
        out_.Byte('"');
    }

    template <typename Number>
    void Decimal(Number number) {
        Separate();
        out_.Decimal(number);
    }

    void Measure(double number) {
        Separate();
        out_.General(number, kRoundTripDigits);
    }

    void UtcTime(std::uint64_t utc_ns) {
        Separate();
        out_.UtcIso8601Nanos(utc_ns);  // never holds what needs quotes
    }

    void End() {
        out_.Byte('\n');
        out_.Finish();
    }

private:
    void Separate() {
        if (!first_) out_.Byte(',');
        first_ = false;
    }

    PieceWriter out_;
    bool first_ = true;
};

}  // namespace

void AppendCsvRow(std::string& out, const zvEventNormalizedEvent& event) {
    RowWriter row(out);
    row.Decimal(ZVEVENT_API_VERSION);
    row.Decimal(event.event_id);
    row.UtcTime(event.utc_ns);
    row.Decimal(event.utc_ns);
    row.Text(SeverityName(event.severity, "unknown"));
    row.Text(event.action);
    row.Text(event.event_type);
    row.Text(event.source_id);
    row.Text(event.source_name);
    row.Text(event.dedupe_key);
    row.Text(event.correlation_id);
    row.Text(event.message);
    row.Measure(event.value);
    row.Measure(event.threshold);
    row.Text(event.units);
    row.Decimal(event.duration_ms);
    row.Decimal(event.ptp_ns);
    row.Decimal(event.pts);
    row.Text(event.timecode);
    row.Text(event.details_json);
    row.End();
}

}  // namespace zvevent
