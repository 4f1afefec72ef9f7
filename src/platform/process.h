// The process that the library is a guest in: how it ends, forks and unloads the library. Called by
// one thread at a time, unless a function says otherwise.
#pragma once

#include <functional>

namespace zvevent {

// Has `drain` called when the process ends in an orderly way: POSIX only, and not in a child that
// was forked later (the worker is not there). On Windows the other threads are already gone when
// the library hears of the end, so nothing is called. The first call registers, later ones do
// nothing.
void DrainAtExit(void (*drain)());

// Has `renew` called in every child that is forked from now on, before fork returns there: POSIX
// only.
void InChildAfterFork(void (*renew)());

// Has `before` called at the beginning of every fork from now on, and after it `in_parent` or, as
// above, `in_child`: POSIX only.
void AroundFork(void (*before)(), void (*in_parent)(), void (*in_child)());

// Runs `work` so that a file that would grow beyond the process's limit raises no signal. Any
// thread.
void WithFileSignalsHeld(const std::function<void()>& work);

// Whether the process has come so far in its end that the system has ended every other thread
// (Windows; elsewhere that never shows). A lock that one of them held stays held then. Any thread.
bool ProcessEnds();

// Has `release` called when the application unloads this library, which it only can while nothing
// of it runs, and goes on without it: Windows only. Not called when the process ends.
void ReleaseAtUnload(void (*release)());

}  // namespace zvevent
