// Ends, or unloads the library, in the ways that hosts do. Exit code 7 says that the scenario went
// as it should until the end; what the end itself did shows outside (see run_exit.py).
//
//     zvevent_exit SCENARIO LIBRARY CONFIG
//
// A callback holds the first event until the gate opens, so that the others are queued meanwhile.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

#include "exit/library.h"
#include "exit/process.h"

namespace {

using zvevent::test::Library;

constexpr int kGood = 7;
constexpr int kBad = 1;
constexpr int kEvents = 100;
constexpr int kRounds = 50;

const char* library_path = nullptr;
const char* config_path = nullptr;
Library library;

// Never destroyed: the worker may look at it until the very end.
struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    bool open = false;
    int received = 0;
};
Gate& gate = *new Gate;

void OpenGate() {
    const std::scoped_lock lock(gate.mutex);
    gate.open = true;
    gate.changed.notify_all();
}

void WaitForEvents(int count) {
    std::unique_lock lock(gate.mutex);
    gate.changed.wait(lock, [count] { return gate.received >= count; });
}

void WaitAtGate(const zvEventRecord*, void*) {
    std::unique_lock lock(gate.mutex);
    ++gate.received;
    gate.changed.notify_all();
    gate.changed.wait(lock, [] { return gate.open; });
}

void Count(const zvEventRecord*, void*) {
    const std::scoped_lock lock(gate.mutex);
    ++gate.received;
    gate.changed.notify_all();
}

void ExitInside(const zvEventRecord*, void*) {
    std::exit(kGood);
}

void EndThreadInside(const zvEventRecord*, void*) {
    {
        const std::scoped_lock lock(gate.mutex);
        ++gate.received;
        gate.changed.notify_all();
    }
    zvevent::test::EndThread();
}

void Check(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "failed: %s\n", what);
    std::fflush(stderr);
    std::_Exit(kBad);
}

// Every event with a message of its own.
void Submit(int count) {
    static int number = 0;
    for (int i = 0; i < count; ++i) {
        const std::string message = "event " + std::to_string(++number);
        Check(library.submit(0, zvEventSeverityInfo, "exit", message.c_str()) == ZVEVENT_OK,
              "submit");
    }
}

// Loads and initialises; the first event is in `callback`, the others are queued.
void Start(zvEventCallback callback) {
    library = zvevent::test::OpenLibrary(library_path);
    std::uint32_t id = 0;
    Check(library.register_callback(callback, nullptr, &id) == ZVEVENT_OK, "register");
    Check(library.initialize(config_path) == ZVEVENT_OK, "initialize");
    Submit(kEvents);
}

int ReturnFromMain() {
    Start(WaitAtGate);
    WaitForEvents(1);
    std::atexit(OpenGate);  // runs before what the library has registered
    return kGood;
}

int ExitOnAnotherThread() {
    Start(WaitAtGate);
    WaitForEvents(1);
    std::atexit(OpenGate);
    std::thread([] { zvevent::test::ExitProcessNow(kGood); }).join();
    return kBad;
}

int UnloadWithQueuedEvents() {
    Start(WaitAtGate);
    WaitForEvents(1);
    zvevent::test::CloseLibrary();
    OpenGate();
    WaitForEvents(kEvents);
    return kGood;
}

int BlockedCallback() {
    Start(WaitAtGate);
    WaitForEvents(1);
    return kGood;  // the gate stays shut
}

int ExitInsideCallback() {
    Start(ExitInside);
    for (;;)
        std::this_thread::sleep_for(std::chrono::hours(1));
}

int ThreadEndsInCallback() {
    Start(EndThreadInside);
    WaitForEvents(1);
    return kGood;
}

int ShutdownAfterThreadEnded() {
    Start(EndThreadInside);
    WaitForEvents(1);
    Check(library.shutdown() == ZVEVENT_E_FAILURE, "shutdown reports lost events");
    Check(library.initialize(config_path) == ZVEVENT_OK, "initialize again");
    Submit(kEvents);
    Check(library.shutdown() == ZVEVENT_OK, "shutdown");
    return kGood;
}

