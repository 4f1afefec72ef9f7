// What a CSV file looks like after the disk was full in the middle of a row: a size limit of the
// process stands in for the disk.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>

#include "format/csv_row.h"
#include "sinks/csv_sink.h"
#include "support/sample_event.h"
#include "support/temp_directory.h"

namespace zvevent {
namespace {

class FileSizeLimit {
public:
    explicit FileSizeLimit(std::size_t bytes) {
        getrlimit(RLIMIT_FSIZE, &former_);
        rlimit limit = former_;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &former_); }

private:
    rlimit former_{};
};

TEST(CsvFullDisk, TakesBackAHeaderThatDidNotFit) {
    const test::TempDirectory directory;
    zvEventSinkConfig config;
    config.csv.path = directory.File("e.csv");
    std::shared_ptr<zvEventCsvSink> sink;
    {
        const FileSizeLimit limit(100);
        std::string error;
        EXPECT_EQ(zvEventCsvSink::Create(config, &sink, &error), ZVEVENT_E_FAILURE);
        EXPECT_EQ(error, "Unable to write zvEvent CSV header: " + config.csv.path);
        EXPECT_EQ(directory.Read("e.csv"), "");
    }
    EXPECT_EQ(zvEventCsvSink::Create(config, &sink, nullptr), ZVEVENT_OK);
    EXPECT_EQ(directory.Read("e.csv"), kCsvHeader);
}

TEST(CsvFullDisk, EndsTheCutRowAndLosesOnlyWhatItReported) {
    zvEventNormalizedEvent event = test::SampleEvent();
    event.message = "a\nb";
    std::string row;
    AppendCsvRow(row, event);
    const std::size_t header = kCsvHeader.size();
    for (const bool each : {true, false}) {
        // Cut inside a plain field, inside a quoted one, and at a row's end.
        for (const std::size_t cut : {row.find("temperature"), row.find("a\nb") + 2, row.size()}) {
            const test::TempDirectory directory;
            zvEventSinkConfig config;
            config.csv.path = directory.File("e.csv");
            config.csv.flush_each_event = each;
            zvEventCsvSink sink(config);
            int failed = 0;
            {
                const FileSizeLimit limit(header + row.size() + cut);
                for (int i = 0; i < 3; ++i)
                    failed += sink.write(event, nullptr) != ZVEVENT_OK;
                failed += sink.flush(0) != ZVEVENT_OK && !each;
                EXPECT_NE(sink.LastError(), "");
            }
            EXPECT_EQ(sink.write(event, nullptr), ZVEVENT_OK);
            EXPECT_EQ(sink.flush(0), ZVEVENT_OK);
            const std::string cut_row = row.substr(0, cut);
            const bool quoted = std::count(cut_row.begin(), cut_row.end(), '"') % 2 != 0;
            const std::string ended = cut == row.size() ? "" : cut_row + (quoted ? "\"\n" : "\n");
            // Row by row: one in, the second cut, the third refused. Collected: all three accepted.
            std::string expected = std::string(kCsvHeader) + row;
            if (cut == row.size()) expected += row;
            expected += ended + row;
            if (!each) expected += cut == row.size() ? row : row + row;
            EXPECT_EQ(directory.Read("e.csv"), expected) << each << " " << cut;
            EXPECT_EQ(failed, each ? (cut == row.size() ? 1 : 2) : 1);
        }
    }
}

}  // namespace
}  // namespace zvevent
