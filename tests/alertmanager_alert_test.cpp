// Alert documents, by the exported functions and by their parts.
#include "format/alertmanager_alert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>

#include "base/last_error.h"
#include "support/sample_event.h"
#include "zvEvent/zvEventAlertmanager.h"

namespace zvevent {
namespace {

using Config = zvEventAlertmanagerFormatterConfig;

std::string Document(const zvEventNormalizedEvent& event, const Config& config = {}) {
    std::string out = "left over";
    EXPECT_EQ(zvEventFormatAlertmanagerAlert(event, config, &out), ZVEVENT_OK);
    return out;
}

TEST(AlertmanagerAlert, WritesEveryByteOfAnAlertAndOfItsResolution) {
    auto event = test::SampleEvent();
    event.source_id = "PSU 1";
    event.message = "Too \"hot\"";
    Config config;
    config.allow_source_label = true;
    const std::string alert =
        R"([{"labels":{"alertname":"ZvEventTemperature","severity":"warning",)"
        R"("event_type":"temperature","action":"raise","source_id":"psu_1"},)"
        R"("annotations":{"summary":"Too \"hot\"","description":"Too \"hot\" on Power supply 1",)"
        R"("zv_event_id":"42","zv_dedupe_key":"psu-1/temperature",)"
        R"("zv_source_name":"Power supply 1","zv_units":"C","zv_value":"81.5",)"
        R"("zv_threshold":"75.299999999999997"},"startsAt":"2023-11-14T22:13:20.123456789Z")";
    EXPECT_EQ(Document(event, config), alert + "}]");
    event.action = "CLEAR";
    EXPECT_EQ(Document(event, config), alert + R"(,"endsAt":"2023-11-14T22:13:20.123456789Z"}])");
    config.send_resolved = false;
    EXPECT_EQ(Document(event, config), "[]");
}

TEST(AlertmanagerAlert, EndsAnAlertOnThreeWordsOnly) {
    auto event = test::SampleEvent();
    for (const char* action : {"clear", "Resolve", "RESOLVED"}) {
        event.action = action;
        EXPECT_TRUE(IsResolution(event)) << action;
    }
    for (const char* action : {"", "cleared", "clear ", "raise", "repeat", "update"}) {
        event.action = action;
        EXPECT_FALSE(IsResolution(event)) << action;
    }
}

TEST(AlertmanagerAlert, WritesWhatIsEmptyOrOutOfRange) {
    struct Case {
        const char* what;
        void (*change)(zvEventNormalizedEvent&, Config&);
        const char* expected;
    };
    const Case cases[] = {
        {"debug", [](auto& e, auto&) { e.severity = 0; }, R"("severity":"info")"},
        {"error", [](auto& e, auto&) { e.severity = 3; }, R"("severity":"critical")"},
        {"unknown severity", [](auto& e, auto&) { e.severity = 4; }, R"("severity":"info")"},
        {"no event type", [](auto& e, auto&) { e.event_type = ""; },
         R"("alertname":"ZvEventEvent","severity":"warning","event_type":"event")"},
        {"no source id, though allowed",
         [](auto& e, auto& c) { e.source_id = "", c.allow_source_label = true; },
         R"("action":"raise"})"},
        {"nothing of the source id left",
         [](auto& e, auto& c) { e.source_id = "\xC3\xA9", c.allow_source_label = true; },
         R"("source_id":"source")"},
        {"no message", [](auto& e, auto&) { e.message = ""; },
         R"("summary":"temperature","description":" on Power supply 1")"},
        {"not a number",
         [](auto& e, auto&) {
             e.value = std::nan("");
             e.threshold = -HUGE_VAL;
         },
         R"("zv_value":"","zv_threshold":"")"},
        {"no key", [](auto& e, auto&) { e.dedupe_key = ""; },
         R"("zv_dedupe_key":"temperature:psu-1")"},
        {"no key, no source", [](auto& e, auto&) { e.dedupe_key = e.source_id = ""; },
         R"("zv_dedupe_key":"temperature",)"},
        {"whole second", [](auto& e, auto&) { e.utc_ns = 1'700'000'000'000'000'000; },
         R"("startsAt":"2023-11-14T22:13:20Z")"},
        {"control characters", [](auto& e, auto&) { e.units = std::string("\0\n", 2); },
         R"("zv_units":"\u0000\n")"},
    };
    for (const Case& c : cases) {
        auto event = test::SampleEvent();
        Config config;
        c.change(event, config);
        const std::string document = Document(event, config);
        EXPECT_NE(document.find(c.expected), std::string::npos) << c.what << ": " << document;
    }
}

TEST(AlertmanagerAlert, BuildsLabelsNamesAndDescriptions) {
    const auto label = [](std::string_view text) {
        std::string out = "_";  // what is there already is no part of the label
        SanitizeLabelValue(out, text, "none");
        return out.substr(1);
    };
    EXPECT_EQ(label("Disk Full!"), "disk_full");
    EXPECT_EQ(label("__A  B__"), "a_b");
    EXPECT_EQ(label("!!!"), "none");
    EXPECT_EQ(label("_ !_x_ \xFFy"), "x__y");
    EXPECT_EQ(label("A-1.b:C_d"), "a-1.b:c_d");

    const auto name = [](std::string_view prefix, std::string_view event_type) {
        std::string out;
        BuildAlertName(out, prefix, event_type);
        return out;
    };
    EXPECT_EQ(name("ZvEvent", "disk.temp_HIGH"), "ZvEventDiskTempHigh");
    EXPECT_EQ(name("my-prefix!", "..9lives \xC4x"), "myprefix9livesX");
    EXPECT_EQ(name("-\xC3\xA9-", "?"), "ZvEventEvent");
    EXPECT_EQ(name("_a", "b"), "_aB");

    const auto description = [](const char* message, const char* source_name) {
        zvEventNormalizedEvent event;
        event.message = message;
        event.source_name = source_name;
        std::string out;
        BuildDescription(out, event);
        return out;
    };
    EXPECT_EQ(description("Fan 2 stopped", ""), "Fan 2 stopped");
    EXPECT_EQ(description("Fan 2 stopped", "Fan 2"), "Fan 2 stopped");
    EXPECT_EQ(description("Fan 2 stopped", "fan 2"), "Fan 2 stopped on fan 2");
}

// The library's own record, completed as at a submit.
TEST(AlertmanagerAlert, FormatsRecords) {
    zvEventRecord record{};
    record.struct_size = sizeof record;
    record.version = ZVEVENT_API_VERSION;
    record.message = "Full";
    record.utc_ns = 1'700'000'000'000'000'000;
    zvEventNormalizedEvent event;
    event.event_id = 1;
    event.event_type = "event";
    event.source_name = "zvEvent";
    event.message = "Full";
    event.utc_ns = record.utc_ns;
    std::string out = "left over";
    EXPECT_EQ(zvEventFormatAlertmanagerRecord(&record, {}, &out), ZVEVENT_OK);
    EXPECT_EQ(out, Document(event));
    record.event_id = event.event_id = 77;
    EXPECT_EQ(zvEventFormatAlertmanagerRecord(&record, {}, &out), ZVEVENT_OK);
    EXPECT_EQ(out, Document(event));
}

TEST(AlertmanagerAlert, RefusesWithoutTouchingAnything) {
    SetLastErrorText("earlier");
    std::string out = "earlier";
    // Memory that ends with the 8 bytes the record claims: the sanitizer sees a read past them.
    const auto short_record = std::make_unique<std::uint32_t[]>(2);
    short_record[0] = 8;
    short_record[1] = ZVEVENT_API_VERSION;
    zvEventRecord bad_severity{};
    bad_severity.struct_size = sizeof bad_severity;
    bad_severity.version = ZVEVENT_API_VERSION;
    bad_severity.message = "m";
    bad_severity.severity = 4;
    const zvEventRecord* records[] = {
        nullptr, reinterpret_cast<const zvEventRecord*>(short_record.get()), &bad_severity};
    for (const zvEventRecord* record : records) {
        EXPECT_EQ(zvEventFormatAlertmanagerRecord(record, {}, &out), ZVEVENT_E_INVALID_ARGUMENT);
    }
    EXPECT_EQ(out, "earlier");
    bad_severity.severity = 3;
    EXPECT_EQ(zvEventFormatAlertmanagerRecord(&bad_severity, {}, nullptr),
              ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(zvEventFormatAlertmanagerAlert(test::SampleEvent(), {}, nullptr),
              ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(LastErrorText(), "earlier");
    ClearLastErrorText();
}

}  // namespace
}  // namespace zvevent
