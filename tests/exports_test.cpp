// The exported functions from end to end: configuration file in, callbacks and CSV rows out.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "api/exception_guard.h"
#include "api/lifecycle.h"
#include "support/gate.h"
#include "support/temp_directory.h"
#include "zvEvent/zvEvent.h"

namespace zvevent {
namespace {

std::string LastError() {
    char text[512];
    EXPECT_EQ(zvEventGetLastError(text, sizeof text), ZVEVENT_OK);
    return text;
}

// Configuration with only callbacks as output, unless `sinks` says more.
std::string ConfigText(const std::string& core = "", const std::string& sinks = "") {
    return R"(<zvCFG><key name="QRV"><key name="Events"><key name="core">)" + core +
           R"(</key><key name="sink"><key name="native"><key name="main">)"
           R"(<value name="enabled">0</value></key></key>)" +
           sinks + "</key></key></key></zvCFG>";
}

std::string CsvSink(const std::string& path) {
    return R"(<key name="csv"><key name="default"><value name="enabled">1</value>)"
           R"(<value name="path">)" +
           path + "</value></key></key>";
}

class ExportsTest : public testing::Test {
protected:
    ~ExportsTest() override { zvEventShutdown(); }

    std::string Config(const std::string& text) { return directory_.Write("c.xml", text); }

    void Initialize(const std::string& text = ConfigText()) {
        ASSERT_EQ(zvEventInitialize(Config(text).c_str()), ZVEVENT_OK) << LastError();
    }

    test::TempDirectory directory_;
};

TEST_F(ExportsTest, ReportsEveryOutcomeInTheLastError) {
    EXPECT_EQ(zvEventGetApiVersion(), 65536U);
    struct Case {
        std::uint32_t (*call)();
        std::uint32_t code;
        const char* text;
    };
    const Case cases[] = {
        {[] { return zvEventShutdown(); }, 0x80050001, "zvEvent is not initialized"},
        {[] { return zvEventFlush(1); }, 0x80050001, "zvEvent is not initialized"},
        {[] { return zvEventSubmitSimple(0, 1, nullptr, "m"); }, 0x80050001,
         "zvEvent is not initialized"},
        {[] { return zvEventSubmitSimple(5, 4, nullptr, "m"); }, 0x80050003, "Invalid ZVEvent"},
        {[] { return zvEventSubmitSimple(0, 1, nullptr, nullptr); }, 0x80050003, "Invalid ZVEvent"},
        {[] { return zvEventSubmit(nullptr); }, 0x80050003, "Invalid ZVEvent"},
        {[] { return zvEventInitialize(nullptr); }, 0x80050003,
         "zvEvent requires a zvCFG XML config path"},
        {[] { return zvEventReloadConfig(nullptr); }, 0x80050003,
         "zvEvent requires a zvCFG XML config path"},
        {[] { return zvEventReloadConfig("no/such/file"); }, 0x80050003,
         "Unable to open zvEvent config: no/such/file"},
        {[] { return zvEventRegisterCallback(nullptr, nullptr, nullptr); }, 0x80050003,
         "Invalid callback registration arguments"},
        {[] { return zvEventUnregisterCallback(0); }, 0x80050004, "Callback id was not found"},
        {[] { return zvEventInstallWindowsEventSource("", nullptr); }, 0x80050003,
         "Invalid Windows Event Log source name"},
        {[] { return zvEventRemoveWindowsEventSource("a\\b"); }, 0x80050003,
         "Invalid Windows Event Log source name"},
        {[] { return zvEventGetLastError(nullptr, 5); }, 0x80050003, "Invalid last-error buffer"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.call(), c.code) << c.text;
        EXPECT_EQ(LastError(), c.text);
    }
    char text[8] = "unknown";
    EXPECT_EQ(zvEventGetLastError(text, 0), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(zvEventGetLastError(text, 1), ZVEVENT_OK);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(zvEventGetLastError(text, sizeof text), ZVEVENT_OK);
    EXPECT_STREQ(text, "Invalid");
    std::thread([] { EXPECT_EQ(LastError(), ""); }).join();
    EXPECT_EQ(LastError(), "Invalid last-error buffer") << "each thread has its own";
}

TEST_F(ExportsTest, GuardTurnsExceptionsIntoTexts) {
    EXPECT_EQ(Guarded("zvEventFlush", []() -> std::uint32_t { throw std::runtime_error("why"); }),
              ZVEVENT_E_FAILURE);
    EXPECT_EQ(LastError(), "zvEventFlush failed: why");
    EXPECT_EQ(Guarded("zvEventFlush", []() -> std::uint32_t { throw 1; }), ZVEVENT_E_FAILURE);
    EXPECT_EQ(LastError(), "zvEventFlush failed with an unknown exception");
}

struct Collected {
    std::vector<std::string> messages;
    std::vector<std::uint64_t> ids;
};

void Collect(const zvEventRecord* event, void* user_data) {
    auto& collected = *static_cast<Collected*>(user_data);
    collected.messages.emplace_back(event->message);
    collected.ids.push_back(event->event_id);
}

TEST_F(ExportsTest, CarriesEventsToCallbacksAndFile) {
    Collected collected;
    std::uint32_t id = 0;
    ASSERT_EQ(zvEventRegisterCallback(Collect, &collected, &id), ZVEVENT_OK);
    const std::string csv = directory_.File("e.csv");
    Initialize(ConfigText("", CsvSink(csv)));
    EXPECT_EQ(LastError(), "");
    EXPECT_EQ(zvEventInitialize(directory_.File("c.xml").c_str()), ZVEVENT_E_ALREADY_INITIALIZED);
    EXPECT_EQ(LastError(), "zvEvent is already initialized");

    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, "one"), ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(42, 0, nullptr, "below the minimum"), ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(42, 3, "src", "two"), ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, ""), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, "three"), ZVEVENT_OK);
    EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
    EXPECT_EQ(collected.messages, (std::vector<std::string>{"one", "two", "three"}));
    EXPECT_EQ(collected.ids[1], 42U);
    EXPECT_EQ(collected.ids[2], collected.ids[0] + 4) << "every submit takes a number";
    const std::string rows = directory_.Read("e.csv");
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 4);
    EXPECT_NE(rows.find(",error,,simple,,src,,,two,0,0,,0,"), std::string::npos);

    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_E_NOT_INITIALIZED);
    EXPECT_EQ(zvEventUnregisterCallback(id), ZVEVENT_E_NOT_FOUND);
    Initialize();
    ASSERT_EQ(zvEventRegisterCallback(Collect, &collected, &id), ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, "four"), ZVEVENT_OK);
    EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
    EXPECT_EQ(collected.ids.back(), collected.ids[2] + 1) << "numbers go on after a restart";
    EXPECT_EQ(zvEventUnregisterCallback(id), ZVEVENT_OK);
    EXPECT_EQ(zvEventUnregisterCallback(id), ZVEVENT_E_NOT_FOUND);
}

