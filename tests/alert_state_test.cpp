#include "core/alert_state.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <regex>
#include <sstream>
#include <type_traits>

#include "core/event_fields.h"

namespace zvevent {
namespace {

zvEventNormalizedEvent Event(const std::string& action, std::uint64_t second = 0,
                             const std::string& message = "m") {
    zvEventNormalizedEvent event;
    event.event_type = "overheat";
    event.source_id = "cam1";
    event.message = message;
    event.action = action;
    event.utc_ns = (1'700'000'000 + second) * 1'000'000'000;
    return event;
}

struct AlertStateTest : testing::Test {
    AlertStateTest() { state_.Configure(config_); }

    // The action that goes on to the outputs, or "-" when the event is held back.
    std::string Pass(zvEventNormalizedEvent event) {
        bool forward = false;
        EXPECT_EQ(state_.Process(&event, &forward), ZVEVENT_OK);
        return forward ? event.action : "-";
    }

    // Steps of four words: action, second and message that come in, action that goes out.
    void Walk(const char* life) {
        std::istringstream steps(life);
        std::string action, message, expected;
        for (std::uint64_t second = 0; steps >> action >> second >> message >> expected;)
            EXPECT_EQ(Pass(Event(action, second, message)), expected) << second << " of " << life;
    }

    zvEventConfig config_;
    AlertState state_;
};

// The time lines of the page that users read, row by row.
TEST_F(AlertStateTest, WalksTheDocumentedLivesOfAnAlert) {
    std::ifstream page(ZVEVENT_TEST_DOCS "/alerts.md");
    const std::regex row(R"(\| (\d+) \| (\w+) \| (.*) \| (.*) \|\r?)");
    int rows = 0;
    std::smatch cells;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("| second |")) state_.Clear();
        if (!std::regex_match(line, cells, row)) continue;
        const std::string delivered = cells[4] == "held back" ? "-" : cells[4].str();
        EXPECT_EQ(Pass(Event(cells[2], std::stoul(cells[1]), cells[3])), delivered) << line;
        ++rows;
    }
    EXPECT_GE(rows, 20);
}

TEST_F(AlertStateTest, FollowsItsSettings) {
    config_.default_repeat_interval_sec = 0;
    config_.send_clear = false;
    config_.route_orphan_clear = true;
    state_.Configure(config_);
    // A clear that is not sent clears all the same.
    Walk("raise 0 m raise  raise 0 m repeat  clear 0 m -  raise 0 m raise");
    EXPECT_EQ(state_.ActiveCount(), 1U);
    config_.default_repeat_interval_sec = 1800;
    state_.Configure(config_);
    Walk("raise 1 m -  clear 2 m -  clear 3 m clear");  // the last is an orphan
    for (const auto off : {&zvEventConfig::state_enabled, &zvEventConfig::dedupe_enabled}) {
        zvEventConfig config;
        config.*off = false;
        state_.Configure(config);
        Walk("raise 0 m raise  raise 0 m raise  repeat 0 m repeat  clear 0 m clear");
        state_.Configure(zvEventConfig());
        Walk("repeat 0 m -");  // nothing was remembered
    }
}

TEST_F(AlertStateTest, KeysAlertsByDedupeKeyOrSourceAndType) {
    auto event = Event("raise");
    EXPECT_EQ(Pass(event), "raise");
    event.dedupe_key = "cam1:overheat";
    EXPECT_EQ(Pass(event), "-") << "the same key spelled out";
    event.dedupe_key = "cam1";
    EXPECT_EQ(Pass(event), "raise");
    event.dedupe_key = event.source_id = "";
    EXPECT_EQ(Pass(event), "raise");
}

// An update goes through when any field of the content has changed, and not when only number and
// times have. (A changed key makes it another alert, a changed action an ordinary event.)
TEST_F(AlertStateTest, ComparesUpdatesByContent) {
    std::string went_out;
    ForEachEventField([&](const auto& field) {
        state_.Clear();
        auto event = Event("update");
        event.threshold = std::numeric_limits<double>::quiet_NaN();
        Pass(event);
        ASSERT_EQ(Pass(event), "update");
        ASSERT_EQ(Pass(event), "-");
        auto& member = event.*field.event;
        if constexpr (std::is_same_v<decltype(member), double&>) {
            member = -member;  // also of zero, and of what is no number
        } else {
            member += 'x';
        }
        went_out += Pass(event) + " ";
    });
    EXPECT_EQ(went_out,
              "- raise raise update update update updatex raise update - - update update update "
              "update update update update ");
}

}  // namespace
}  // namespace zvevent
