// The edge of the library: no exception gets past it into the application. Any thread.
#pragma once

#include <cstdint>
#include <string_view>

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
                const std::string_view failed =
                    name != nullptr ? " failed" : "zvEvent internal error";
                const std::string_view separator =
                    what != nullptr ? ": " : " with an unknown exception";
                SetLastErrorText(
                    {name != nullptr ? name : "", failed, separator, what != nullptr ? what : ""});
            });
    return result;
}

}  // namespace zvevent
