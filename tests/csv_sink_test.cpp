#include "sinks/csv_sink.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "format/csv_row.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

namespace fs = std::filesystem;

std::string Row(const zvEventNormalizedEvent& event = test::SampleEvent()) {
    std::string row;
    AppendCsvRow(row, event);
    return row;
}

const std::string kHeader(kCsvHeader);

TEST(CsvRow, WritesTwentyColumns) {
    EXPECT_EQ(Row(),
              "65536,42,2023-11-14T22:13:20.123456789Z,1700000000123456789,warning,raise,"
              "temperature,psu-1,Power supply 1,psu-1/temperature,c-7,Too hot,81.5,"
              "75.299999999999997,C,1500,1700000037123456789,-90000,10:00:00:12,"
              "\"{\"\"fan\"\":\"\"ok\"\"}\"\n");
    zvEventNormalizedEvent event;
    event.utc_ns = 1;
    event.severity = 7;
    event.source_id = "a,b";
    event.message = "line\nfeed \"a";
    event.units = "\r";
    event.value = 1e300;
    event.threshold = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(Row(event),
              "65536,0,1970-01-01T00:00:00.000000001Z,1,unknown,,,\"a,b\",,,,"
              "\"line\nfeed \"\"a\",1.0000000000000001e+300,-inf,\"\r\",0,0,0,,\n");
}

struct CsvSink : testing::Test {
    zvEventSinkConfig ConfigOf(const std::string& name, bool flush_each_event = false) const {
        zvEventSinkConfig config;
        config.csv = {directory_.File(name), flush_each_event};
        return config;
    }
    std::shared_ptr<zvEventCsvSink> Opened(const char* name, bool flush_each_event = false) {
        std::shared_ptr<zvEventCsvSink> sink;
        zvEventCsvSink::Create(ConfigOf(name, flush_each_event), &sink, &error_);
        return sink;
    }
    std::string Read() const { return directory_.Read("e.csv"); }

    const test::TempDirectory directory_;
    const zvEventNormalizedEvent event_ = test::SampleEvent();
    std::string error_;
};

TEST_F(CsvSink, BeginsNewAndEmptyFilesWithAHeader) {
    directory_.Write("e.csv", "");
    auto sink = Opened("e.csv");
    zvEventNormalizedEvent debug;
    debug.severity = zvEventSeverityDebug;
    EXPECT_EQ(sink->write(debug, nullptr), ZVEVENT_OK);
    EXPECT_EQ(sink->write(event_, nullptr), ZVEVENT_OK);
    EXPECT_EQ(Read(), kHeader) << "rows are collected";
    sink->hand_over();
    EXPECT_EQ(Read(), kHeader + Row());
    sink->write(event_, nullptr);
    // The next sink of the path goes on with them.
    EXPECT_EQ(Opened("e.csv", true)->write(event_, nullptr), ZVEVENT_OK);
    EXPECT_EQ(Read(), kHeader + Row() + Row() + Row());
    sink->write(event_, nullptr);
    sink.reset();
    EXPECT_EQ(Read(), kHeader + Row() + Row() + Row() + Row());
}

