// The library as the program of the exit tests sees it: linked, or loaded and unloaded at run time.
// Two files implement this; each makes a program of its own.
#pragma once

#include "zvEvent/zvEvent.h"

namespace zvevent::test {

struct Library {
    decltype(&zvEventInitialize) initialize;
    decltype(&zvEventSubmitSimple) submit;
    decltype(&zvEventRegisterCallback) register_callback;
    decltype(&zvEventShutdown) shutdown;
};

// The library at `path`; nothing in it is called after CloseLibrary. A linked library is what it
// is, and stays.
Library OpenLibrary(const char* path);
void CloseLibrary();

}  // namespace zvevent::test
