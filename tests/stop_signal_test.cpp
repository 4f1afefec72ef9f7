#include "base/stop_signal.h"

#include <future>

#include <gtest/gtest.h>

#include "core/event_core.h"

namespace zvevent {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kLong(30);

// An output that pauses far longer than any stop may take.
struct PausingDispatcher final : public Dispatcher {
    std::uint32_t Dispatch(const zvEventNormalizedEvent&, std::uint64_t*, std::uint64_t*) override {
        pausing.set_value();
        paused_to_the_end = StopSignal::Instance().Pause(kLong);
        return ZVEVENT_OK;
    }
    std::uint32_t Flush(std::uint32_t) override { return ZVEVENT_OK; }

    std::promise<void> pausing;
    bool paused_to_the_end = true;  // read once the worker is joined
};

TEST(StopSignal, IsRaisedByAStopThatTimedOutAndClearedByAStart) {
    const auto config = std::make_shared<zvEventConfig>();
    PausingDispatcher dispatcher;
    EventCore core(dispatcher);
    ASSERT_EQ(core.Start(config), ZVEVENT_OK);
    ASSERT_EQ(core.Enqueue(EventView()), ZVEVENT_OK);
    dispatcher.pausing.get_future().wait();
    EXPECT_EQ(core.Stop(5), ZVEVENT_E_FAILURE);  // joins the worker
    EXPECT_FALSE(dispatcher.paused_to_the_end);

    ASSERT_EQ(core.Start(config), ZVEVENT_OK);
    EXPECT_EQ(core.Stop(1000), ZVEVENT_OK);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(StopSignal::Instance().Pause(milliseconds(5)));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(5));
}

}  // namespace
}  // namespace zvevent
