#include "theory/Scales.h"

#include <gtest/gtest.h>

#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "theory/Keys.h"

namespace mlh::theory {

namespace {

TEST(Scales, HaveTheirNumberOfTonesAndNoNameOrRowTwice) {
    const int32_t sizes[kScaleRows] = {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 6, 5, 5, 12};
    std::set<std::string> names;
    std::set<std::vector<int32_t>> rows;
    for (int32_t row = 0; row < kScaleRows; ++row) {
        const Scale& scale = kScales[row];
        EXPECT_EQ(std::accumulate(scale.flags, scale.flags + 12, 0), sizes[row]) << scale.name;
        EXPECT_EQ(scale.flags[0], 1) << scale.name;
        for (int32_t flag : scale.flags) {
            EXPECT_TRUE(flag == 0 || flag == 1) << scale.name;
        }
        EXPECT_TRUE(names.insert(scale.name).second) << scale.name;
        EXPECT_TRUE(rows.insert({scale.flags, scale.flags + 12}).second) << scale.name;
    }
    EXPECT_STREQ(kScales[ScaleMajor].name, "major");
    EXPECT_STREQ(kScales[ScaleMinor].name, "minor");
    EXPECT_STREQ(kScales[ScaleChromatic].name, "chromatic");
}

// A mode has the signature of the major key that it is a rotation of.
TEST(Scales, SignaturesOfTheModesAreThoseOfTheirMajorKeys) {
    for (int32_t step = 0; step < kSteps; ++step) {
        const Scale& mode = kScales[ScaleMajor + step];
        const int32_t start = StepOffset(ScaleMajor, step);
        for (int32_t position = 0; position < 12; ++position) {
            EXPECT_EQ(mode.flags[position], kScales[ScaleMajor].flags[(start + position) % 12]) << mode.name;
        }
        EXPECT_EQ(PitchClass(7 * mode.signatureShift), PitchClass(-start)) << mode.name;
    }
}

TEST(Scales, PentatonicScalesAreCutFromTheirParents) {
    for (int32_t row = 0; row < kScaleRows; ++row) {
        EXPECT_EQ(IsPentatonic(row), row == ScaleMajorPentatonic || row == ScaleMinorPentatonic);
        for (int32_t position = 0; position < 12; ++position) {
            EXPECT_LE(kScales[row].flags[position], kScales[ParentRow(row)].flags[position]);
        }
        EXPECT_EQ(kScales[row].signatureShift, kScales[ParentRow(row)].signatureShift);
    }
}

TEST(Scales, MinorThirdsAreThoseWithoutAMajorOne) {
    const bool minor[kScaleRows] = {false, true, true,  false, false, true, true,
                                    true,  true, false, false, false, true, false};
    for (int32_t row = 0; row < kScaleRows; ++row) {
        EXPECT_EQ(kScales[row].HasMinorThird(), minor[row]) << kScales[row].name;
    }
}

TEST(Scales, UnknownRowsReadAsMajor) {
    for (int32_t row : {-1, 14, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(&ScaleOf(row), &kScales[ScaleMajor]);
        EXPECT_FALSE(IsPentatonic(row));
    }
}

TEST(Scales, StepsRunOnPastTheOctaveBothWays) {
    EXPECT_EQ(StepOffset(ScaleMajor, 0), 0);
    EXPECT_EQ(StepOffset(ScaleMajor, 6), 11);
    EXPECT_EQ(StepOffset(ScaleMajor, 7), 12);
    EXPECT_EQ(StepOffset(ScaleMajor, 12), 21);
    EXPECT_EQ(StepOffset(ScaleMajor, -1), -1);
    EXPECT_EQ(StepOffset(ScaleMinor, -1), -2);
    EXPECT_EQ(StepOffset(ScaleMinorPentatonic, 5), 12);
}

}  // namespace

}  // namespace mlh::theory
