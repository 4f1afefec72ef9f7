// The native sink on a log of the test's own, and the lines that it writes.
#include "sinks/native_sink.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/sample_event.h"

namespace zvevent {
namespace {

constexpr const char* kSampleLine =
    "zvEvent event_id=42 severity=warning action=raise event_type=temperature source_id=psu-1 "
    "source_name=Power supply 1 native_source=My App message=\"Too hot\"";

std::string journal;  // of the log and of the fallback
std::string refusal;  // why the log takes nothing; empty: it does

struct FakeLog final : NativeLog {
    bool Write(std::uint32_t severity, const std::string& text, std::string& reason) override {
        journal += std::to_string(severity) + ": " + text;
        if (!refusal.empty()) reason = refusal;
        return refusal.empty();
    }
};

const zvEventNativeSink::System kSystem = {
    [](const NativeLogSettings& settings) noexcept -> std::unique_ptr<NativeLog> {
        journal += settings.source_name + "/" + settings.facility + "/" + settings.subsystem + "/" +
                   settings.category + ";";
        if (settings.category == "no memory") return nullptr;
        return std::make_unique<FakeLog>();
    },
    [](const std::string& line) noexcept { journal += "fallback " + line; }};

std::string Journal() {
    return std::exchange(journal, {});
}

zvEventSinkConfig ConfigOf(const zvEventSinkConfig::Native& native) {
    zvEventSinkConfig config;
    config.native = native;
    return config;
}

TEST(NativeSink, LogsLinesAndFallsBackWhileTheLogTakesNone) {
    zvEventNativeSink sink(ConfigOf({"My App", "kern", "subsystem", "category"}), kSystem);
    EXPECT_EQ(sink.Open(nullptr), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "My App/kern/subsystem/category;");
    const std::string logged = std::string("2: ") + kSampleLine;
    for (std::uint64_t round = 1; round <= 2; ++round) {
        std::uint64_t fallbacks = 0;
        EXPECT_EQ(sink.write(test::SampleEvent(), &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(Journal(), logged);
        EXPECT_EQ(fallbacks, 0U);
        refusal = "no room " + std::to_string(round);
        EXPECT_EQ(sink.write(test::SampleEvent(), &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
        const std::string line = "fallback zvEvent native Windows Event Log fallback: " + refusal +
                                 " | " + kSampleLine + "\n";
        EXPECT_EQ(Journal(), logged + line + logged + line);
        EXPECT_EQ(fallbacks, 1U);
        EXPECT_EQ(sink.LastError(), std::exchange(refusal, ""));
    }
    zvEventNormalizedEvent low = test::SampleEvent();
    low.severity = zvEventSeverityDebug;
    EXPECT_EQ(sink.write(low, nullptr), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "");
}

TEST(NativeSink, WritesFieldsAsTheyAreAndEmptyOnesAsADash) {
    zvEventNormalizedEvent event;
    event.event_id = 18'446'744'073'709'551'615U;
    event.severity = 4;
    event.message = "say \"hi\" %1\\\n";
    zvEventNativeSink(ConfigOf({"", "", "", ""}), kSystem).write(event, nullptr);
    EXPECT_EQ(Journal(),
              "zvEvent/local4/com.zavorin.zvEvent/events;"
              "4: zvEvent event_id=18446744073709551615 severity=info action=- event_type=- "
              "source_id=- source_name=- native_source=zvEvent message=\"say \"hi\" %1\\\n\"");
}

TEST(NativeSink, TellsThatThereIsNoMemoryForAHandle) {
    zvEventNativeSink sink(ConfigOf({"", "", "", "no memory"}), kSystem);
    std::string error;
    EXPECT_EQ(sink.Open(&error), ZVEVENT_E_FAILURE);
    EXPECT_EQ(error, "Unable to allocate zvEvent native log handle");
    EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), error);
    Journal();
}

}  // namespace
}  // namespace zvevent
