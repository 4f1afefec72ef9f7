#include "core/normalize.h"

#include <atomic>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "base/severity.h"
#include "core/event_fields.h"
#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

// The shortest record that is accepted: up to and including `message`.
constexpr std::uint32_t kMinimumRecordSize = 48;

std::atomic<std::uint64_t> next_event_id{1};

// Reads the fields of a record that may be shorter than the struct: nothing past its struct_size
// is touched. A whole record is not asked field by field.
enum class Extent { kWhole, kByStructSize };

template <Extent extent = Extent::kByStructSize>
class RecordReader {
public:
    explicit RecordReader(const zvEventRecord& record) : record_(&record) {}

    template <typename Field>
    bool Has(Field zvEventRecord::*field) const {
        if (extent == Extent::kWhole) return true;
        static constexpr zvEventRecord kLayout{};
        const auto* begin = reinterpret_cast<const char*>(&kLayout);
        const auto* end = reinterpret_cast<const char*>(&(kLayout.*field) + 1);
        return record_->struct_size >= static_cast<std::size_t>(end - begin);
    }

    // Into `numbers` when the record gives it.
    template <typename Number>
    void Read(const NumberField<Number>& field, EventNumbers& numbers) const {
        if (!Has(field.record)) return;
        const Number number = record_->*field.record;
        if (number != 0 || field.zero == Zero::kIsANumber) numbers.*field.view = number;
    }

    std::string_view Text(const TextField& field) const {
        const char* text = Has(field.record) ? record_->*field.record : nullptr;
        return text != nullptr ? std::string_view(text) : field.absent;
    }

private:
    const zvEventRecord* record_;
};

template <typename Reader>
EventNumbers NumbersOf(const Reader& reader, std::uint64_t generated_id) {
    EventNumbers numbers;
    numbers.event_id = generated_id;
    ForEachEventField([&]<typename Field>(const Field& field) {
        if constexpr (!std::is_same_v<Field, TextField>) reader.Read(field, numbers);
    });
    if (numbers.utc_ns == 0 || numbers.ptp_ns == 0) {
        const std::uint64_t now_ns = zvOSGetTimePTPNano();
        if (numbers.utc_ns == 0) numbers.utc_ns = now_ns;
        if (numbers.ptp_ns == 0) numbers.ptp_ns = now_ns;
    }
    return numbers;
}

// Made in one piece: a view emptied first, then filled, costs the compiler's slow way of zeroing.
template <typename Reader>
EventView ViewOf(const Reader& reader, std::uint64_t generated_id) {
    return std::apply(
        [&](const auto&... field) {
            return EventView{NumbersOf(reader, generated_id), reader.Text(field)...};
        },
        kTextFields);
}

}  // namespace

bool IsAcceptable(const zvEventRecord* record) noexcept {
    if (record == nullptr) return false;
    if (record->struct_size < offsetof(zvEventRecord, version) + sizeof record->version) {
        return false;
    }
    if (record->version != ZVEVENT_API_VERSION || record->struct_size < kMinimumRecordSize) {
        return false;
    }
    if (record->message == nullptr || *record->message == '\0') return false;
    return SeverityOf(*record) <= kMaxSeverity;
}

std::uint32_t SeverityOf(const zvEventRecord& record) noexcept {
    return RecordReader(record).Has(&zvEventRecord::severity) ? record.severity
                                                              : EventNumbers{}.severity;
}

std::uint64_t NextEventId() noexcept {
    std::uint64_t id;
    do {
        id = next_event_id.fetch_add(1, std::memory_order_relaxed);
    } while (id == 0);
    return id;
}

EventView ResolveRecord(const zvEventRecord& record, std::uint64_t generated_id) noexcept {
    if (record.struct_size >= sizeof record) {
        return ViewOf(RecordReader<Extent::kWhole>(record), generated_id);
    }
    return ViewOf(RecordReader(record), generated_id);
}

std::uint32_t NormalizeRecord(const zvEventRecord* record, std::uint64_t generated_id,
                              zvEventNormalizedEvent* event) {
    if (event == nullptr || !IsAcceptable(record)) return ZVEVENT_E_INVALID_ARGUMENT;
    AssignEvent(ResolveRecord(*record, generated_id), *event);
    return ZVEVENT_OK;
}

}  // namespace zvevent
