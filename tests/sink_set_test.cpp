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

// Writes its configured name into the journal; the name says how it fails.
class FakeSink final : public zvEventSink {
public:
    explicit FakeSink(std::string name) : name_(std::move(name)) {}
    std::uint32_t write(const zvEventNormalizedEvent&, std::uint64_t* fallbacks) override {
        return Act("write", fallbacks);
    }
    std::uint32_t flush(std::uint32_t timeout_ms) override {
        return Act("flush" + std::to_string(timeout_ms), nullptr);
    }

private:
    std::uint32_t Act(const std::string& what, std::uint64_t* fallbacks) {
        journal += what + " " + name_ + ";";
        if (name_ == "throws") throw std::runtime_error("x");
        if (name_ == "falls back" && fallbacks != nullptr) ++*fallbacks;
        return name_ == "fails" ? ZVEVENT_E_FAILURE : ZVEVENT_OK;
    }
    const std::string name_;
};

std::uint32_t FakeFactory(const zvEventConfig& config, const zvEventSinkPtr& callback_sink,
                          std::vector<zvEventSinkPtr>* sinks, std::string* error) {
    for (const auto& entry : config.sinks) {
        if (entry.name == "cannot open") {
            *error = entry.csv.path;
            return ZVEVENT_E_NOT_FOUND;
        }
        sinks->push_back(std::make_shared<FakeSink>(entry.name));
    }
    sinks->push_back(callback_sink);
    return ZVEVENT_OK;
}

zvEventConfig ConfigOf(std::initializer_list<const char*> names, const char* path = "") {
    zvEventConfig config;
    for (const char* name : names) {
        config.sinks.emplace_back();
        config.sinks.back().name = name;
        config.sinks.back().csv.path = path;
    }
    return config;
}

std::string Journal() {
    return std::exchange(journal, {});
}

TEST(SinkSet, DeliversToEverySinkWhateverTheOthersDo) {
    SinkSet sinks(FakeFactory);
    ASSERT_EQ(sinks.Initialize(ConfigOf({"throws", "fails", "falls back", "works"})), ZVEVENT_OK);
    std::uint64_t failures = 9;
    std::uint64_t fallbacks = 9;
    EXPECT_EQ(sinks.Dispatch(test::SampleEvent(), &failures, &fallbacks), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "write throws;write fails;write falls back;write works;");
    EXPECT_EQ(failures, 2U);
    EXPECT_EQ(fallbacks, 1U);

    ClearLastErrorText();
    EXPECT_EQ(sinks.Flush(7), ZVEVENT_E_FAILURE);
    EXPECT_EQ(Journal(), "flush7 throws;flush7 fails;flush7 falls back;flush7 works;");
    EXPECT_EQ(sinks.ErrorText("none"), "zvEvent sink flush failed");
    EXPECT_EQ(LastErrorText(), "zvEvent sink flush failed");

    ASSERT_EQ(sinks.Reload(ConfigOf({"works"})), ZVEVENT_OK);
    EXPECT_EQ(sinks.ErrorText("none"), "none");
    EXPECT_EQ(sinks.Dispatch(test::SampleEvent(), nullptr, nullptr), ZVEVENT_OK);
    EXPECT_EQ(sinks.Flush(0), ZVEVENT_OK);
    Journal();
}

