#include "harmony/ChordModel.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <set>

#include "classic/ScaleTable.h"
#include "support/Checksum.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using ChoiralizerClassic::kScaleRows;
using ChoiralizerClassic::ScaleChromatic;
using ChoiralizerClassic::ScaleMajor;
using ChoiralizerClassic::ScaleMinor;
using ChoiralizerClassic::ScaleTable;

const int32_t* const kMajor = ScaleTable[ScaleMajor];

bool IsTone(int32_t pitch, int32_t key, const int32_t* scale) {
    return scale[(pitch - key + 1200) % 12] == 1;
}

// The interval by its meaning: tones of the scale met from one pitch to the other within an octave.
ScaleDistance PlainInterval(int32_t a, int32_t b, int32_t key, const int32_t* scale) {
    const int32_t semitones = std::abs(a - b);
    const int32_t direction = semitones % 12 == 0 || b > a ? 1 : -1;
    int32_t tones = 0;
    for (int32_t k = 0; k <= semitones % 12; ++k) {
        tones += IsTone(a + (b > a ? k : -k), key, scale) ? 1 : 0;
    }
    const int32_t steps = tones == 0 ? -1 : (tones - 1) % 8;
    return {steps, semitones / 12, direction,
            (IsTone(a, key, scale) ? 0 : 1) + (IsTone(b, key, scale) ? 0 : 2)};
}

TEST(ScaleInterval, CountsScaleTonesNotSemitones) {
    EXPECT_EQ(ScaleInterval(60, 64, 0, kMajor), (ScaleDistance{2, 0, 1, 0}));   // C to E, major third
    EXPECT_EQ(ScaleInterval(64, 67, 0, kMajor), (ScaleDistance{2, 0, 1, 0}));   // E to G, minor third
    EXPECT_EQ(ScaleInterval(67, 60, 0, kMajor), (ScaleDistance{4, 0, -1, 0}));  // G down to C
}

TEST(ScaleInterval, AnOctaveLivesInTheOctavesAlone) {
    EXPECT_EQ(ScaleInterval(60, 72, 0, kMajor), (ScaleDistance{0, 1, 1, 0}));
    EXPECT_EQ(ScaleInterval(60, 76, 0, kMajor), (ScaleDistance{2, 1, 1, 0}));
}

TEST(ScaleInterval, APureOctaveDownwardsPointsUp) {
    EXPECT_EQ(ScaleInterval(72, 60, 0, kMajor), (ScaleDistance{0, 1, 1, 0}));
    EXPECT_EQ(ScaleInterval(84, 60, 0, kMajor), (ScaleDistance{0, 2, 1, 0}));
}

TEST(ScaleInterval, EqualPitchesGiveZeroSteps) {
    EXPECT_EQ(ScaleInterval(62, 62, 0, kMajor), (ScaleDistance{0, 0, 1, 0}));
}

TEST(ScaleInterval, EqualPitchesOutOfTheScaleGiveMinusOne) {
    EXPECT_EQ(ScaleInterval(61, 61, 0, kMajor), (ScaleDistance{-1, 0, 1, 3}));
}

TEST(ScaleInterval, QualityTellsWhichEndIsOutOfTheScale) {
    EXPECT_EQ(ScaleInterval(61, 64, 0, kMajor).quality, 1);
    EXPECT_EQ(ScaleInterval(60, 63, 0, kMajor).quality, 2);
    EXPECT_EQ(ScaleInterval(61, 63, 0, kMajor).quality, 3);
    EXPECT_EQ(ScaleInterval(61, 63, 0, kMajor).steps, 0);  // D alone lies between
}

TEST(ScaleInterval, EightStepsOfTheChromaticScaleStartAnew) {
    const int32_t* chromatic = ScaleTable[ScaleChromatic];
    EXPECT_EQ(ScaleInterval(60, 67, 0, chromatic).steps, 7);
    EXPECT_EQ(ScaleInterval(60, 68, 0, chromatic).steps, 0);
    EXPECT_EQ(ScaleInterval(60, 71, 0, chromatic).steps, 3);
}

