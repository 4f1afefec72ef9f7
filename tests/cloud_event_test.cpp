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
    struct Case {
        const char* source;
        const char* prefix;
        const char* source_name;
        const char* source_id;
        const char* event_type;
        const char* expected;
    };
    const Case cases[] = {
        {"", "", "", "", "",
         R"("source":"/zvEvent","type":"zvEvent.event","time":"1970-01-01T00:00:00.000000000Z",)"
         R"("subject":"event")"},
        {"", "cam/", "Cam\t1", "", "",
         R"("source":"Cam\t1","type":"zvEvent.event","time":"1970-01-01T00:00:00.000000000Z",)"
         R"("subject":"cam/event")"},
        {" ", "cam/", "Cam 1", "A1", "t\n",
         R"("source":" ","type":"t\n","time":"1970-01-01T00:00:00.000000000Z",)"
         R"("subject":"cam/A1")"},
        {"/s", "p", "", "", "\"t\"",
         R"("source":"/s","type":"\"t\"","time":"1970-01-01T00:00:00.000000000Z",)"
         R"("subject":"p\"t\"")"},
    };
    for (const Case& c : cases) {
        zvEventNormalizedEvent event;
        event.source_name = c.source_name;
        event.source_id = c.source_id;
        event.event_type = c.event_type;
        const std::string envelope = BuildCloudEventJson(event, c.source, c.prefix);
        EXPECT_EQ(envelope.substr(0, envelope.find(R"(,"datacontenttype")")),
                  std::string(R"({"specversion":"1.0","id":"0",)") + c.expected);
    }
}

}  // namespace
}  // namespace zvevent
