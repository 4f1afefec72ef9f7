// A library under test, as the harness sees it: one source file a library, one program each, all
// with the same main (submit_harness.cpp).
#pragma once

#include <cstdint>
#include <thread>

namespace zvevent::bench {

struct PeerSetup {
    std::uint32_t queue_size = 1024;
    // Called by the library's own thread for each event that it delivers.
    void (*delivered)(std::uint64_t event_id) = nullptr;
    // Where the twenty columns are written to instead, or null.
    const char* csv_path = nullptr;
};

void StartPeer(const PeerSetup& setup);
void SubmitToPeer(std::uint64_t event_id);  // any thread

// Returns when everything that was submitted has been delivered or dropped: how many were dropped.
std::uint64_t DrainPeer(std::uint64_t submitted, std::uint64_t (*delivered)());

void StopPeer();

// DrainPeer of a library that drops nothing.
inline std::uint64_t AwaitDeliveries(std::uint64_t submitted, std::uint64_t (*delivered)()) {
    while (delivered() < submitted)
        std::this_thread::yield();
    return 0;
}

}  // namespace zvevent::bench