TEST(SinkSet, KeepsTheOldSinksWhenAReloadFails) {
    SinkSet sinks(FakeFactory);
    EXPECT_EQ(sinks.Initialize(ConfigOf({"cannot open"})), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(sinks.ErrorText(""), "zvEvent sink initialization failed");
    ASSERT_EQ(sinks.Initialize(ConfigOf({"old"})), ZVEVENT_OK);
    EXPECT_EQ(sinks.Reload(ConfigOf({"new", "cannot open"}, "why")), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(LastErrorText(), "why");
    EXPECT_EQ(sinks.Reload(ConfigOf({"cannot open"})), ZVEVENT_E_NOT_FOUND);
    EXPECT_EQ(sinks.ErrorText(""), "zvEvent sink reload failed");
    sinks.Dispatch(test::SampleEvent(), nullptr, nullptr);
    EXPECT_EQ(Journal(), "write old;");

    EXPECT_EQ(sinks.ShutDown(), ZVEVENT_OK);
    EXPECT_EQ(sinks.ErrorText("none"), "none");
    EXPECT_EQ(sinks.Dispatch(test::SampleEvent(), nullptr, nullptr), ZVEVENT_OK);
    EXPECT_EQ(Journal(), "");
}

// A callback that appends its name, and acts on the registry as the test says.
struct Callback {
    std::string* order;
    std::string name;
    std::function<void()> act = [] {};
};

void Call(const zvEventRecord* event, void* user_data) {
    const auto& callback = *static_cast<Callback*>(user_data);
    *callback.order += callback.name + event->message + " ";
    callback.act();
}

std::uint32_t Register(zvEventCallbackSink& registry, Callback& callback) {
    std::uint32_t id = 0;
    registry.Register(Call, &callback, &id);
    return id;
}

TEST(SinkSet, CallsCallbacksInOrderAndFollowsTheRegistryFromTheNextEvent) {
    SinkSet sinks(FakeFactory);
    zvEventCallbackSink& registry = sinks.callbacks();
    ASSERT_EQ(sinks.Initialize(zvEventConfig()), ZVEVENT_OK);
    std::string order;
    Callback late{&order, "late"};
    Callback first{&order, "first"};
    Callback thrower{&order, "thrower", [] { throw 7; }};
    Callback last{&order, "last"};
    const std::uint32_t id = Register(registry, first);
    Register(registry, thrower);
    Register(registry, last);
    first.act = [&] {
        Register(registry, late);
        EXPECT_TRUE(registry.Unregister(id));
    };
    zvEventNormalizedEvent event = test::SampleEvent();
    event.message = "1";
    std::uint64_t failures = 0;
    EXPECT_EQ(sinks.Dispatch(event, &failures, nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(failures, 1U) << "one for the event, however many callbacks fail";
    event.message = "2";
    sinks.Dispatch(event, nullptr, nullptr);
    EXPECT_EQ(order, "first1 thrower1 last1 thrower2 last2 late2 ");

    sinks.ShutDown();
    EXPECT_FALSE(registry.Unregister(id + 1));
    EXPECT_EQ(Register(registry, late), id + 4) << "ids go on";
    registry.SetNextId(0xFFFFFFFF);
    EXPECT_EQ(Register(registry, late), 0xFFFFFFFF);
    EXPECT_EQ(Register(registry, late), 1U);
}

TEST(SinkSet, GivesCallbacksTheWholeRecord) {
    SinkSet sinks(FakeFactory);
    ASSERT_EQ(sinks.Initialize(zvEventConfig()), ZVEVENT_OK);
    bool equal = false;
    std::uint32_t id = 0;
    sinks.callbacks().Register(
        [](const zvEventRecord* r, void* result) {
            const zvEventNormalizedEvent e = test::SampleEvent();
            *static_cast<bool*>(result) =
                r->struct_size == 152 && r->version == 0x10000 && r->event_id == e.event_id &&
                r->event_type == e.event_type && r->source_id == e.source_id &&
                r->source_name == e.source_name && r->message == e.message &&
                r->severity == e.severity && r->action == e.action &&
                r->dedupe_key == e.dedupe_key && r->correlation_id == e.correlation_id &&
                r->utc_ns == e.utc_ns && r->ptp_ns == e.ptp_ns && r->pts == e.pts &&
                r->timecode == e.timecode && r->value == e.value && r->threshold == e.threshold &&
                r->units == e.units && r->duration_ms == e.duration_ms &&
                r->details_json == e.details_json;
        },
        &equal, &id);
    sinks.Dispatch(test::SampleEvent(), nullptr, nullptr);
    EXPECT_TRUE(equal);
}

TEST(SinkSet, FactoryBuildsEnabledEntriesInOrder) {
    const test::TempDirectory directory;
    const auto callback_sink = std::make_shared<zvEventCallbackSink>();
    zvEventConfig config;
    for (const char* name : {"a", "off", "b"}) {
        config.sinks.emplace_back();
        config.sinks.back().kind = zvEventSinkKind::csv;
        config.sinks.back().enabled = name != std::string("off");
        config.sinks.back().csv.path = directory.File(std::string(name) + ".csv");
    }
    config.sinks.emplace_back();
    config.sinks.back().kind = static_cast<zvEventSinkKind>(99);  // a kind without an output
    config.sinks.back().enabled = true;
    std::vector<zvEventSinkPtr> sinks;
    std::string error;
    ASSERT_EQ(BuildConfiguredSinks(config, callback_sink, &sinks, &error), ZVEVENT_OK) << error;
    ASSERT_EQ(sinks.size(), 4U);
    EXPECT_EQ(sinks.back(), callback_sink);
    EXPECT_EQ(sinks[2]->write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(sinks[2]->flush(0), ZVEVENT_OK);
    EXPECT_EQ(directory.Read("off.csv"), "");

    config.sinks[0].csv.path.clear();
    config.sinks[2].csv.path = directory.File("never.csv");
    EXPECT_EQ(BuildConfiguredSinks(config, callback_sink, &sinks, &error), ZVEVENT_E_FAILURE);
    EXPECT_EQ(error, "zvEvent CSV sink path is empty");
    EXPECT_FALSE(std::filesystem::exists(directory.File("never.csv")));
    EXPECT_EQ(BuildConfiguredSinks(config, callback_sink, nullptr, &error),
              ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(BuildConfiguredSinks(zvEventConfig(), callback_sink, &sinks, &error), ZVEVENT_OK);
    EXPECT_EQ(sinks.size(), 1U);
}

}  // namespace
}  // namespace zvevent
