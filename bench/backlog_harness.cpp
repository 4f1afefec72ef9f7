// Memory over a real backlog: EVENTS events with TEXT_BYTES of text are queued while a callback
// holds the worker, then let go. Prints one JSON object with the resident memory in KiB.
//
//     PROGRAM EVENTS TEXT_BYTES
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "config_text.h"
#include "sample_record.h"
#include "temporary_path.h"
#include "zvEvent/zvEvent.h"

namespace {

using namespace zvevent::bench;

std::atomic<bool> held{true};
std::atomic<unsigned> delivered{0};

long ResidentKib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) return std::atol(line.c_str() + sizeof "VmRSS:");
    }
    std::abort();
}

void Start(unsigned queue_size) {
    const auto path = TemporaryPath("backlog.xml");
    std::ofstream(path) << ConfigText(queue_size, "");
    std::uint32_t id = 0;
    zvEventRegisterCallback(
        [](const zvEventRecord*, void*) {
            held.wait(true);
            ++delivered;
        },
        nullptr, &id);
    if (zvEventInitialize(path.string().c_str()) != ZVEVENT_OK) std::abort();
    std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const auto events = static_cast<unsigned>(std::atoi(argv[1]));
    const std::string text(static_cast<std::size_t>(std::atoi(argv[2])), 'x');
    Start(events);
    const long rest = ResidentKib();
    zvEventRecord record = SampleRecord();
    record.message = text.c_str();
    for (unsigned i = 0; i < events; ++i)
        zvEventSubmit(&record);
    const long peak = ResidentKib();
    held = false;
    held.notify_all();
    if (zvEventFlush(0) != ZVEVENT_OK) std::abort();
    const long after = ResidentKib();
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const long later = ResidentKib();
    zvEventShutdown();
    std::printf(
        "{\"rest\":%ld,\"peak\":%ld,\"after\":%ld,\"later\":%ld,\"stopped\":%ld,"
        "\"submitted\":%u,\"dropped\":%u}\n",
        rest, peak, after, later, ResidentKib(), events, events - delivered.load());
    return 0;
}
