// What one raise costs with so many alerts active, and the memory that an alert takes.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <string>

#include "core/alert_state.h"
#include "sample_record.h"

namespace {

// Both a new alert and a repetition that is held back.
void AlertRaise(benchmark::State& state) {
    const auto active = static_cast<std::size_t>(state.range(0));
    zvEventNormalizedEvent event = zvevent::bench::SampleEvent();
    event.action = "raise";
    std::size_t alert = 0;
    std::size_t key_bytes = 0;
    bool forward = false;
    const auto name = [&](std::size_t number) {
        // Scattered, as the alerts of a busy system are.
        event.dedupe_key =
            "rack/" + std::to_string(number * 2654435761 % 4294967296) + "/temperature";
    };
    const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    zvevent::AlertState alerts;
    alerts.Configure({});
    for (; alert < active; ++alert) {
        name(alert);
        key_bytes += event.dedupe_key.size();
        alerts.Process(&event, &forward);
    }
    if (alerts.ActiveCount() != active) state.SkipWithError("alerts are missing");
    const std::size_t held = mallinfo2().uordblks + mallinfo2().hblkhd - before;
    for (auto _ : state) {
        name(alert++);
        alerts.Process(&event, &forward);  // new
        name(alert * 7919 % active);
        alerts.Process(&event, &forward);  // repeated
    }
    state.counters["bytes_beside_key"] =
        static_cast<double>(held - key_bytes) / static_cast<double>(active);
}
BENCHMARK(AlertRaise)->Arg(1'000)->Arg(1'000'000)->Iterations(5'000);

}  // namespace
