// Ways for a process to end that differ between the systems.
#pragma once

namespace zvevent::test {

// Ends the process as the system's own call does (POSIX: exit).
[[noreturn]] void ExitProcessNow(int code);

// Ends the calling thread from wherever it is. False where that cannot be done in an orderly way.
bool EndThread();

// Runs a child process that is a copy of this one and calls exit(code) at once; returns the code
// it ended with, or -1 where there are no such copies.
int ForkAndExit(int code);

// How many files, events and threads of the system's this process holds.
int OpenHandles();

// How many of them the C++ runtime inside the library may leave behind every time it is loaded and
// unloaded. The one of mingw-w64 leaves about five.
extern const int kHandlesLeftByRuntime;

}  // namespace zvevent::test
