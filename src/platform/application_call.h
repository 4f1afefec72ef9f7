// Calls a function of the application. Any thread.
#pragma once

#include "zvEvent/zvEvent.h"

namespace zvevent {

// Returns true once the callback has returned. False: an exception of a C++ runtime that is not the
// library's own has left it and was caught (Windows: of a program built with MSVC); its frames are
// unwound, the exception object itself is not destroyed. Exceptions of the library's own runtime
// pass through.
bool CallApplication(zvEventCallback callback, const zvEventRecord* event, void* user_data);

}  // namespace zvevent
