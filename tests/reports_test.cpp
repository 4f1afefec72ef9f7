#include "health/reports.h"

#include <gtest/gtest.h>

namespace zvevent {
namespace {

// A library with one output; what its looks report, as "raise SUBJECT LOST;".
class ReportsTest : public testing::Test {
protected:
    ReportsTest() {
        status_.outputs.resize(1);
        Output().output = "csv/default";
    }
    std::string LookAfter(std::uint64_t seconds) {
        now_ms_ += seconds * 1000;
        std::string told;
        reports_.LookAt(status_, now_ms_, [&](const Report& report) {
            if (!takes_) return false;
            told.append(report.action).append(" ").append(report.subject).append(" ");
            told += std::to_string(report.lost) + ";";
            return true;
        });
        return told;
    }
    OutputStatus& Output() { return status_.outputs[0]; }
    DroppedEvents& Dropped() { return status_.core.dropped; }

    Reports reports_;
    LibraryStatus status_;
    std::uint64_t now_ms_ = 1;
    bool takes_ = true;
};

TEST_F(ReportsTest, TellsOfAnOutputOnceAMinute) {
    EXPECT_EQ(LookAfter(1), "");
    Output().failed = 3;
    Output().failing = true;
    EXPECT_EQ(LookAfter(1), "raise zvevent.output:csv/default 3;");
    Output().failed = 9;
    EXPECT_EQ(LookAfter(100), "");
    Output().failing = false;
    EXPECT_EQ(LookAfter(1), "clear zvevent.output:csv/default 9;");
    // Comes and goes between two looks: both at once, and then none for a minute.
    Output().failed = 10;
    EXPECT_EQ(LookAfter(1), "raise zvevent.output:csv/default 1;");
    EXPECT_EQ(LookAfter(58), "");
    EXPECT_EQ(LookAfter(1), "clear zvevent.output:csv/default 1;");
    Output().failed = 11;
    EXPECT_EQ(LookAfter(0), "");
    EXPECT_EQ(LookAfter(1), "raise zvevent.output:csv/default 1;");
}

TEST_F(ReportsTest, TellsOfAnOutboxThatWaitsOrDiscards) {
    constexpr std::uint64_t kMinute = 60'000'000'000;
    OutboxStatus& outbox = Output().outbox.emplace();
    outbox.refused = 4;  // by an earlier run
    outbox.oldest_ns = 1;
    for (const auto& [now_ns, told] :
         {std::pair{kMinute, ""}, {kMinute + 2, "raise zvevent.output:csv/default 0;"}}) {
        status_.written_ns = now_ns;
        EXPECT_EQ(LookAfter(1), told);
    }
    outbox.oldest_ns = 0;
    EXPECT_EQ(LookAfter(1), "clear zvevent.output:csv/default 0;");
    outbox.refused = 3;
    outbox.discarded = 2;  // a refused one, and another
    EXPECT_EQ(LookAfter(100),
              "raise zvevent.output:csv/default 1;clear zvevent.output:csv/default 1;");
}

TEST_F(ReportsTest, ClearsAnOutputThatIsGoneAndBeginsAnew) {
    Output().failed = 57;
    Output().failing = true;
    EXPECT_EQ(LookAfter(1), "raise zvevent.output:csv/default 57;");
    Output().output = "csv/other";
    Output().failing = false;
    Output().failed = 0;
    EXPECT_EQ(LookAfter(1), "clear zvevent.output:csv/default 0;");
    Output().output = "csv/default";
    EXPECT_EQ(LookAfter(100), "");
}

TEST_F(ReportsTest, LeavesItsOwnLossesOutOfAccount) {
    takes_ = false;
    Dropped().full = 5;
    status_.core.queued = status_.core.queue_capacity = 10;
    for (int look = 0; look < 3; ++look, ++Dropped().full)
        EXPECT_EQ(LookAfter(1), "");
    takes_ = true;
    EXPECT_EQ(LookAfter(1), "raise zvevent.queue 5;");
    status_.core.queued = 0;
    EXPECT_EQ(LookAfter(1), "clear zvevent.queue 5;");
    EXPECT_EQ(LookAfter(100), "");
}

}  // namespace
}  // namespace zvevent
