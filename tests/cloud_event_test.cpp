#include "format/cloud_event.h"

#include <gtest/gtest.h>

#include "format/json_event.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

TEST(CloudEvent, WrapsTheDocument) {
    const zvEventNormalizedEvent event = test::SampleEvent();
    std::string out = "[";
    AppendCloudEventJson(out, event, "/a\"b", "cam\\");
    EXPECT_EQ(out, R"([{"specversion":"1.0","id":"42","source":"/a\"b","type":"temperature",)"
                   R"("time":"2023-11-14T22:13:20.123456789Z","subject":"cam\\psu-1",)"
                   R"("datacontenttype":"application/json","data":)" +
                       BuildNativeEventJson(event) + "}");
}

TEST(CloudEvent, FallsBackForEmptyTexts) {
    const struct {
        const char *source, *prefix, *source_name, *source_id, *event_type;
        std::string used_source, used_type, subject;  // as JSON
    } cases[] = {{"", "", "", "", "", "/zvEvent", "zvEvent.event", "event"},
                 {"", "cam/", "Cam\t1", "", "", R"(Cam\t1)", "zvEvent.event", "cam/event"},
                 {" ", "cam/", "Cam 1", "A1", "t\n", " ", R"(t\n)", "cam/A1"},
                 {"/s", "p", "", "", "\"t\"", "/s", R"(\"t\")", R"(p\"t\")"}};
    for (const auto& c : cases) {
        zvEventNormalizedEvent event;
        event.source_name = c.source_name;
        event.source_id = c.source_id;
        event.event_type = c.event_type;
        const std::string envelope = BuildCloudEventJson(event, c.source, c.prefix);
        EXPECT_EQ(envelope.substr(0, envelope.find(R"(","datacontenttype")")),
                  R"({"specversion":"1.0","id":"0","source":")" + c.used_source + R"(","type":")" +
                      c.used_type + R"(","time":"1970-01-01T00:00:00.000000000Z","subject":")" +
                      c.subject);
    }
}

}  // namespace
}  // namespace zvevent
