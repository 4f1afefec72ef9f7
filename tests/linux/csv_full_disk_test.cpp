// A disk that is full in the middle of a row: a size limit of the process stands in for it.
#include "sinks/csv_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

#include "format/csv_row.h"
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

TEST(CsvFullDisk, LeavesNoPieceOfARowAndLosesOnlyWhatItReported) {
    // Rows of 64 KiB are handed over as they come.
    const std::tuple<bool, std::size_t, std::string> modes[] = {
        {true, 0, "Unable to flush zvEvent CSV row: "},
        {false, 64 * 1024, "Unable to write zvEvent CSV row: "},
        {false, 0, "Unable to flush zvEvent CSV file: "}};
    for (const auto& [at_once, padding, text] : modes) {
        zvEventNormalizedEvent event = test::SampleEvent();
        event.message = "a\nb" + std::string(padding, 'x');
        std::string row;
        AppendCsvRow(row, event);
        // Cut in the header, inside a plain field, inside a quoted one, and at a row's end.
        const std::size_t header = kCsvHeader.size(), second = header + row.size();
        for (const std::size_t cut : {header / 2, second + row.find("raise"),
                                      second + row.find("a\nb") + 2, second + row.size()}) {
            const test::TempDirectory directory;
            LimitFileSize(cut);
            CsvFile file(directory.File("e.csv"));
            std::string expected(kCsvHeader), error;
            for (int i = 0; i < 3; ++i)
                if (file.Write(event, at_once, error)) expected += row;
            file.Flush(0, error);
            EXPECT_EQ(error, (cut > header ? text : "Unable to write zvEvent CSV header: ") +
                                 directory.File("e.csv"));
            EXPECT_EQ(directory.Read("e.csv").size() % row.size(), cut > header ? header : 0);
            LimitFileSize(RLIM_INFINITY);
            EXPECT_TRUE(file.Write(event, at_once, error) && file.Flush(0, error));
            EXPECT_EQ(directory.Read("e.csv"), expected + row) << text << cut;
        }
    }
}

// What cannot be taken back: here out of a pipe that is full.
TEST(CsvFullDisk, EndsACutRowBeforeTheNext) {
    const test::TempDirectory directory;
    const std::string path = directory.File("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int pipe = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    CsvFile file(path);
    zvEventNormalizedEvent event = test::SampleEvent();
    event.message = "\n" + std::string(100'000, 'x');
    std::string error, bytes(event.message), row = "\"\n";
    EXPECT_FALSE(file.Write(event, true, error));
    EXPECT_LT(read(pipe, bytes.data(), bytes.size()), 100'000);
    EXPECT_TRUE(file.Write(test::SampleEvent(), true, error));
    AppendCsvRow(row, test::SampleEvent());
    bytes.resize(static_cast<std::size_t>(read(pipe, bytes.data(), bytes.size())));
    EXPECT_EQ(bytes, row);
    close(pipe);
}

}  // namespace
}  // namespace zvevent
