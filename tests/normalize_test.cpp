#include "core/normalize.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "format/csv_row.h"
#include "sinks/callback_sink.h"
#include "support/sample_event.h"
#include "zvutil/zvutil.h"

namespace zvevent {
namespace {

using E = zvEventNormalizedEvent;
using R = zvEventRecord;

R Record() {
    R record = zvEventRecordInit();
    record.message = "m";
    record.severity = zvEventSeverityError;
    return record;
}

TEST(Normalize, RefusesWhatCannotBeTrusted) {
    const auto with = [](auto R::*member, auto value) {
        R record = Record();
        record.*member = value;
        return record;
    };
    const R cases[] = {with(&R::struct_size, 0U),   with(&R::struct_size, 7U),
                       with(&R::struct_size, 47U),  with(&R::version, 0x10001U),
                       with(&R::version, 0x0FFFFU), with(&R::message, nullptr),
                       with(&R::message, ""),       with(&R::severity, 4U)};
    E event;
    for (const R& record : cases)
        EXPECT_EQ(NormalizeRecord(&record, 1, &event), ZVEVENT_E_INVALID_ARGUMENT)
            << &record - cases;
}

// Every record is laid into a heap block of exactly its struct_size, so that a sanitizer sees a
// field that is read although the caller does not provide it.
E NormalizedPrefix(const R& full, std::uint32_t size) {
    const auto block = std::make_unique<unsigned char[]>(size);
    std::memcpy(block.get(), &full, size);
    std::memcpy(block.get(), &size, sizeof size);
    E event;
    EXPECT_EQ(NormalizeRecord(reinterpret_cast<const R*>(block.get()), 7, &event), ZVEVENT_OK);
    return event;
}

std::string Row(const E& event) {
    std::string row;
    AppendCsvRow(row, event);
    return row;
}

// The sample event goes through the record that a callback gets for it.
TEST(Normalize, ReadsAFieldOnlyWhenTheRecordReachesToItsEnd) {
    R full{};
    std::uint32_t id = 0;
    zvEventCallbackSink sink;
    sink.Register([](const R* r, void* copy) { *static_cast<R*>(copy) = *r; }, &full, &id);
    const E sample = test::SampleEvent();
    ASSERT_EQ(sink.write(sample, nullptr), ZVEVENT_OK);
    EXPECT_EQ(full.struct_size, 152U);
    EXPECT_EQ(full.version, 0x10000U);
    std::string ends, former;  // the ends of the fields that one byte less lacks
    for (std::uint32_t size = 48; size <= 152; ++size) {
        E event = NormalizedPrefix(full, size);
        if (event.utc_ns != sample.utc_ns) event.utc_ns = 0;  // of now
        if (event.ptp_ns != sample.ptp_ns) event.ptp_ns = 0;
        if (Row(event) != former) ends += " " + std::to_string(size);
        former = Row(event);
    }
    EXPECT_EQ(former, Row(sample));
    EXPECT_EQ(ends, " 48 52 64 72 80 88 96 104 112 120 128 136 144 152");
}

TEST(Normalize, FillsDefaultsForNullAndZeroButKeepsEmptyTexts) {
    R record = Record();
    record.message = " ";
    const std::uint64_t before = zvOSGetTimePTPNano();
    E event = NormalizedPrefix(record, 48);
    EXPECT_EQ(event.event_id, 7U);
    EXPECT_EQ(event.event_type + event.source_name + event.message + event.details_json,
              "eventzvEvent {}");
    EXPECT_EQ(event.severity, std::uint32_t{zvEventSeverityInfo});
    EXPECT_EQ(event.utc_ns, event.ptp_ns);
    EXPECT_GE(event.ptp_ns, before);
    EXPECT_LE(event.ptp_ns, zvOSGetTimePTPNano());
    record.utc_ns = 99;
    record.event_type = record.source_name = record.details_json = "";
    event = NormalizedPrefix(record, sizeof record);
    EXPECT_EQ(event.event_type + event.source_name + event.details_json, "");
    EXPECT_EQ(event.utc_ns, 99U);
    EXPECT_GE(event.ptp_ns, before);
    record.utc_ns = 0;
    record.ptp_ns = 98;
    record.severity = zvEventSeverityDebug;  // 0, and none that is missing
    event = NormalizedPrefix(record, sizeof record);
    EXPECT_EQ(event.ptp_ns, 98U);
    EXPECT_EQ(event.severity, std::uint32_t{zvEventSeverityDebug});
}

}  // namespace
}  // namespace zvevent