TEST(ScaleInterval, AgreesWithCountingForAllScalesAndKeys) {
    for (int32_t row = 0; row < kScaleRows; ++row) {
        for (int32_t key = 0; key < 12; ++key) {
            for (int32_t a = 40; a < 65; ++a) {
                for (int32_t b = 30; b < 90; ++b) {
                    ASSERT_EQ(ScaleInterval(a, b, key, ScaleTable[row]),
                              PlainInterval(a, b, key, ScaleTable[row]))
                        << "row " << row << " key " << key << " from " << a << " to " << b;
                }
            }
        }
    }
}

TEST(ScaleInterval, DoesNotChangeWhenEverythingIsTransposed) {
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        const int32_t a = 30 + static_cast<int32_t>(random() % 60),
                      b = 30 + static_cast<int32_t>(random() % 60);
        const int32_t key = static_cast<int32_t>(random() % 12), by = static_cast<int32_t>(random() % 40);
        const int32_t* scale = ScaleTable[random() % kScaleRows];
        EXPECT_EQ(ScaleInterval(a, b, key, scale), ScaleInterval(a + by, b + by, key + by, scale));
    }
}

TEST(ScaleInterval, TakesPitchesBelowTheKeyAndOfAnySize) {
    EXPECT_EQ(ScaleInterval(-25, -20, 0, kMajor), PlainInterval(-25, -20, 0, kMajor));
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min(),
                      kMost = std::numeric_limits<int32_t>::max();
    EXPECT_EQ(ScaleInterval(kLeast, kMost, 0, kMajor).octaves, 357913941);
    EXPECT_EQ(ScaleInterval(kMost, kLeast, kLeast, kMajor).direction, -1);
    EXPECT_EQ(ScaleInterval(kMost, kMost, kMost, kMajor), (ScaleDistance{0, 0, 1, 0}));
}

TEST(PitchClassFromKey, MirrorsBelowTheKey) {
    EXPECT_EQ(PitchClassFromKey(7, 67), 0);
    EXPECT_EQ(PitchClassFromKey(2, 60), 10);
    EXPECT_EQ(PitchClassFromKey(9, 5), 4);  // not 8, as an octave higher
    EXPECT_EQ(PitchClassFromKey(9, 17), 8);
}

TEST(PositionFromBass, WalksTheTonesFromTheBass) {
    const int32_t first[] = {0, 4, 7, 0};
    EXPECT_EQ(PositionFromBass(first, 0, 0), 0);
    EXPECT_EQ(PositionFromBass(first, 0, 4), 1);
    EXPECT_EQ(PositionFromBass(first, 0, 7), 2);
    EXPECT_EQ(PositionFromBass(first, 0, 2), 4);
    const int32_t fourth[] = {0, 5, 9, 0};
    EXPECT_EQ(PositionFromBass(fourth, 1, 5), 0);
    EXPECT_EQ(PositionFromBass(fourth, 1, 9), 1);
    EXPECT_EQ(PositionFromBass(fourth, 1, 0), 2);
}

TEST(PositionFromBass, ThePaddedToneTakesAPlaceInTheWalk) {
    const int32_t parallelTonic[] = {0, 4, 9, 0};
    EXPECT_EQ(PositionFromBass(parallelTonic, 2, 9), 0);
    EXPECT_EQ(PositionFromBass(parallelTonic, 2, 0), 1);
    EXPECT_EQ(PositionFromBass(parallelTonic, 2, 4), 3);
}

TEST(PositionFromBass, WithoutABassToneTheValueInFrontComesFirstAndTheLastToneNever) {
    const int32_t run[] = {2, 2, 5, 8, 11};
    EXPECT_EQ(PositionFromBass(run + 1, -1, 2), 0);
    EXPECT_EQ(PositionFromBass(run + 1, -1, 5), 2);
    EXPECT_EQ(PositionFromBass(run + 1, -1, 8), 3);
    EXPECT_EQ(PositionFromBass(run + 1, -1, 11), 4);
}

TEST(ChordName, KnownTypesHaveNoteNameAndSuffix) {
    EXPECT_EQ(ChordName(0, ChordMajor, 0), "C");
    EXPECT_EQ(ChordName(9, ChordMinor, 0), "a");
    EXPECT_EQ(ChordName(1, ChordDiminished, 0), "c# dim");
    EXPECT_EQ(ChordName(8, ChordAugmented, 0), "G# aug");
    EXPECT_EQ(ChordName(3, ChordMajor7, 0), "D# M7");
    EXPECT_EQ(ChordName(2, ChordMinor7, 0), "d m7");
    EXPECT_EQ(ChordName(7, ChordDominant7, 0), "G 7");
    EXPECT_EQ(ChordName(11, ChordHalfDiminished7, 0), "b m7b5");
    EXPECT_EQ(ChordName(6, ChordDiminished7, 0), "f# dim7");
    EXPECT_EQ(ChordName(4, ChordMinorMajor7, 0), "e mM7");
}