TEST_F(ExportsTest, ReloadsItsOwnFileOrAnother) {
    EXPECT_EQ(zvEventReloadConfig(Config(ConfigText()).c_str()), ZVEVENT_E_NOT_INITIALIZED);
    Collected collected;
    std::uint32_t id = 0;
    Initialize();
    ASSERT_EQ(zvEventRegisterCallback(Collect, &collected, &id), ZVEVENT_OK);
    Config(ConfigText(R"(<value name="minimum_severity">error</value>)"));
    EXPECT_EQ(zvEventReloadConfig(nullptr), ZVEVENT_OK) << LastError();
    EXPECT_EQ(zvEventSubmitSimple(0, 2, nullptr, "filtered"), ZVEVENT_OK);
    const std::string other = directory_.Write("other.xml", ConfigText());
    EXPECT_EQ(zvEventReloadConfig(other.c_str()), ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(0, 2, nullptr, "passes"), ZVEVENT_OK);

    // A failing reload leaves everything as it was: bad value, sink that cannot be opened.
    Config(ConfigText(R"(<value name="queue_size">0</value>)"));
    EXPECT_EQ(zvEventReloadConfig(directory_.File("c.xml").c_str()), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(LastError(), "queue_size must be greater than zero");
    directory_.Write("in-the-way", "");
    const std::string blocked = directory_.File("in-the-way/e.csv");
    Config(ConfigText("", CsvSink(blocked)));
    EXPECT_EQ(zvEventReloadConfig(directory_.File("c.xml").c_str()), ZVEVENT_E_FAILURE);
    EXPECT_EQ(LastError(),
              "Unable to create directory for zvEvent CSV sink: " + directory_.File("in-the-way"));
    EXPECT_EQ(zvEventReloadConfig(""), ZVEVENT_OK) << "still other.xml: " << LastError();
    EXPECT_EQ(zvEventSubmitSimple(0, 2, nullptr, "still passes"), ZVEVENT_OK);
    EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
    EXPECT_EQ(collected.messages, (std::vector<std::string>{"passes", "still passes"}));

    EXPECT_EQ(zvEventShutdown(), ZVEVENT_OK);
    EXPECT_EQ(zvEventInitialize(directory_.File("c.xml").c_str()), ZVEVENT_E_FAILURE);
    EXPECT_EQ(zvEventSubmitSimple(0, 2, nullptr, "refused"), ZVEVENT_E_NOT_INITIALIZED);
}

// What a callback may do, and what is refused because it would wait for itself.
struct FromCallback {
    std::uint32_t flush = 0, shutdown = 0, reload = 0, submit = 0, registered = 0;
    std::string flush_text, shutdown_text;
};

TEST_F(ExportsTest, RefusesToWaitForItselfInACallback) {
    Initialize();
    FromCallback seen;
    std::uint32_t id = 0;
    ASSERT_EQ(zvEventRegisterCallback(
                  [](const zvEventRecord* event, void* user_data) {
                      if (event->message != std::string("go")) return;
                      auto& s = *static_cast<FromCallback*>(user_data);
                      std::uint32_t other = 0;
                      s.flush = zvEventFlush(0);
                      s.flush_text = LastError();
                      s.shutdown = zvEventShutdown();
                      s.shutdown_text = LastError();
                      s.reload = zvEventReloadConfig(nullptr);
                      s.submit = zvEventSubmitSimple(0, 1, nullptr, "from the callback");
                      s.registered = zvEventRegisterCallback([](const zvEventRecord*, void*) {},
                                                             nullptr, &other);
                      zvEventUnregisterCallback(other);
                  },
                  &seen, &id),
              ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, "go"), ZVEVENT_OK);
    EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
    EXPECT_EQ(seen.flush, ZVEVENT_E_FAILURE);
    EXPECT_EQ(seen.flush_text, "zvEventFlush cannot be called from a callback");
    EXPECT_EQ(seen.shutdown, ZVEVENT_E_FAILURE);
    EXPECT_EQ(seen.shutdown_text, "zvEventShutdown cannot be called from a callback");
    EXPECT_EQ(seen.reload + seen.submit + seen.registered, 0U);
}

