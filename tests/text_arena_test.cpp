#include "core/text_arena.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace zvevent {
namespace {

TEST(TextArena, BlocksKeepTheirBytesWhileAnotherThreadReleasesOthers) {
    struct Filled {
        TextArena::Block block;
        std::string bytes;
    };
    TextArena arena;
    std::mt19937 random;
    std::future<bool> released;
    for (int round = 0; round < 30; ++round) {
        std::vector<Filled> batch;
        for (const std::size_t size : {1U, 393U, 70'000U, 262'000U, 262'136U, 262'137U, 400'000U}) {
            batch.push_back({arena.Allocate(size), std::string(size, static_cast<char>(random()))});
            batch.back().bytes.copy(batch.back().block.get(), size);
        }
        std::shuffle(batch.begin(), batch.end(), random);
        EXPECT_TRUE(!released.valid() || released.get());
        released = std::async(std::launch::async, [batch = std::move(batch)]() mutable {
            bool kept = true;
            for (; !batch.empty(); batch.pop_back()) {
                const auto& [block, bytes] = batch.back();
                kept = kept && std::equal(bytes.begin(), bytes.end(), block.get());
            }
            return kept;
        });
    }
    EXPECT_TRUE(released.get());
}

TEST(TextArena, UsesEmptyMemoryAgainUntilItGivesItBack) {
    TextArena arena;
    const char* const first = arena.Allocate(5000).get();
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(arena.Allocate(5000).get(), first);
    std::set<const char*> places;  // in five segments, which the second round has again
    for (int round = 0; round < 2; ++round) {
        for (std::vector<TextArena::Block> blocks; blocks.size() < 1000;) {
            blocks.push_back(arena.Allocate(5000));
            places.insert(blocks.back().get());
        }
    }
    EXPECT_LT(places.size(), 1100U);
    const TextArena::Block last = arena.Allocate(5000);
    arena.Trim();
    last[4999] = 'x';
}

}  // namespace
}  // namespace zvevent
