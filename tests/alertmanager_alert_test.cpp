// Alert documents, by the exported functions, by their parts and in the output.
#include "format/alertmanager_alert.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <string>

#include "base/last_error.h"
#include "sinks/alertmanager_sink.h"
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
    Config config{.send_resolved = true, .allow_source_label = true};
    const std::string alert =
        R"([{"labels":{"alertname":"ZvEventTemperature","severity":"warning",)"
        R"("event_type":"temperature","action":"raise","source_id":"psu_1"},)"
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
}

TEST(AlertmanagerAlert, WritesWhatIsEmptyOrOutOfRange) {
    using Change = void (*)(zvEventNormalizedEvent & event);
    const std::pair<Change, const char*> cases[] = {
        {[](auto& e) { e.severity = 0; }, R"("severity":"info")"},
        {[](auto& e) { e.severity = 3; }, R"("severity":"critical")"},
        {[](auto& e) { e.severity = 4; }, R"("severity":"info")"},
        {[](auto& e) { e.event_type = ""; },
         R"("alertname":"ZvEventEvent","severity":"warning","event_type":"event")"},
        {[](auto& e) { e.source_id = ""; }, R"("action":"raise"})"},
        {[](auto& e) { e.source_id = "\xC3\xA9"; }, R"("source_id":"source")"},
        {[](auto& e) { e.message = ""; },
         R"("summary":"temperature","description":" on Power supply 1")"},
        {[](auto& e) { e.value = std::nan(""), e.threshold = -HUGE_VAL; },
         R"("zv_value":"","zv_threshold":"")"},
        {[](auto& e) { e.dedupe_key = ""; }, R"("zv_dedupe_key":"temperature:psu-1")"},
        {[](auto& e) { e.dedupe_key = e.source_id = ""; }, R"("zv_dedupe_key":"temperature",)"},
        {[](auto& e) { e.utc_ns = 1'700'000'000'000'000'000; },
         R"("startsAt":"2023-11-14T22:13:20Z")"},
        {[](auto& e) { e.units = std::string("\0\n", 2); }, R"("zv_units":"\u0000\n")"},
    };
    for (const auto& [change, expected] : cases) {
        auto event = test::SampleEvent();
        change(event);
        const std::string document = Document(event, {true, true, "ZvEvent"});
        EXPECT_NE(document.find(expected), std::string::npos) << expected << document;
    }
}

TEST(AlertmanagerAlert, BuildsLabelsNamesAndDescriptions) {
    const std::pair<const char*, const char*> labels[] = {{"Disk Full!", "disk_full"},
                                                          {"__A  B__", "a_b"},
                                                          {"!!!", "none"},
                                                          {"_ !_x_ \xFFy", "x__y"},
                                                          {"A-1.b:C_d", "a-1.b:c_d"}};
    for (const auto& [text, label] : labels) {
        std::string out = "_";  // what is there already is no part of the label
        SanitizeLabelValue(out, text, "none");
        EXPECT_EQ(out, std::string("_") + label);
    }
    const std::array<const char*, 3> names[] = {
        {"ZvEvent", "disk.temp_HIGH", "ZvEventDiskTempHigh"},
        {"my-prefix!", "..9lives \xC4x", "myprefix9livesX"},
        {"-\xC3\xA9-", "?", "ZvEventEvent"},
        {"_a", "b", "_aB"}};
    for (const auto& [prefix, event_type, name] : names) {
        std::string out;
        BuildAlertName(out, prefix, event_type);
        EXPECT_EQ(out, name);
    }
    zvEventNormalizedEvent event;
    event.message = "Fan 2 stopped";
    for (const auto& [source_name, place] :
         {std::pair("", ""), std::pair("Fan 2", ""), std::pair("fan 2", " on fan 2")}) {
        event.source_name = source_name;
        std::string out;
        BuildDescription(out, event);
        EXPECT_EQ(out, event.message + place);
    }
}

// Records are completed as at a submit; what is refused touches nothing.
TEST(AlertmanagerAlert, FormatsRecordsAndRefusesBadOnes) {
    zvEventRecord record = zvEventRecordInit();
    record.message = "Full";
    record.utc_ns = 1'700'000'000'000'000'000;
    zvEventNormalizedEvent event;
    event.event_type = "event";
    event.source_name = "zvEvent";
    event.message = "Full";
    event.utc_ns = record.utc_ns;
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
    for (const void* bad : {static_cast<const void*>(nullptr), static_cast<const void*>(&record),
                            static_cast<const void*>(claimed.get())}) {
        EXPECT_EQ(zvEventFormatAlertmanagerRecord(static_cast<const zvEventRecord*>(bad), {}, &out),
                  ZVEVENT_E_INVALID_ARGUMENT);
    }
    EXPECT_EQ(out, Document(event));
    EXPECT_EQ(LastErrorText(), "earlier");
    ClearLastErrorText();
}

TEST(AlertmanagerAlert, TheOutputKeepsTheLatestDocument) {
    for (const Config& config : {Config{true, true, "ZvEvent"}, Config{false, false, "Mine"}}) {
        zvEventSinkConfig entry;
        entry.minimum_severity = zvEventSeverityWarning;
        entry.alertmanager.send_resolved = config.send_resolved;
        entry.alertmanager.allow_source_label = config.allow_source_label;
        entry.alertmanager.alertname_prefix = config.send_resolved ? "" : config.alertname_prefix;
        zvEventAlertmanagerSink sink(entry);
        std::string latest;
        auto event = test::SampleEvent();
        for (const auto& [severity, action] :
             {std::pair(1, "raise"), std::pair(3, "raise"), std::pair(2, "clear"),
              std::pair(1, "raise"), std::pair(2, "raise")}) {
            event.severity = static_cast<std::uint32_t>(severity);
            event.action = action;
            EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
            if (severity > 1) latest = Document(event, config);
            EXPECT_EQ(sink.LastPayload(), latest);
        }
    }
}

}  // namespace
}  // namespace zvevent