// An initialise that comes while a shutdown still drains waits for its end; submits are refused.
TEST_F(ExportsTest, InitialiseWaitsForAShutdownUnderWay) {
    Initialize();
    test::Gate gate(false);
    std::uint32_t id = 0;
    ASSERT_EQ(zvEventRegisterCallback(
                  [](const zvEventRecord*, void* held) { static_cast<test::Gate*>(held)->Pass(); },
                  &gate, &id),
              ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, "held"), ZVEVENT_OK);
    ASSERT_TRUE(gate.WaitForArrivals(1));
    std::uint32_t stopped = 1;
    std::uint32_t started = 1;
    std::thread shutdown([&] { stopped = zvEventShutdown(); });
    while (zvEventSubmitSimple(0, 0, nullptr, "probe") == ZVEVENT_OK)
        std::this_thread::yield();
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_E_NOT_INITIALIZED) << "at once";
    std::thread initialize([&] { started = zvEventInitialize(directory_.File("c.xml").c_str()); });
    gate.Open();
    shutdown.join();
    initialize.join();
    EXPECT_EQ(stopped, ZVEVENT_OK);
    EXPECT_EQ(started, ZVEVENT_OK);
    EXPECT_EQ(zvEventSubmitSimple(0, 1, nullptr, "m"), ZVEVENT_OK);
    EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
}

struct Tally {
    std::vector<std::uint64_t> next = std::vector<std::uint64_t>(4, 0);
    bool in_order = true;
};

// Everything at once: what was accepted arrives, each thread's events in their order.
TEST_F(ExportsTest, LosesNothingUnderReloadsFlushesAndRegistrations) {
    constexpr std::uint64_t kEvents = 100'000;
    Initialize(ConfigText(R"(<value name="queue_size">1000000</value>)"));
    Tally tally;
    std::uint32_t id = 0;
    ASSERT_EQ(zvEventRegisterCallback(
                  [](const zvEventRecord* event, void* user_data) {
                      auto& t = *static_cast<Tally*>(user_data);
                      const auto thread = static_cast<std::size_t>(event->pts);
                      t.in_order = t.in_order && event->duration_ms == t.next[thread];
                      t.next[thread] = event->duration_ms + 1;
                  },
                  &tally, &id),
              ZVEVENT_OK);
    std::atomic<int> running{4};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&running, t] {
            zvEventRecord record{};
            record.struct_size = sizeof record;
            record.version = ZVEVENT_API_VERSION;
            record.message = "m";
            record.severity = zvEventSeverityInfo;
            record.pts = t;
            for (std::uint64_t i = 0; i < kEvents; ++i) {
                record.duration_ms = i;
                EXPECT_EQ(zvEventSubmit(&record), ZVEVENT_OK);
            }
            --running;
        });
    }
    const std::string path = directory_.File("c.xml");
    threads.emplace_back([&] {
        while (running != 0)
            EXPECT_EQ(zvEventReloadConfig(path.c_str()), ZVEVENT_OK);
    });
    while (running != 0) {
        zvEventFlush(1);
        std::uint32_t other = 0;
        EXPECT_EQ(zvEventRegisterCallback([](const zvEventRecord*, void*) {}, nullptr, &other),
                  ZVEVENT_OK);
        EXPECT_EQ(zvEventUnregisterCallback(other), ZVEVENT_OK);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(zvEventFlush(0), ZVEVENT_OK);
    EXPECT_TRUE(tally.in_order);
    EXPECT_EQ(tally.next, std::vector<std::uint64_t>(4, kEvents));
    const CoreStatistics statistics = Lifecycle::Instance().Statistics();
    EXPECT_EQ(statistics.processed, 4 * kEvents);
    EXPECT_EQ(statistics.dropped, 0U);
}

}  // namespace
}  // namespace zvevent
