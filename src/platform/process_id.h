// The number that the system knows this process by. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zvevent {

std::uint32_t ProcessId() noexcept;

// The path with this process's number wherever it says "{pid}".
inline std::string WithProcessId(std::string_view path) {
    constexpr std::string_view kPlace = "{pid}";
    std::string expanded(path);
    for (std::size_t at = expanded.find(kPlace); at != std::string::npos;
         at = expanded.find(kPlace, at)) {
        expanded.replace(at, kPlace.size(), std::to_string(ProcessId()));
    }
    return expanded;
}

}  // namespace zvevent
