#include "theory/ChordTypes.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "theory/Keys.h"

namespace mlh::theory {

namespace {

std::vector<int> SemitonesOf(const ChordType& type) {
    std::vector<int> semitones;
    for (int32_t i = 0; i < type.count; ++i) {
        semitones.push_back(type.tones[i].semitones);
    }
    return semitones;
}

TEST(ChordTypes, EachNameEachCodeAndEachSetOfTonesOccursOnce) {
    std::set<std::string> suffixes, harte, kinds;
    std::set<int32_t> codes;
    std::set<std::vector<int>> tones;
    for (const ChordType& type : kChordTypes) {
        EXPECT_TRUE(suffixes.insert(type.suffix).second) << type.suffix;
        EXPECT_TRUE(*type.harte == '\0' || harte.insert(type.harte).second) << type.suffix;
        EXPECT_TRUE(*type.kind == '\0' || kinds.insert(type.kind).second) << type.suffix;
        EXPECT_TRUE(type.code == kNoCode || codes.insert(type.code).second) << type.suffix;
        EXPECT_TRUE(tones.insert(SemitonesOf(type)).second) << type.suffix;
    }
    EXPECT_EQ(codes, (std::set<int32_t>{0, 1, 2, 3, 6, 9, 10, 11, 12, 13, 14, 17}));
}

TEST(ChordTypes, TonesRiseFromTheRootToTheThirteenthOnDifferentPitchClasses) {
    for (const ChordType& type : kChordTypes) {
        ASSERT_GE(type.count, 2) << type.suffix;
        ASSERT_LE(type.count, kMostChordTones) << type.suffix;
        EXPECT_EQ(type.tones[0].semitones, 0) << type.suffix;
        std::set<int> classes = {0};
        for (int32_t i = 1; i < type.count; ++i) {
            EXPECT_GT(type.tones[i].semitones, type.tones[i - 1].semitones) << type.suffix;
            EXPECT_LE(type.tones[i].semitones, 21) << type.suffix;
            EXPECT_TRUE(classes.insert(type.tones[i].semitones % 12).second) << type.suffix;
        }
    }
}

// A tone is at most a semitone off the major scale's tone on its letter, a diminished seventh a whole tone.
TEST(ChordTypes, TonesLieOnTheirLetters) {
    for (const ChordType& type : kChordTypes) {
        for (int32_t i = 0; i < type.count; ++i) {
            const ChordTone& tone = type.tones[i];
            const int32_t alter = tone.semitones - StepOffset(ScaleMajor, tone.steps);
            EXPECT_LE(alter, 1) << type.suffix;
            EXPECT_GE(alter, std::string(type.suffix) == "dim7" && tone.steps == 6 ? -2 : -1) << type.suffix;
        }
    }
}

TEST(ChordTypes, AreFoundByCodeAndSuffix) {
    EXPECT_STREQ(FindChordType(10)->suffix, "m7");
    EXPECT_EQ(SemitonesOf(*FindChordType(10)), (std::vector<int>{0, 3, 7, 10}));
    for (int32_t none : {kNoCode, 4, 5, 7, 8, 15, 16, 18, -2}) {
        EXPECT_EQ(FindChordType(none), nullptr) << none;
    }
    for (const ChordType& type : kChordTypes) {
        EXPECT_EQ(&ChordTypeNamed(type.suffix), &type);
    }
    EXPECT_EQ(ToneOfCode(13, 3), 9);
}

// Triads have codes below those of the seventh chords, as engines that keep two numbers rely on.
TEST(ChordTypes, CodesTellTriadsFromSeventhChords) {
    for (const ChordType& type : kChordTypes) {
        if (type.code == kNoCode) {
            continue;
        }
        EXPECT_EQ(type.count, type.code < kFirstSeventhCode ? 3 : 4) << type.suffix;
        EXPECT_NE(type.code, kNoTriad);
        EXPECT_NE(type.code, kNoSeventh);
    }
}

}  // namespace

}  // namespace mlh::theory