TEST_F(CsvSink, EndsARowThatWasLeftCut) {
    zvEventNormalizedEvent event = test::SampleEvent();
    event.message = "a\nb \"c\"";
    const std::string row = Row(event);
    event.message = "\"" + std::string(100'000, 'x');
    const std::string long_row = Row(event);
    const auto until = [](const std::string& of, const std::string& last) {
        return of.substr(0, of.find(last) + last.size());
    };
    const std::pair<std::string, std::string> cases[] = {
        {kHeader + row, ""},
        {kHeader + until(row, "raise"), "\n"},
        {kHeader + until(row, "a\n"), "\"\n"},
        {kHeader + row + until(row, "b \""), "\n"},
        {kHeader + row + until(row, "b \"\"c"), "\"\n"},
        {kHeader.substr(0, kHeader.size() - 1), "\n"},
        // Only the file's end counts, and as much of it as there must be.
        {"\"odd\"\"\n" + row + long_row + until(row, "raise"), "\n"},
        {row + long_row.substr(0, 90'000), "\"\n"}};
    for (const auto& [left, end] : cases) {
        directory_.Write("e.csv", left);
        Opened("e.csv")->write(event_, nullptr);
        EXPECT_EQ(Read(), left + end + Row());
    }
    // Another writer may be about to write the rest.
    const auto other = Opened("e.csv");
    directory_.Write("e.csv", row.substr(0, 9));
    fs::create_hard_link(directory_.Path("e.csv"), directory_.Path("same"));
    Opened("same");
    EXPECT_EQ(Read(), row.substr(0, 9));
}

TEST_F(CsvSink, FollowsAFileThatIsRotated) {
    const auto file = directory_.Path("e.csv"), old = directory_.Path("old");
    for (const bool each : {false, true}) {
        const auto sink = Opened("e.csv", each);
        for (const std::string then : {"renamed", "emptied", "replaced", "removed"}) {
            EXPECT_EQ(sink->write(event_, nullptr), ZVEVENT_OK);
            EXPECT_EQ(sink->flush(0), ZVEVENT_OK);
            EXPECT_EQ(Read(), kHeader + Row()) << "before it is " << then;
            then == "emptied" ? fs::resize_file(file, 0) : fs::rename(file, old);
            if (then == "replaced") directory_.Write("e.csv", "");
        }
        EXPECT_EQ(directory_.Read("old"), kHeader + Row());
    }
}

TEST_F(CsvSink, CreatesDirectoriesAndHealsOnceTheCauseIsGone) {
    directory_.Write("file", "x");
    const std::string in_the_way =
        "Unable to create directory for zvEvent CSV sink: " + directory_.File("file");
    const std::pair<const char*, std::string> cases[] = {
        {"a/\xC3\xA9//c/e.csv", ""},
        {"file/e.csv", in_the_way},
        {"a", "Unable to open zvEvent CSV file for append: " + directory_.File("a")}};
    for (const auto& [name, expected] : cases) {
        error_.clear();
        EXPECT_EQ(Opened(name) == nullptr, !expected.empty());
        EXPECT_EQ(error_, expected);
    }
    EXPECT_EQ(directory_.Read("a/\xC3\xA9/c/e.csv"), kHeader);
    zvEventCsvSink sink(ConfigOf("file/e.csv", true));
    EXPECT_EQ(sink.write(event_, nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), in_the_way);
    fs::remove(directory_.Path("file"));
    EXPECT_EQ(sink.write(event_, nullptr), ZVEVENT_OK);
    EXPECT_EQ(directory_.Read("file/e.csv"), kHeader + Row());
}

// Several writers of one file that know nothing of each other: every row comes out whole.
TEST_F(CsvSink, NeverTearsRowsOfOtherWriters) {
    directory_.Write("0", kHeader);
    std::set<std::string> expected;
    std::vector<std::jthread> threads;
    for (std::uint64_t writer = 0; writer < 3; ++writer) {
        std::vector<zvEventNormalizedEvent> events(400, event_);
        for (zvEventNormalizedEvent& event : events) {
            event.event_id = expected.size();
            event.message.assign(expected.size() % 400, 'x');
            expected.insert(Row(event));
        }
        const std::string name = std::to_string(writer);
        if (writer != 0) fs::create_hard_link(directory_.Path("0"), directory_.Path(name));
        threads.emplace_back([sink = Opened(name.c_str(), writer == 0), events] {
            for (const zvEventNormalizedEvent& event : events)
                EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_OK);
        });
    }
    threads.clear();  // ended, and the sinks with them
    std::istringstream lines(directory_.Read("0").substr(kHeader.size()));
    for (std::string line; std::getline(lines, line);)
        EXPECT_EQ(expected.erase(line + "\n"), 1U) << line;
    EXPECT_TRUE(expected.empty());
}

}  // namespace
}  // namespace zvevent
