// The exported functions from end to end: configuration file in, callbacks and CSV rows out.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "api/exception_guard.h"
#include "support/config_text.h"
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

// Of the call that was made for the last argument.
void Expect(std::uint32_t code, const std::string& text, std::uint32_t result) {
    EXPECT_EQ(result, code) << text;
    EXPECT_EQ(LastError(), text);
}

std::uint32_t Submit(const char* message, std::uint32_t severity = zvEventSeverityInfo) {
    return zvEventSubmitSimple(0, severity, nullptr, message);
}

std::uint32_t Register(zvEventCallback callback, void* user_data) {
    std::uint32_t id = 0;
    EXPECT_EQ(zvEventRegisterCallback(callback, user_data, &id), ZVEVENT_OK);
    return id;
}

void Ignore(const zvEventRecord*, void*) {}

void AllOk(std::initializer_list<std::uint32_t> results) {
    for (const std::uint32_t& result : results)
        EXPECT_EQ(result, ZVEVENT_OK)
            << "call " << &result - results.begin() << ": " << LastError();
}

struct ExportsTest : testing::Test {
    ~ExportsTest() override { zvEventShutdown(); }

    // Writes a configuration with only callbacks as output, or also a CSV file.
    std::string Config(const std::string& core = "", const std::string& csv = "") {
        using test::Key, test::Value;
        const std::string none = Key("native", Key("main", Value("enabled", "0")));
        const std::string file =
            Key("csv", Key("default", Value("enabled", "1") + Value("path", csv)));
        return directory_.Write(
            "c.xml", test::ConfigText(core, Key("sink", csv.empty() ? none : none + file)));
    }

    static void Initialize(const std::string& path) { AllOk({zvEventInitialize(path.c_str())}); }

    test::TempDirectory directory_;
};

TEST_F(ExportsTest, ReportsEveryOutcomeInTheLastError) {
    EXPECT_EQ(zvEventGetApiVersion(), 65536U);
    Expect(0x80050001, "zvEvent is not initialized", zvEventShutdown());
    Expect(0x80050001, "zvEvent is not initialized", zvEventFlush(1));
    Expect(0x80050001, "zvEvent is not initialized", Submit("m"));
    Expect(0x80050001, "zvEvent is not initialized", zvEventReloadConfig(Config().c_str()));
    Expect(0x80050003, "Invalid ZVEvent", zvEventSubmitSimple(5, 4, nullptr, "m"));
    Expect(0x80050003, "Invalid ZVEvent", zvEventSubmit(nullptr));
    const char* text = "zvEvent requires a zvCFG XML config path";
    Expect(0x80050003, text, zvEventInitialize(nullptr));
    Expect(0x80050003, text, zvEventReloadConfig(""));
    Expect(0x80050003, "Unable to open zvEvent config: no", zvEventReloadConfig("no"));
    text = "Invalid callback registration arguments";
    Expect(0x80050003, text, zvEventRegisterCallback(nullptr, nullptr, nullptr));
    Expect(0x80050004, "Callback id was not found", zvEventUnregisterCallback(0));
    text = "Invalid Windows Event Log source name";
    Expect(0x80050003, text, zvEventInstallWindowsEventSource("", nullptr));
    Expect(0x80050003, text, zvEventRemoveWindowsEventSource("a\\b"));
    char buffer[8] = "unknown";
    Expect(0x80050003, "Invalid last-error buffer", zvEventGetLastError(nullptr, 5));
    Expect(0x80050003, "Invalid last-error buffer", zvEventGetLastError(buffer, 0));
    AllOk({zvEventGetLastError(buffer, 1)});
    EXPECT_STREQ(buffer, "");
    AllOk({zvEventGetLastError(buffer, sizeof buffer)});
    EXPECT_STREQ(buffer, "Invalid");
    std::thread([] { EXPECT_EQ(LastError(), "") << "each thread has its own"; }).join();
    const auto guarded = [](auto body) { return Guarded("zvEventFlush", body); };
    Expect(0x80050005, "zvEventFlush failed: why",
           guarded([]() -> std::uint32_t { throw std::runtime_error("why"); }));
    Expect(0x80050005, "zvEventFlush failed with an unknown exception",
           guarded([]() -> std::uint32_t { throw 1; }));
}

struct Collected {
    std::string messages;
    std::vector<std::uint64_t> ids;
};

void Collect(const zvEventRecord* event, void* user_data) {
    static_cast<Collected*>(user_data)->messages += event->message + std::string(" ");
    static_cast<Collected*>(user_data)->ids.push_back(event->event_id);
}

