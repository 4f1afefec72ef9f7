// The native sink on a log of the test's own. (The line of a full event: peers_native_log.py.)
#include "sinks/native_sink.h"

#include <gtest/gtest.h>

#include <utility>

namespace zvevent {
namespace {

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

TEST(NativeSink, LogsLinesAndFallsBackWhileTheLogTakesNone) {
    zvEventSinkConfig config;
    config.native = {"", "", "", ""};
    zvEventNativeSink sink(config, kSystem);
    EXPECT_EQ(sink.Open(nullptr), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "zvEvent/local4/com.zavorin.zvEvent/events;");
    zvEventNormalizedEvent event;
    event.event_id = 18'446'744'073'709'551'615U;
    event.severity = 4;
    event.message = "say \"hi\" %1\\\n";
    const std::string line =
        "zvEvent event_id=18446744073709551615 severity=info action=- event_type=- "
        "source_id=- source_name=- native_source=zvEvent message=\"say \"hi\" %1\\\n\"";
    for (std::uint64_t round = 1; round <= 2; ++round) {
        std::uint64_t fallbacks = 0;
        EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(Journal(), "4: " + line);
        EXPECT_EQ(fallbacks, 0U);
        refusal = "no room " + std::to_string(round);
        EXPECT_EQ(sink.write(event, &fallbacks), ZVEVENT_OK);
        EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
        const std::string refused =
            "4: " + line + "fallback zvEvent native Windows Event Log fallback: " + refusal +
            " | " + line + "\n";
        EXPECT_EQ(Journal(), refused + refused);
        EXPECT_EQ(fallbacks, 1U);
        EXPECT_EQ(sink.LastError(), std::exchange(refusal, ""));
    }
    event.severity = zvEventSeverityDebug;
    EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "");
}

TEST(NativeSink, TellsThatThereIsNoMemoryForAHandle) {
    zvEventSinkConfig config;
    config.native = {"My App", "kern", "subsystem", "no memory"};
    zvEventNativeSink sink(config, kSystem);
    std::string error;
    EXPECT_EQ(sink.Open(&error), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "My App/kern/subsystem/no memory;");
    EXPECT_EQ(error, "Unable to allocate zvEvent native log handle");
    EXPECT_EQ(sink.write({}, nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), error);
}

}  // namespace
}  // namespace zvevent
