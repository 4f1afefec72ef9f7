// A record's bytes with any struct_size, at the end of a block of just that many bytes: whoever
// reads one more is stopped by the address sanitizer. Accepted is what the interface says.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>

#include "core/event_fields.h"
#include "core/normalize.h"
#include "random_event.h"
#include "require.h"
#include "zvEvent/zvEventAlertmanager.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace zvevent;
    using fuzz::Require;
    FuzzedDataProvider data(bytes, size);
    zvEventRecord record{};
    std::array<std::string, kEventTextCount> texts;
    std::size_t next_text = 0;
    ForEachEventField([&]<typename Field>(const Field& field) {
        auto& member = record.*field.record;
        if constexpr (std::is_same_v<Field, TextField>) {
            std::string& text = texts[next_text++];
            text = data.ConsumeRandomLengthString(1000);
            member = data.ConsumeIntegralInRange(0, 7) != 0 ? text.c_str() : nullptr;
        } else if constexpr (std::is_floating_point_v<std::remove_reference_t<decltype(member)>>) {
            member = data.ConsumeFloatingPoint<double>();
        } else {
            member = data.ConsumeIntegral<std::remove_reference_t<decltype(member)>>();
        }
    });
    record.severity = data.ConsumeIntegralInRange(0u, 5u);
    record.version = data.ConsumeIntegralInRange(0, 15) != 0
                         ? ZVEVENT_API_VERSION
                         : data.ConsumeIntegral<std::uint32_t>();
    record.struct_size = data.ConsumeBool() ? data.ConsumeIntegralInRange(0u, 160u)
                                            : data.ConsumeIntegral<std::uint32_t>();
    const std::uint32_t given = record.struct_size;
    const bool accepted = given >= 48 && record.version == ZVEVENT_API_VERSION &&
                          record.message != nullptr && *record.message != '\0' &&
                          (given < 52 || record.severity <= zvEventSeverityError);

    const std::size_t readable =
        std::clamp(std::size_t{given}, sizeof record.struct_size, sizeof record);
    const std::unique_ptr<std::byte[]> block(new std::byte[readable]);
    std::memcpy(block.get(), &record, readable);
    const auto* const short_record = reinterpret_cast<const zvEventRecord*>(block.get());
    zvEventNormalizedEvent event;
    Require((NormalizeRecord(short_record, 7, &event) == ZVEVENT_OK) == accepted, "accepted");
    std::string alert;
    Require((zvEventFormatAlertmanagerRecord(short_record, {}, &alert) == ZVEVENT_OK) == accepted,
            "accepted for Alertmanager");
    if (!accepted) return 0;
    Require(event.message == record.message, "the message");
    Require(event.severity == (given < 52 ? zvEventSeverityInfo : record.severity), "the severity");
    Require(given >= 152 || event.details_json == "{}", "what is behind the size is not there");
    Require(event.event_id == (record.event_id != 0 ? record.event_id : 7), "the number");
    return 0;
}
