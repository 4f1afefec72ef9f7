#include "core/event_core.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/gate.h"

namespace zvevent {
namespace {

using Clock = std::chrono::steady_clock;

// Keeps the messages it is given; can hold the worker at a gate, or fail.
struct Recorder final : Dispatcher {
    std::uint32_t Dispatch(const zvEventNormalizedEvent& event, std::uint64_t* failures,
                           std::uint64_t* fallbacks) override {
        gate.Pass();
        messages += event.message + " ";
        bytes += static_cast<std::size_t>(
            std::count(event.details_json.begin(), event.details_json.end(), 'x'));
        if (event.message == "throw") throw std::runtime_error("thrown");
        *failures = event.message == "fail" ? 2 : 0;
        *fallbacks = event.message == "fall back" ? 1 : 0;
        return *failures == 0 ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
    }
    void HandOver() override { ++hand_overs; }
    std::uint32_t Flush(std::uint32_t) override {
        ++flushes;
        return flush_result;
    }

    test::Gate gate;
    std::atomic<int> hand_overs = 0;
    // Written by the worker; read when the core has drained or stopped.
    std::string messages;
    std::size_t bytes = 0;
    int flushes = 0;
    std::uint32_t flush_result = ZVEVENT_OK;
};

EventCore::Config ConfigOf(std::uint32_t queue_size,
                           zvEventDropPolicy policy = zvEventDropPolicy::drop_newest,
                           std::uint32_t minimum_severity = zvEventSeverityDebug,
                           bool enabled = true) {
    auto config = std::make_shared<zvEventConfig>();
    config->queue_size = queue_size;
    config->drop_policy = policy;
    config->minimum_severity = minimum_severity;
    config->enabled = enabled;
    return config;
}

struct EventCoreTest : testing::Test {
    ~EventCoreTest() override {
        recorder_.gate.Set(true);
        core_.Stop(5000);
    }

    std::uint32_t Enqueue(const std::string& message, std::uint32_t severity = zvEventSeverityInfo,
                          const std::string& details = "{}") {
        EventView event;
        event.message = message;
        event.severity = severity;
        event.details_json = details;
        return core_.Enqueue(event);
    }

    // Has the worker take one event and hold it, so that what is queued stays queued.
    void HoldTheWorker() {
        const auto arrivals = static_cast<int>(core_.Statistics().processed) + 1;
        recorder_.gate.Set(false);
        ASSERT_EQ(Enqueue("held", zvEventSeverityError), ZVEVENT_OK);
        ASSERT_TRUE(recorder_.gate.WaitForArrivals(arrivals));
    }

    CoreStatistics CheckedStatistics() {
        const CoreStatistics now = core_.Statistics();
        EXPECT_EQ(now.received, now.processed + now.queued + now.in_hand + now.dropped.Total());
        EXPECT_LE(now.queued, now.queue_high_water);
        return now;
    }

    std::string Delivered() {
        recorder_.gate.Set(true);
        EXPECT_EQ(core_.WaitUntilDrained(0), ZVEVENT_OK);
        return recorder_.messages;
    }

