#include "core/alert_state.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace zvevent {
namespace {

constexpr std::uint64_t kSecond = 1'000'000'000;
constexpr std::uint64_t kStart = 1'700'000'000 * kSecond;

zvEventNormalizedEvent Event(const std::string& action, std::uint64_t second = 0,
                             const std::string& message = "m") {
    zvEventNormalizedEvent event;
    event.event_type = "overheat";
    event.source_id = "cam1";
    event.message = message;
    event.action = action;
    event.utc_ns = kStart + second * kSecond;
    return event;
}

class AlertStateTest : public testing::Test {
protected:
    AlertStateTest() { state_.Configure(config_); }

    // The action that goes on to the outputs, or "-" when the event is held back.
    std::string Pass(zvEventNormalizedEvent event) {
        bool forward = false;
        EXPECT_EQ(state_.Process(&event, &forward), ZVEVENT_OK);
        return forward ? event.action : "-";
    }

    zvEventConfig config_;
    AlertState state_;
};

TEST_F(AlertStateTest, WalksTheLifeOfAnAlert) {
    struct Step {
        const char* action;
        std::uint64_t second;
        const char* message;
        const char* expected;
    };
    const std::vector<std::vector<Step>> lives = {
        // repeated raises, within the interval and after it
        {{"raise", 0, "m", "raise"},
         {"raise", 10, "m", "-"},
         {"raise", 10, "other", "-"},
         {"raise", 1801, "m", "repeat"},
         {"raise", 1802, "m", "-"}},
        // exactly at the interval it is due
        {{"raise", 0, "m", "raise"}, {"raise", 1799, "m", "-"}, {"raise", 1800, "m", "repeat"}},
        // a first spelling is kept, a rewritten one is lower case
        {{"RAISE", 0, "m", "RAISE"}, {"Raise", 1801, "m", "repeat"}, {"Clear", 1802, "m", "Clear"}},
        // what is stored after an update that opened the alert is the raise that went out
        {{"update", 0, "m", "raise"},
         {"update", 1, "m", "update"},
         {"update", 2, "m", "-"},
         {"update", 3, "other", "update"},
         {"update", 1803, "other", "update"}},
        // repeats
        {{"repeat", 0, "m", "-"},
         {"raise", 1, "m", "raise"},
         {"repeat", 2, "m", "-"},
         {"repeat", 1801, "m", "repeat"}},
        // clears
        {{"clear", 0, "m", "-"},
         {"raise", 1, "m", "raise"},
         {"clear", 2, "m", "clear"},
         {"clear", 3, "m", "-"},
         {"raise", 4, "m", "raise"}},
        // time running backwards counts as due
        {{"raise", 100, "m", "raise"}, {"raise", 99, "m", "repeat"}},
        // ordinary events pass and leave no trace
        {{"cleared", 0, "m", "cleared"}, {"", 0, "m", ""}, {"raise", 1, "m", "raise"}},
    };
    for (std::size_t life = 0; life < lives.size(); ++life) {
        state_.Clear();
        for (std::size_t i = 0; i < lives[life].size(); ++i) {
            const Step& step = lives[life][i];
            EXPECT_EQ(Pass(Event(step.action, step.second, step.message)), step.expected)
                << "life " << life << " step " << i;
        }
    }
}

TEST_F(AlertStateTest, FollowsItsSettings) {
    config_.default_repeat_interval_sec = 0;
    config_.send_clear = false;
    config_.route_orphan_clear = true;
    state_.Configure(config_);
    EXPECT_EQ(Pass(Event("raise")), "raise");
    EXPECT_EQ(Pass(Event("raise")), "repeat");
    EXPECT_EQ(Pass(Event("clear")), "-");
    EXPECT_EQ(Pass(Event("raise")), "raise") << "a clear that is not sent clears all the same";

    // New settings keep the active alerts.
    config_.default_repeat_interval_sec = 1800;
    state_.Configure(config_);
    EXPECT_EQ(Pass(Event("raise", 1)), "-");
    EXPECT_EQ(Pass(Event("clear", 2)), "-");
    EXPECT_EQ(Pass(Event("clear", 3)), "clear") << "an orphan now";

    for (bool zvEventConfig::*off :
         {&zvEventConfig::state_enabled, &zvEventConfig::dedupe_enabled}) {
        zvEventConfig config;
        config.*off = false;
        state_.Configure(config);
        for (const char* action : {"raise", "raise", "repeat", "clear"}) {
            EXPECT_EQ(Pass(Event(action)), action);
        }
        state_.Configure(zvEventConfig());
        EXPECT_EQ(Pass(Event("repeat")), "-") << "nothing was remembered";
    }
}

TEST_F(AlertStateTest, KeysAlertsByDedupeKeyOrSourceAndType) {
    EXPECT_EQ(Pass(Event("raise", 0, "one")), "raise");
    EXPECT_EQ(Pass(Event("raise", 1, "two")), "-");
    auto keyed = Event("raise");
    keyed.dedupe_key = "cam1:overheat";
    EXPECT_EQ(Pass(keyed), "-") << "the same key spelled out";
    keyed.dedupe_key = "cam1";
    EXPECT_EQ(Pass(keyed), "raise");
    auto no_source = Event("raise");
    no_source.source_id = "";
    EXPECT_EQ(Pass(no_source), "raise");
}

// An update goes through when any member of the content has changed, and not when only number and
// times have.
TEST_F(AlertStateTest, ComparesUpdatesByContent) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        bool changes;
        void (*change)(zvEventNormalizedEvent&);
    };
    using E = zvEventNormalizedEvent;
    const Case cases[] = {
        {true, [](E& e) { e.source_name = "n"; }},
        {true, [](E& e) { e.severity = 3; }},
        {true, [](E& e) { e.correlation_id = "c"; }},
        {true, [](E& e) { e.pts = -1; }},
        {true, [](E& e) { e.timecode = "t"; }},
        {true, [](E& e) { e.value = 0.1 + 0.2; }},
        {true, [](E& e) { e.value = -0.0; }},
        {true, [](E& e) { e.threshold = -std::numeric_limits<double>::quiet_NaN(); }},
        {true, [](E& e) { e.units = "C"; }},
        {true, [](E& e) { e.duration_ms = 1; }},
        {true, [](E& e) { e.details_json = "{}"; }},
        {false, [](E& e) { e.event_id = 9; }},
        {false, [](E& e) { e.ptp_ns = 9; }},
        {false, [](E& e) { e.utc_ns += 1; }},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        state_.Clear();
        auto event = Event("update");
        event.threshold = nan;
        Pass(event);
        ASSERT_EQ(Pass(event), "update");
        ASSERT_EQ(Pass(event), "-");
        cases[i].change(event);
        EXPECT_EQ(Pass(event), cases[i].changes ? "update" : "-") << i;
    }
}

TEST_F(AlertStateTest, RefusesMissingArguments) {
    zvEventNormalizedEvent event;
    bool forward = false;
    EXPECT_EQ(state_.Process(nullptr, &forward), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(state_.Process(&event, nullptr), ZVEVENT_E_INVALID_ARGUMENT);
}

}  // namespace
}  // namespace zvevent
