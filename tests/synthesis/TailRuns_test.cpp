#include "synthesis/TailRuns.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace mlh {

namespace {

TEST(TailRuns, WithoutValuesNothingIsFound) {
    TailRuns<int> runs;
    EXPECT_EQ(runs.Find(0), nullptr);
    runs.Assign(3, 7);
    EXPECT_EQ(runs.Find(2), nullptr);
    EXPECT_EQ(*runs.Find(3), 7);
    EXPECT_EQ(*runs.Find(1000000), 7);
    runs.Clear();
    EXPECT_EQ(runs.Find(3), nullptr);
}

// Against a row that is written to the end each time.
TEST(TailRuns, AreARowThatIsWrittenToItsEndAgainAndAgain) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        constexpr int32_t kCount = 40;
        TailRuns<int> runs;
        std::map<int32_t, int> row;
        for (int step = 0; step < 30; ++step) {
            if (random() % 12 == 0) {
                runs.Clear();
                row.clear();
            }
            const auto first = static_cast<int32_t>(random() % kCount);
            const int value = static_cast<int>(random() % 5);
            runs.Assign(first, value);
            for (int32_t i = first; i < kCount; ++i) {
                row[i] = value;
            }

            const auto end = static_cast<int32_t>(random() % (kCount + 1));
            std::map<int32_t, int> visited;
            runs.ForEach(end, [&](int32_t i, int v) { EXPECT_TRUE(visited.emplace(i, v).second); });
            for (int32_t i = 0; i < kCount; ++i) {
                const auto expected = row.find(i);
                const int* const found = runs.Find(i);
                ASSERT_EQ(found != nullptr, expected != row.end()) << i;
                if (found != nullptr) {
                    ASSERT_EQ(*found, expected->second) << i;
                }
                ASSERT_EQ(visited.count(i) != 0, found != nullptr && i < end) << i;
                if (visited.count(i) != 0) {
                    ASSERT_EQ(visited[i], *found) << i;
                }
            }
        }
    }
}

}  // namespace

}  // namespace mlh
