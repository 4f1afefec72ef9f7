// The edge of the library: no exception gets past it into the application. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "base/contain.h"
#include "base/last_error.h"
#include "zvEvent/zvEvent.h"

namespace zvevent {

// Runs the body of the export `name` and returns its result. An exception becomes
// ZVEVENT_E_FAILURE and a last-error text that begins with the export's name.
template <typename Body>
std::uint32_t Guarded(const char* name, Body&& body) {
    std::uint32_t result = ZVEVENT_E_FAILURE;
    Contain([&] { result = body(); },
            [name](const char* what) {
                // There may be no memory for the text either; the code says enough then.
                Contain([&] {
                    std::string text = name != nullptr ? std::string(name) + " failed"
                                                       : std::string("zvEvent internal error");
                    if (what != nullptr) {
                        text.append(": ").append(what);
                    } else {
                        text += " with an unknown exception";
                    }
                    SetLastErrorText(text);
                });
            });
    return result;
}

}  // namespace zvevent
