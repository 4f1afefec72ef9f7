// The one-line texts for the operating system's log.
#include "format/native_message.h"

#include <gtest/gtest.h>

#include "support/sample_event.h"

TEST(NativeMessage, WritesEveryFieldAsItIs) {
    zvEventNormalizedEvent event = zvevent::test::SampleEvent();
    event.message = "say \"hi\" %1\\\n";
    std::string text;
    zvevent::AppendNativeMessage(text, event, "My Source");
    event = {};
    event.event_id = 18'446'744'073'709'551'615U;
    event.severity = 4;
    zvevent::AppendNativeMessage(text, event, "");
    EXPECT_EQ(text,
              "zvEvent event_id=42 severity=warning action=raise event_type=temperature "
              "source_id=psu-1 source_name=Power supply 1 native_source=My Source "
              "message=\"say \"hi\" %1\\\n\""
              "zvEvent event_id=18446744073709551615 severity=info action=- event_type=- "
              "source_id=- source_name=- native_source=zvEvent message=\"\"");
    text.clear();
    zvevent::AppendNativeFallback(text, "reason", "text");
    EXPECT_EQ(text, "zvEvent native Windows Event Log fallback: reason | text\n");
}
