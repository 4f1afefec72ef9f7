// What one zvEventSubmit costs the submitting thread: bursts into a queue of 1,024 with a live
// worker and one callback. Only the submits are timed; between bursts the queue drains. Every event
// is counted in the callback, and a run that lost one fails.
//
// "Floor" is the least that any such library must do: number, clock reading, ten texts into one
// block, one uncontended lock. Compare within one run: machines are noisy, ratios are not.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>

#include "allocation_count.h"
#include "sample_record.h"
#include "temporary_path.h"
#include "zvEvent/zvEvent.h"
#include "zvutil/zvutil.h"

namespace {

using Clock = std::chrono::steady_clock;
using zvevent::bench::AllocationCount;
using zvevent::bench::SampleRecord;

// The library, initialised once for all benchmarks with callbacks as its only output.
class Library {
public:
    static Library& Instance() {
        static Library library;
        return library;
    }

    std::uint64_t Delivered() const { return delivered_.load(); }

private:
    Library() {
        const auto path = zvevent::bench::TemporaryPath("submit.xml");
        std::ofstream(path) << R"(<zvCFG><key name="QRV"><key name="Events"><key name="sink">)"
                               R"(<key name="native"><key name="main"><value name="enabled">0)"
                               R"(</value></key></key></key></key></key></zvCFG>)";
        std::uint32_t id = 0;
        zvEventRegisterCallback(
            [](const zvEventRecord*, void* count) {
                static_cast<std::atomic<std::uint64_t>*>(count)->fetch_add(
                    1, std::memory_order_relaxed);
            },
            &delivered_, &id);
        if (zvEventInitialize(path.string().c_str()) != ZVEVENT_OK) std::abort();
        std::filesystem::remove(path);
    }
    ~Library() { zvEventShutdown(); }

    std::atomic<std::uint64_t> delivered_{0};
};

void SubmitBursts(benchmark::State& state) {
    Library& library = Library::Instance();
    const auto burst = static_cast<std::uint64_t>(state.range(0));
    const zvEventRecord record = SampleRecord();
    for (std::uint64_t i = 0; i < burst; ++i)
        zvEventSubmit(&record);  // the ring finds its size
    zvEventFlush(0);
    const std::uint64_t before = library.Delivered();
    const std::uint64_t allocated_before = AllocationCount();
    std::uint64_t submitted = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        for (std::uint64_t i = 0; i < burst; ++i)
            zvEventSubmit(&record);
        const std::chrono::duration<double> spent = Clock::now() - start;
        state.SetIterationTime(spent.count());
        submitted += burst;
        zvEventFlush(0);
    }
    if (library.Delivered() - before != submitted) state.SkipWithError("events were lost");
    state.counters["allocations"] =
        static_cast<double>(AllocationCount() - allocated_before) / static_cast<double>(submitted);
    state.counters["submit"] = benchmark::Counter(
        static_cast<double>(submitted), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(SubmitBursts)
    ->Arg(50)
    ->Arg(500)
    ->UseManualTime()
    ->Iterations(2000)
    ->Unit(benchmark::kMicrosecond);

void SubmitOneAMillisecond(benchmark::State& state) {
    Library& library = Library::Instance();
    const zvEventRecord record = SampleRecord();
    const std::uint64_t before = library.Delivered();
    std::uint64_t submitted = 0;
    for (auto _ : state) {
        const auto due = Clock::now() + std::chrono::milliseconds(1);
        while (Clock::now() < due) {
        }
        const auto start = Clock::now();
        zvEventSubmit(&record);
        const std::chrono::duration<double> spent = Clock::now() - start;
        state.SetIterationTime(spent.count());
        ++submitted;
    }
    zvEventFlush(0);
    if (library.Delivered() - before != submitted) state.SkipWithError("events were lost");
}
BENCHMARK(SubmitOneAMillisecond)->UseManualTime()->Iterations(1000);

void SubmitFiltered(benchmark::State& state) {
    Library::Instance();
    zvEventRecord record = SampleRecord();
    record.severity = zvEventSeverityDebug;
    for (auto _ : state)
        zvEventSubmit(&record);
}
BENCHMARK(SubmitFiltered);

// The worker is held in a callback, so that the queue stays full.
void SubmitToFullQueue(benchmark::State& state) {
    Library::Instance();
    static std::atomic<bool> held;
    held = true;
    std::uint32_t id = 0;
    const zvEventRecord record = SampleRecord();
    zvEventRegisterCallback([](const zvEventRecord*, void*) { held.wait(true); }, nullptr, &id);
    for (int i = 0; i < 1100; ++i)
        zvEventSubmit(&record);
    for (auto _ : state)
        zvEventSubmit(&record);
    held = false;
    held.notify_all();
    zvEventUnregisterCallback(id);
    zvEventFlush(0);
}
BENCHMARK(SubmitToFullQueue);

void Floor(benchmark::State& state) {
    static std::atomic<std::uint64_t> id{1};
    static std::mutex mutex;
    static char block[1024];
    const zvEventRecord record = SampleRecord();
    const char* texts[] = {record.event_type,     record.source_id, record.source_name,
                           record.message,        record.action,    record.dedupe_key,
                           record.correlation_id, record.timecode,  record.units,
                           record.details_json};
    for (auto _ : state) {
        std::uint64_t numbers[] = {id.fetch_add(1), zvOSGetTimePTPNano()};
        std::size_t lengths[std::size(texts)];
        for (std::size_t i = 0; i < std::size(texts); ++i)
            lengths[i] = std::strlen(texts[i]);
        const std::scoped_lock lock(mutex);
        std::memcpy(block, numbers, sizeof numbers);
        char* to = block + sizeof numbers;
        for (std::size_t i = 0; i < std::size(texts); ++i) {
            std::memcpy(to, texts[i], lengths[i]);
            to += lengths[i];
        }
        benchmark::DoNotOptimize(block);
    }
}
BENCHMARK(Floor);

}  // namespace
