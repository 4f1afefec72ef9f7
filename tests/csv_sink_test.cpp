#include "sinks/csv_sink.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "format/csv_row.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

zvEventSinkConfig ConfigOf(const std::string& path, bool flush_each_event = false) {
    zvEventSinkConfig config;
    config.kind = zvEventSinkKind::csv;
    config.csv.path = path;
    config.csv.flush_each_event = flush_each_event;
    return config;
}

std::shared_ptr<zvEventCsvSink> Open(const zvEventSinkConfig& config) {
    std::shared_ptr<zvEventCsvSink> sink;
    std::string error;
    EXPECT_EQ(zvEventCsvSink::Create(config, &sink, &error), ZVEVENT_OK) << error;
    return sink;
}

std::string Row(const zvEventNormalizedEvent& event) {
    std::string row;
    AppendCsvRow(row, event);
    return row;
}

TEST(CsvSink, WritesTwentyColumns) {
    EXPECT_EQ(Row(test::SampleEvent()),
              "65536,42,2023-11-14T22:13:20.123456789Z,1700000000123456789,warning,raise,"
              "temperature,psu-1,Power supply 1,psu-1/temperature,c-7,Too hot,81.5,"
              "75.299999999999997,C,1500,1700000037123456789,-90000,10:00:00:12,"
              "\"{\"\"fan\"\":\"\"ok\"\"}\"\n");
    zvEventNormalizedEvent event;
    event.utc_ns = 1;
    event.severity = 7;
    event.source_id = "a,b";
    event.source_name = "a\"b";
    event.message = "line\nfeed";
    event.units = "\r";
    event.timecode = "\"";
    event.value = 1e300;
    event.threshold = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(Row(event),
              "65536,0,1970-01-01T00:00:00.000000001Z,1,unknown,,,\"a,b\",\"a\"\"b\",,,"
              "\"line\nfeed\",1.0000000000000001e+300,-inf,\"\r\",0,0,0,\"\"\"\",\n");
}

TEST(CsvSink, BeginsNewAndEmptyFilesWithAHeader) {
    const test::TempDirectory directory;
    const std::string path = directory.Write("e.csv", "");
    const std::string header(kCsvHeader);
    {
        const auto sink = Open(ConfigOf(path));
        EXPECT_EQ(directory.Read("e.csv"), header) << "at once";
        EXPECT_EQ(sink->write(test::SampleEvent(), nullptr), ZVEVENT_OK);
        EXPECT_EQ(directory.Read("e.csv"), header) << "rows are collected";
        EXPECT_EQ(sink->flush(0), ZVEVENT_OK);
        EXPECT_EQ(directory.Read("e.csv"), header + Row(test::SampleEvent()));
        zvEventNormalizedEvent debug = test::SampleEvent();
        debug.severity = zvEventSeverityDebug;
        EXPECT_EQ(sink->write(debug, nullptr), ZVEVENT_OK);
        EXPECT_EQ(sink->write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    }
    const std::string twice = Row(test::SampleEvent()) + Row(test::SampleEvent());
    EXPECT_EQ(directory.Read("e.csv"), header + twice) << "the end hands over what is collected";
    const auto again = Open(ConfigOf(path, true));
    EXPECT_EQ(again->write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(directory.Read("e.csv"), header + twice + Row(test::SampleEvent()));
}

TEST(CsvSink, CreatesItsDirectories) {
    const test::TempDirectory directory;
    Open(ConfigOf(directory.File("a/b//c/e.csv")));
    EXPECT_EQ(directory.Read("a/b/c/e.csv"), kCsvHeader);
    Open(ConfigOf(directory.File("\xC3\xA9/e.csv")));
    EXPECT_EQ(directory.Read("\xC3\xA9/e.csv"), kCsvHeader);

    directory.Write("file", "x");
    std::shared_ptr<zvEventCsvSink> sink;
    std::string error;
    EXPECT_EQ(zvEventCsvSink::Create(ConfigOf(directory.File("file/e.csv")), &sink, &error),
              ZVEVENT_E_FAILURE);
    EXPECT_EQ(error, "Unable to create directory for zvEvent CSV sink: " + directory.File("file"));
    EXPECT_EQ(sink, nullptr);
    EXPECT_EQ(zvEventCsvSink::Create(ConfigOf(directory.File("a")), &sink, &error),
              ZVEVENT_E_FAILURE);
    EXPECT_EQ(error, "Unable to open zvEvent CSV file for append: " + directory.File("a"));
    EXPECT_EQ(zvEventCsvSink::Create(ConfigOf(""), &sink, nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(zvEventCsvSink::Create(ConfigOf("x"), nullptr, &error), ZVEVENT_E_INVALID_ARGUMENT);
    EXPECT_EQ(error, "Invalid zvEvent CSV sink output");
}

TEST(CsvSink, HealsOnceTheCauseIsGone) {
    const test::TempDirectory directory;
    zvEventCsvSink sink(ConfigOf(directory.File("d/e.csv"), true));
    directory.Write("d", "in the way");
    EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
    EXPECT_NE(sink.LastError(), "");
    EXPECT_EQ(sink.flush(0), ZVEVENT_OK) << "nothing is open";
    std::filesystem::remove(directory.File("d"));
    EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    EXPECT_EQ(directory.Read("d/e.csv"), std::string(kCsvHeader) + Row(test::SampleEvent()));
}

// Several sinks on one path, as after a reload or in several processes: every row comes out whole.
TEST(CsvSink, NeverTearsRowsOfOtherWriters) {
    const test::TempDirectory directory;
    const std::string path = directory.File("e.csv");
    constexpr int kWriters = 3;
    constexpr int kRows = 400;
    std::vector<std::shared_ptr<zvEventCsvSink>> sinks;
    for (int i = 0; i < kWriters; ++i)
        sinks.push_back(Open(ConfigOf(path, i == 0)));
    std::vector<std::thread> threads;
    for (const auto& sink : sinks) {
        threads.emplace_back([&sink] {
            zvEventNormalizedEvent event = test::SampleEvent();
            for (int i = 0; i < kRows; ++i) {
                event.message.assign(static_cast<std::size_t>(i), '\n');
                EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_OK);
            }
            EXPECT_EQ(sink->flush(0), ZVEVENT_OK);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const std::string text = directory.Read("e.csv");
    std::size_t rows = 0;
    zvEventNormalizedEvent event = test::SampleEvent();
    for (std::size_t at = kCsvHeader.size(); at < text.size(); ++rows) {
        const std::size_t message = text.find("c-7,", at) + 4;
        const std::size_t feeds =
            text[message] == '"' ? text.find('"', message + 1) - message - 1 : 0;
        event.message.assign(feeds, '\n');
        const std::string row = Row(event);
        ASSERT_EQ(text.compare(at, row.size(), row), 0) << "row " << rows;
        at += row.size();
    }
    EXPECT_EQ(rows, std::size_t{kWriters * kRows});
}

}  // namespace
}  // namespace zvevent