TEST_F(ExportsTest, CarriesEventsToCallbacksAndFile) {
    Collected collected;
    std::uint32_t id = Register(Collect, &collected);
    Initialize(Config("", directory_.File("e.csv")));
    EXPECT_EQ(LastError(), "");
    Expect(ZVEVENT_E_ALREADY_INITIALIZED, "zvEvent is already initialized",
           zvEventInitialize(directory_.File("c.xml").c_str()));
    AllOk(
        {Submit("one"), Submit("below the minimum", 0), zvEventSubmitSimple(42, 3, "src", "two")});
    EXPECT_EQ(Submit(""), ZVEVENT_E_INVALID_ARGUMENT);
    AllOk({Submit("three"), zvEventFlush(0)});
    EXPECT_EQ(collected.messages, "one two three ");
    EXPECT_EQ(collected.ids[1], 42U);
    EXPECT_EQ(collected.ids[2], collected.ids[0] + 4) << "every submit takes a number";
    const std::string rows = directory_.Read("e.csv");
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 4);
    EXPECT_NE(rows.find(",error,,simple,,src,,,two,0,0,,0,"), std::string::npos);

    AllOk({zvEventShutdown()});
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_E_NOT_INITIALIZED);
    EXPECT_EQ(zvEventUnregisterCallback(id), ZVEVENT_E_NOT_FOUND);
    Initialize(Config());
    id = Register(Collect, &collected);
    AllOk({Submit("four"), zvEventFlush(0), zvEventUnregisterCallback(id)});
    EXPECT_EQ(collected.ids.back(), collected.ids[2] + 1) << "numbers go on after a restart";
    EXPECT_EQ(zvEventUnregisterCallback(id), ZVEVENT_E_NOT_FOUND);
}

TEST_F(ExportsTest, ReloadsItsOwnFileOrAnother) {
    Collected collected;
    const std::string config = Config();
    const std::string other = directory_.Write("other.xml", directory_.Read("c.xml"));
    Initialize(config);
    Register(Collect, &collected);
    Config(test::Value("minimum_severity", "error"));
    AllOk({zvEventReloadConfig(nullptr), Submit("filtered")});
    AllOk({zvEventReloadConfig(other.c_str()), Submit("passes")});
    // A failing reload leaves everything as it was: bad value, sink that cannot be opened.
    Config(test::Value("queue_size", "0"));
    Expect(ZVEVENT_E_INVALID_ARGUMENT, "queue_size must be greater than zero",
           zvEventReloadConfig(config.c_str()));
    Config("", directory_.Write("in-the-way", "") + "/e.csv");
    const std::string text =
        "Unable to create directory for zvEvent CSV sink: " + directory_.File("in-the-way");
    Expect(ZVEVENT_E_FAILURE, text, zvEventReloadConfig(config.c_str()));
    // The file in force is found empty: somebody is just writing it. Another one is completed.
    const std::string in_force = directory_.Read("other.xml");
    for (const char* const path : {"", other.c_str()}) {
        directory_.Write("other.xml", " \n");
        Expect(ZVEVENT_E_INVALID_ARGUMENT, "zvEvent config is empty: " + other,
               zvEventReloadConfig(path));
        EXPECT_EQ(directory_.Read("other.xml"), " \n");
    }
    directory_.Write("other.xml", in_force);
    AllOk({zvEventReloadConfig("") /* still other.xml */, Submit("too"), zvEventFlush(0)});
    EXPECT_EQ(LastError(), "");
    EXPECT_EQ(collected.messages, "passes too ");
    AllOk({zvEventReloadConfig(directory_.Write("empty.xml", "").c_str())});
    EXPECT_NE(directory_.Read("empty.xml"), "");
    AllOk({zvEventShutdown()});
    Expect(ZVEVENT_E_FAILURE, text, zvEventInitialize(config.c_str()));
    EXPECT_EQ(Submit("refused"), ZVEVENT_E_NOT_INITIALIZED);
}

// What a callback may do, and what is refused because it would wait for itself.
TEST_F(ExportsTest, RefusesToWaitForItselfInACallback) {
    Initialize(Config());
    bool called = false;
    const auto callback = [](const zvEventRecord* event, void* user_data) {
        if (event->message != std::string("go")) return;
        Expect(ZVEVENT_E_FAILURE, "zvEventFlush cannot be called from a callback", zvEventFlush(0));
        Expect(ZVEVENT_E_FAILURE, "zvEventShutdown cannot be called from a callback",
               zvEventShutdown());
        AllOk({zvEventReloadConfig(nullptr), Submit("from the callback"),
               zvEventUnregisterCallback(Register(Ignore, nullptr))});
        *static_cast<bool*>(user_data) = true;
    };
    Register(callback, &called);
    AllOk({Submit("go"), zvEventFlush(0)});
    EXPECT_TRUE(called);
}

