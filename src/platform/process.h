// The process that the library is a guest in: how it ends, forks and unloads the library. Called by
// one thread at a time, unless a function says otherwise.
#pragma once

namespace zvevent {

// Has `drain` called when the process ends in an orderly way: POSIX only, and not in a child that
// was forked later (the worker is not there). On Windows the other threads are already gone when
// the library hears of the end, so nothing is called. The first call registers, later ones do
// nothing.
void DrainAtExit(void (*drain)());

// Has `renew` called in every child that is forked from now on, before fork returns there: POSIX
// only.
void InChildAfterFork(void (*renew)());

// Whether the process has come so far in its end that the system has ended every other thread
// (Windows; elsewhere that never shows). A lock that one of them held stays held then. Any thread.
bool ProcessEnds();

// Has `release` called when the application unloads this library, which it only can while nothing
// of it runs, and goes on without it: Windows only. Not called when the process ends.
void ReleaseAtUnload(void (*release)());

}  // namespace zvevent
