#include "choir/chords/Chord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "choir/chords/ChordSymbol.h"
#include "theory/ChordTypes.h"

namespace mlh::choir {

namespace {

using testing::ElementsAre;

Chord Read(const std::string& symbol) { return ReadChordSymbol(symbol).chord; }

std::string Recognised(const std::vector<int>& pitches, bool flats = false) {
    return RecogniseChord(pitches, flats).name;
}

TEST(Chord, PitchClassesHoldTheTonesAndTheBass) {
    EXPECT_EQ(PitchClassesOf(Read("C")), 1u << 0 | 1u << 4 | 1u << 7);
    EXPECT_EQ(PitchClassesOf(Read("G7/B")), 1u << 7 | 1u << 11 | 1u << 2 | 1u << 5);
    EXPECT_EQ(PitchClassesOf(Read("C/D")), 1u << 0 | 1u << 2 | 1u << 4 | 1u << 7);
    EXPECT_EQ(PitchClassesOf(Read("Bb9")), 1u << 10 | 1u << 2 | 1u << 5 | 1u << 8 | 1u << 0);
    EXPECT_EQ(PitchClassesOf(Read("N")), 0);
}

TEST(Chord, SoundsLikeAsksForRootTonesAndBassAlone) {
    EXPECT_TRUE(SoundsLike(Read("C:min7"), Read("C-7")));
    EXPECT_TRUE(SoundsLike(Read("C/C"), Read("C")));
    EXPECT_FALSE(SoundsLike(Read("C/E"), Read("C")));
    EXPECT_FALSE(SoundsLike(Read("C6"), Read("Am7")));
    EXPECT_FALSE(SoundsLike(Read("Cadd9"), Read("C")));
}

TEST(Chord, ImportanceKeepsThirdSeventhAndRootAndDropsThePlainFifthFirst) {
    const auto order = [](const char* symbol) { return IntervalsByImportance(Read(symbol).intervals); };
    EXPECT_THAT(order("C"), ElementsAre(4, 0, 7));
    EXPECT_THAT(order("C7"), ElementsAre(4, 10, 0, 7));
    EXPECT_THAT(order("Cm7b5"), ElementsAre(3, 10, 0, 6));
    EXPECT_THAT(order("Cdim7"), ElementsAre(3, 9, 0, 6));
    EXPECT_THAT(order("Csus4"), ElementsAre(5, 0, 7));
    EXPECT_THAT(order("C6"), ElementsAre(4, 0, 9, 7));
    EXPECT_THAT(order("C13"), ElementsAre(4, 10, 0, 21, 14, 7));
}

TEST(ChordName, SaysBassAndAccidentals) {
    EXPECT_EQ(ChordName(10, {0, 4, 7}, 2, true), "Bb/D");
    EXPECT_EQ(ChordName(10, {0, 4, 7}, 2, false), "A#/D");
    EXPECT_EQ(ChordName(0, {0, 4, 7}, 0), "C");
    EXPECT_EQ(ChordName(-1, {}), "N.C.");
}

TEST(ChordSuffix, IsTheRowsOwnOrTheRowWithItsChanges) {
    for (const theory::ChordType& type : theory::kChordTypes) {
        std::vector<int> intervals;
        for (int i = 0; i < type.count; ++i) {
            intervals.push_back(type.tones[i].semitones);
        }
        EXPECT_EQ(ChordSuffix(intervals), type.suffix);
    }
    EXPECT_EQ(ChordSuffix({0, 4}), "(no5)");
    EXPECT_EQ(ChordSuffix({0, 4, 5, 7}), "(add4)");
    EXPECT_EQ(ChordSuffix({0, 3, 7, 8}), "m(addb6)");
    EXPECT_EQ(ChordSuffix({0, 1, 2, 12}), ":(1,b2,2,8)");
}

TEST(RecogniseChord, NamesChordsOnTheirBass) {
    EXPECT_EQ(Recognised({60, 64, 67}), "C");
    EXPECT_EQ(Recognised({64, 67, 72}), "C/E");
    EXPECT_EQ(Recognised({57, 60, 64, 67}), "Am7");
    EXPECT_EQ(Recognised({60, 64, 67, 69}), "C6");
    EXPECT_EQ(Recognised({50, 53, 57, 59}), "Dm6");
    EXPECT_EQ(Recognised({59, 62, 65, 69}), "Bm7b5");
    EXPECT_EQ(Recognised({55, 59, 65}), "G7(no5)");
    EXPECT_EQ(Recognised({60, 67}), "C5");
    EXPECT_EQ(Recognised({60, 65, 67}), "Csus4");
    EXPECT_EQ(Recognised({58, 62, 65}, true), "Bb");
    EXPECT_EQ(Recognised({48, 58, 64, 69, 74}), "C13(no5)");
    EXPECT_EQ(RecogniseChord({}).root, -1);
}

// No pitch class is lost or made up, and the name says it all.
TEST(RecogniseChord, KeepsEveryPitchClassOfAnySet) {
    for (unsigned set = 1; set < 4096; ++set) {
        for (int lowest = 0; lowest < 12; ++lowest) {
            if ((set >> lowest & 1u) == 0) {
                continue;
            }
            std::vector<int> pitches = {36 + lowest};
            for (int p = 0; p < 12; ++p) {
                if ((set >> p & 1u) != 0) {
                    pitches.push_back(60 + p);
                }
            }
            const Chord chord = RecogniseChord(pitches);
            ASSERT_EQ(PitchClassesOf(chord), set);
            ASSERT_EQ(chord.bass < 0 ? chord.root : chord.bass, lowest);
            if (lowest % 4 == static_cast<int>(set % 4)) {
                ASSERT_TRUE(SoundsLike(Read(chord.name), chord)) << chord.name;
            }
        }
    }
}

}  // namespace

}  // namespace mlh::choir
