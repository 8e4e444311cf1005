#include "theory/Keys.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace mlh::theory {

namespace {

std::string Name(const Spelling& spelling) {
    return std::string(1, spelling.step) +
           std::string(static_cast<std::size_t>(std::abs(spelling.alter)), spelling.alter < 0 ? 'b' : '#');
}

TEST(Keys, AreNumberedMajorFirst) {
    for (int32_t index = 0; index < kKeys; ++index) {
        EXPECT_EQ(IndexOfKey(KeyOfIndex(index)), index);
        EXPECT_EQ(KeyOfIndex(index).minor, index >= 12);
    }
    EXPECT_EQ(KeyOfIndex(21), (Key{9, true}));
}

TEST(Keys, SignaturesRunFromFiveFlatsToSixSharps) {
    const int32_t major[12] = {0, -5, 2, -3, 4, -1, 6, 1, -4, 3, -2, 5};
    for (int32_t tonic = 0; tonic < 12; ++tonic) {
        EXPECT_EQ(SharpsOf({tonic, false}), major[tonic]) << tonic;
        EXPECT_EQ(SharpsOf({tonic, true}), major[(tonic + 3) % 12]) << tonic;
    }
}

TEST(Keys, SpellTheirTonesAndNeighbours) {
    EXPECT_EQ(Name(Spell(10, {0, false})), "Bb");
    EXPECT_EQ(Name(Spell(6, {0, false})), "F#");
    EXPECT_EQ(Name(Spell(8, {9, true})), "G#");
    EXPECT_EQ(Name(Spell(8, {3, false})), "Ab");
    EXPECT_EQ(Name(Spell(5, {6, false})), "E#");
    for (int32_t index = 0; index < kKeys; ++index) {
        for (int32_t pitchClass = 0; pitchClass < 12; ++pitchClass) {
            const Spelling spelling = Spell(pitchClass, KeyOfIndex(index));
            const int32_t natural = PitchClassOfStep(StepOfLetter(spelling.step));
            EXPECT_EQ(PitchClass(natural + spelling.alter), pitchClass);
        }
    }
}

TEST(Keys, LettersHaveTheirPitchClasses) {
    const int32_t classes[kSteps] = {0, 2, 4, 5, 7, 9, 11};
    for (int32_t step = 0; step < kSteps; ++step) {
        EXPECT_EQ(StepOfLetter(kLetters[step]), step);
        EXPECT_EQ(PitchClassOfStep(step), classes[step]);
        EXPECT_EQ(std::string(NameOf(PitchClass(classes[step]), false)), std::string(1, kLetters[step]));
    }
    for (char other : {'H', 'c', '\0', ' '}) {
        EXPECT_EQ(StepOfLetter(other), -1);
    }
    EXPECT_STREQ(NameOf(PitchClass(10), true), "Bb");
    EXPECT_STREQ(NameOf(PitchClass(-2), false), "A#");
}

}  // namespace

}  // namespace mlh::theory
