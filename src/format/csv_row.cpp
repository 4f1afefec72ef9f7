#include "format/csv_row.h"

#include "base/byte_set.h"
#include "base/number_text.h"
#include "base/severity.h"
#include "format/text.h"

namespace zvevent {

namespace {

constexpr ByteSet kNeedQuotes(",\"\n\r");

// A comma after every column but the last.
class RowWriter {
public:
    explicit RowWriter(std::string& out) : out_(out) {}

    void Text(std::string_view text) {
        Separate();
        if (kNeedQuotes.FindFirstIn(text) == text.size()) {
            out_.append(text);
            return;
        }
        out_ += '"';
        for (std::size_t quote; (quote = text.find('"')) != std::string_view::npos;) {
            out_.append(text.substr(0, quote + 1)) += '"';
            text.remove_prefix(quote + 1);
        }
        out_.append(text) += '"';
    }

    template <typename Number>
    void Decimal(Number number) {
        Separate();
        AppendDecimal(out_, number);
    }

    void Measure(double number) {
        Separate();
        AppendGeneral(out_, number, kRoundTripDigits);
    }

    void UtcTime(std::uint64_t utc_ns) {
        Separate();
        AppendUtcIso8601Nanos(out_, utc_ns);  // never holds what needs quotes
    }

private:
    void Separate() {
        if (!first_) out_ += ',';
        first_ = false;
    }

    std::string& out_;
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
    out += '\n';
}

}  // namespace zvevent
