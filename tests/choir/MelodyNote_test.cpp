#include "choir/melody/MelodyNote.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace mlh::choir {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(OneLine, SortsAndEndsNotesWhereTheNextOneStarts) {
    const auto line = OneLine({{1.0, 3.0, 62.0}, {0.0, 2.0, 60.0}});
    ASSERT_EQ(line.size(), 2u);
    EXPECT_EQ(line[0].pitch, 60.0);
    EXPECT_EQ(line[0].end, 1.0);
    EXPECT_EQ(line[1].end, 3.0);
}

TEST(OneLine, KeepsTheHighestOfNotesThatStartTogether) {
    const auto line = OneLine({{0.0, 1.0, 60.0}, {0.0, 1.0, 67.0}, {0.0, 1.0, 64.0}});
    ASSERT_EQ(line.size(), 1u);
    EXPECT_EQ(line[0].pitch, 67.0);
}

TEST(OneLine, DropsNotesWithoutLengthAndNumbersThatAreNotFinite) {
    const auto line = OneLine(
        {{0.0, 0.0, 60.0}, {1.0, 0.5, 60.0}, {kNaN, 1.0, 60.0}, {0.0, kInfinity, 60.0}, {0.0, 1.0, kNaN}});
    EXPECT_TRUE(line.empty());
}

TEST(TuningOf, IsTheMeanDistanceFromWholeSemitonesWeightedByDuration) {
    EXPECT_EQ(TuningOf({}), 0.0);
    EXPECT_EQ(TuningOf({{0.0, 1.0, 60.0}, {1.0, 2.0, 67.0}}), 0.0);
    EXPECT_NEAR(TuningOf({{0.0, 1.0, 60.4}, {1.0, 2.0, 66.4}}), 0.4, 1e-12);
    EXPECT_NEAR(TuningOf({{0.0, 1.0, 59.8}, {1.0, 2.0, 66.8}}), -0.2, 1e-12);
    EXPECT_NEAR(TuningOf({{0.0, 1.0, 60.9}, {1.0, 2.0, 61.1}}), 0.0, 1e-12) << "around the circle";
    EXPECT_GT(TuningOf({{0.0, 3.0, 60.2}, {3.0, 4.0, 60.0}}), 0.1) << "the longer note counts for more";
}

TEST(MeanInterval, CutsSingleLongOnes) {
    const std::vector<MelodyNote> notes = {{0.0, 1.0, 60}, {1.0, 2.0, 60}, {2.0, 3.0, 60}, {3.0, 103.0, 60}};
    EXPECT_EQ(MedianInterval(notes), 1.0);
    EXPECT_EQ(MeanInterval(notes), (1.0 + 1.0 + 1.0 + 4.0) / 4.0);
    EXPECT_GT(MeanInterval({}), 0.0);
}

TEST(DegreeOf, IsFromZeroToEleven) {
    EXPECT_EQ(DegreeOf(60, 0), 0);
    EXPECT_EQ(DegreeOf(60, 11), 1);
    EXPECT_EQ(DegreeOf(-1, 0), 11);
    EXPECT_EQ(WholePitch(59.5), 60);
    EXPECT_EQ(WholePitch(-0.6), -1);
}

}  // namespace
}  // namespace mlh::choir
