// The process that the library is a guest in: how it ends, and that the library stays loaded as
// long as its code may run. Called by one thread at a time.
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

// Keeps this library loaded until UnpinModule, however often the application unloads it. On POSIX
// it is linked to stay loaded for good.
void PinModule();
void UnpinModule();

// Has `release` called when the application unloads this library, which it only can while nothing
// of it runs, and goes on without it: Windows only. Not called when the process ends.
void ReleaseAtUnload(void (*release)());

}  // namespace zvevent
