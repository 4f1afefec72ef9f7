#include "core/normalize.h"

#include <atomic>
#include <cstddef>

#include "base/severity.h"
#include "core/event_fields.h"
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

    // The field in `view` when the record gives it; else it stays what it was, a text that the
    // record lacks apart.
    template <typename Number>
    void Read(const NumberField<Number>& field, EventView& view) const {
        if (!Has(field.record)) return;
        const Number number = record_->*field.record;
        if (number != 0 || field.zero == Zero::kIsANumber) view.*field.view = number;
    }

    void Read(const TextField& field, EventView& view) const {
        const char* text = Has(field.record) ? record_->*field.record : nullptr;
        view.*field.view = text != nullptr ? std::string_view(text) : field.absent;
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
    return !RecordReader(record).Has(&zvEventRecord::severity) || record->severity <= kMaxSeverity;
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
    const std::uint64_t now_ns = zvOSGetTimePTPNano();
    static_cast<EventNumbers&>(*view) = {
        .event_id = generated_id, .utc_ns = now_ns, .ptp_ns = now_ns};
    const RecordReader reader(record);
    ForEachEventField([&](const auto& field) { reader.Read(field, *view); });
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

}  // namespace zvevent
