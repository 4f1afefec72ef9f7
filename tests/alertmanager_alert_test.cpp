// Alert documents, by the exported functions and in the output.
#include "format/alertmanager_alert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <tuple>

#include "base/last_error.h"
#include "sinks/alertmanager_sink.h"
#include "support/sample_event.h"
#include "zvEvent/zvEventAlertmanager.h"

namespace zvevent {
namespace {

using Config = zvEventAlertmanagerFormatterConfig;
using Event = zvEventNormalizedEvent;

std::string Document(const Event& event, const Config& config = {}) {
    std::string out = "left over";
    EXPECT_EQ(zvEventFormatAlertmanagerAlert(event, config, &out), ZVEVENT_OK);
    return out;
}

TEST(AlertmanagerAlert, WritesEveryByteOfAnAlertAndOfItsResolution) {
    Event event = test::SampleEvent();
    event.message = "Too \"hot\"";
    Config config{.send_resolved = true, .allow_source_label = true};
    const std::string alert =
        R"([{"labels":{"alertname":"ZvEventTemperature","severity":"warning",)"
        R"("event_type":"temperature","action":"raise","source_id":"psu-1"},)"
        R"("annotations":{"summary":"Too \"hot\"","description":"Too \"hot\" on Power supply 1",)"
        R"("zv_event_id":"42","zv_dedupe_key":"psu-1/temperature",)"
        R"("zv_source_name":"Power supply 1","zv_units":"C","zv_value":"81.5",)"
        R"("zv_threshold":"75.299999999999997"},"startsAt":"2023-11-14T22:13:20.123456789Z")";
    for (const char* action : {"raise", "", "cleared", "clear ", "repeat"}) {
        event.action = action;
        EXPECT_EQ(Document(event, config), alert + "}]") << action;
    }
    for (const char* action : {"CLEAR", "Resolve", "resolved"}) {
        event.action = action;
        config.send_resolved = true;
        EXPECT_EQ(Document(event, config),
                  alert + R"(,"endsAt":"2023-11-14T22:13:20.123456789Z"}])");
        config.send_resolved = false;
        EXPECT_EQ(Document(event, config), "[]");
    }
    event = Event();
    event.event_type = "Door";
    event.severity = 4;
    event.value = std::nan("");
    event.threshold = -HUGE_VAL;
    EXPECT_EQ(Document(event, {true, true, "ZvEvent"}),
              R"([{"labels":{"alertname":"ZvEventDoor","severity":"info","event_type":"door",)"
              R"("action":"raise"},"annotations":{"summary":"Door","description":"",)"
              R"("zv_event_id":"0","zv_dedupe_key":"Door","zv_source_name":"","zv_units":"",)"
              R"("zv_value":"","zv_threshold":""},"startsAt":"1970-01-01T00:00:00Z"}])");
}

TEST(AlertmanagerAlert, NormalisesLabelsAndCompletesTexts) {
    const std::tuple<std::string Event::*, const char*, const char*> cases[] = {
        {&Event::source_id, "Disk Full!", R"("source_id":"disk_full")"},
        {&Event::source_id, "__A  B__", R"("source_id":"a_b")"},
        {&Event::source_id, "\xC3\xA9", R"("source_id":"source")"},
        {&Event::source_id, "_ !_x_ \xFFy", R"("source_id":"x__y")"},
        {&Event::source_id, "A-1.b:C_d", R"("source_id":"a-1.b:c_d")"},
        {&Event::event_type, "",
         R"("alertname":"ZvEventEvent","severity":"critical","event_type":"event")"},
        {&Event::message, "", R"("summary":"temperature","description":" on Power supply 1")"},
        {&Event::source_name, "", R"("description":"Too hot")"},
        {&Event::source_name, "Too", R"("description":"Too hot")"},
        {&Event::source_name, "too", R"("description":"Too hot on too")"},
        {&Event::dedupe_key, "", R"("zv_dedupe_key":"temperature:psu-1")"}};
    for (const auto& [field, text, expected] : cases) {
        Event event = test::SampleEvent();
        event.*field = text;
        event.severity = zvEventSeverityError;
        const std::string document = Document(event, {true, true, "ZvEvent"});
        EXPECT_NE(document.find(expected), std::string::npos) << expected << document;
    }
    const std::tuple<const char*, const char*, const char*> names[] = {
        {"ZvEvent", "disk.temp_HIGH", "ZvEventDiskTempHigh"},
        {"my-prefix!", "..9lives \xC4x", "myprefix9livesX"},
        {"-\xC3\xA9-", "?", "ZvEventEvent"},
        {"_a", "b", "_aB"}};
    for (const auto& [prefix, event_type, name] : names) {
        std::string out;
        BuildAlertName(out, prefix, event_type);
        EXPECT_EQ(out, name);
    }
}

// Records are completed as at a submit; what is refused touches nothing.
TEST(AlertmanagerAlert, FormatsRecordsAndRefusesBadOnes) {
    zvEventRecord record = zvEventRecordInit();
    Event event;
    event.event_type = "event";
    event.source_name = "zvEvent";
    record.message = "Full";
    event.message = "Full";
    record.utc_ns = event.utc_ns = 1'700'000'000'000'000'000;
    SetLastErrorText("earlier");
    std::string out = "left over";
    for (const std::uint64_t id : {0U, 77U}) {
        record.event_id = id;
        event.event_id = id != 0 ? id : 1;
        EXPECT_EQ(zvEventFormatAlertmanagerRecord(&record, {}, &out), ZVEVENT_OK);
        EXPECT_EQ(out, Document(event));
    }
    EXPECT_EQ(zvEventFormatAlertmanagerRecord(&record, {}, nullptr), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(zvEventFormatAlertmanagerAlert(event, {}, nullptr), ZVEVENT_E_INVALID_ARGUMENT);
    // Memory that ends with the 8 bytes the record claims: the sanitizer sees a read past them.
    const std::unique_ptr<std::uint32_t[]> claimed(new std::uint32_t[2]{8, ZVEVENT_API_VERSION});
    record.severity = 4;
    const zvEventRecord* const too_short = reinterpret_cast<const zvEventRecord*>(claimed.get());
    for (const zvEventRecord* bad :
         {static_cast<const zvEventRecord*>(nullptr), &std::as_const(record), too_short})
        EXPECT_EQ(zvEventFormatAlertmanagerRecord(bad, {}, &out), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(out, Document(event));
    EXPECT_EQ(LastErrorText(), "earlier");
    ClearLastErrorText();
}

TEST(AlertmanagerAlert, TheOutputKeepsTheLatestDocument) {
    for (const bool set : {true, false}) {
        const Config config{set, set, set ? "ZvEvent" : "Mine"};
        zvEventSinkConfig entry;
        entry.minimum_severity = zvEventSeverityWarning;
        entry.alertmanager.send_resolved = entry.alertmanager.allow_source_label = set;
        entry.alertmanager.alertname_prefix = set ? "" : "Mine";
        zvEventAlertmanagerSink sink(entry);
        std::string latest;
        Event event = test::SampleEvent();
        for (const std::uint32_t severity : {1U, 3U, 2U, 1U}) {
            event.severity = severity;
            event.action = severity == 2 ? "clear" : "raise";
            EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
            if (severity > 1) latest = Document(event, config);
            EXPECT_EQ(sink.LastPayload(), latest);
        }
    }
}

}  // namespace
}  // namespace zvevent