// An initialise that comes while a shutdown still drains waits for its end; submits are refused.
TEST_F(ExportsTest, InitialiseWaitsForAShutdownUnderWay) {
    Initialize(Config());
    test::Gate gate(false);
    Register([](const zvEventRecord*, void* held) { static_cast<test::Gate*>(held)->Pass(); },
             &gate);
    AllOk({Submit("held")});
    ASSERT_TRUE(gate.WaitForArrivals(1));
    std::thread shutdown([] { AllOk({zvEventShutdown()}); });
    while (Submit("probe", 0) == ZVEVENT_OK)
        std::this_thread::yield();
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_E_NOT_INITIALIZED) << "at once";
    std::thread initialize([this] { Initialize(directory_.File("c.xml")); });
    gate.Set(true);
    shutdown.join();
    initialize.join();
    AllOk({Submit("m"), zvEventFlush(0)});
}

constexpr std::uint32_t kEvents = 100'000;  // of each thread
constexpr std::uint32_t kLongest = 420;     // bytes; more than a place in the queue holds

// Counts each thread's events as long as they arrive in order and whole.
void Count(const zvEventRecord* event, void* user_data) {
    std::uint64_t& next = static_cast<std::uint64_t*>(user_data)[event->event_id / kEvents];
    const std::uint64_t number = event->event_id % kEvents;
    if (number == next && std::strlen(event->message) == 1 + number % kLongest) ++next;
}

// Everything at once: what was accepted arrives, each thread's events in their order.
TEST_F(ExportsTest, LosesNothingUnderReloadsFlushesAndRegistrations) {
    Initialize(Config(test::Value("queue_size", "1000000")));
    std::vector<std::uint64_t> counts(5, 0);
    Register(Count, counts.data());
    const std::string text(kLongest, 'm');
    std::vector<std::thread> threads;
    for (std::uint32_t t = 1; t < 5; ++t) {
        threads.emplace_back([&text, t] {
            for (std::uint32_t i = 0; i < kEvents; ++i)
                AllOk({zvEventSubmitSimple(t * kEvents + i, 1, nullptr,
                                           &text[kLongest - 1 - i % kLongest])});
        });
    }
    for (int i = 0; i < 100; ++i) {
        zvEventFlush(1);
        AllOk({zvEventReloadConfig(nullptr), zvEventUnregisterCallback(Register(Ignore, nullptr))});
    }
    for (std::thread& thread : threads)
        thread.join();
    AllOk({zvEventFlush(0)});
    EXPECT_EQ(counts, std::vector<std::uint64_t>({0, kEvents, kEvents, kEvents, kEvents}));
}

// Starts and stops as well: every call has one of its own outcomes, and all that was accepted is in
// the file, whichever start it came after.
TEST_F(ExportsTest, TakesEveryCallFromEightThreads) {
    const std::string status_file = test::Value("status_file", directory_.File("status.json"));
    const std::string config = Config(status_file, directory_.File("e.csv"));
    std::atomic<int> accepted{0};
    const std::pair<std::function<std::uint32_t()>, std::vector<std::uint32_t>> calls[] = {
        {[&] { return zvEventInitialize(config.c_str()); }, {ZVEVENT_E_ALREADY_INITIALIZED}},
        {zvEventShutdown, {ZVEVENT_E_NOT_INITIALIZED}},
        {[] { return zvEventReloadConfig(nullptr); },
         {ZVEVENT_E_NOT_INITIALIZED, ZVEVENT_E_INVALID_ARGUMENT}},
        {[] { return zvEventFlush(1); }, {ZVEVENT_E_NOT_INITIALIZED, ZVEVENT_E_FAILURE}},
        {[] { return zvEventUnregisterCallback(Register(Ignore, nullptr)); },
         {ZVEVENT_E_NOT_FOUND}},
        {[] { return Submit("m"); }, {ZVEVENT_E_NOT_INITIALIZED}}};
    std::vector<std::jthread> threads;
    for (std::uint32_t t = 1; t <= 8; ++t) {
        threads.emplace_back([&, t] {
            std::minstd_rand random(t);
            for (int i = 0; i < 500; ++i) {
                const auto& [call, refusals] = calls[random() / 7 % std::size(calls)];
                const std::uint32_t result = call();
                if (result == ZVEVENT_OK)
                    accepted += &call == &std::end(calls)[-1].first;
                else
                    EXPECT_TRUE(std::ranges::count(refusals, result)) << LastError();
            }
        });
    }
    threads.clear();
    zvEventShutdown();
    EXPECT_GT(accepted, 0);
    EXPECT_EQ(std::ranges::count(directory_.Read("e.csv"), '\n'), accepted + 1);
}

}  // namespace
}  // namespace zvevent
