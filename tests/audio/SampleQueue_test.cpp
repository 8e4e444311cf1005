#include "audio/SampleQueue.h"

#include <gtest/gtest.h>

#include <deque>

#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

TEST(SampleQueue, HoldsWhatAPlainQueueHoldsAndZerosBehindIt) {
    constexpr int32_t kMargin = 16;
    NoiseSource random(3);
    SampleQueue queue;
    queue.Allocate(100, kMargin);
    std::deque<float> expected;
    for (int32_t round = 0; round < 5000; ++round) {
        const int32_t added = random.Next(0, 100 - static_cast<int32_t>(expected.size()));
        float* appended = queue.Append(added);
        for (int32_t i = 0; i < added; ++i) {
            ASSERT_EQ(appended[i], 0.0f);
            appended[i] = random.Next() + 2.0f;
            expected.push_back(appended[i]);
        }
        const int32_t dropped = random.Next(0, static_cast<int32_t>(expected.size()));
        queue.Drop(dropped);
        expected.erase(expected.begin(), expected.begin() + dropped);

        ASSERT_EQ(queue.Size(), static_cast<int32_t>(expected.size()));
        for (size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(queue.Data()[i], expected[i]);
        }
        for (int32_t i = 0; i < kMargin; ++i) {
            ASSERT_EQ(queue.Data()[queue.Size() + i], 0.0f);
        }
    }
}

TEST(SampleQueue, GrowsBeyondItsCapacityRatherThanOverrunIt) {
    SampleQueue queue;
    queue.Allocate(4, 2);
    for (int32_t i = 0; i < 1000; ++i) {
        *queue.Append(1) = static_cast<float>(i);
    }
    ASSERT_EQ(queue.Size(), 1000);
    for (int32_t i = 0; i < 1000; ++i) {
        ASSERT_EQ(queue.Data()[i], static_cast<float>(i));
    }
    EXPECT_EQ(queue.Data()[1001], 0.0f);
}

TEST(SampleQueue, DroppingMoreThanThereIsEmptiesIt) {
    SampleQueue queue;
    queue.Allocate(8, 0);
    queue.Append(3);
    queue.Drop(5);
    EXPECT_EQ(queue.Size(), 0);
}

TEST(SampleQueue, ClearLeavesOnlyZeros) {
    SampleQueue queue;
    queue.Allocate(8, 4);
    *queue.Append(1) = 5.0f;
    queue.Clear();
    EXPECT_EQ(queue.Size(), 0);
    EXPECT_EQ(*queue.Append(1), 0.0f);
}

}  // namespace

}  // namespace mlh
