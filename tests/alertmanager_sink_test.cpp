// What the Alertmanager output keeps, as the factory builds it.
#include "sinks/alertmanager_sink.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sinks/sink_factory.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

TEST(AlertmanagerSink, KeepsTheLatestDocument) {
    const std::pair<const char*, zvEventAlertmanagerFormatterConfig> cases[] = {
        {"", {true, true, "ZvEvent"}}, {"Mine", {false, false, "Mine"}}};
    for (const auto& [prefix, settings] : cases) {
        zvEventConfig config;
        zvEventSinkConfig& entry = config.sinks.emplace_back();
        entry.kind = zvEventSinkKind::alertmanager;
        entry.enabled = true;
        entry.minimum_severity = zvEventSeverityWarning;
        entry.alertmanager.alertname_prefix = prefix;
        entry.alertmanager.allow_source_label = settings.allow_source_label;
        entry.alertmanager.send_resolved = settings.send_resolved;
        std::vector<zvEventSinkPtr> sinks;
        ASSERT_EQ(BuildConfiguredSinks(config, nullptr, &sinks, nullptr), ZVEVENT_OK);
        auto& sink = dynamic_cast<zvEventAlertmanagerSink&>(*sinks.front());
        std::string expected;
        EXPECT_EQ(sink.LastPayload(), expected);
        auto event = test::SampleEvent();
        for (const std::size_t length : {5u, 200'000u, 10u, 5u}) {
            event.message.assign(length, 'x');
            EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
            zvEventFormatAlertmanagerAlert(event, settings, &expected);
            EXPECT_EQ(sink.LastPayload(), expected);
            event.action = "clear";
        }
        event.severity = zvEventSeverityInfo;
        event.message = "below the minimum";
        EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
        EXPECT_EQ(sink.LastPayload(), expected);
    }
}

}  // namespace
}  // namespace zvevent
