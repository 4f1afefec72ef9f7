#include "sinks/sink_set.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "base/last_error.h"
#include "sinks/sink_factory.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

std::string journal;  // what the fake sinks were asked to do
std::function<void()> during_write = [] {};

// Writes its configured name into the journal; the name says how it fails.
struct FakeSink final : zvEventSink {
    explicit FakeSink(const zvEventSinkConfig& entry) : zvEventSink(entry), name(entry.name) {}
    std::uint32_t write(const zvEventNormalizedEvent&, std::uint64_t* fallbacks) override {
        if (name == "falls back") ++*fallbacks;
        if (name == "fails") Fail("could not");
        during_write();
        return Act("write");
    }
    std::uint32_t flush(std::uint32_t ms) override { return Act("flush" + std::to_string(ms)); }
    void hand_over() override { Act("hand over"); }
    std::uint32_t Act(const std::string& what) const {
        journal += what + " " + name + ";";
        if (name == "throws") throw std::runtime_error("x");
        return name == "fails" ? ZVEVENT_E_FAILURE : ZVEVENT_OK;
    }
    const std::string name;
};

std::uint32_t FakeFactory(const zvEventConfig& config, const zvEventSinkPtr& callback_sink,
                          std::vector<zvEventSinkPtr>* sinks, std::string* error) {
    for (const auto& entry : config.sinks) {
        if (entry.name == "says why") *error = "why";
        if (entry.name == "says why" || entry.name == "cannot open") return ZVEVENT_E_NOT_FOUND;
        sinks->push_back(std::make_shared<FakeSink>(entry));
    }
    sinks->push_back(callback_sink);
    return ZVEVENT_OK;
}

zvEventConfig ConfigOf(std::initializer_list<const char*> names) {
    zvEventConfig config;
    for (const char* name : names)
        config.sinks.emplace_back().name = name;
    return config;
}

std::string Journal() {
    return std::exchange(journal, {});
}

// The outputs with their counts of delivered, below the severity, failed and by fallback, the time
// of the last delivery and the last failure.
std::string StatusOf(SinkSet& sinks) {
    std::string text;
    for (const OutputStatus& status : sinks.Status()) {
        text += status.output;
        for (const std::uint64_t count :
             {status.delivered, status.below_severity, status.failed, status.fallback}) {
            text += " " + std::to_string(count);
        }
        text += (status.failing ? " fails " : " ") + status.last_error + ";";
        EXPECT_EQ(status.last_error.empty(), status.last_error_ns == 0);
    }
    return text;
}

TEST(SinkSet, DeliversToEverySinkWhateverTheOthersDo) {
    SinkSet sinks(FakeFactory);
    ASSERT_EQ(sinks.Initialize(ConfigOf({"throws", "fails", "falls back", "works"})), ZVEVENT_OK);
    std::uint64_t failures = 9;
    std::uint64_t fallbacks = 9;
    zvEventNormalizedEvent event = test::SampleEvent();
    EXPECT_EQ(sinks.Dispatch(event, &failures, &fallbacks), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "write throws;write fails;write falls back;write works;");
    EXPECT_EQ(failures, 2U);
    EXPECT_EQ(fallbacks, 1U);
    EXPECT_EQ(sinks.Flush(7), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "flush7 throws;flush7 fails;flush7 falls back;flush7 works;");
    EXPECT_EQ(sinks.ErrorText(""), "zvEvent sink flush failed");
    EXPECT_EQ(LastErrorText(), "zvEvent sink flush failed");
    event.severity = zvEventSeverityDebug;
    sinks.Dispatch(event, nullptr, nullptr);
    EXPECT_EQ(StatusOf(sinks),
              "native/throws 0 0 2 0 fails ;native/fails 0 0 2 0 fails could not;"
              "native/falls back 1 1 0 1 ;native/works 1 1 0 0 ;callbacks 2 0 0 0 ;");
    // What stays under its name goes on counting.
    ASSERT_EQ(sinks.Reload(ConfigOf({"works", "new", "fails"})), ZVEVENT_OK);
    sinks.Dispatch(test::SampleEvent(), nullptr, nullptr);
    EXPECT_EQ(StatusOf(sinks),
              "native/works 2 1 0 0 ;native/new 1 0 0 0 ;native/fails 0 0 3 0 fails could not;"
              "callbacks 3 0 0 0 ;");
    // A report about an output is not given to that one.
    event.event_type = kOutputReport;
    event.source_name = kReportSource;
    event.source_id = "native/works";
    sinks.Dispatch(event, nullptr, nullptr);
    EXPECT_TRUE(StatusOf(sinks).starts_with("native/works 2 1 0 0 ;native/new 1 1 0 0 ;"));
    Journal();
}

