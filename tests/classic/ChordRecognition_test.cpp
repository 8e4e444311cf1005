#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "classic/Choiralizer.h"

namespace mlh {

using namespace ChoiralizerClassic;

namespace ChoiralizerClassic {
bool operator==(const ClassicChord& a, const ClassicChord& b) {
    return a.root == b.root && a.noteCount == b.noteCount && a.triadType == b.triadType &&
           a.seventhType == b.seventhType;
}
void PrintTo(const ClassicChord& chord, std::ostream* out) {
    *out << "{" << chord.root << ", " << chord.noteCount << ", " << chord.triadType << ", "
         << chord.seventhType << "}";
}
}  // namespace ChoiralizerClassic

namespace {

std::unique_ptr<CChoiralizer> NewEngine(int32_t key, int32_t row) {
    CChoiralizer* engine = nullptr;
    EXPECT_EQ(CChoiralizer::Create(&engine), 0);
    engine->SetKey(key);
    engine->SetInputScale(row);
    engine->SetOutputScale(row);
    return std::unique_ptr<CChoiralizer>(engine);
}

ClassicChord Identify(int32_t a, int32_t b, int32_t c, int32_t d = -1) {
    return CChoiralizer::IdentifyChord(a, b, c, d);
}

TEST(IdentifyChord, KnowsTheTriads) {
    EXPECT_EQ(Identify(0, 4, 7), (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    EXPECT_EQ(Identify(2, 5, 9), (ClassicChord{2, 3, TriadMinor, SeventhNone}));
    EXPECT_EQ(Identify(11, 14, 17), (ClassicChord{11, 3, TriadDiminished, SeventhNone}));
    EXPECT_EQ(Identify(0, 4, 8).triadType, TriadAugmented);
}

TEST(IdentifyChord, KnowsTheSeventhChords) {
    EXPECT_EQ(Identify(0, 4, 7, 11), (ClassicChord{0, 4, TriadNone, SeventhMajor}));
    EXPECT_EQ(Identify(2, 5, 9, 0), (ClassicChord{2, 4, TriadNone, SeventhMinor}));
    EXPECT_EQ(Identify(7, 11, 2, 5), (ClassicChord{7, 4, TriadNone, SeventhDominant}));
    EXPECT_EQ(Identify(11, 2, 5, 9), (ClassicChord{11, 4, TriadNone, SeventhHalfDiminished}));
    EXPECT_EQ(Identify(0, 3, 6, 9).seventhType, SeventhDiminished);
    EXPECT_EQ(Identify(0, 3, 7, 11), (ClassicChord{0, 4, TriadNone, SeventhMinorMajor}));
    EXPECT_EQ(Identify(0, 1, 2, 3).seventhType, SeventhOther);
    EXPECT_EQ(Identify(0, 1, 2, 3).triadType, TriadNone);
}

TEST(IdentifyChord, DropsDoubledNotes) {
    EXPECT_EQ(Identify(0, 4, 7, 0), (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    EXPECT_EQ(Identify(60, 60, 64, 67), (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    EXPECT_EQ(Identify(60, 64, 72, 67), (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    EXPECT_EQ(Identify(60, 72, 84, 67), (ClassicChord{0, 2, TriadNone, SeventhNone}));
}

TEST(IdentifyChord, FindsTheRootUnderAnInversion) {
    EXPECT_EQ(Identify(0, 4, 9), (ClassicChord{9, 3, TriadMinor, SeventhNone}));
    EXPECT_EQ(Identify(64, 67, 72), (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    EXPECT_EQ(Identify(67, 72, 76), (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    EXPECT_EQ(Identify(65, 67, 71, 74), (ClassicChord{7, 4, TriadNone, SeventhDominant}));
}

TEST(IdentifyChord, RecognisesAnyTriadAndSeventhInAnyOrderOnAnyRoot) {
    const int32_t shapes[][4] = {{0, 4, 7, -1}, {0, 3, 7, -1}, {0, 3, 6, -1}, {0, 4, 7, 11},
                                 {0, 3, 7, 10}, {0, 4, 7, 10}, {0, 3, 6, 10}, {0, 3, 7, 11}};
    const int32_t types[] = {TriadMajor,   TriadMinor,      TriadDiminished,       SeventhMajor,
                             SeventhMinor, SeventhDominant, SeventhHalfDiminished, SeventhMinorMajor};
    for (size_t shape = 0; shape < std::size(shapes); ++shape) {
        const int32_t count = shapes[shape][3] < 0 ? 3 : 4;
        for (int32_t root = 0; root < 12; ++root) {
            int32_t order[4] = {0, 1, 2, 3};
            do {
                int32_t p[4] = {-1, -1, -1, -1};
                for (int32_t i = 0; i < count; ++i) {
                    p[i] = 60 + root + shapes[shape][order[i]] + 12 * (i % 2);
                }
                const ClassicChord chord = Identify(p[0], p[1], p[2], p[3]);
                ASSERT_EQ(chord.root, root);
                ASSERT_EQ(chord.noteCount, count);
                ASSERT_EQ(count == 3 ? chord.triadType : chord.seventhType, types[shape]);
            } while (std::next_permutation(order, order + count));
        }
    }
}

TEST(IdentifyChord, ReturnsTheCountOfFewerThanThreeNotes) {
    EXPECT_EQ(Identify(0, 7, -1), (ClassicChord{0, 2, TriadNone, SeventhNone}));
    EXPECT_EQ(Identify(60, 72, -1), (ClassicChord{0, 1, TriadNone, SeventhNone}));
    EXPECT_EQ(Identify(5, -1, -1), (ClassicChord{0, 1, TriadNone, SeventhNone}));
    EXPECT_EQ(Identify(-1, -1, -1), (ClassicChord{0, 0, TriadNone, SeventhNone}));
}

TEST(IdentifyChord, CallsOtherThreeNotesByTheOuterInterval) {
    EXPECT_EQ(Identify(0, 2, 7), (ClassicChord{0, 3, TriadOther, SeventhNone}));
    EXPECT_EQ(Identify(0, 1, 6), (ClassicChord{0, 3, TriadOther, SeventhNone}));
    EXPECT_EQ(Identify(0, 2, 4), (ClassicChord{0, 3, TriadNone, SeventhNone}));
}

TEST(ChordsOfNote, GivesTheTriadsThatHoldTheNoteAsRootThirdAndFifth) {
    const auto engine = NewEngine(0, ScaleMajor);
    ClassicChord chords[7];
    engine->ChordsOfNote(67, chords, 3);
    EXPECT_EQ(chords[0], (ClassicChord{7, 3, TriadMajor, SeventhNone}));
    EXPECT_EQ(chords[1], (ClassicChord{4, 3, TriadMinor, SeventhNone}));
    EXPECT_EQ(chords[2], (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    engine->ChordsOfNote(65, chords, 3);
    EXPECT_EQ(chords[2], (ClassicChord{11, 3, TriadDiminished, SeventhNone}));
}

TEST(ChordsOfNote, GoesOnWithTheSeventhChords) {
    const auto engine = NewEngine(0, ScaleMajor);
    ClassicChord chords[8];
    chords[7] = {-5, -5, -5, -5};
    engine->ChordsOfNote(65, chords, 8);
    EXPECT_EQ(chords[3], (ClassicChord{5, 4, TriadNone, SeventhMajor}));
    EXPECT_EQ(chords[4], (ClassicChord{2, 4, TriadNone, SeventhMinor}));
    EXPECT_EQ(chords[5], (ClassicChord{11, 4, TriadNone, SeventhHalfDiminished}));
    EXPECT_EQ(chords[6], (ClassicChord{7, 4, TriadNone, SeventhDominant}));
    EXPECT_EQ(chords[7].root, -5);  // there are seven at most
}

TEST(ChordsOfNote, MarksNotesOutOfTheScale) {
    const auto engine = NewEngine(0, ScaleMajor);
    ClassicChord chords[5];
    engine->ChordsOfNote(61, chords, 5);
    for (const ClassicChord& chord : chords) {
        EXPECT_EQ(chord, (ClassicChord{1, 0, TriadNone, SeventhNone}));
    }
    engine->ChordsOfNote(-11, chords, 1);
    EXPECT_EQ(chords[0].root, 1);
}

TEST(ChordsOfNote, DoesWithoutTheTriadsThatAPentatonicScaleLacks) {
    // C D E G A: of the triads only C major and A minor can be sung on it.
    const auto engine = NewEngine(0, ScaleMajorPentatonic);
    ClassicChord chords[3];
    engine->ChordsOfNote(64, chords, 3);
    EXPECT_EQ(chords[0], (ClassicChord{4, 3, TriadNone, SeventhNone}));
    EXPECT_EQ(chords[1], (ClassicChord{0, 3, TriadMajor, SeventhNone}));
    // Roots are found on the pentatonic scale itself, where two tones below E is C and four below is G.
    EXPECT_EQ(chords[2], (ClassicChord{7, 3, TriadNone, SeventhNone}));
}

TEST(ChordsOfNote, TakesTheSeventhChordsOfAPentatonicScaleFromItsParent) {
    // Only the triads are measured against the pentatonic scale itself.
    for (const int32_t row : {ScaleMajorPentatonic, ScaleMinorPentatonic}) {
        for (int32_t key = 0; key < 12; ++key) {
            const auto engine = NewEngine(key, row);
            const auto parent = NewEngine(key, ParentRow(row));
            const KeyedScale scale(key, row);
            for (int32_t note = 0; note < 12; ++note) {
                if (!scale.InScale(note)) {
                    continue;
                }
                ClassicChord chords[7];
                engine->ChordsOfNote(note, chords, 7);
                for (int32_t i = 3; i < 7; ++i) {
                    // The parent's own record 3 on the same root.
                    ClassicChord own[4];
                    parent->ChordsOfNote(chords[i].root, own, 4);
                    ASSERT_EQ(chords[i], own[3]) << "row " << row << " note " << note << " record " << i;
                }
            }
        }
    }
    const auto engine = NewEngine(0, ScaleMajorPentatonic);
    ClassicChord chords[7];
    engine->ChordsOfNote(60, chords, 7);
    EXPECT_EQ(chords[3], (ClassicChord{0, 4, TriadNone, SeventhMajor}));
    // Two, four and six tones of the pentatonic scale below C are G, D and A.
    EXPECT_EQ(chords[4], (ClassicChord{7, 4, TriadNone, SeventhDominant}));
    EXPECT_EQ(chords[5], (ClassicChord{2, 4, TriadNone, SeventhMinor}));
    EXPECT_EQ(chords[6], (ClassicChord{9, 4, TriadNone, SeventhMinor}));
}

TEST(IsDiatonic, HoldsForTheScalesOwnChordsAlone) {
    const auto engine = NewEngine(2, ScaleMajor);
    const int32_t types[] = {0, 1, 1, 0, 0, 1, 2};
    const int32_t offsets[] = {0, 2, 4, 5, 7, 9, 11};
    int32_t diatonic = 0;
    for (int32_t root = 0; root < 12; ++root) {
        for (int32_t type = 0; type < 5; ++type) {
            diatonic += engine->IsDiatonic({root, 3, type, SeventhNone});
        }
    }
    EXPECT_EQ(diatonic, 7);
    for (int32_t degree = 0; degree < 7; ++degree) {
        EXPECT_TRUE(engine->IsDiatonic({(2 + offsets[degree]) % 12, 3, types[degree], SeventhNone}));
    }
    EXPECT_TRUE(engine->IsDiatonic({9, 4, TriadNone, SeventhDominant}));
    EXPECT_FALSE(engine->IsDiatonic({2, 4, TriadNone, SeventhDominant}));
    EXPECT_FALSE(engine->IsDiatonic({2, 3, TriadNone, SeventhNone}));
    EXPECT_FALSE(engine->IsDiatonic({0, 3, TriadNone, SeventhNone}));
}

TEST(IsDiatonic, AsksForAllTonesInAPentatonicScale) {
    const auto engine = NewEngine(0, ScaleMajorPentatonic);
    EXPECT_TRUE(engine->IsDiatonic({0, 3, TriadMajor, SeventhNone}));
    EXPECT_TRUE(engine->IsDiatonic({9, 3, TriadMinor, SeventhNone}));
    EXPECT_FALSE(engine->IsDiatonic({7, 3, TriadMajor, SeventhNone}));
    EXPECT_FALSE(engine->IsDiatonic({2, 3, TriadMinor, SeventhNone}));
    EXPECT_TRUE(engine->IsDiatonic({9, 4, TriadNone, SeventhMinor}));
    EXPECT_FALSE(engine->IsDiatonic({0, 4, TriadNone, SeventhMajor}));
}

TEST(IsDiatonic, KnowsNoTriadsOnTheWholeToneAndChromaticScales) {
    for (const int32_t row : {int32_t{ScaleWholeTone}, int32_t{ScaleChromatic}}) {
        const auto engine = NewEngine(0, row);
        for (int32_t root = 0; root < 12; ++root) {
            for (int32_t type = TriadMajor; type <= TriadDiminished; ++type) {
                EXPECT_FALSE(engine->IsDiatonic({root, 3, type, SeventhNone})) << row << ' ' << root;
            }
        }
    }
    EXPECT_TRUE(NewEngine(0, ScaleWholeTone)->IsDiatonic({2, 3, TriadAugmented, SeventhNone}));
    // Its "seventh" is the octave, so that there are no seventh chords either.
    EXPECT_FALSE(NewEngine(0, ScaleWholeTone)->IsDiatonic({2, 4, TriadOther, SeventhNone}));
    EXPECT_FALSE(NewEngine(0, ScaleWholeTone)->IsDiatonic({2, 4, TriadNone, SeventhOther}));
}

}  // namespace

}  // namespace mlh
