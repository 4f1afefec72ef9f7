#include "core/normalize.h"

#include <atomic>
#include <cstddef>

#include "base/severity.h"
#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

// The shortest record that is accepted: up to and including `message`.
constexpr std::uint32_t kMinimumRecordSize = 48;

std::atomic<std::uint64_t> next_event_id{1};

// Reads the fields of a record that may be shorter than the struct: nothing past its struct_size
// is touched.
class RecordReader {
public:
    explicit RecordReader(const zvEventRecord* record) : record_(record) {}

    template <typename Field>
    bool Has(Field zvEventRecord::*field) const {
        static constexpr zvEventRecord kLayout{};
        const auto* begin = reinterpret_cast<const char*>(&kLayout);
        const auto* end = reinterpret_cast<const char*>(&(kLayout.*field) + 1);
        return record_->struct_size >= static_cast<std::size_t>(end - begin);
    }

    template <typename Number>
    Number Get(Number zvEventRecord::*field, Number absent) const {
        return Has(field) ? record_->*field : absent;
    }

    std::string_view Text(const char* zvEventRecord::*field, std::string_view absent) const {
        const char* text = Get<const char*>(field, nullptr);
        return text != nullptr ? std::string_view(text) : absent;
    }

    // A number whose zero means "not given".
    std::uint64_t NonZero(std::uint64_t zvEventRecord::*field, std::uint64_t absent) const {
        const std::uint64_t number = Get<std::uint64_t>(field, 0);
        return number != 0 ? number : absent;
    }

private:
    const zvEventRecord* record_;
};

bool IsAcceptable(const zvEventRecord* record) {
    if (record->struct_size < offsetof(zvEventRecord, version) + sizeof record->version) {
        return false;
    }
    if (record->version != ZVEVENT_API_VERSION || record->struct_size < kMinimumRecordSize) {
        return false;
    }
    if (record->message == nullptr || *record->message == '\0') return false;
    return RecordReader(record).Get(&zvEventRecord::severity, kMaxSeverity) <= kMaxSeverity;
}

}  // namespace

std::uint64_t NextEventId() noexcept {
    std::uint64_t id;
    do {
        id = next_event_id.fetch_add(1, std::memory_order_relaxed);
    } while (id == 0);
    return id;
}

std::uint32_t ResolveRecord(const zvEventRecord* record, std::uint64_t generated_id,
                            EventView* view) noexcept {
    if (record == nullptr || view == nullptr || !IsAcceptable(record)) {
        return ZVEVENT_E_INVALID_ARGUMENT;
    }
    const RecordReader reader(record);
    const std::uint64_t now_ns = zvOSGetTimePTPNano();
    view->event_id = reader.NonZero(&zvEventRecord::event_id, generated_id);
    view->event_type = reader.Text(&zvEventRecord::event_type, "event");
    view->source_id = reader.Text(&zvEventRecord::source_id, "");
    view->source_name = reader.Text(&zvEventRecord::source_name, "zvEvent");
    view->message = record->message;
    view->severity = reader.Get(&zvEventRecord::severity, std::uint32_t{zvEventSeverityInfo});
    view->action = reader.Text(&zvEventRecord::action, "");
    view->dedupe_key = reader.Text(&zvEventRecord::dedupe_key, "");
    view->correlation_id = reader.Text(&zvEventRecord::correlation_id, "");
    view->utc_ns = reader.NonZero(&zvEventRecord::utc_ns, now_ns);
    view->ptp_ns = reader.NonZero(&zvEventRecord::ptp_ns, now_ns);
    view->pts = reader.Get(&zvEventRecord::pts, std::int64_t{0});
    view->timecode = reader.Text(&zvEventRecord::timecode, "");
    view->value = reader.Get(&zvEventRecord::value, 0.0);
    view->threshold = reader.Get(&zvEventRecord::threshold, 0.0);
    view->units = reader.Text(&zvEventRecord::units, "");
    view->duration_ms = reader.Get(&zvEventRecord::duration_ms, std::uint64_t{0});
    view->details_json = reader.Text(&zvEventRecord::details_json, "{}");
    return ZVEVENT_OK;
}

std::uint32_t NormalizeRecord(const zvEventRecord* record, std::uint64_t generated_id,
                              zvEventNormalizedEvent* event) {
    if (event == nullptr) return ZVEVENT_E_INVALID_ARGUMENT;
    EventView view;
    const std::uint32_t result = ResolveRecord(record, generated_id, &view);
    if (result == ZVEVENT_OK) AssignEvent(view, *event);
    return result;
}

void AssignEvent(const EventView& view, zvEventNormalizedEvent& event) {
    event.event_id = view.event_id;
    event.utc_ns = view.utc_ns;
    event.ptp_ns = view.ptp_ns;
    event.pts = view.pts;
    event.value = view.value;
    event.threshold = view.threshold;
    event.duration_ms = view.duration_ms;
    event.severity = view.severity;
    for (std::size_t i = 0; i < kEventTextCount; ++i) {
        (event.*kEventTexts[i]).assign(view.*kViewTexts[i]);
    }
}

}  // namespace zvevent
