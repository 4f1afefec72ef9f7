#include "sinks/outbox_rules.h"

#include <algorithm>

namespace zvevent {

namespace {

constexpr std::uint64_t kLongestPauseMs = 60'000;
constexpr std::uint64_t kLongestAskedMs = 3'600'000;

}  // namespace

OutboxVerdict JudgeStatus(std::uint32_t status) {
    if (status >= 200 && status <= 299) return OutboxVerdict::kDelivered;
    const bool passes = status == 408 || status == 425 || status == 429;  // time, early, too many
    return status >= 400 && status <= 499 && !passes ? OutboxVerdict::kRefused
                                                     : OutboxVerdict::kAgain;
}

std::chrono::milliseconds PauseAfter(std::uint32_t failed, std::uint32_t backoff_ms,
                                     std::uint32_t retry_after_s, double jitter) {
    const std::uint32_t doublings = std::min<std::uint32_t>(failed > 0 ? failed - 1 : 0, 16);
    const std::uint64_t longest =
        std::min<std::uint64_t>(std::uint64_t{backoff_ms} << doublings, kLongestPauseMs);
    const auto pause =
        static_cast<std::uint64_t>(static_cast<double>(longest) * (1.0 - jitter / 2.0));
    const std::uint64_t asked =
        std::min<std::uint64_t>(std::uint64_t{retry_after_s} * 1000, kLongestAskedMs);
    return std::chrono::milliseconds(std::max(pause, asked));
}

}  // namespace zvevent
