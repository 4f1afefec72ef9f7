// What a CSV file looks like after the disk was full in the middle of a row: a size limit of the
// process stands in for the disk.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <utility>

#include "format/csv_row.h"
#include "sinks/csv_sink.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

void LimitFileSize(rlim_t bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes < limit.rlim_max ? bytes : limit.rlim_max;
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(CsvFullDisk, EndsTheCutRowAndLosesOnlyWhatItReported) {
    zvEventNormalizedEvent event = test::SampleEvent();
    event.message = "a\nb";
    std::string row;
    AppendCsvRow(row, event);
    // Cut in the header, inside a plain field, inside a quoted one, and at a row's end.
    const std::size_t header = kCsvHeader.size(), second = header + row.size();
    const std::pair<std::size_t, std::string> cases[] = {{header / 2, ""},
                                                         {second + row.find("raise"), "\n"},
                                                         {second + row.find("a\nb") + 2, "\"\n"},
                                                         {second + row.size(), ""}};
    for (const bool each : {true, false}) {
        for (const auto& [cut, end] : cases) {
            const test::TempDirectory directory;
            zvEventSinkConfig config;
            config.csv.path = directory.File("e.csv");
            config.csv.flush_each_event = each;
            LimitFileSize(cut);
            zvEventCsvSink sink(config);
            std::size_t accepted = 0;
            for (int i = 0; i < 3; ++i)
                accepted += sink.write(event, nullptr) == ZVEVENT_OK;
            if (!each) sink.flush(0);
            EXPECT_EQ(sink.LastError().starts_with("Unable to write zvEvent CSV header: "),
                      cut < header);
            LimitFileSize(RLIM_INFINITY);
            EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
            EXPECT_EQ(sink.flush(0), ZVEVENT_OK);
            // All of what was accepted, and between it the piece of a row that was not.
            const std::string whole =
                std::string(kCsvHeader).append(row).append(row).substr(0, cut);
            std::string expected = cut < header ? std::string(kCsvHeader) : whole + end;
            for (std::size_t i = cut < header ? 0 : (whole.size() - header) / row.size();
                 i <= accepted; ++i)
                expected += row;
            EXPECT_EQ(directory.Read("e.csv"), expected) << each << " " << cut;
        }
    }
}

}  // namespace
}  // namespace zvevent
