#include "format/cloud_event.h"

#include <gtest/gtest.h>

#include "format/json_event.h"
#include "support/sample_event.h"

namespace zvevent {
namespace {

TEST(CloudEvent, WrapsTheDocumentAndFallsBackForEmptyTexts) {
    const struct {
        const char *source, *prefix, *source_name, *source_id, *event_type;
        std::string used_source, used_type, subject;  // as JSON
    } cases[] = {{"", "", "", "", "", "/zvEvent", "zvEvent.event", "event"},
                 {"", "cam/", "Cam\t1", "", "", R"(Cam\t1)", "zvEvent.event", "cam/event"},
                 {" ", "cam/", "Cam 1", "A1", "t\n", " ", R"(t\n)", "cam/A1"},
                 {"/\"s", "p\\", "", "", "\"t\"", R"(/\"s)", R"(\"t\")", R"(p\\\"t\")"}};
    for (const auto& c : cases) {
        zvEventNormalizedEvent event = test::SampleEvent();
        event.source_name = c.source_name;
        event.source_id = c.source_id;
        event.event_type = c.event_type;
        EXPECT_EQ(BuildCloudEventJson(event, c.source, c.prefix),
                  R"({"specversion":"1.0","id":"42","source":")" + c.used_source + R"(","type":")" +
                      c.used_type + R"(","time":"2023-11-14T22:13:20.123456789Z","subject":")" +
                      c.subject + R"(","datacontenttype":"application/json","data":)" +
                      BuildNativeEventJson(event) + "}");
    }
}

}  // namespace
}  // namespace zvevent
