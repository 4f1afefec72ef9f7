// Ends, or unloads the library, in the ways that hosts do. Exit code 7 says that the scenario went
// as it should until the end; what the end itself did shows outside (see run_exit.py).
//
//     zvevent_exit SCENARIO LIBRARY CONFIG APPLICATION_LIBRARY
//
// A callback holds the first event until the gate opens, so that the others are queued meanwhile.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <string>
#include <thread>

#include "exit/host.h"
#include "support/gate.h"
#include "zvEvent/zvEvent.h"

namespace {

using zvevent::test::Gate;

constexpr int kGood = 7;
constexpr int kEvents = 100;
constexpr int kRounds = 50;

const char* library_path = nullptr;
const char* config_path = nullptr;
const char* application_library_path = nullptr;
// Never destroyed: the worker may look at it until the very end.
Gate& gate = *new Gate(false);

void WaitAtGate(const zvEventRecord*, void*) {
    gate.Pass();
}

void Check(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "failed: %s\n", what);
    std::_Exit(1);
}

#define CALL(function, ...) \
    reinterpret_cast<decltype(&function)>(zvevent::test::Find(#function))(__VA_ARGS__)

// Every event with a message of its own.
void Submit(int count) {
    static int number = 0;
    for (int i = 0; i < count; ++i) {
        const std::string message = "event " + std::to_string(++number);
        Check(CALL(zvEventSubmitSimple, 0, 1, "exit", message.c_str()) == ZVEVENT_OK, "submit");
    }
}

// Loads and initialises; returns when the first event is in `callback` and the others are queued.
void Start(zvEventCallback callback, int arrivals = 1) {
    zvevent::test::OpenLibrary(library_path);
    std::uint32_t id = 0;
    Check(CALL(zvEventRegisterCallback, callback, nullptr, &id) == ZVEVENT_OK, "register");
    Check(CALL(zvEventInitialize, config_path) == ZVEVENT_OK, "initialize");
    Submit(kEvents);
    gate.WaitForArrivals(arrivals);
}

int OpenGateAtExit() {
    Start(WaitAtGate);
    std::atexit([] { gate.Set(true); });  // runs before what the library has registered
    return kGood;
}

// As Start, but with an output in the middle of an event: the callback at the shut gate, or where
// the receiver hangs, a request, which the receiver tells of by a file.
void StartAndGetBusy() {
    Start(WaitAtGate, 0);
    do {
        Check(CALL(zvEventFlush, 100) == ZVEVENT_E_FAILURE, "flush");
    } while (!std::ifstream("busy"));
}

template <void (*end)()>
int EndBusy() {
    StartAndGetBusy();
    end();
    return 1;
}

// Loads, works and unloads again and again. Without a shutdown the former round may still run.
int Cycles(bool with_shutdown) {
    int handles = 0;
    for (int round = 0; round < kRounds; ++round) {
        zvevent::test::OpenLibrary(library_path);
        const std::uint32_t started = CALL(zvEventInitialize, config_path);
        Check(started == ZVEVENT_OK || (started == ZVEVENT_E_ALREADY_INITIALIZED && !with_shutdown),
              "initialize");
        Submit(2);
        if (with_shutdown) Check(CALL(zvEventShutdown) == ZVEVENT_OK, "shutdown");
        zvevent::test::CloseLibrary();
        if (round == 0) handles = zvevent::test::OpenHandles();
    }
    const int left = zvevent::test::OpenHandles() - handles;
    Check(left < kRounds * zvevent::test::kHandlesLeftByRuntime + kRounds / 2, "handles are left");
    return kGood;
}

// In a forked child: as if the library had never been initialized there, nor a callback registered.
// Returns 0, or which step went wrong.
int forks = 0;
int StartAfresh() {
    const std::string message = "of child " + std::to_string(forks);
    if (CALL(zvEventSubmitSimple, 0, 1, "exit", "m") != ZVEVENT_E_NOT_INITIALIZED) return 1;
    if (CALL(zvEventFlush, 0) != ZVEVENT_E_NOT_INITIALIZED) return 2;
    if (CALL(zvEventShutdown) != ZVEVENT_E_NOT_INITIALIZED) return 3;
    std::uint32_t id = 0;
    static int delivered = 0;
    CALL(
        zvEventRegisterCallback, [](const zvEventRecord*, void*) { ++delivered; }, nullptr, &id);
    if (CALL(zvEventInitialize, config_path) != ZVEVENT_OK) return 4;
    CALL(zvEventSubmitSimple, 0, 1, "exit", message.c_str());
    return CALL(zvEventShutdown) == ZVEVENT_OK && delivered == 1 ? 0 : 5;
}

void ForkAndStartAfresh() {
    ++forks;
    Check(zvevent::test::ForkAndRun(StartAfresh) == 0, "child that uses the library");
}

// Forks before the first initialise, and while another thread is in it.
int ForkEarly() {
    zvevent::test::OpenLibrary(library_path);
    std::uint32_t id = 0;
    Check(CALL(zvEventRegisterCallback, WaitAtGate, nullptr, &id) == ZVEVENT_OK, "register");
    ForkAndStartAfresh();
    std::remove("events.csv");
    std::thread initialize(
        [] { Check(CALL(zvEventInitialize, config_path) == ZVEVENT_OK, "initialize"); });
    while (!std::ifstream("events.csv"))  // hundreds of files are opened after it
        std::this_thread::yield();
    ForkAndStartAfresh();
    initialize.join();
    gate.Set(true);
    Submit(kEvents);
    return kGood;
}

// Children that end, in every way, while the parent's output is busy.
int ForkAndEnd() {
    StartAndGetBusy();
    const auto start = std::chrono::steady_clock::now();
    for (int (*const end)() : {+[] { return 3; }, +[]() -> int { std::_Exit(3); },
                               +[]() -> int { zvevent::test::End("quick", 3); },
                               +[]() -> int { zvevent::test::End("exec", 3); },
                               +[] { return zvevent::test::CloseLibrary(), 3; }})
        Check(zvevent::test::ForkAndRun(end) == 3, "child");
    Check(std::chrono::steady_clock::now() - start < std::chrono::seconds(20), "their time");
    return kGood;
}

// Unloaded before it was started, while loaded once more, and with nothing to do.
int UnloadInEveryState() {
    zvevent::test::OpenLibrary(library_path);
    zvevent::test::CloseLibrary();
    gate.Set(true);
    zvevent::test::OpenLibrary(library_path);
    Start(WaitAtGate, kEvents);
    zvevent::test::CloseLibrary();
    Check(CALL(zvEventFlush, 0) == ZVEVENT_OK, "flush");
    zvevent::test::CloseLibrary();
    return kGood;
}

// In a forked child: a signal interrupts a submit and its handler calls exit(); a later exit
// handler shuts down. The submits have a full queue drop an event from its middle, which takes
// long. Functions are looked up before: the signal must not interrupt the loader, whose lock would
// be held for good.
int ExitInSignalHandler() {
    const auto submit = reinterpret_cast<decltype(&zvEventSubmitSimple)>(
        zvevent::test::Find("zvEventSubmitSimple"));
    static const auto shutdown =
        reinterpret_cast<decltype(&zvEventShutdown)>(zvevent::test::Find("zvEventShutdown"));
    std::atexit([] { shutdown(); });  // runs after what the library registers
    OpenGateAtExit();
    for (int i = 0; i < 500; ++i)
        submit(0, zvEventSeverityWarning, "exit", "not to be dropped");
    static std::atomic<int> submits{0};
    zvevent::test::ExitInSignalHandler(submits, 2000);
    for (;; ++submits)
        submit(0, zvEventSeverityInfo, "exit", "dropped");
}

// An application's library whose global object shuts down, at its unload or at the process's end,
// while other threads are submitting.
int UseByApplicationLibrary(bool unload) {
    zvevent::test::OpenLibrary(application_library_path);
    static const auto use =
        reinterpret_cast<std::uint32_t (*)(const char*)>(zvevent::test::Find("Use"));
    static const std::uint32_t of_shutdown =
        unload ? ZVEVENT_OK : zvevent::test::kShutdownAtProcessEnd;
    const auto begin = reinterpret_cast<std::uint32_t (*)(const char*, const std::uint32_t*)>(
        zvevent::test::Find("BeginUse"));
    Check(begin(config_path, &of_shutdown) == ZVEVENT_OK, "initialize");
    if (unload) {
        for (int i = 0; i < kEvents; ++i)
            Check(use(std::to_string(i).c_str()) == ZVEVENT_OK, "submit");
        zvevent::test::CloseLibrary();
        return kGood;
    }
    static std::atomic<int> submits{0};
    for (int i = 0; i < 2; ++i) {
        std::thread([] {
            for (;; ++submits)
                use("m");
        }).detach();
    }
    while (submits < 2000)
        std::this_thread::yield();
    return kGood;
}

// A thread that has called in ends when the library's code is gone.
int ThreadOutlivesLibrary() {
    gate.Set(true);
    Start(WaitAtGate);
    Gate thread_gate(false);
    std::thread thread([&] {
        Check(CALL(zvEventSubmitSimple, 0, 1, "exit", "") == ZVEVENT_E_INVALID_ARGUMENT, "refusal");
        thread_gate.Pass();
    });
    thread_gate.WaitForArrivals(1);
    Check(CALL(zvEventShutdown) == ZVEVENT_OK, "shutdown");
    zvevent::test::CloseLibrary();
    thread_gate.Set(true);
    thread.join();
    return kGood;
}

const struct {
    const char* name;
    int (*run)();
} kScenarios[] = {
    {"return", OpenGateAtExit},
    {"full_queue", OpenGateAtExit},  // by its configuration
    {"other_thread",
     [] {
         OpenGateAtExit();
         std::thread([] { std::exit(kGood); }).join();
         return 1;
     }},
    {"unload",
     [] {
         Start(WaitAtGate);
         zvevent::test::CloseLibrary();
         gate.Set(true);
         gate.WaitForArrivals(kEvents);
         return kGood;
     }},
    {"exit_in_callback",
     [] {
         Start([](const zvEventRecord*, void*) { std::exit(kGood); });
         return 1;
     }},
    {"busy_return", EndBusy<[] { std::exit(kGood); }>},
    {"hanging_shutdown",
     []() -> int {
         gate.Set(true);
         Start(WaitAtGate, 0);
         Check(CALL(zvEventShutdown) == ZVEVENT_E_FAILURE, "shutdown");
         // The stop has ended the output's pauses, the start has allowed them again.
         Check(CALL(zvEventInitialize, config_path) == ZVEVENT_OK, "initialize");
         Submit(1);
         Check(CALL(zvEventFlush, 1000) == ZVEVENT_E_FAILURE, "flush");
         std::_Exit(kGood);
     }},
    {"thread_ends",
     [] {
         Start([](const zvEventRecord*, void*) {
             gate.Pass();
             zvevent::test::End("thread", 0);
         });
         gate.Set(true);
         Check(CALL(zvEventFlush, 0) == ZVEVENT_E_FAILURE, "flush");
         Check(CALL(zvEventShutdown) == ZVEVENT_E_FAILURE, "shutdown");
         return kGood;
     }},
    {"fork",
     [] {
         Start(WaitAtGate);
         ForkAndStartAfresh();
         gate.Set(true);
         return kGood;
     }},
    {"fork_early", ForkEarly},
    {"fork_ends", ForkAndEnd},
    {"at_once", EndBusy<[] { std::_Exit(kGood); }>},
    {"quick_exit", EndBusy<[] { zvevent::test::End("quick", kGood); }>},
    {"abort", EndBusy<[] { std::abort(); }>},
    {"terminate", EndBusy<[] { std::terminate(); }>},
    {"signal", EndBusy<[] { std::raise(SIGTERM); }>},
    {"exec", EndBusy<[] { zvevent::test::End("exec", kGood); }>},
    {"busy_unload", EndBusy<[] { zvevent::test::CloseLibrary(), std::exit(kGood); }>},
    {"unload_states", UnloadInEveryState},
    {"main_thread_ends", EndBusy<[] {
         std::thread([] {
             gate.Set(true);
             Check(CALL(zvEventShutdown) == ZVEVENT_OK, "shutdown");
         }).detach();
         zvevent::test::End("thread", 0);
     }>},
    {"in_signal_handler",
     [] {
         zvevent::test::OpenLibrary(library_path);
         Check(zvevent::test::ForkAndRun(ExitInSignalHandler) == kGood, "child");
         return kGood;
     }},
    {"late_shutdown",
     [] {
         std::atexit([] {  // runs after what the library registers
             Submit(1);
             Check(CALL(zvEventShutdown) == ZVEVENT_OK, "shutdown");
             if (zvevent::test::kEndsBeforeEarlierHandlers)
                 Check(CALL(zvEventInitialize, config_path) == ZVEVENT_E_FAILURE, "new start");
         });
         return OpenGateAtExit();
     }},
    {"amid_restarts",
     [] {
         zvevent::test::OpenLibrary(library_path);
         static std::atomic<int> rounds{0};
         std::thread([] {
             for (;; ++rounds) {
                 CALL(zvEventInitialize, config_path);
                 CALL(zvEventSubmitSimple, 0, 1, "exit", "m");
                 CALL(zvEventShutdown);
             }
         }).detach();
         while (rounds < 3)
             std::this_thread::yield();
         return kGood;
     }},
    {"library_unload", [] { return UseByApplicationLibrary(true); }},
    {"library_end", [] { return UseByApplicationLibrary(false); }},
    {"cycles_shutdown", [] { return Cycles(true); }},
    {"cycles", [] { return Cycles(false); }},
    {"thread_outlives", ThreadOutlivesLibrary},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    library_path = argv[2];
    config_path = argv[3];
    application_library_path = argv[4];
    for (const auto& scenario : kScenarios) {
        if (std::strcmp(scenario.name, argv[1]) == 0) return scenario.run();
    }
    return 2;
}
