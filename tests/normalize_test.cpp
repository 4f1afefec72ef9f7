#include "core/normalize.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "platform/zvutil.h"

namespace zvevent {
namespace {

zvEventRecord Record() {
    zvEventRecord record{};
    record.struct_size = sizeof record;
    record.version = ZVEVENT_API_VERSION;
    record.message = "m";
    record.severity = zvEventSeverityError;
    return record;
}

TEST(Normalize, RefusesWhatCannotBeTrusted) {
    struct Case {
        const char* what;
        void (*spoil)(zvEventRecord&);
    };
    const Case cases[] = {
        {"size 0", [](zvEventRecord& r) { r.struct_size = 0; }},
        {"size below the version", [](zvEventRecord& r) { r.struct_size = 7; }},
        {"size below the message", [](zvEventRecord& r) { r.struct_size = 47; }},
        {"next version", [](zvEventRecord& r) { r.version = 0x10001; }},
        {"former version", [](zvEventRecord& r) { r.version = 0x0FFFF; }},
        {"no message", [](zvEventRecord& r) { r.message = nullptr; }},
        {"empty message", [](zvEventRecord& r) { r.message = ""; }},
        {"severity 4", [](zvEventRecord& r) { r.severity = 4; }},
    };
    for (const Case& c : cases) {
        zvEventRecord record = Record();
        c.spoil(record);
        zvEventNormalizedEvent event;
        event.message = "untouched";
        EXPECT_EQ(NormalizeRecord(&record, 1, &event), ZVEVENT_E_INVALID_ARGUMENT) << c.what;
        EXPECT_EQ(event.message, "untouched") << c.what;
    }
    zvEventRecord record = Record();
    zvEventNormalizedEvent event;
    EXPECT_EQ(NormalizeRecord(nullptr, 1, &event), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(NormalizeRecord(&record, 1, nullptr), ZVEVENT_E_INVALID_ARGUMENT);
}

// Every record is laid into a heap block of exactly its struct_size, so that a sanitizer sees a
// field that is read although the caller does not provide it.
zvEventNormalizedEvent NormalizedPrefix(const zvEventRecord& full, std::uint32_t size) {
    const auto block = std::make_unique<unsigned char[]>(size);
    std::memcpy(block.get(), &full, size);
    std::memcpy(block.get(), &size, sizeof size);
    zvEventNormalizedEvent event;
    EXPECT_EQ(NormalizeRecord(reinterpret_cast<const zvEventRecord*>(block.get()), 7, &event),
              ZVEVENT_OK)
        << size;
    return event;
}

TEST(Normalize, ReadsAFieldOnlyWhenTheRecordReachesToItsEnd) {
    zvEventRecord full = Record();
    full.event_id = 42;
    full.event_type = full.source_id = full.source_name = full.action = full.dedupe_key = "x";
    full.correlation_id = full.timecode = full.units = full.details_json = "x";
    full.severity = zvEventSeverityDebug;
    full.utc_ns = full.ptp_ns = full.duration_ms = 5;
    full.pts = -5;
    full.value = full.threshold = 5;

    struct Case {
        std::uint32_t end;  // offset + width of the field
        bool (*present)(const zvEventNormalizedEvent&);
    };
    using E = zvEventNormalizedEvent;
    const Case cases[] = {
        {52, [](const E& e) { return e.severity == zvEventSeverityDebug; }},
        {64, [](const E& e) { return e.action == "x"; }},
        {72, [](const E& e) { return e.dedupe_key == "x"; }},
        {80, [](const E& e) { return e.correlation_id == "x"; }},
        {88, [](const E& e) { return e.utc_ns == 5; }},
        {96, [](const E& e) { return e.ptp_ns == 5; }},
        {104, [](const E& e) { return e.pts == -5; }},
        {112, [](const E& e) { return e.timecode == "x"; }},
        {120, [](const E& e) { return e.value == 5; }},
        {128, [](const E& e) { return e.threshold == 5; }},
        {136, [](const E& e) { return e.units == "x"; }},
        {144, [](const E& e) { return e.duration_ms == 5; }},
        {152, [](const E& e) { return e.details_json == "x"; }},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(c.present(NormalizedPrefix(full, c.end))) << c.end;
        EXPECT_FALSE(c.present(NormalizedPrefix(full, c.end - 1))) << c.end;
    }
    const E shortest = NormalizedPrefix(full, 48);
    EXPECT_EQ(shortest.event_id, 42U);
    EXPECT_EQ(shortest.event_type + shortest.source_id + shortest.source_name, "xxx");
    EXPECT_EQ(shortest.severity, std::uint32_t{zvEventSeverityInfo});
    EXPECT_EQ(shortest.details_json, "{}");
    EXPECT_EQ(shortest.utc_ns, shortest.ptp_ns);
    EXPECT_NE(shortest.utc_ns, 0U);
}

TEST(Normalize, FillsDefaultsForNullAndZeroButKeepsEmptyTexts) {
    zvEventRecord record = Record();
    record.message = " ";
    record.source_id = "";
    record.utc_ns = 99;
    const std::uint64_t before = zvOSGetTimePTPNano();
    zvEventNormalizedEvent event;
    ASSERT_EQ(NormalizeRecord(&record, 7, &event), ZVEVENT_OK);
    EXPECT_EQ(event.event_id, 7U);
    EXPECT_EQ(event.event_type, "event");
    EXPECT_EQ(event.source_name, "zvEvent");
    EXPECT_EQ(event.message, " ");
    EXPECT_EQ(event.details_json, "{}");
    EXPECT_EQ(event.utc_ns, 99U);
    EXPECT_GE(event.ptp_ns, before);
    EXPECT_LE(event.ptp_ns, zvOSGetTimePTPNano());

    record.event_type = record.source_name = record.details_json = "";
    ASSERT_EQ(NormalizeRecord(&record, 7, &event), ZVEVENT_OK);
    EXPECT_EQ(event.event_type + event.source_name + event.details_json, "");
}

}  // namespace
}  // namespace zvevent
