// A library of an application's own, which uses zvEvent and has a global object shut it down.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "zvEvent/zvEvent.h"

namespace {

struct Global {
    ~Global() {
        if (expected_of_shutdown == nullptr || zvEventShutdown() == *expected_of_shutdown) return;
        std::fputs("failed: shutdown by a global object\n", stderr);
        std::_Exit(1);
    }
    const std::uint32_t* expected_of_shutdown = nullptr;
} global;

}  // namespace

extern "C" std::uint32_t BeginUse(const char* config_path, const std::uint32_t* of_shutdown) {
    global.expected_of_shutdown = of_shutdown;
    return zvEventInitialize(config_path);
}

extern "C" std::uint32_t Use(const char* message) {
    return zvEventSubmitSimple(0, 1, "exit", message);
}
