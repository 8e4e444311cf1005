#include "theory/KeyedScale.h"

#include <gtest/gtest.h>

#include <climits>
namespace mlh {

using namespace theory;

namespace {

TEST(KeyedScale, PitchClassIsTheFlooredRemainder) {
    EXPECT_EQ(PitchClass(0), 0);
    EXPECT_EQ(PitchClass(71), 11);
    EXPECT_EQ(PitchClass(-1), 11);
    EXPECT_EQ(PitchClass(-12), 0);
    EXPECT_EQ(PitchClass(INT_MIN), 4);
}

TEST(KeyedScale, PositionIsTheDistanceAboveTheTonic) {
    const KeyedScale d(2, ScaleMajor);
    EXPECT_EQ(d.Position(62), 0);
    EXPECT_EQ(d.Position(60), 10);
    EXPECT_EQ(d.Position(-1), 9);
    EXPECT_EQ(KeyedScale(-10, ScaleMajor).Position(62), 0);
    EXPECT_EQ(KeyedScale(14, ScaleMajor).Position(62), 0);
}

TEST(KeyedScale, CountsSignedScaleSteps) {
    const KeyedScale c(0, ScaleMajor);
    EXPECT_EQ(c.CountSteps(60, 0), 0);
    EXPECT_EQ(c.CountSteps(60, 4), 2);
    EXPECT_EQ(c.CountSteps(60, 12), 7);
    EXPECT_EQ(c.CountSteps(60, -1), -1);
    EXPECT_EQ(c.CountSteps(64, -4), -2);
    EXPECT_EQ(c.CountSteps(72, -24), -14);
}

TEST(KeyedScale, CountsBareTonesFromAPitchOutOfTheScale) {
    const KeyedScale c(0, ScaleMajor);
    EXPECT_EQ(c.CountSteps(61, 0), -1);
    EXPECT_EQ(c.CountSteps(61, 1), 0);
    EXPECT_EQ(c.CountSteps(61, 3), 1);
    EXPECT_EQ(c.CountSteps(61, -1), 0);
    const KeyedScale pentatonic(0, ScaleMajorPentatonic);
    EXPECT_EQ(pentatonic.CountSteps(65, 1), -1);  // F to F sharp, both in one gap
    EXPECT_EQ(pentatonic.CountSteps(66, -1), 1);  // and back: minus (0 - 1)
}

TEST(KeyedScale, WalksToTheKthToneCountingTheStart) {
    const KeyedScale c(0, ScaleMajor);
    EXPECT_EQ(c.WalkUp(0, 1), 0);
    EXPECT_EQ(c.WalkUp(0, 3), 4);
    EXPECT_EQ(c.WalkUp(0, 8), 12);
    EXPECT_EQ(c.WalkUp(1, 1), 1);
    EXPECT_EQ(c.WalkUp(11, 2), 1);
    EXPECT_EQ(c.WalkDown(0, 1), 0);
    EXPECT_EQ(c.WalkDown(0, 2), 1);
    EXPECT_EQ(c.WalkDown(0, 3), 3);
    EXPECT_EQ(c.WalkDown(6, 1), 1);
}

TEST(KeyedScale, WalkingAndCountingAreInverse) {
    for (int32_t row = 0; row < kScaleRows; ++row) {
        for (int32_t key = 0; key < 12; ++key) {
            const KeyedScale scale(key, row);
            for (int32_t pitch = 48; pitch < 60; ++pitch) {
                if (!scale.InScale(pitch)) {
                    continue;
                }
                for (int32_t steps = 0; steps < 20; ++steps) {
                    const int32_t up = scale.WalkUp(scale.Position(pitch), steps + 1);
                    const int32_t down = scale.WalkDown(scale.Position(pitch), steps + 1);
                    ASSERT_TRUE(scale.InScale(pitch + up));
                    ASSERT_TRUE(scale.InScale(pitch - down));
                    ASSERT_EQ(scale.CountSteps(pitch, up), steps);
                    ASSERT_EQ(scale.CountSteps(pitch, -down), -steps);
                }
            }
        }
    }
}

TEST(KeyedScale, DegreeOfAPitchBetweenTwoTonesIsTheLowers) {
    const KeyedScale g(7, ScaleMajor);
    EXPECT_EQ(g.Degree(67), 0);
    EXPECT_EQ(g.Degree(66), 6);
    EXPECT_EQ(g.Degree(68), 0);
    EXPECT_EQ(g.Degree(62), 4);
    EXPECT_EQ(KeyedScale(0, ScaleChromatic).Degree(71), 11);
}

TEST(KeyedScale, ReadsAnUnknownRowAsMajor) {
    for (const int32_t row : {-1, 14, INT_MAX, INT_MIN}) {
        EXPECT_EQ(KeyedScale(0, row).CountSteps(60, 12), 7);
    }
}

}  // namespace

}  // namespace mlh
