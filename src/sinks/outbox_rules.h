// How an outbox decides what an answer means and how long to wait. Pure
// functions, any thread.
#pragma once

#include <chrono>
#include <cstdint>

namespace zvevent {

enum class OutboxVerdict {
    kDelivered,
    kRefused,  // however often it is sent
    kAgain,
};
OutboxVerdict JudgeStatus(std::uint32_t status);

// The pause after the try that was the `failed`th to fail in a row: `backoff_ms` doubled with each
// of them, up to a minute, of which `jitter` (0 to 1) takes up to the half, so that many senders do
// not come back at once. A receiver that asks for a longer one gets it, up to an hour.
std::chrono::milliseconds PauseAfter(std::uint32_t failed, std::uint32_t backoff_ms,
                                     std::uint32_t retry_after_s, double jitter);

}  // namespace zvevent
