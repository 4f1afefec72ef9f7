// What one event costs with so many alerts active, and what the alerts take in memory.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <ctime>
#include <string>

#include "core/alert_state.h"
#include "sample_record.h"

namespace {

std::size_t HeldBytes() {
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

// CPU time, which does not count what else the machine does.
double ThreadMicroseconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

class Alerts {
public:
    explicit Alerts(std::size_t active) : active_(active) {
        state_.Configure({});
        while (next_ < active)
            Pass("raise", next_++);
    }

    // Numbers below Active() are active at the beginning.
    void Pass(const char* action, std::size_t number) {
        event_.action = action;
        // Scattered, as the alerts of a busy system are.
        event_.dedupe_key =
            "rack/" + std::to_string(number * 2654435761 % 4294967296) + "/temperature";
        state_.Process(&event_, &forwarded_);
    }

    std::size_t Any() { return (any_ += 7919) % active_; }
    std::size_t New() { return next_++; }
    std::size_t Count() const { return state_.ActiveCount(); }
    void Change() { event_.message.back() ^= 1; }

private:
    const std::size_t active_;
    zvevent::AlertState state_;
    zvEventNormalizedEvent event_ = zvevent::bench::SampleEvent();
    std::size_t next_ = 0;
    std::size_t any_ = 0;
    bool forwarded_ = false;
};

void ManyCounts(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(10)->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->Iterations(50'000);
}

// Both a new alert and a repetition that is held back. No key is kept, so that an alert's bytes all
// count as those beside it.
void AlertRaise(benchmark::State& state) {
    const auto active = static_cast<std::size_t>(state.range(0));
    const std::size_t before = HeldBytes();
    Alerts alerts(active);
    if (alerts.Count() != active) state.SkipWithError("alerts are missing");
    const std::size_t held = HeldBytes() - before;
    for (auto _ : state) {
        alerts.Pass("raise", alerts.New());
        alerts.Pass("raise", alerts.Any());
    }
    state.counters["bytes_beside_key"] = static_cast<double>(held) / static_cast<double>(active);
}
BENCHMARK(AlertRaise)->Arg(1'000)->Arg(1'000'000)->Iterations(5'000);

// A repetition that is held back.
void AlertRepeat(benchmark::State& state) {
    Alerts alerts(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        alerts.Pass("raise", alerts.Any());
}
BENCHMARK(AlertRepeat)->Apply(ManyCounts);

// An update that goes out since its message has changed.
void AlertUpdate(benchmark::State& state) {
    Alerts alerts(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        alerts.Change();
        alerts.Pass("update", alerts.Any());
    }
}
BENCHMARK(AlertUpdate)->Apply(ManyCounts);

// A new alert, and the end of an old one.
void AlertClearAndRaise(benchmark::State& state) {
    Alerts alerts(static_cast<std::size_t>(state.range(0)));
    std::size_t oldest = 0;
    for (auto _ : state) {
        alerts.Pass("clear", oldest++);
        alerts.Pass("raise", alerts.New());
    }
}
BENCHMARK(AlertClearAndRaise)->Apply(ManyCounts);

// The end of an alert that never began.
void AlertClearUnknown(benchmark::State& state) {
    Alerts alerts(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        alerts.Pass("clear", alerts.New());
}
BENCHMARK(AlertClearUnknown)->Apply(ManyCounts);

// From nothing to so many alerts and back: the longest that one event took, the most memory held,
// and what is still held at the end.
void AlertFlood(benchmark::State& state) {
    const auto flood = static_cast<std::size_t>(state.range(0));
    double longest_us = 0;
    std::size_t most = 0;
    std::size_t kept = 0;
    for (auto _ : state) {
        const std::size_t before = HeldBytes();
        Alerts alerts(0);
        for (const char* action : {"raise", "clear"}) {
            for (std::size_t number = 0; number < flood; ++number) {
                const double began = ThreadMicroseconds();
                alerts.Pass(action, number);
                longest_us = std::max(longest_us, ThreadMicroseconds() - began);
                // Seldom, since malloc walks through all that is free to tell.
                if (number % (flood / 16) == 0) most = std::max(most, HeldBytes() - before);
            }
        }
        kept = HeldBytes() - before;
    }
    state.counters["longest_us"] = longest_us;
    state.counters["bytes_an_alert"] = static_cast<double>(most) / static_cast<double>(flood);
    state.counters["bytes_kept"] = static_cast<double>(kept);
}
BENCHMARK(AlertFlood)->Arg(1'000'000)->Iterations(1);

}  // namespace
