#include "core/alert_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace zvevent {
namespace {

// Grows to two thousand alerts and shrinks to a few, again and again. Four share a place each, all
// in two parts, so that most stand elsewhere and move when others go.
TEST(AlertTable, KeepsWhatAMapWould) {
    AlertTable table;
    std::map<std::uint64_t, std::uint64_t> model;
    std::mt19937 random;
    for (std::uint64_t step = 1; step <= 60'000; ++step) {
        const std::uint64_t number = random() % 2000;
        const Digest key = {number / 4, number + (number % 2 << 56) + 1};
        Alert* const alert = table.Find(key);
        ASSERT_EQ(alert != nullptr, model.contains(number)) << step;
        ASSERT_TRUE(alert == nullptr || alert->forwarded_ns == model[number]) << step;
        if (random() % 8 < (step / 10'000 % 2 == 0 ? 7 : 1)) {
            (alert != nullptr ? *alert : table.Add(key)).forwarded_ns = model[number] = step;
        } else if (alert != nullptr) {
            table.Remove(*alert);
            model.erase(number);
        }
        ASSERT_EQ(table.Count(), model.size());
    }
    table.Clear();
    EXPECT_EQ(table.Count(), 0U);
    EXPECT_EQ(table.Find({1, 5}), nullptr);
}

}  // namespace
}  // namespace zvevent
