// What the Alertmanager output keeps, as the factory builds it.
#include "sinks/alertmanager_sink.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sinks/callback_sink.h"
#include "sinks/sink_factory.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

std::shared_ptr<zvEventAlertmanagerSink> BuildSink(
    const zvEventSinkConfig::Alertmanager& settings) {
    zvEventConfig config;
    zvEventSinkConfig& entry = config.sinks.emplace_back();
    entry.kind = zvEventSinkKind::alertmanager;
    entry.enabled = true;
    entry.minimum_severity = zvEventSeverityWarning;
    entry.alertmanager = settings;
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    EXPECT_EQ(BuildConfiguredSinks(config, std::make_shared<zvEventCallbackSink>(), &sinks, &error),
              ZVEVENT_OK);
    return std::dynamic_pointer_cast<zvEventAlertmanagerSink>(sinks.front());
}

TEST(AlertmanagerSink, KeepsTheLatestDocument) {
    zvEventSinkConfig::Alertmanager settings;
    settings.alertname_prefix = "";
    settings.allow_source_label = true;
    const auto sink = BuildSink(settings);
    ASSERT_TRUE(sink);
    EXPECT_EQ(sink->LastPayload(), "");

    const zvEventAlertmanagerFormatterConfig written = {true, true, "ZvEvent"};
    std::string expected;
    auto event = test::SampleEvent();
    for (const std::size_t length : {5u, 200'000u, 10u, 20u, 5u}) {
        event.message.assign(length, 'x');
        EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_OK);
        zvEventFormatAlertmanagerAlert(event, written, &expected);
        EXPECT_EQ(sink->LastPayload(), expected);
    }
    event.severity = zvEventSeverityInfo;
    event.message = "below the minimum";
    EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_OK);
    EXPECT_EQ(sink->LastPayload(), expected);
}

TEST(AlertmanagerSink, TakesItsSettings) {
    zvEventSinkConfig::Alertmanager settings;
    settings.alertname_prefix = "Mine";
    settings.send_resolved = false;
    const auto sink = BuildSink(settings);
    ASSERT_TRUE(sink);
    auto event = test::SampleEvent();
    sink->write(event, nullptr);
    const std::string alert = sink->LastPayload();
    EXPECT_NE(alert.find("MineTemperature"), std::string::npos) << alert;
    EXPECT_EQ(alert.find("source_id"), std::string::npos) << alert;
    event.action = "clear";
    sink->write(event, nullptr);
    EXPECT_EQ(sink->LastPayload(), "[]");
}

}  // namespace
}  // namespace zvevent
