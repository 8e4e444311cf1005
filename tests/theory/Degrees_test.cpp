#include "theory/Degrees.h"

#include <gtest/gtest.h>

#include <string>

namespace mlh::theory {

namespace {

constexpr Key kCMajor = {0, false};
constexpr Key kAMinor = {9, true};

TEST(RomanNumerals, TheLongestOneCounts) {
    const char* const numerals[kSteps] = {"I", "II", "III", "IV", "V", "VI", "VII"};
    for (int32_t step = 0; step < kSteps; ++step) {
        const RomanNumeral read = ReadRomanNumeral(std::string(numerals[step]) + "7");
        EXPECT_EQ(read.step, step);
        EXPECT_EQ(read.length, std::string(numerals[step]).size());
        EXPECT_FALSE(read.lower);
    }
    EXPECT_EQ(ReadRomanNumeral("viio7").step, 6);
    EXPECT_TRUE(ReadRomanNumeral("viio7").lower);
    EXPECT_EQ(ReadRomanNumeral("iV").step, 0);  // one case only
    for (const char* none : {"", "X", "7", "bVII"}) {
        EXPECT_EQ(ReadRomanNumeral(none).step, -1) << none;
    }
}

TEST(DegreeRoots, OfMajorAreItsScale) {
    const int32_t roots[kSteps] = {0, 2, 4, 5, 7, 9, 11};
    for (int32_t step = 0; step < kSteps; ++step) {
        EXPECT_EQ(DegreeRoot(kCMajor, step, 0, false), roots[step]);
        EXPECT_EQ(DegreeRoot(kCMajor, step, 0, true), roots[step]);
    }
    EXPECT_EQ(DegreeRoot(kCMajor, 6, -1, false), 10);
    EXPECT_EQ(DegreeRoot(kCMajor, 3, 1, true), 6);
    EXPECT_EQ(DegreeRoot(kCMajor, 0, -1, false), 11);
}

TEST(DegreeRoots, OfMinorAreTheNaturalScaleAndTheRaisedOneUnderDiminishedChords) {
    const int32_t roots[kSteps] = {0, 2, 3, 5, 7, 8, 10};
    for (int32_t step = 0; step < kSteps; ++step) {
        EXPECT_EQ(DegreeRoot(kAMinor, step, 0, false), roots[step]);
    }
    EXPECT_EQ(DegreeRoot(kAMinor, 6, 0, true), 11);
    EXPECT_EQ(DegreeRoot(kAMinor, 5, 0, true), 9);
    EXPECT_EQ(DegreeRoot(kAMinor, 1, 0, true), 2);
    EXPECT_EQ(DegreeRoot(kAMinor, 6, -1, false), 10);  // bVII is VII
    EXPECT_EQ(DegreeRoot(kAMinor, 6, 1, true), 11);
    EXPECT_EQ(DegreeRoot(kAMinor, 1, -1, false), 1);
}

}  // namespace

}  // namespace mlh::theory