TEST(SinkSet, KeepsTheOldSinksWhenAReloadFails) {
    SinkSet sinks(FakeFactory);
    EXPECT_EQ(sinks.Initialize(ConfigOf({"cannot open"})), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(sinks.ErrorText(""), "zvEvent sink initialization failed");
    ASSERT_EQ(sinks.Initialize(ConfigOf({"old"})), ZVEVENT_OK);
    EXPECT_EQ(sinks.ErrorText("none"), "none");
    EXPECT_EQ(sinks.Reload(ConfigOf({"new", "says why"})), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(LastErrorText(), "why");
    EXPECT_EQ(sinks.Reload(ConfigOf({"cannot open"})), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(sinks.ErrorText(""), "zvEvent sink reload failed");
    EXPECT_EQ(sinks.Dispatch(test::SampleEvent(), nullptr, nullptr), ZVEVENT_OK);
    EXPECT_EQ(sinks.ShutDown(), ZVEVENT_OK);
    EXPECT_EQ(sinks.Dispatch(test::SampleEvent(), nullptr, nullptr), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "write old;");
}

// Who flushes is told of all that was written before, also by sinks that a reload replaces.
TEST(SinkSet, FlushesReplacedSinksUntilTheySucceed) {
    SinkSet sinks(FakeFactory);
    ASSERT_EQ(sinks.Initialize(ConfigOf({"fails"})), ZVEVENT_OK);
    ASSERT_EQ(sinks.Reload(ConfigOf({"old"})), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "flush1000 fails;");
    EXPECT_EQ(sinks.Flush(7), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "flush7 fails;flush7 old;");
    during_write = [&] { EXPECT_EQ(sinks.Reload(ConfigOf({"new"})), ZVEVENT_OK); };
    sinks.Dispatch(test::SampleEvent(), nullptr, nullptr);
    during_write = [] {};
    EXPECT_EQ(Journal(), "flush1000 fails;write old;") << "no wait for a sink that is writing";
    sinks.HandOver();
    EXPECT_EQ(Journal(), "flush1000 fails;flush1000 old;hand over new;");
    EXPECT_EQ(sinks.Flush(7), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "flush7 fails;flush7 new;");
}

// A callback that notes its name, and acts on the registry as the test says.
struct Callback {
    std::string name;
    std::function<void()> act = [] {};
};

std::uint32_t Register(zvEventCallbackSink& registry, Callback& callback) {
    std::uint32_t id = 0;
    registry.Register(
        [](const zvEventRecord*, void* user_data) {
            const auto& called = *static_cast<Callback*>(user_data);
            journal += called.name + " ";
            called.act();
        },
        &callback, &id);
    return id;
}

TEST(SinkSet, CallsCallbacksInOrderAndFollowsTheRegistryFromTheNextEvent) {
    SinkSet sinks(FakeFactory);
    zvEventCallbackSink& registry = sinks.callbacks();
    ASSERT_EQ(sinks.Initialize(zvEventConfig()), ZVEVENT_OK);
    Callback first{"first"}, thrower{"thrower", [] { throw 7; }}, last{"last"}, late{"late"};
    const std::uint32_t id = Register(registry, first);
    first.act = [&] {
        Register(registry, late);
        EXPECT_TRUE(registry.Unregister(id));
    };
    Register(registry, thrower);
    Register(registry, last);
    const zvEventNormalizedEvent event = test::SampleEvent();
    std::uint64_t failures = 0;
    EXPECT_EQ(sinks.Dispatch(event, &failures, nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(failures, 1U) << "one for the event, however many callbacks fail";
    EXPECT_EQ(Journal(), "first thrower last ");
    sinks.Dispatch(event, nullptr, nullptr);
    EXPECT_EQ(Journal(), "thrower last late ");
    sinks.ShutDown();
    EXPECT_FALSE(registry.Unregister(id + 1));
    EXPECT_EQ(Register(registry, late), id + 4) << "ids go on";
    registry.SetNextId(0xFFFFFFFF);
    EXPECT_EQ(Register(registry, late), 0xFFFFFFFF);
    EXPECT_EQ(Register(registry, late), 1U);
}

TEST(SinkSet, FactoryBuildsEnabledEntriesInOrder) {
    const test::TempDirectory directory;
    const auto callback_sink = std::make_shared<zvEventCallbackSink>();
    zvEventConfig config;
    for (const std::string name : {"a", "off", "b", "no output"}) {
        zvEventSinkConfig& entry = config.sinks.emplace_back();
        entry.kind = name == "no output" ? static_cast<zvEventSinkKind>(99) : zvEventSinkKind::csv;
        entry.enabled = name != "off";
        entry.name = name;
        entry.csv.path = directory.File(name);
    }
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    ASSERT_EQ(BuildConfiguredSinks(config, callback_sink, &sinks, &error), ZVEVENT_OK) << error;
    ASSERT_EQ(sinks.size(), 4U);
    EXPECT_EQ(sinks[1]->OutputName() + sinks[2]->OutputName(), "csv/bother/no output");
    EXPECT_EQ(sinks[3], callback_sink);
    EXPECT_EQ(sinks[1]->write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(sinks[1]->flush(0), ZVEVENT_OK);
    EXPECT_GT(directory.Read("b").size(), directory.Read("a").size());
    EXPECT_EQ(directory.Read("off"), "");

    config.sinks[0].csv.path.clear();
    config.sinks[2].csv.path = directory.File("never");
    EXPECT_EQ(BuildConfiguredSinks(config, callback_sink, &sinks, &error), ZVEVENT_E_FAILURE);
    EXPECT_EQ(error, "zvEvent CSV sink path is empty");
    EXPECT_FALSE(std::filesystem::exists(directory.Path("never")));
}

}  // namespace
}  // namespace zvevent
