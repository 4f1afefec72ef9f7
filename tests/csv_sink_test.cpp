#include "sinks/csv_sink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>
#include <thread>
#include <vector>

#include "format/csv_row.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

zvEventSinkConfig ConfigOf(const std::string& path, bool flush_each_event = false) {
    zvEventSinkConfig config;
    config.csv.path = path;
    config.csv.flush_each_event = flush_each_event;
    return config;
}

std::string Row(const zvEventNormalizedEvent& event = test::SampleEvent()) {
    std::string row;
    AppendCsvRow(row, event);
    return row;
}

const std::string kHeader(kCsvHeader);

TEST(CsvSink, WritesTwentyColumns) {
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

TEST(CsvSink, BeginsNewAndEmptyFilesWithAHeader) {
    const test::TempDirectory directory;
    const std::string path = directory.Write("e.csv", "");
    {
        zvEventCsvSink sink(ConfigOf(path));
        zvEventNormalizedEvent debug = test::SampleEvent();
        debug.severity = zvEventSeverityDebug;
        EXPECT_EQ(sink.write(debug, nullptr), ZVEVENT_OK);
        EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
        EXPECT_EQ(directory.Read("e.csv"), kHeader) << "rows are collected";
        EXPECT_EQ(sink.flush(0), ZVEVENT_OK);
        EXPECT_EQ(directory.Read("e.csv"), kHeader + Row());
        EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    }
    zvEventCsvSink again(ConfigOf(path, true));
    EXPECT_EQ(again.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(directory.Read("e.csv"), kHeader + Row() + Row() + Row());
}

TEST(CsvSink, CreatesDirectoriesAndHealsOnceTheCauseIsGone) {
    const test::TempDirectory directory;
    directory.Write("file", "x");
    const std::pair<const char*, std::string> cases[] = {
        {"a/\xC3\xA9//c/e.csv", ""},
        {"file/e.csv",
         "Unable to create directory for zvEvent CSV sink: " + directory.File("file")},
        {"a", "Unable to open zvEvent CSV file for append: " + directory.File("a")}};
    for (const auto& [name, expected] : cases) {
        std::shared_ptr<zvEventCsvSink> sink;
        std::string error;
        const auto result = zvEventCsvSink::Create(ConfigOf(directory.File(name)), &sink, &error);
        EXPECT_EQ(result, expected.empty() ? ZVEVENT_OK : ZVEVENT_E_FAILURE);
        EXPECT_EQ(error, expected);
        EXPECT_EQ(sink == nullptr, !expected.empty());
    }
    EXPECT_EQ(directory.Read("a/\xC3\xA9/c/e.csv"), kHeader);
    zvEventCsvSink sink(ConfigOf(directory.File("file/e.csv"), true));
    EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(sink.LastError(), cases[1].second);
    std::filesystem::remove(directory.Path("file"));
    EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(directory.Read("file/e.csv"), kHeader + Row());
}

// Several sinks on one path, as after a reload or in several processes: every row comes out whole.
TEST(CsvSink, NeverTearsRowsOfOtherWriters) {
    const test::TempDirectory directory;
    std::vector<std::string> expected;
    std::vector<std::thread> threads;
    for (std::uint64_t writer = 0; writer < 3; ++writer) {
        std::vector<zvEventNormalizedEvent> events(400, test::SampleEvent());
        for (zvEventNormalizedEvent& event : events) {
            event.event_id = writer;
            event.message.assign(expected.size() % 400, 'x');
            expected.push_back(Row(event));
        }
        std::shared_ptr<zvEventCsvSink> sink;
        zvEventCsvSink::Create(ConfigOf(directory.File("e.csv"), writer == 0), &sink, nullptr);
        threads.emplace_back([sink, events = std::move(events)] {
            for (const zvEventNormalizedEvent& event : events)
                EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_OK);
            EXPECT_EQ(sink->flush(0), ZVEVENT_OK);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::vector<std::string> rows;
    std::istringstream lines(directory.Read("e.csv").substr(kHeader.size()));
    for (std::string line; std::getline(lines, line); rows.push_back(line + "\n")) {
    }
    EXPECT_TRUE(std::is_permutation(rows.begin(), rows.end(), expected.begin(), expected.end()));
}

}  // namespace
}  // namespace zvevent
