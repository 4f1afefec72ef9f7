// The name of an event source for one test, which is not there before and after it.
#pragma once

#include <windows.h>

#include <string>

#include "zvEvent/zvEvent.h"

namespace zvevent::test {

struct EventSourceName {
    EventSourceName() { zvEventRemoveWindowsEventSource(text.c_str()); }
    ~EventSourceName() { zvEventRemoveWindowsEventSource(text.c_str()); }

    const std::string text = "zvEvent-test-" + std::to_string(GetCurrentProcessId());
};

}  // namespace zvevent::test
