// The C++ face on the library itself: what it adds to the C functions.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/config_text.h"
#include "support/gate.h"
#include "support/temp_directory.h"
#include "zvEvent/zvEvent.hpp"

namespace zvevent {
namespace {

using zvEvent::Event;
using zvEvent::Session;
using zvEvent::Subscribe;

const std::string kQuiet = test::ConfigText(
    "", test::Key("sink", test::Key("native", test::Key("main", test::Value("enabled", "0")))));

struct CppFace : testing::Test {
    void Send(const char* message) {
        const zvEvent::Result result = Event(message).Submit();
        EXPECT_TRUE(result) << result.text();
    }
    void Flush() { EXPECT_TRUE(zvEvent::Flush(test::kPatience)); }

    test::TempDirectory directory_;
    std::string config_ = directory_.Write("c.xml", kQuiet);
};

TEST_F(CppFace, AnEventOwnsWhatWasSetAndLeavesTheRestAbsent) {
    using R = zvEventRecord;
    const std::pair<Event& (Event::*)(std::string), const char * R::*> texts[] = {
        {&Event::Type, &R::event_type},         {&Event::SourceId, &R::source_id},
        {&Event::SourceName, &R::source_name},  {&Event::Action, &R::action},
        {&Event::DedupeKey, &R::dedupe_key},    {&Event::CorrelationId, &R::correlation_id},
        {&Event::Timecode, &R::timecode},       {&Event::Units, &R::units},
        {&Event::DetailsJson, &R::details_json}};
    for (const auto& [set, text] : texts) {
        Event event("m");
        EXPECT_EQ(event.Record().*text, nullptr);
        (event.*set)(std::string(40, 'x'));
        const Event taken = std::exchange(event, Event("gone"));
        EXPECT_EQ(taken.Record().*text, std::string(40, 'x'));
        EXPECT_STREQ(taken.Record().message, "m");
    }
    using namespace std::chrono;
    Event event("");
    event.Severity(zvEvent::Severity::Error).Value(1.5).Threshold(2.5).Duration(seconds(3));
    event.Time(system_clock::time_point(seconds(4))).PtpNs(5).Pts(-6).EventId(7);
    const R r = event.Record();
    const auto numbers = std::tuple(r.severity, r.value, r.threshold, r.duration_ms, r.utc_ns,
                                    r.ptp_ns, r.pts, r.event_id);
    EXPECT_EQ(numbers, std::tuple(3u, 1.5, 2.5, 3000u, 4'000'000'000u, 5u, -6, 7u));
    EXPECT_EQ(event.Duration(seconds(-1)).Record().duration_ms, 0u);
}

TEST_F(CppFace, ASessionEndsOnlyWhatItHasStarted) {
    const Session none(directory_.File("missing.xml"));
    EXPECT_FALSE(none);
    EXPECT_STRNE(none.result().text(), "");
    try {
        Event("m").Submit().OrThrow();
        ADD_FAILURE() << "submitted without a session";
    } catch (const zvEvent::Error& error) {
        EXPECT_EQ(error.code(), ZVEVENT_E_NOT_INITIALIZED);
        EXPECT_STREQ(error.what(), "zvEvent is not initialized");
    }
    Session session(config_);
    ASSERT_TRUE(session) << session.result().text();
    { EXPECT_EQ(Session(config_).result().code(), ZVEVENT_E_ALREADY_INITIALIZED); }
    Send("still there");
    EXPECT_TRUE(zvEvent::Reload());
    const auto refused = Subscribe([&](const zvEventRecord&) {
        EXPECT_EQ(session.Shutdown().code(), ZVEVENT_E_FAILURE);
        EXPECT_TRUE(session);
    });
    Send("shut down in a callback");
    Flush();
    Session moved = std::move(session);
    EXPECT_TRUE(moved.Shutdown());
    EXPECT_EQ(zvEventShutdown(), ZVEVENT_E_NOT_INITIALIZED);
}

TEST_F(CppFace, ASubscriptionEndsBehindItsRunningFunction) {
    const Session session(config_);
    test::Gate gate(false), late_gate(false);
    std::atomic<bool> returned{false};
    auto owned = std::make_unique<int>(1);  // a function that cannot be copied
    auto running = Subscribe([&, owned = std::move(owned)](const zvEventRecord&) {
        gate.Pass();
        returned = true;
    });
    Send("held");
    ASSERT_TRUE(gate.WaitForArrivals(1));
    std::thread opener([&] { gate.Set(true); });
    running.End();
    EXPECT_TRUE(returned);
    opener.join();
    Flush();

    // The worker has the second function on its list when that ends, but has not called it yet.
    const auto first = Subscribe([&](const zvEventRecord&) { late_gate.Pass(); });
    auto second = Subscribe([](const zvEventRecord&) { ADD_FAILURE() << "called after its end"; });
    Send("in hand");
    ASSERT_TRUE(late_gate.WaitForArrivals(1));
    second.End();
    late_gate.Set(true);
    Flush();
}

TEST_F(CppFace, AFunctionMayEndItsOwnSubscriptionAndMayThrow) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> kept = held;
    zvEvent::Subscription own;
    own = Subscribe([&own, held = std::move(held)](const zvEventRecord&) {
        ++*held;
        own.End();
        EXPECT_EQ(*held, 1);
    });
    const auto thrower = Subscribe([](const zvEventRecord& event) {
        if (std::string(event.message) == "2") throw 2;
    });
    int calls = 0;
    const auto last = Subscribe([&](const zvEventRecord&) { ++calls; });
    Session session(config_);
    for (const char* message : {"1", "2", "3"})
        Send(message);
    Flush();
    EXPECT_TRUE(kept.expired());
    EXPECT_EQ(thrower.exceptions(), 1u);
    EXPECT_EQ(calls, 3);
}

}  // namespace
}  // namespace zvevent
