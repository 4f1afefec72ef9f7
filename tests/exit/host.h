// What the program of the exit tests needs of the system.
#pragma once

#include <atomic>
#include <cstdint>

namespace zvevent::test {

// Loads the library; what it exports is found by Find and not called after CloseLibrary.
void OpenLibrary(const char* path);
void* Find(const char* name);
void CloseLibrary();

// Runs `child` in a forked copy of this process, which exits with its result; returns that, or -1
// when it did not end in time (POSIX).
int ForkAndRun(int (*child)());

// Has a signal interrupt the calling thread once `count` has reached `from`; its handler calls
// exit(7) (POSIX).
void ExitInSignalHandler(const std::atomic<int>& count, int from);

// Ends the calling "thread" by force, unwinding it, or the process with that code: "quick", or by
// "exec" of another program (POSIX).
[[noreturn]] void End(const char* way, int code);

// How many files, events and threads of the system's this process holds, and how many of them the
// C++ runtime inside the library may leave behind every time it is loaded and unloaded.
int OpenHandles();
extern const int kHandlesLeftByRuntime;

// What a shutdown returns that comes from a library's global object at the end of the process.
extern const std::uint32_t kShutdownAtProcessEnd;

// Whether the library has ended for good before an exit handler that was registered earlier runs.
extern const bool kEndsBeforeEarlierHandlers;

}  // namespace zvevent::test
