#include "core/event_core.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/gate.h"

namespace zvevent {
namespace {

// Keeps the messages it is given; can hold the worker at a gate, or fail.
class Recorder final : public Dispatcher {
public:
    std::uint32_t Dispatch(const zvEventNormalizedEvent& event, std::uint64_t* failures,
                           std::uint64_t* fallbacks) override {
        gate.Pass();
        {
            const std::scoped_lock lock(mutex_);
            messages_.push_back(event.message);
            bytes_ += event.details_json.size();
        }
        if (event.message == "throw") throw std::runtime_error("thrown");
        *failures = event.message == "fail" ? 2 : 0;
        *fallbacks = event.message == "fall back" ? 1 : 0;
        return *failures == 0 ? ZVEVENT_OK : ZVEVENT_E_FAILURE;
    }

    std::uint32_t Flush(std::uint32_t) override {
        ++flushes;
        return flush_result;
    }

    std::string Messages() {
        const std::scoped_lock lock(mutex_);
        std::string all;
        for (const std::string& message : messages_)
            all += message + " ";
        return all;
    }
    std::size_t Bytes() {
        const std::scoped_lock lock(mutex_);
        return bytes_;
    }

    test::Gate gate;
    std::atomic<int> flushes{0};
    std::atomic<std::uint32_t> flush_result{ZVEVENT_OK};

private:
    std::mutex mutex_;
    std::vector<std::string> messages_;
    std::size_t bytes_ = 0;
};

class EventCoreTest : public testing::Test {
protected:
    ~EventCoreTest() override {
        recorder_.gate.Open();
        core_.Stop(5000);
    }

    void Start(std::uint32_t queue_size,
               zvEventDropPolicy policy = zvEventDropPolicy::drop_newest) {
        ASSERT_EQ(core_.Start(Config(queue_size, policy)), ZVEVENT_OK);
    }

    static EventCore::Config Config(std::uint32_t queue_size,
                                    zvEventDropPolicy policy = zvEventDropPolicy::drop_newest) {
        auto config = std::make_shared<zvEventConfig>();
        config->queue_size = queue_size;
        config->drop_policy = policy;
        config->minimum_severity = zvEventSeverityDebug;
        return config;
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
        recorder_.gate.Close();
        ASSERT_EQ(Enqueue("held", zvEventSeverityError), ZVEVENT_OK);
        ASSERT_TRUE(recorder_.gate.WaitForArrivals(1));
    }

    std::string Delivered() {
        recorder_.gate.Open();
        EXPECT_EQ(core_.WaitUntilDrained(0), ZVEVENT_OK);
        return recorder_.Messages();
    }

