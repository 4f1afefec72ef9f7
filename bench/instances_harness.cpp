// What an event costs with several outputs of one kind, from the first submit to the end of a
// flush. Prints one JSON object with the nanoseconds an event; what a submit of them costs beside
// it.
//
//     PROGRAM callbacks_N | csvs_N
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "config_text.h"
#include "sample_record.h"
#include "temporary_path.h"
#include "zvEvent/zvEvent.h"

namespace {

using namespace zvevent::bench;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr int kDeliveries = 400'000;  // of all outputs together

std::atomic<int> called{0};

int RowsIn(const fs::path& file) {
    std::ifstream rows(file);
    int count = -1;  // the header is none
    for (std::string row; std::getline(rows, row);)
        ++count;
    return count;
}

double Nanoseconds(Clock::duration time) {
    return static_cast<double>(std::chrono::nanoseconds(time).count());
}

std::string CsvOutputs(int count, const fs::path& folder) {
    std::string outputs;
    for (int i = 0; i < count; ++i) {
        const std::string name = std::to_string(i);
        outputs += Key(name, Value("enabled", "1") + Value("path", (folder / name).string()));
    }
    return Key("csv", outputs);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view scenario = argc == 2 ? argv[1] : "";
    const bool csv = scenario.starts_with("csvs_");
    const std::size_t number = scenario.find('_') + 1;
    if (!csv && !scenario.starts_with("callbacks_")) return 2;
    const int outputs = std::atoi(argv[1] + number);
    const int events = kDeliveries / outputs;

    const fs::path folder = TemporaryPath("instances");
    fs::create_directories(folder);
    const fs::path config = folder / "config.xml";
    std::ofstream(config) << ConfigText(static_cast<unsigned>(events),
                                        csv ? CsvOutputs(outputs, folder) : "");
    for (int i = 0; !csv && i < outputs; ++i) {
        std::uint32_t id = 0;
        zvEventRegisterCallback([](const zvEventRecord*, void*) { ++called; }, nullptr, &id);
    }
    if (zvEventInitialize(config.string().c_str()) != ZVEVENT_OK) std::abort();
    const zvEventRecord record = SampleRecord();
    const auto start = Clock::now();
    for (int i = 0; i < events; ++i)
        zvEventSubmit(&record);
    const auto submitted = Clock::now();
    if (zvEventFlush(0) != ZVEVENT_OK) std::abort();
    const auto flushed = Clock::now();
    zvEventShutdown();

    int delivered = called.load();
    for (int i = 0; csv && i < outputs; ++i)
        delivered += RowsIn(folder / std::to_string(i));
    fs::remove_all(folder);
    std::printf("{\"median\":%.1f,\"submit\":%.1f,\"submitted\":%d,\"dropped\":%d}\n",
                Nanoseconds(flushed - start) / events, Nanoseconds(submitted - start) / events,
                events, events - delivered / outputs);
    return 0;
}