// Loads, works and unloads again and again.
int Cycles(bool with_shutdown) {
    int handles = 0;
    for (int round = 0; round < kRounds; ++round) {
        library = zvevent::test::OpenLibrary(library_path);
        const std::uint32_t started = library.initialize(config_path);
        const bool still_running = started == ZVEVENT_E_ALREADY_INITIALIZED;
        Check(started == ZVEVENT_OK || (still_running && !with_shutdown && round > 0),
              "initialize");
        Submit(2);
        if (with_shutdown) Check(library.shutdown() == ZVEVENT_OK, "shutdown");
        zvevent::test::CloseLibrary();
        if (round == 0) handles = zvevent::test::OpenHandles();
    }
    const int left = zvevent::test::OpenHandles() - handles;
    Check(left < kRounds * zvevent::test::kHandlesLeftByRuntime + kRounds / 2, "handles are left");
    return kGood;
}

int CyclesWithShutdown() {
    return Cycles(true);
}

int CyclesWithoutShutdown() {
    return Cycles(false);
}

// The shutdown leaves nothing running that the unload would pull the code away from.
int ShutdownThenUnload() {
    Start(Count);
    Check(library.shutdown() == ZVEVENT_OK, "shutdown");
    zvevent::test::CloseLibrary();
    return kGood;
}

// A thread that has called in ends when the library's code is gone.
int ThreadOutlivesLibrary() {
    static bool thread_is_in = false;  // guarded by the gate's mutex
    Start(Count);
    std::thread thread([] {
        Check(library.submit(0, zvEventSeverityInfo, "exit", "") == ZVEVENT_E_INVALID_ARGUMENT,
              "submit without a message");
        std::unique_lock lock(gate.mutex);
        thread_is_in = true;
        gate.changed.notify_all();
        gate.changed.wait(lock, [] { return gate.open; });
    });
    {
        std::unique_lock lock(gate.mutex);
        gate.changed.wait(lock, [] { return thread_is_in; });
    }
    Check(library.shutdown() == ZVEVENT_OK, "shutdown");
    zvevent::test::CloseLibrary();
    OpenGate();
    thread.join();
    return kGood;
}

// All of it on a thread that ends afterwards.
int CyclesOnThread() {
    int result = kBad;
    std::thread([&result] { result = Cycles(true); }).join();
    return result;
}

int ForkedChildExits() {
    Start(WaitAtGate);
    WaitForEvents(1);
    const auto start = std::chrono::steady_clock::now();
    Check(zvevent::test::ForkAndExit(3) == 3, "child's exit code");
    Check(std::chrono::steady_clock::now() - start < std::chrono::seconds(3), "child's time");
    OpenGate();
    return kGood;
}

const struct {
    const char* name;
    int (*run)();
} kScenarios[] = {
    {"return", ReturnFromMain},
    {"full_queue", ReturnFromMain},  // by its configuration
    {"other_thread", ExitOnAnotherThread},
    {"unload", UnloadWithQueuedEvents},
    {"blocked_callback", BlockedCallback},
    {"exit_in_callback", ExitInsideCallback},
    {"thread_ends", ThreadEndsInCallback},
    {"thread_ends_shutdown", ShutdownAfterThreadEnded},
    {"cycles_shutdown", CyclesWithShutdown},
    {"cycles", CyclesWithoutShutdown},
    {"cycles_on_thread", CyclesOnThread},
    {"shutdown_unload", ShutdownThenUnload},
    {"thread_outlives", ThreadOutlivesLibrary},
    {"fork", ForkedChildExits},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    library_path = argv[2];
    config_path = argv[3];
    for (const auto& scenario : kScenarios) {
        if (std::strcmp(scenario.name, argv[1]) == 0) return scenario.run();
    }
    return 2;
}
