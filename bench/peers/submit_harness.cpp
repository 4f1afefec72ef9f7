// Measures one library (peer.h) in one scenario and prints one JSON object.
//
//     PROGRAM SCENARIO
//
// burst_N: N submits at once, then a drain; only the submits are timed.
// queue_N: the same into a queue of N, three quarters of it at once.
// spaced: one submit a millisecond.
// producers_N: N threads, 200,000 events in all, into a queue that holds them.
// arrival_burst, arrival_spaced: from each submit to its delivery, in bursts of 500 or spaced.
// csv: 200,000 events into a file, to the end of the drain.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "peers/peer.h"
#include "temporary_path.h"

namespace {

using namespace zvevent::bench;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kManyEvents = 200'000;
constexpr std::uint32_t kQueueSize = 1024;
constexpr std::size_t kSpacedEvents = 1'000;
constexpr std::size_t kLeastForP999 = 2'000;

std::atomic<std::uint64_t> delivered_count{0};
std::vector<Clock::time_point> submitted_at;  // by event id
std::vector<double> arrival_ns;

std::uint64_t Delivered() {
    return delivered_count.load(std::memory_order_relaxed);
}

void CountDelivery(std::uint64_t) {
    delivered_count.fetch_add(1, std::memory_order_relaxed);
}

void TimeDelivery(std::uint64_t id) {
    arrival_ns[id] = static_cast<double>((Clock::now() - submitted_at[id]).count());
    CountDelivery(id);
}

double Quantile(std::vector<double>& sorted, double quantile) {
    if (sorted.empty()) return 0;
    return sorted[static_cast<std::size_t>(quantile * static_cast<double>(sorted.size() - 1))];
}

// `each`: a sample's nanoseconds; `whole`: the same without a clock reading at every submit.
// Without enough samples for a p99.9 there is none.
void Print(std::vector<double> each, std::vector<double> whole, std::uint64_t submitted,
           std::uint64_t dropped) {
    std::ranges::sort(each);
    std::ranges::sort(whole);
    std::printf("{\"median\":%.1f,\"p50\":%.1f,\"p99\":%.1f,", Quantile(whole, 0.5),
                Quantile(each, 0.5), Quantile(each, 0.99));
    if (each.size() >= kLeastForP999) std::printf("\"p999\":%.1f,", Quantile(each, 0.999));
    std::printf("\"submitted\":%llu,\"dropped\":%llu}\n",
                static_cast<unsigned long long>(submitted),
                static_cast<unsigned long long>(dropped));
}

double Nanoseconds(Clock::duration time) {
    return static_cast<double>(std::chrono::nanoseconds(time).count());
}

void Bursts(std::uint64_t burst, std::uint32_t queue_size) {
    const std::size_t rounds = std::max<std::size_t>(3, 50'000 / burst);
    StartPeer({.queue_size = queue_size, .delivered = CountDelivery});
    std::vector<double> each;
    std::vector<double> whole;
    each.reserve(burst * rounds);
    std::uint64_t submitted = 0;
    std::uint64_t dropped = 0;
    const auto drain = [&] { dropped = DrainPeer(submitted, Delivered); };
    for (std::size_t round = 0; round < rounds; ++round) {
        // Once with a clock reading around the whole, once around each: a reading costs as much
        // as a third of a submit.
        const auto start = Clock::now();
        for (std::uint64_t i = 0; i < burst; ++i)
            SubmitToPeer(++submitted);
        whole.push_back(Nanoseconds(Clock::now() - start) / static_cast<double>(burst));
        drain();
        for (std::uint64_t i = 0; i < burst; ++i) {
            const auto before = Clock::now();
            SubmitToPeer(++submitted);
            each.push_back(Nanoseconds(Clock::now() - before));
        }
        drain();
    }
    Print(std::move(each), std::move(whole), submitted, dropped);
}

void WaitForNextMillisecond() {
    const auto due = Clock::now() + std::chrono::milliseconds(1);
    while (Clock::now() < due) {
    }
}

void Spaced(std::size_t events) {
    StartPeer({.delivered = CountDelivery});
    std::vector<double> each;
    for (std::uint64_t id = 1; id <= events; ++id) {
        WaitForNextMillisecond();
        const auto before = Clock::now();
        SubmitToPeer(id);
        each.push_back(Nanoseconds(Clock::now() - before));
    }
    const std::uint64_t dropped = DrainPeer(events, Delivered);
    Print(each, each, events, dropped);
}

void Producers(unsigned count) {
    StartPeer({.queue_size = kManyEvents, .delivered = CountDelivery});
    std::atomic<unsigned> ready{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < count; ++thread) {
        threads.emplace_back([&, thread] {
            ++ready;
            while (!go)
                std::this_thread::yield();
            for (std::uint64_t i = 0; i < kManyEvents / count; ++i)
                SubmitToPeer(thread * kManyEvents + i);
        });
    }
    while (ready < count)
        std::this_thread::yield();
    const auto start = Clock::now();
    go = true;
    for (std::thread& thread : threads)
        thread.join();
    const double ns = Nanoseconds(Clock::now() - start) / static_cast<double>(kManyEvents);
    const std::uint64_t dropped = DrainPeer(kManyEvents / count * count, Delivered);
    Print({ns}, {ns}, kManyEvents / count * count, dropped);
}

void Arrivals(std::uint64_t burst, std::size_t rounds) {
    submitted_at.resize(burst * rounds + 1);
    arrival_ns.resize(burst * rounds + 1, -1);
    StartPeer({.delivered = TimeDelivery});
    std::uint64_t id = 0;
    std::uint64_t dropped = 0;
    for (std::size_t round = 0; round < rounds; ++round) {
        WaitForNextMillisecond();
        for (std::uint64_t i = 0; i < burst; ++i) {
            submitted_at[++id] = Clock::now();
            SubmitToPeer(id);
        }
        if (burst > 1) dropped = DrainPeer(id, Delivered);
    }
    dropped = DrainPeer(id, Delivered);
    std::erase_if(arrival_ns, [](double ns) { return ns < 0; });
    Print(arrival_ns, arrival_ns, id, dropped);
}

void CsvFile() {
    const std::string path = TemporaryPath("rows.csv").string();
    std::filesystem::remove(path);
    StartPeer({.queue_size = kManyEvents, .csv_path = path.c_str()});
    const auto start = Clock::now();
    for (std::uint64_t id = 1; id <= kManyEvents; ++id)
        SubmitToPeer(id);
    DrainPeer(kManyEvents, nullptr);
    const double ns = Nanoseconds(Clock::now() - start) / static_cast<double>(kManyEvents);
    std::uint64_t rows = 0;
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
        std::vector<char> bytes(1 << 20);
        while (const std::size_t got = std::fread(bytes.data(), 1, bytes.size(), file))
            rows += static_cast<std::uint64_t>(
                std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(got), '\n'));
        std::fclose(file);
    }
    std::filesystem::remove(path);
    // One line more is the header.
    Print({ns}, {ns}, kManyEvents, rows >= kManyEvents ? 0 : kManyEvents - rows);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view scenario = argc == 2 ? argv[1] : "";
    const auto number = [&](std::string_view prefix) {
        return scenario.starts_with(prefix) ? std::atoi(argv[1] + prefix.size()) : 0;
    };
    if (const int burst = number("burst_"); burst > 0) {
        Bursts(static_cast<std::uint64_t>(burst), kQueueSize);
    } else if (const int size = number("queue_"); size > 0) {
        Bursts(static_cast<std::uint64_t>(size) * 3 / 4, static_cast<std::uint32_t>(size));
    } else if (const int count = number("producers_"); count > 0) {
        Producers(static_cast<unsigned>(count));
    } else if (scenario == "spaced") {
        Spaced(kSpacedEvents);
    } else if (scenario == "arrival_burst") {
        Arrivals(500, 100);
    } else if (scenario == "arrival_spaced") {
        Arrivals(1, kSpacedEvents);
    } else if (scenario == "csv") {
        CsvFile();
    } else {
        std::fprintf(stderr, "no scenario named so\n");
        return 2;
    }
    if (scenario != "csv") StopPeer();
    return 0;
}
