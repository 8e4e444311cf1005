// How chords change their numbering between the two engines.
#include "harmony/ClassicNumbering.h"

#include <gtest/gtest.h>

#include "classic/Choiralizer.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using ChoiralizerClassic::ClassicChord;

ChordInfo Triad(int32_t type) { return {2, type, ChordNoSeventh, -1, ""}; }
ChordInfo Seventh(int32_t type) { return {2, ChordNoTriad, type, -1, ""}; }

TEST(ClassicNumbering, WhatBothEnginesKnowComesBackAsItWas) {
    for (int32_t type = ChordMajor; type <= ChordUnknownTriad; ++type) {
        const ClassicChord chord = ToClassic(Triad(type));
        EXPECT_EQ(chord.root, 2);
        EXPECT_EQ(chord.noteCount, 3);
        EXPECT_EQ(chord.triadType, type);
        EXPECT_EQ(chord.seventhType, ChoiralizerClassic::SeventhNone);
        EXPECT_EQ(FromClassic(chord).triadType, type);
        EXPECT_EQ(FromClassic(chord).seventhType, ChordNoSeventh);
    }
    for (int32_t type = ChordMajor7; type <= ChordMinorMajor7; ++type) {
        const ClassicChord chord = ToClassic(Seventh(type));
        EXPECT_EQ(chord.noteCount, 4);
        EXPECT_EQ(chord.triadType, ChoiralizerClassic::TriadNone);
        EXPECT_EQ(chord.seventhType, ChoiralizerClassic::SeventhMajor + type - ChordMajor7);
        EXPECT_EQ(FromClassic(chord).triadType, ChordNoTriad);
        EXPECT_EQ(FromClassic(chord).seventhType, type);
    }
}

TEST(ClassicNumbering, WhatTheClassicEngineDoesNotKnowIsOther) {
    EXPECT_EQ(ToClassic(Triad(ChordSixth)).triadType, ChoiralizerClassic::TriadOther);
    EXPECT_EQ(ToClassic(Triad(ChordSixFour)).triadType, ChoiralizerClassic::TriadOther);
    EXPECT_EQ(ToClassic(Seventh(ChordAugmentedMajor7)).seventhType, ChoiralizerClassic::SeventhOther);
    EXPECT_EQ(ToClassic(Seventh(ChordAugmentedMajor7)).noteCount, 4);
    EXPECT_EQ(FromClassic(ToClassic(Seventh(ChordAugmentedMajor7))).seventhType, ChordUnknownSeventh);
}

TEST(ClassicNumbering, NamesTriadsByTheirTypeAndSeventhChordsByTheClassicCode) {
    EXPECT_EQ(FromClassic({2, 3, ChoiralizerClassic::TriadMinor, ChoiralizerClassic::SeventhNone}).name, "d");
    // The minor-major seventh has the code 11, the dominant seventh of this engine.
    EXPECT_EQ(FromClassic({2, 4, ChoiralizerClassic::TriadNone, ChoiralizerClassic::SeventhMinorMajor}).name,
              "D 7");
    EXPECT_EQ(FromClassic({2, 4, ChoiralizerClassic::TriadNone, ChoiralizerClassic::SeventhMajor}).name, "");
    EXPECT_EQ(FromClassic({2, 3, ChoiralizerClassic::TriadMinor, ChoiralizerClassic::SeventhNone}).inversion,
              -1);
}

TEST(ClassicNumbering, ArithmeticOnAnyNumberWraps) {
    EXPECT_EQ(ToClassic(Seventh(INT32_MIN)).seventhType, INT32_MAX - 2);
    EXPECT_EQ(FromClassic({0, 4, 5, INT32_MAX}).seventhType, INT32_MIN + 2);
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
