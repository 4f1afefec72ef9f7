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
                          std::vector<zvEventSinkPtr>* sinks, std::string*) {
    for (const auto& entry : config.sinks) {
        if (entry.name == "cannot open") return ZVEVENT_E_NOT_FOUND;
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

struct SinkSetTest : testing::Test {
    ~SinkSetTest() override { journal.clear(); }
    static std::string Journal() { return std::exchange(journal, {}); }

    // The outputs with their counts of delivered, below the severity, failed and by fallback, and
    // the last failure.
    std::string Status() {
        std::string text;
        for (const OutputStatus& status : sinks_.Status()) {
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

    std::uint32_t Register(std::function<void()>& callback) {
        std::uint32_t id = 0;
        sinks_.callbacks().Register(
            [](const zvEventRecord*, void* to_call) {
                (*static_cast<std::function<void()>*>(to_call))();
            },
            &callback, &id);
        return id;
    }

    SinkSet sinks_{FakeFactory};
    zvEventNormalizedEvent event_ = test::SampleEvent();
};

TEST_F(SinkSetTest, DeliversToEverySinkWhateverTheOthersDo) {
    ASSERT_EQ(sinks_.Initialize(ConfigOf({"throws", "fails", "falls back", "works"})), ZVEVENT_OK);
    std::uint64_t failures = 9;
    std::uint64_t fallbacks = 9;
    EXPECT_EQ(sinks_.Dispatch(event_, &failures, &fallbacks), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "write throws;write fails;write falls back;write works;");
    EXPECT_EQ(failures, 2U);
    EXPECT_EQ(fallbacks, 1U);
    EXPECT_EQ(sinks_.Flush(7), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "flush7 throws;flush7 fails;flush7 falls back;flush7 works;");
    EXPECT_EQ(sinks_.ErrorText(""), "zvEvent sink flush failed");
    EXPECT_EQ(LastErrorText(), "zvEvent sink flush failed");
    event_.severity = zvEventSeverityDebug;
    sinks_.Dispatch(event_, nullptr, nullptr);
    EXPECT_EQ(Status(),
              "native/throws 0 0 2 0 fails ;native/fails 0 0 2 0 fails could not;"
              "native/falls back 1 1 0 1 ;native/works 1 1 0 0 ;callbacks 2 0 0 0 ;");
    // What stays under its name goes on counting. A report about an output is not given to it.
    ASSERT_EQ(sinks_.Reload(ConfigOf({"works", "new", "fails"})), ZVEVENT_OK);
    EXPECT_NE(Status().find("native/fails 0 0 2 0 fails could not;"), std::string::npos);
    event_.event_type = kOutputReport;
    event_.source_name = kReportSource;
    event_.source_id = "native/works";
    sinks_.Dispatch(event_, nullptr, nullptr);
    EXPECT_EQ(Status(),
              "native/works 1 1 0 0 ;native/new 0 1 0 0 ;native/fails 0 0 3 0 fails could not;"
              "callbacks 3 0 0 0 ;");
    event_.source_name = "the application's own";
    sinks_.Dispatch(event_, nullptr, nullptr);
    EXPECT_TRUE(Status().starts_with("native/works 1 2 0 0 ;")) << Status();
}

TEST_F(SinkSetTest, KeepsTheOldSinksWhenAReloadFails) {
    EXPECT_EQ(sinks_.Initialize(ConfigOf({"cannot open"})), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(sinks_.ErrorText(""), "zvEvent sink initialization failed");
    ASSERT_EQ(sinks_.Initialize(ConfigOf({"old"})), ZVEVENT_OK);
    EXPECT_EQ(sinks_.ErrorText("none"), "none");
    EXPECT_EQ(sinks_.Reload(ConfigOf({"new", "cannot open"})), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(sinks_.ErrorText(""), "zvEvent sink reload failed");
    EXPECT_EQ(sinks_.Dispatch(event_, nullptr, nullptr), ZVEVENT_OK);
    EXPECT_EQ(sinks_.ShutDown(), ZVEVENT_OK);
    EXPECT_EQ(sinks_.Dispatch(event_, nullptr, nullptr), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "write old;");
}

// Who flushes is told of all that was written before, also by sinks that a reload replaces.
TEST_F(SinkSetTest, FlushesReplacedSinksUntilTheySucceed) {
    ASSERT_EQ(sinks_.Initialize(ConfigOf({"fails"})), ZVEVENT_OK);
    ASSERT_EQ(sinks_.Reload(ConfigOf({"old"})), ZVEVENT_OK);
    EXPECT_EQ(sinks_.Flush(7), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "flush1000 fails;flush7 fails;flush7 old;");
    during_write = [&] { EXPECT_EQ(sinks_.Reload(ConfigOf({"new"})), ZVEVENT_OK); };
    sinks_.Dispatch(event_, nullptr, nullptr);
    during_write = [] {};
    EXPECT_EQ(Journal(), "flush1000 fails;write old;") << "no wait for a sink that is writing";
    sinks_.HandOver();
    EXPECT_EQ(Journal(), "flush1000 fails;flush1000 old;hand over new;");
    EXPECT_EQ(sinks_.Flush(7), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "flush7 fails;flush7 new;");
}

TEST_F(SinkSetTest, CallsCallbacksInOrderAndFollowsTheRegistryFromTheNextEvent) {
    zvEventCallbackSink& registry = sinks_.callbacks();
    ASSERT_EQ(sinks_.Initialize(zvEventConfig()), ZVEVENT_OK);
    std::uint32_t id = 0;
    std::function<void()> late = [] { journal += "late "; }, last = [] { journal += "last "; };
    std::function<void()> thrower = [] { throw 7; }, first = [&] {
        journal += "first ";
        Register(late);
        EXPECT_TRUE(registry.Unregister(id));
    };
    id = Register(first);
    Register(thrower);
    Register(last);
    std::uint64_t failures = 0;
    EXPECT_EQ(sinks_.Dispatch(event_, &failures, nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(failures, 1U) << "one for the event, however many callbacks fail";
    EXPECT_EQ(Journal(), "first last ");
    sinks_.Dispatch(event_, nullptr, nullptr);
    EXPECT_EQ(Journal(), "last late ");
    sinks_.ShutDown();
    EXPECT_FALSE(registry.Unregister(id + 1));
    EXPECT_EQ(Register(late), id + 4) << "ids go on";
    registry.SetNextId(0xFFFFFFFF);
    EXPECT_EQ(Register(late), 0xFFFFFFFF);
    EXPECT_EQ(Register(late), 1U);
}

TEST_F(SinkSetTest, FactoryBuildsEnabledEntriesInOrder) {
    const test::TempDirectory directory;
    zvEventConfig config = ConfigOf({"a", "off", "b", "no output"});
    for (zvEventSinkConfig& entry : config.sinks) {
        entry.kind = zvEventSinkKind::csv;
        entry.enabled = entry.name != "off";
        entry.csv.path = directory.File(entry.name);
    }
    config.sinks.back().kind = static_cast<zvEventSinkKind>(99);
    std::vector<zvEventSinkPtr> sinks;
    ASSERT_EQ(
        BuildConfiguredSinks(config, std::make_shared<zvEventCallbackSink>(), &sinks, nullptr),
        ZVEVENT_OK);
    std::string names;
    for (const auto& sink : sinks)
        names += sink->OutputName() + " ";
    EXPECT_EQ(names, "csv/a csv/b other/no output callbacks ");
    EXPECT_FALSE(std::filesystem::exists(directory.Path("off")));
}

}  // namespace
}  // namespace zvevent