    Recorder recorder_;
    EventCore core_{recorder_};
};

// Both policies while the ring wraps, grows and is trimmed, against a model: a queue that is too
// long loses its oldest debug or info event, the new one excepted, or else the newest.
TEST_F(EventCoreTest, FiltersAndDropsExactlyLikeTheModel) {
    auto draw = [random = std::mt19937()](std::uint32_t below) mutable {
        return static_cast<std::uint32_t>(random() % below);
    };
    std::string expected;
    DroppedEvents dropped;
    std::uint64_t high_water = 0;
    EventCore::Config config = ConfigOf(100);
    ASSERT_EQ(core_.Start(config), ZVEVENT_OK);
    for (int round = 0; round < 20; ++round) {
        HoldTheWorker();
        expected += "held ";
        std::vector<std::pair<std::uint32_t, std::string>> model;
        for (int i = 0; i < 1000; ++i) {
            const bool reload = i % 50 == 0;
            if (reload) {
                config = ConfigOf(1 + draw(150), static_cast<zvEventDropPolicy>(i / 50 % 2),
                                  draw(2), i != 300);
                EXPECT_EQ(core_.Reload(config), ZVEVENT_OK);
            } else {
                model.emplace_back(draw(4), std::to_string(i) + std::string(draw(500), 'x'));
                EXPECT_EQ(Enqueue(model.back().second, model.back().first), ZVEVENT_OK);
                if (!config->enabled || model.back().first < config->minimum_severity) {
                    model.pop_back();
                    ++dropped.filtered;
                }
            }
            while (model.size() > config->queue_size) {
                auto out = model.end() - 1;
                if (config->drop_policy == zvEventDropPolicy::drop_debug_info_first)
                    out = std::find_if(model.begin(), out, [](auto& e) { return e.first <= 1; });
                ++(reload                   ? dropped.purged
                   : out + 1 == model.end() ? dropped.full
                                            : dropped.evicted);
                model.erase(out);
            }
            high_water = std::max(high_water, model.size());
        }
        for (const auto& entry : model)
            expected += entry.second + " ";
        ASSERT_EQ(Delivered(), expected);
        EXPECT_EQ(CheckedStatistics().dropped, dropped);
        EXPECT_EQ(CheckedStatistics().queue_high_water, high_water);
    }
    EXPECT_EQ(CheckedStatistics().queue_capacity, config->queue_size);
}

TEST_F(EventCoreTest, CarriesEventsOfEverySize) {
    ASSERT_EQ(core_.Start(ConfigOf(256)), ZVEVENT_OK);
    HoldTheWorker();
    std::size_t bytes = 0;
    for (const std::size_t size : {0U, 398U, 399U, 400U, 5'000U, 6'000'000U, 100U, 6'000'000U}) {
        ASSERT_EQ(Enqueue("m", zvEventSeverityInfo, std::string(size, 'x')), ZVEVENT_OK);
        bytes += size;
    }
    EXPECT_EQ(Delivered(), "held m m m m m m m m ");
    EXPECT_EQ(recorder_.bytes, bytes);
}

// A large event is copied where nobody waits for it. A round that the machine has spoiled by
// keeping this thread from running is repeated.
TEST_F(EventCoreTest, NoSubmitWaitsForTheCopyOfALargeEvent) {
    ASSERT_EQ(core_.Start(ConfigOf(1 << 16)), ZVEVENT_OK);
    const auto timed = [this](const std::string& details) {
        const auto start = Clock::now();
        Enqueue("m", zvEventSeverityInfo, details);
        return Clock::now() - start;
    };
    const std::string details(64 << 20, 'x');
    Clock::duration large{}, longest;
    int tries = 100;
    do {
        auto other = std::async(std::launch::async, timed, details);
        for (longest = {}; other.wait_for(large.zero()) != std::future_status::ready;)
            longest = std::max(longest, timed("{}"));
        large = other.get();
        ASSERT_EQ(core_.WaitUntilDrained(0), ZVEVENT_OK);
    } while (longest * 4 > large && --tries > 0);
    EXPECT_GT(tries, 0);
}

TEST_F(EventCoreTest, CountsWhatFailsAndGoesOn) {
    ASSERT_EQ(core_.Start(ConfigOf(16)), ZVEVENT_OK);
    for (const char* message : {"throw", "fail", "fall back", "fine"})
        Enqueue(message);
    EXPECT_EQ(Delivered(), "throw fail fall back fine ");
    EXPECT_EQ(core_.Statistics().delivery_failures, 3U);
    EXPECT_EQ(core_.Statistics().fallback_deliveries, 1U);
    EXPECT_GE(core_.Statistics().queue_high_water, 1U);
    EventView huge;
    huge.details_json = {"", std::size_t{5} << 30};  // refused before it is read
    EXPECT_THROW(core_.Enqueue(huge), std::length_error);
    EXPECT_EQ(core_.Statistics().received, 5U);
    EXPECT_EQ(core_.Statistics().dropped, (DroppedEvents{.memory = 1}));
}

TEST_F(EventCoreTest, CountsAddUpInEverySnapshot) {
    ASSERT_EQ(core_.Start(ConfigOf(64)), ZVEVENT_OK);
    std::atomic<bool> enough{false};
    std::vector<std::jthread> threads;
    for (const char* action : {"", "raise", "clear"}) {
        threads.emplace_back([this, &enough, action] {
            EventView event;
            event.action = action;
            for (event.utc_ns = 1; !enough; ++event.utc_ns) {
                event.severity = event.utc_ns % 4;
                EXPECT_EQ(core_.Enqueue(event), ZVEVENT_OK);
            }
        });
    }
    threads.emplace_back([&] {
        for (std::uint32_t size = 1; !enough; size = size % 64 + 1)
            core_.Reload(ConfigOf(size, static_cast<zvEventDropPolicy>(size % 2), 1));
    });
    DroppedEvents seen;
    const auto given_up = Clock::now() + test::kPatience;
    for (int i = 0;
         (i < 5000 ||
          seen.filtered * seen.full * seen.evicted * seen.purged * seen.suppressed == 0) &&
         Clock::now() < given_up;
         ++i)
        seen = CheckedStatistics().dropped;
    EXPECT_LT(Clock::now(), given_up) << "not every reason was met";
    enough = true;
}

TEST_F(EventCoreTest, LetsTheOutputsHandOverOnceBeforeItSleeps) {
    ASSERT_EQ(core_.Start(ConfigOf(16)), ZVEVENT_OK);
    for (int rounds = 1; rounds <= 3; ++rounds) {
        HoldTheWorker();
        Enqueue("m");
        EXPECT_EQ(recorder_.hand_overs, rounds - 1);
        Delivered();
        while (recorder_.hand_overs != rounds)
            std::this_thread::yield();
    }
}

// What one stop leaves behind must not reach the next run: alert state, queue, counts.
TEST_F(EventCoreTest, StopDrainsFlushesAndRefuses) {
    EXPECT_EQ(core_.Stop(10), ZVEVENT_E_NOT_INITIALIZED);
    EXPECT_EQ(core_.Reload(ConfigOf(4)), ZVEVENT_E_NOT_INITIALIZED);
    EventView raise;
    raise.message = "m";
    raise.action = "raise";
    raise.utc_ns = 1;
    for (int run = 1; run <= 3; ++run) {
        EXPECT_EQ(core_.Enqueue(raise), ZVEVENT_E_NOT_INITIALIZED);
        const auto config = ConfigOf(4, zvEventDropPolicy::drop_newest, zvEventSeverityInfo);
        ASSERT_EQ(core_.Start(config), ZVEVENT_OK);
        EXPECT_EQ(core_.Start(config), ZVEVENT_E_ALREADY_INITIALIZED);
        EXPECT_EQ(core_.Statistics().received, 0U);
        EXPECT_EQ(Enqueue("filtered", zvEventSeverityDebug), ZVEVENT_OK);
        EXPECT_EQ(core_.Enqueue(raise), ZVEVENT_OK);
        EXPECT_EQ(core_.Enqueue(raise), ZVEVENT_OK);
        recorder_.flush_result = run == 3 ? ZVEVENT_E_FAILURE : ZVEVENT_OK;
        EXPECT_EQ(core_.Stop(5000), recorder_.flush_result);
        EXPECT_EQ(recorder_.flushes, run);
    }
    EXPECT_EQ(recorder_.messages, "m m m ");
}

TEST_F(EventCoreTest, StopDiscardsWhatItCannotDeliverInTime) {
    ASSERT_EQ(core_.Start(ConfigOf(4)), ZVEVENT_OK);
    HoldTheWorker();
    Enqueue("a");
    Enqueue("b");
    EXPECT_EQ(core_.WaitUntilDrained(1), ZVEVENT_E_FAILURE);
    std::jthread stop([this] { EXPECT_EQ(core_.Stop(1), ZVEVENT_E_FAILURE); });
    while (CheckedStatistics().dropped.purged != 2)
        std::this_thread::yield();
    recorder_.gate.Set(true);
    stop.join();
    EXPECT_EQ(recorder_.messages, "held ");
    EXPECT_EQ(recorder_.flushes, 0);
    EXPECT_EQ(CheckedStatistics().in_hand, 0U);
}

}  // namespace
}  // namespace zvevent
