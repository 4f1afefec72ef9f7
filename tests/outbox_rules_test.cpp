#include "sinks/outbox_rules.h"

#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "config/outbox_limit.h"

namespace zvevent {
namespace {

TEST(OutboxRules, ReadTheLimit) {
    const std::tuple<const char*, std::uint64_t, std::uint64_t> good[] = {
        {"", 100'000, UINT64_MAX},
        {"1", 1, UINT64_MAX},
        {"64MB", UINT64_MAX, 64 << 20},
        {"3kb", UINT64_MAX, 3072},
        {"17179869183Gb", UINT64_MAX, 17179869183 << 30}};
    for (const auto& [text, events, bytes] : good) {
        OutboxLimit limit;
        EXPECT_TRUE(ParseOutboxLimit(text, limit)) << text;
        EXPECT_EQ(std::tuple(limit.events, limit.body_bytes), std::tuple(events, bytes)) << text;
    }
    for (const char* const bad : {"0", "0MB", "MB", "-1", " 1", "1 MB", "1TB", "17179869184GB"}) {
        OutboxLimit limit;
        EXPECT_FALSE(ParseOutboxLimit(bad, limit)) << bad;
    }
}

TEST(OutboxRules, JudgeAnAnswer) {
    const std::pair<OutboxVerdict, std::vector<std::uint32_t>> cases[] = {
        {OutboxVerdict::kDelivered, {200, 299}},
        {OutboxVerdict::kRefused, {400, 401, 404, 413, 499}},
        {OutboxVerdict::kAgain, {0, 100, 301, 408, 425, 429, 500, 599}}};
    for (const auto& [verdict, statuses] : cases) {
        for (const std::uint32_t status : statuses)
            EXPECT_EQ(JudgeStatus(status), verdict) << status;
    }
}

TEST(OutboxRules, WaitLongerEachTime) {
    const std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, double, int> cases[] = {
        {1, 250, 0, 0.0, 250},        {1, 250, 0, 1.0, 125},
        {3, 250, 0, 0.0, 1000},       {9, 250, 0, 0.0, 60'000},
        {4'000'000, 1, 0, 1, 30'000}, {1, 250, 7, 1.0, 7000},
        {9, 250, 7, 0.0, 60'000},     {1, 250, 4'000'000, 1, 3'600'000}};
    for (const auto& [failed, backoff_ms, asked_s, jitter, expected_ms] : cases) {
        EXPECT_EQ(PauseAfter(failed, backoff_ms, asked_s, jitter).count(), expected_ms)
            << failed << ' ' << asked_s;
    }
}

}  // namespace
}  // namespace zvevent
