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

std::shared_ptr<zvEventCsvSink> Opened(const std::string& path, bool flush_each_event = false) {
    std::shared_ptr<zvEventCsvSink> sink;
    EXPECT_EQ(zvEventCsvSink::Create(ConfigOf(path, flush_each_event), &sink, nullptr), ZVEVENT_OK);
    return sink;
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
        sink.hand_over();
        EXPECT_EQ(directory.Read("e.csv"), kHeader + Row());
        EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
        // The next sink of the path goes on with them.
        EXPECT_EQ(Opened(path, true)->write(test::SampleEvent(), nullptr), ZVEVENT_OK);
        EXPECT_EQ(directory.Read("e.csv"), kHeader + Row() + Row() + Row());
        EXPECT_EQ(sink.write(test::SampleEvent(), nullptr), ZVEVENT_OK);
    }
    EXPECT_EQ(directory.Read("e.csv"), kHeader + Row() + Row() + Row() + Row());
}

TEST(CsvSink, EndsARowThatWasLeftCut) {
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
        const test::TempDirectory directory;
        const std::string path = directory.Write("e.csv", left);
        Opened(path)->write(test::SampleEvent(), nullptr);
        EXPECT_EQ(directory.Read("e.csv"), left + end + Row());
        // Another writer may be about to write the rest.
        const auto other = Opened(path);
        directory.Write("e.csv", left);
        std::filesystem::create_hard_link(directory.Path("e.csv"), directory.Path("same"));
        Opened(directory.File("same"));
        EXPECT_EQ(directory.Read("e.csv"), left);
    }
}

TEST(CsvSink, FollowsAFileThatIsRotated) {
    for (const bool each : {false, true}) {
        const test::TempDirectory directory;
        const auto sink = Opened(directory.File("e.csv"), each);
        const auto add = [&] {
            EXPECT_EQ(sink->write(test::SampleEvent(), nullptr), ZVEVENT_OK);
            EXPECT_EQ(sink->flush(0), ZVEVENT_OK);
            return directory.Read("e.csv");
        };
        EXPECT_EQ(add(), kHeader + Row());
        std::filesystem::rename(directory.Path("e.csv"), directory.Path("1"));
        EXPECT_EQ(add(), kHeader + Row()) << "renamed";
        EXPECT_EQ(directory.Read("1"), kHeader + Row());
        std::filesystem::resize_file(directory.Path("e.csv"), 0);
        EXPECT_EQ(add(), kHeader + Row()) << "emptied";
        std::filesystem::rename(directory.Path("e.csv"), directory.Path("2"));
        directory.Write("e.csv", "");
        EXPECT_EQ(add(), kHeader + Row()) << "replaced";
    }
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

// Several writers of one file that know nothing of each other: every row comes out whole.
TEST(CsvSink, NeverTearsRowsOfOtherWriters) {
    const test::TempDirectory directory;
    directory.Write("0", kHeader);
    std::set<std::string> expected;
    std::vector<std::thread> threads;
    for (std::uint64_t writer = 0; writer < 3; ++writer) {
        std::vector<zvEventNormalizedEvent> events(400, test::SampleEvent());
        for (zvEventNormalizedEvent& event : events) {
            event.event_id = expected.size();
            event.message.assign(expected.size() % 400, 'x');
            expected.insert(Row(event));
        }
        const std::string name = std::to_string(writer);
        if (writer != 0)
            std::filesystem::create_hard_link(directory.Path("0"), directory.Path(name));
        threads.emplace_back([sink = Opened(directory.File(name), writer == 0), events] {
            for (const zvEventNormalizedEvent& event : events)
                EXPECT_EQ(sink->write(event, nullptr), ZVEVENT_OK);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();  // and with them the sinks
    std::istringstream lines(directory.Read("0").substr(kHeader.size()));
    for (std::string line; std::getline(lines, line);)
        EXPECT_EQ(expected.erase(line + "\n"), 1U) << line;
    EXPECT_TRUE(expected.empty());
}

}  // namespace
}  // namespace zvevent
