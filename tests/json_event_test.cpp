#include "format/json_event.h"

#include <limits>

#include <gtest/gtest.h>

#include "core/event_fields.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

TEST(JsonEvent, HoldsEveryMemberInOrder) {
    EXPECT_EQ(BuildNativeEventJson(test::SampleEvent()),
              R"({"version":65536,"event_id":42,"severity":"warning","severity_value":2,)"
              R"("severity_code":2,"action":"raise","event_type":"temperature",)"
              R"("source_id":"psu-1","source_name":"Power supply 1",)"
              R"("dedupe_key":"psu-1/temperature","correlation_id":"c-7","message":"Too hot",)"
              R"("utc_ns":1700000000123456789,"ptp_ns":1700000037123456789,"pts":-90000,)"
              R"("timecode":"10:00:00:12","value":81.5,"threshold":75.299999999999997,)"
              R"("units":"C","duration_ms":1500,"details_json":"{\"fan\":\"ok\"}"})");
    zvEventNormalizedEvent event;
    event.severity = 7;
    event.event_id = std::numeric_limits<std::uint64_t>::max();
    event.pts = std::numeric_limits<std::int64_t>::min();
    event.threshold = -std::numeric_limits<double>::infinity();
    const std::string json = BuildNativeEventJson(event);
    for (const char* part :
         {R"("event_id":18446744073709551615,"severity":"info","severity_value":7,)",
          R"("pts":-9223372036854775808,"timecode":"",)", R"("value":0,"threshold":null,)"})
        EXPECT_NE(json.find(part), std::string::npos) << json;
    ForEachEventText([&](const auto& field) {
        zvEventNormalizedEvent escaped;
        escaped.*field.event = "\"\n\xC3\xA9";
        EXPECT_NE(BuildNativeEventJson(escaped).find("\":\"\\\"\\n\xC3\xA9\""), std::string::npos);
    });
}

}  // namespace
}  // namespace zvevent