    Recorder recorder_;
    EventCore core_{recorder_};
};

TEST_F(EventCoreTest, DropsTheNewestOfAFullQueue) {
    Start(2);
    HoldTheWorker();
    for (const char* message : {"a", "b", "c", "d"})
        EXPECT_EQ(Enqueue(message), ZVEVENT_OK);
    EXPECT_EQ(Delivered(), "held a b ");
    const CoreStatistics statistics = core_.Statistics();
    EXPECT_EQ(statistics.received, 5U);
    EXPECT_EQ(statistics.processed, 3U);
    EXPECT_EQ(statistics.dropped, 2U);
}

TEST_F(EventCoreTest, EvictsTheOldestDebugOrInfoEvent) {
    Start(4, zvEventDropPolicy::drop_debug_info_first);
    HoldTheWorker();
    Enqueue("w1", zvEventSeverityWarning);
    Enqueue("i2", zvEventSeverityInfo);
    Enqueue("e3", zvEventSeverityError);
    Enqueue("d4", zvEventSeverityDebug);
    Enqueue("w5", zvEventSeverityWarning);  // for i2
    Enqueue("d6", zvEventSeverityDebug);    // for d4, although no more severe
    Enqueue("e7", zvEventSeverityError);    // for d6
    Enqueue("e8", zvEventSeverityError);    // for nothing: lost
    Enqueue("d9", zvEventSeverityDebug);    // lost
    EXPECT_EQ(core_.Statistics().dropped, 5U);
    EXPECT_EQ(Delivered(), "held w1 e3 w5 e7 ");
}

// Evictions while the ring has wrapped and grown, against a model of the policy.
TEST_F(EventCoreTest, EvictsExactlyLikeTheModel) {
    Start(100, zvEventDropPolicy::drop_debug_info_first);
    std::string expected;
    std::uint32_t random = 1;
    for (int round = 0; round < 3; ++round) {
        recorder_.gate.Close();
        Enqueue("held", zvEventSeverityError);
        expected += "held ";
        ASSERT_TRUE(
            recorder_.gate.WaitForArrivals(static_cast<int>(core_.Statistics().processed) + 1));
        std::vector<std::pair<std::uint32_t, std::string>> model;
        for (int i = 0; i < 400; ++i) {
            random = random * 1664525 + 1013904223;
            const std::uint32_t severity = random >> 30;
            const std::string message = std::to_string(round) + "-" + std::to_string(i);
            Enqueue(message, severity);
            if (model.size() == 100) {
                const auto low = std::find_if(model.begin(), model.end(),
                                              [](const auto& entry) { return entry.first <= 1; });
                if (low == model.end()) continue;
                model.erase(low);
            }
            model.emplace_back(severity, message);
        }
        for (const auto& entry : model)
            expected += entry.second + " ";
        ASSERT_EQ(Delivered(), expected);
    }
}

TEST_F(EventCoreTest, FiltersBeforeItQueues) {
    auto config = std::make_shared<zvEventConfig>(*Config(4));
    config->minimum_severity = zvEventSeverityWarning;
    ASSERT_EQ(core_.Start(config), ZVEVENT_OK);
    EXPECT_EQ(Enqueue("info", zvEventSeverityInfo), ZVEVENT_OK);
    EXPECT_EQ(Enqueue("warning", zvEventSeverityWarning), ZVEVENT_OK);
    EXPECT_EQ(core_.WaitUntilDrained(0), ZVEVENT_OK);
    config = std::make_shared<zvEventConfig>(*config);
    config->enabled = false;
    ASSERT_EQ(core_.Reload(config), ZVEVENT_OK);
    EXPECT_EQ(Enqueue("error", zvEventSeverityError), ZVEVENT_OK);
    EXPECT_EQ(Delivered(), "warning ");
    EXPECT_EQ(core_.Statistics().dropped, 2U);
}

TEST_F(EventCoreTest, TrimsTheQueueAtReload) {
    Start(8, zvEventDropPolicy::drop_newest);
    HoldTheWorker();
    const std::uint32_t severities[] = {2, 1, 2, 0, 3, 2};
    for (std::size_t i = 0; i < 6; ++i)
        Enqueue(std::to_string(i), severities[i]);
    EXPECT_EQ(core_.Reload(Config(5)), ZVEVENT_OK);  // loses 5
    EXPECT_EQ(core_.Reload(Config(2, zvEventDropPolicy::drop_debug_info_first)), ZVEVENT_OK);
    EXPECT_EQ(core_.Statistics().dropped, 4U);  // 1 and 3 by their severity, then 4
    Enqueue("6", zvEventSeverityError);         // full
    EXPECT_EQ(core_.Reload(Config(3)), ZVEVENT_OK);
    Enqueue("7", zvEventSeverityError);
    EXPECT_EQ(core_.Reload(Config(0)), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(core_.Reload(nullptr), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(Delivered(), "held 0 2 7 ");
}

TEST_F(EventCoreTest, CarriesEventsOfEverySize) {
    Start(256);
    std::size_t bytes = 0;
    std::string expected;
    for (int round = 0; round < 2; ++round) {  // the second finds the slots as the first left them
        for (const std::size_t size : {0U, 390U, 391U, 392U, 5'000U, 20'000U, 6'000'000U, 100U}) {
            expected += std::to_string(size) + " ";
            ASSERT_EQ(Enqueue(std::to_string(size), zvEventSeverityInfo, std::string(size, 'x')),
                      ZVEVENT_OK);
            bytes += size;
        }
    }
    EXPECT_EQ(Delivered(), expected);
    EXPECT_EQ(recorder_.Bytes(), bytes);
}

TEST_F(EventCoreTest, CountsWhatFailsAndGoesOn) {
    Start(16);
    for (const char* message : {"throw", "fail", "fall back", "fine"})
        Enqueue(message);
    EXPECT_EQ(Delivered(), "throw fail fall back fine ");
    const CoreStatistics statistics = core_.Statistics();
    EXPECT_EQ(statistics.delivery_failures, 3U);
    EXPECT_EQ(statistics.fallback_deliveries, 1U);
    EXPECT_EQ(statistics.processed, 4U);
}

TEST_F(EventCoreTest, StopDrainsFlushesAndRefuses) {
    EXPECT_EQ(Enqueue("early"), ZVEVENT_E_NOT_INITIALIZED);
    EXPECT_EQ(core_.Stop(10), ZVEVENT_E_NOT_INITIALIZED);
    EXPECT_EQ(core_.Reload(Config(4)), ZVEVENT_E_NOT_INITIALIZED);
    EXPECT_EQ(core_.Start(nullptr), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(core_.Start(Config(0)), ZVEVENT_E_INVALID_ARGUMENT);
    Start(4);
    EXPECT_EQ(core_.Start(Config(4)), ZVEVENT_E_ALREADY_INITIALIZED);
    Enqueue("a");
    EXPECT_EQ(core_.Stop(5000), ZVEVENT_OK);
    EXPECT_EQ(recorder_.Messages(), "a ");
    EXPECT_EQ(recorder_.flushes, 1);
    EXPECT_FALSE(core_.IsRunning());
    EXPECT_EQ(Enqueue("late"), ZVEVENT_E_NOT_INITIALIZED);

    recorder_.flush_result = ZVEVENT_E_FAILURE;
    Start(4);
    EXPECT_EQ(core_.Statistics().received, 0U);
    EXPECT_EQ(core_.Stop(5000), ZVEVENT_E_FAILURE);
}

TEST_F(EventCoreTest, StopDiscardsWhatItCannotDeliverInTime) {
    Start(4);
    HoldTheWorker();
    Enqueue("a");
    Enqueue("b");
    EXPECT_EQ(core_.WaitUntilDrained(1), ZVEVENT_E_FAILURE);
    std::uint32_t result = ZVEVENT_OK;
    std::thread stop([&] { result = core_.Stop(1); });
    while (core_.Statistics().dropped != 2)
        std::this_thread::yield();  // purged
    recorder_.gate.Open();
    stop.join();
    EXPECT_EQ(result, ZVEVENT_E_FAILURE);
    EXPECT_EQ(recorder_.Messages(), "held ");
    EXPECT_EQ(recorder_.flushes, 0);
}

// What one stop leaves behind must not reach the next run: alert state, queue, worker.
TEST_F(EventCoreTest, StartsAfresh) {
    EventView raise;
    raise.message = "m";
    raise.action = "raise";
    raise.utc_ns = 1;
    for (int run = 1; run <= 3; ++run) {
        Start(4);
        EXPECT_EQ(core_.Enqueue(raise), ZVEVENT_OK);
        EXPECT_EQ(core_.Enqueue(raise), ZVEVENT_OK);
        EXPECT_EQ(core_.Stop(5000), ZVEVENT_OK);
    }
    EXPECT_EQ(recorder_.Messages(), "m m m ");
}

// Each thread's events arrive whole, in its order, whatever else goes on.
TEST_F(EventCoreTest, LosesNothingBetweenManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kEvents = 20'000;
    Start(1'000'000);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < kEvents; ++i) {
                Enqueue(std::to_string(t) + ":" + std::to_string(i), zvEventSeverityInfo,
                        std::string(static_cast<std::size_t>(i % 600), 'd'));
                if (i % 1000 == 0) core_.WaitUntilDrained(1);
            }
        });
    }
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(core_.Reload(Config(1'000'000)), ZVEVENT_OK);
    for (std::thread& thread : threads)
        thread.join();
    std::vector<int> next(kThreads, 0);
    const std::string delivered = Delivered();
    for (std::size_t at = 0; at < delivered.size();) {
        std::size_t end = 0;
        const auto thread = static_cast<std::size_t>(std::stoi(delivered.substr(at, 12), &end));
        at += end + 1;
        ASSERT_EQ(std::stoi(delivered.substr(at, 12), &end), next[thread]++);
        at += end + 1;
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kEvents));
}

}  // namespace
}  // namespace zvevent