TEST(ChordName, FlatsAreAskedForWithOne) {
    EXPECT_EQ(ChordName(10, ChordMajor, 1), "Bb");
    EXPECT_EQ(ChordName(10, ChordMinor, 1), "bb");
    EXPECT_EQ(ChordName(10, ChordMajor, 2), "A#");
}

TEST(ChordName, SomeTypesHaveNoNameAndSomeAreUnknown) {
    for (int32_t type : {4, 5, 15}) {
        EXPECT_EQ(ChordName(0, type, 0), "--") << type;
    }
    for (int32_t type : {6, 7, 8, 16, 17, 18, 1000}) {
        EXPECT_EQ(ChordName(0, type, 0), "") << type;
    }
}

TEST(ChordName, ANegativeRootIsUnknownWhateverTheType) {
    EXPECT_EQ(ChordName(-1, ChordMajor, 0), "--");
    EXPECT_EQ(ChordName(-1, ChordSus4, 0), "--");
}

TEST(ChordName, RootsAreNotReduced) {
    EXPECT_EQ(ChordName(21, ChordMinor, 0), "A");   // upper-case flats
    EXPECT_EQ(ChordName(22, ChordMajor, 0), "a#");  // lower-case sharps
    EXPECT_EQ(ChordName(11 + 12, ChordMinor, 0), "B");
}

TEST(ChordName, PastTheNameTableItIsUnknown) {
    EXPECT_EQ(ChordName(47, ChordMajor, 0), "b");
    EXPECT_EQ(ChordName(48, ChordMajor, 0), "--");
    EXPECT_EQ(ChordName(35, ChordMinor, 0), "b");
    EXPECT_EQ(ChordName(36, ChordMinor, 0), "--");
    EXPECT_EQ(ChordName(24, ChordMinor, 1), "--");
    EXPECT_EQ(ChordName(std::numeric_limits<int32_t>::max(), ChordMinor, 1), "--");
}

TEST(ScaleRow, UnknownRowsReadAsMajor) {
    EXPECT_EQ(ScaleRow(ScaleMinor), ScaleTable[ScaleMinor]);
    for (int32_t row : {-1, 14, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(ScaleRow(row), ScaleTable[ScaleMajor]);
    }
}

TEST(ChordToneTable, IsAsSetDown) { EXPECT_EQ(Checksum(ChordToneTable), 7242441222951790333u); }

TEST(ChordToneTable, TonesRiseFromTheRootAndTriadsRepeatIt) {
    for (int32_t type = 0; type < kChordTypeCount; ++type) {
        const int32_t* tones = ChordToneTable[type];
        if (type == 4 || type == 5 || type == 15 || type == 16) {
            for (int32_t k = 0; k < 4; ++k) {
                EXPECT_EQ(tones[k], -1);
            }
            continue;
        }
        EXPECT_EQ(tones[0], 0);
        EXPECT_LT(tones[0], tones[1]);
        EXPECT_LT(tones[1], tones[2]);
        EXPECT_TRUE(type < ChordMajor7 ? tones[3] == 0 : tones[3] > tones[2] && tones[3] < 12);
    }
}

TEST(NoteNameTable, TheFourRunsNameTheSamePitches) {
    const std::string letters = "CDEFGAB";
    const int32_t steps[] = {0, 2, 4, 5, 7, 9, 11};
    for (int32_t i = 0; i < 48; ++i) {
        const std::string name = NoteNameTable[i];
        const bool lower = (i / 12) % 2 == 1, flats = i >= 24;
        const size_t letter = letters.find(static_cast<char>(lower ? name[0] - 'a' + 'A' : name[0]));
        ASSERT_NE(letter, std::string::npos) << name;
        int32_t pitch = steps[letter];
        if (name.size() == 2) {
            EXPECT_EQ(name[1], flats ? 'b' : '#');
            pitch += flats ? -1 : 1;
        }
        EXPECT_EQ(pitch, i % 12) << name;
    }
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
