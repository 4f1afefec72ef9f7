// The name of an event source for one test, which is not there before and after it.
#pragma once

#include <windows.h>

#include <string>

#include "zvEvent/zvEvent.h"

namespace zvevent::test {

class EventSourceName {
public:
    explicit EventSourceName(const char* subject)
        : text_(std::string("zvEvent-test-") + subject + "-" +
                std::to_string(GetCurrentProcessId())) {
        zvEventRemoveWindowsEventSource(c_str());
    }
    ~EventSourceName() { zvEventRemoveWindowsEventSource(c_str()); }
    EventSourceName(const EventSourceName&) = delete;
    EventSourceName& operator=(const EventSourceName&) = delete;

    const std::string& text() const { return text_; }
    const char* c_str() const { return text_.c_str(); }

private:
    const std::string text_;
};

}  // namespace zvevent::test
