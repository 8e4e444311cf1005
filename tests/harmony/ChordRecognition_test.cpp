#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "base/Codes.h"
#include "classic/ScaleTable.h"
#include "harmony/ChoiralizerV2.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using ChoiralizerClassic::ScaleChromatic;
using ChoiralizerClassic::ScaleMajor;
using ChoiralizerClassic::ScaleMinor;
using ChoiralizerClassic::ScaleTable;

ChordInfo Recognise(std::array<int32_t, 4> pitches) {
    CChoiralizerV2 engine;
    ChordInfo chord{99, 99, 99, 99, "left from before"};
    EXPECT_EQ(engine.ChordFromPitches(&chord, pitches.data()), 0);
    return chord;
}

std::array<int32_t, 4> Spell(int32_t root, int32_t triadType, int32_t seventhType, int32_t inversion = 0) {
    CChoiralizerV2 engine;
    std::array<int32_t, 4> pitches{};
    EXPECT_EQ(engine.GetChordPitches({root, triadType, seventhType, inversion, ""}, pitches.data()), 0);
    return pitches;
}

void ExpectChord(const ChordInfo& chord, int32_t root, int32_t triadType, int32_t seventhType,
                 int32_t inversion, const char* name) {
    EXPECT_EQ(chord.root, root);
    EXPECT_EQ(chord.triadType, triadType);
    EXPECT_EQ(chord.seventhType, seventhType);
    EXPECT_EQ(chord.inversion, inversion);
    EXPECT_EQ(chord.name, name);
}

using Pitches = std::array<int32_t, 4>;

TEST(ChordFromPitches, RecognisesATriadOfMidiNotes) {
    ExpectChord(Recognise({60, 64, 67, -1}), 0, ChordMajor, ChordNoSeventh, 3, "C");
}

TEST(ChordFromPitches, AnInversionOfMidiNotesIsTheSameChord) {
    ExpectChord(Recognise({64, 67, 72, -1}), 0, ChordMajor, ChordNoSeventh, 3, "C");
}

TEST(ChordFromPitches, NotesBelowTwelveKeepTheirInversion) {
    ExpectChord(Recognise({0, 4, 7, -1}), 0, ChordMajor, ChordNoSeventh, 0, "C");
    ExpectChord(Recognise({4, 7, 12, -1}), 0, ChordMajor, ChordNoSeventh, 1, "C");
    ExpectChord(Recognise({7, 12, 16, -1}), 0, ChordMajor, ChordNoSeventh, 2, "C");
}

TEST(ChordFromPitches, StacksIntoThirdsInPlace) {
    CChoiralizerV2 engine;
    ChordInfo chord;
    Pitches pitches = {60, 65, 69, -1};
    engine.ChordFromPitches(&chord, pitches.data());
    ExpectChord(chord, 5, ChordMajor, ChordNoSeventh, 3, "F");
    EXPECT_EQ(pitches, (Pitches{53, 57, 60, -1}));
}

TEST(ChordFromPitches, FewerThanThreeDifferentNotesAreNoChord) {
    for (Pitches pitches : {Pitches{60, 60, 60, 60}, Pitches{60, 64, -1, -1}, Pitches{60, 64, 60, 64},
                            Pitches{-1, -1, -1, -1}, Pitches{60, -1, -1, -1}}) {
        ExpectChord(Recognise(pitches), 0, ChordNoTriad, ChordNoSeventh, 0, "");
    }
}

TEST(ChordFromPitches, OfEqualNotesOneCounts) {
    ExpectChord(Recognise({60, 64, 60, 67}), 0, ChordMajor, ChordNoSeventh, 3, "C");
}

TEST(ChordFromPitches, TheSameNoteInTwoOctavesCountsTwice) {
    const ChordInfo chord = Recognise({60, 64, 67, 72});
    EXPECT_EQ(chord.seventhType, ChordUnknownSeventh);
    EXPECT_EQ(chord.triadType, ChordNoTriad);
    EXPECT_EQ(chord.name, "--");
}

TEST(ChordFromPitches, AnUnusedEntryBeforeTheEndTakesThePlaceOfTheLastNote) {
    ExpectChord(Recognise({60, 64, -1, 67}), 11, ChordNoTriad, ChordNoSeventh, 0, "");  // of 60, 64 and -1
}

TEST(ChordFromPitches, MinorKindsAreNamedFromTheFlatUpperCaseRun) {
    ExpectChord(Recognise({57, 60, 64, -1}), 9, ChordMinor, ChordNoSeventh, 3, "A");
    EXPECT_EQ(Recognise({58, 61, 65, -1}).name, "Bb");
    EXPECT_EQ(Recognise({58, 61, 64, -1}).name, "Bb dim");
    EXPECT_EQ(Recognise({58, 61, 65, 68}).name, "Bb m7");
    EXPECT_EQ(Recognise({58, 61, 64, 67}).name, "Bb dim7");
    EXPECT_EQ(Recognise({58, 61, 64, 68}).name, "Bb m7b5");
    EXPECT_EQ(Recognise({58, 61, 65, 69}).name, "Bb mM7");
}

TEST(ChordFromPitches, MajorKindsAreNamedFromTheSharpRun) {
    EXPECT_EQ(Recognise({58, 62, 65, -1}).name, "A#");
    EXPECT_EQ(Recognise({58, 62, 66, -1}).name, "A# aug");
    EXPECT_EQ(Recognise({58, 62, 65, 68}).name, "A# 7");
    EXPECT_EQ(Recognise({58, 62, 65, 69}).name, "A# M7");
}

TEST(ChordFromPitches, ThreeNotesThatMakeNoChordAreUnknownByTheirWidth) {
    ExpectChord(Recognise({60, 62, 67, -1}), 0, ChordUnknownTriad, ChordNoSeventh, 3, "--");  // 36, 38, 43
    ExpectChord(Recognise({60, 61, 62, -1}), 0, ChordNoTriad, ChordNoSeventh, 3, "");         // 36, 37, 38
}

TEST(ChordFromPitches, FourNotesThatCannotBeStackedAreUnknown) {
    const ChordInfo chord = Recognise({60, 61, 62, 63});
    EXPECT_EQ(chord.seventhType, ChordUnknownSeventh);
    EXPECT_EQ(chord.name, "--");
}

// Recognition step by step as one would do it by hand.
ChordInfo PlainRecognition(Pitches pitches) {
    std::vector<int32_t> notes;
    const auto count = 4 - std::count(pitches.begin(), pitches.end(), -1);
    for (int32_t i = 0; i < count; ++i) {
        if (std::count(notes.begin(), notes.end(), pitches[i]) == 0) {
            notes.push_back(pitches[i]);
        }
    }
    const size_t n = notes.size();
    if (n < 3) {
        return {0, 5, 16, 0, ""};
    }
    std::sort(notes.begin(), notes.end());
    const int32_t lowest = notes[0];
    for (size_t round = 0; round < n; ++round) {
        for (size_t i = 0; i + 1 < n; ++i) {
            if (notes[i + 1] - notes[i] == 3 || notes[i + 1] - notes[i] == 4) {
                continue;
            }
            for (size_t j = i + 1; j < n; ++j) {
                notes[j] -= 12;
            }
            std::sort(notes.begin(), notes.end());
            break;
        }
    }
    int32_t inversion = 0;
    while (inversion < static_cast<int32_t>(n) && notes[inversion] % 12 != lowest) {
        ++inversion;
    }
    const int32_t root = (notes[0] + 156) % 12;
    const int32_t d1 = notes[1] - notes[0], d2 = notes[2] - notes[0];
    if (n == 3) {
        const std::map<std::pair<int32_t, int32_t>, int32_t> triads = {
            {{3, 6}, 2}, {{3, 7}, 1}, {{4, 7}, 0}, {{4, 8}, 3}};
        const auto found = triads.find({d1, d2});
        if (found != triads.end()) {
            return {root, found->second, 16, inversion,
                    ChordName(d1 == 3 ? root + 12 : root, found->second, 0)};
        }
        if (d2 == 6 || d2 == 7 || d2 == 8) {
            return {root, 4, 16, inversion, "--"};
        }
        return {root, 5, 16, inversion, ""};
    }
    const std::map<std::array<int32_t, 3>, int32_t> sevenths = {{{3, 6, 9}, 13},  {{3, 6, 10}, 12},
                                                                {{3, 7, 10}, 10}, {{3, 7, 11}, 14},
                                                                {{4, 7, 10}, 11}, {{4, 7, 11}, 9}};
    const auto found = sevenths.find({d1, d2, notes[3] - notes[0]});
    if (found == sevenths.end()) {
        return {root, 5, 15, inversion, "--"};
    }
    return {root, 5, found->second, inversion, ChordName(d1 == 3 ? root + 12 : root, found->second, 0)};
}

void ExpectAsByHand(const Pitches& pitches) {
    const ChordInfo chord = Recognise(pitches), plain = PlainRecognition(pitches);
    ASSERT_EQ(std::tie(chord.root, chord.triadType, chord.seventhType, chord.inversion, chord.name),
              std::tie(plain.root, plain.triadType, plain.seventhType, plain.inversion, plain.name))
        << pitches[0] << " " << pitches[1] << " " << pitches[2] << " " << pitches[3];
}

TEST(ChordFromPitches, AgreesWithRecognitionByHandOnAllThreeLowNotes) {
    for (int32_t a = -2; a < 20; ++a) {
        for (int32_t b = -2; b < 20; ++b) {
            for (int32_t c = -2; c < 20; ++c) {
                ExpectAsByHand({a, b, c, -1});
            }
        }
    }
}

TEST(ChordFromPitches, AgreesWithRecognitionByHandOnRandomNotes) {
    std::mt19937 random(11);
    for (int round = 0; round < 30000; ++round) {
        Pitches pitches;
        for (int32_t& pitch : pitches) {
            pitch = static_cast<int32_t>(random() % 50) + (round % 2 == 0 ? -1 : 40);
        }
        ExpectAsByHand(pitches);
    }
}

TEST(ChordFromPitches, TheOrderOfTheNotesDoesNotMatter) {
    std::mt19937 random(5);
    for (int round = 0; round < 500; ++round) {
        Pitches pitches;
        for (int32_t& pitch : pitches) {
            pitch = 40 + static_cast<int32_t>(random() % 40);
        }
        Pitches shuffled = pitches;
        std::shuffle(shuffled.begin(), shuffled.end(), random);
        const ChordInfo a = Recognise(pitches), b = Recognise(shuffled);
        EXPECT_EQ(std::tie(a.root, a.triadType, a.seventhType, a.name),
                  std::tie(b.root, b.triadType, b.seventhType, b.name));
    }
}

TEST(ChordFromPitches, RecognisesEverySpelledChordAndItsInversions) {
    for (int32_t root = 0; root < 12; ++root) {
        for (int32_t type : {0, 1, 2, 3, 9, 10, 11, 12, 13, 14}) {
            const bool triad = type < ChordMajor7;
            for (int32_t inversion = 0; inversion < (triad ? 3 : 4); ++inversion) {
                Pitches pitches = triad ? Spell(root, type, ChordNoSeventh, inversion)
                                        : Spell(root, ChordNoTriad, type, inversion);
                // The spelling turns the order of the notes; lift them into a real inversion.
                for (int32_t k = 1; k < (triad ? 3 : 4); ++k) {
                    while (pitches[k] < pitches[k - 1]) {
                        pitches[k] += 12;
                    }
                }
                const ChordInfo chord = Recognise(pitches);
                EXPECT_EQ(triad ? chord.triadType : chord.seventhType, type);
                const bool symmetric = type == ChordAugmented || type == ChordDiminished7;
                EXPECT_EQ(chord.root, symmetric ? pitches[0] % 12 : root) << type << " " << inversion;
            }
        }
    }
}

TEST(ChordFromPitches, TakesNotesOfAnyValue) {
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max(),
                      kLeast = std::numeric_limits<int32_t>::min();
    for (Pitches pitches : {Pitches{kLeast, kMost, 0, 5}, Pitches{kLeast, kLeast + 1, kLeast + 2, kMost},
                            Pitches{kMost, kMost - 3, kMost - 7, -1}, Pitches{-500, -497, -493, -1}}) {
        const ChordInfo chord = Recognise(pitches);
        EXPECT_GE(chord.root, 0);
        EXPECT_LT(chord.root, 12);
    }
    CChoiralizerV2 engine;
    ChordInfo chord;
    int32_t pitches[4];
    EXPECT_EQ(engine.ChordFromPitches(&chord, nullptr), kBadArgument);
    EXPECT_EQ(engine.ChordFromPitches(nullptr, pitches), kBadArgument);
    EXPECT_EQ(engine.GetChordPitches(chord, nullptr), kBadArgument);
}

TEST(GetChordPitches, SpellsTriadsFromMiddleC) {
    EXPECT_EQ(Spell(0, ChordMajor, 16), (Pitches{60, 64, 67, -1}));
    EXPECT_EQ(Spell(9, ChordMinor, 16), (Pitches{69, 72, 76, -1}));
    EXPECT_EQ(Spell(0, ChordDiminished, 16), (Pitches{60, 63, 66, -1}));
    EXPECT_EQ(Spell(0, ChordAugmented, 16), (Pitches{60, 64, 68, -1}));
    EXPECT_EQ(Spell(0, ChordSus4, 16), (Pitches{60, 65, 67, -1}));
    EXPECT_EQ(Spell(0, ChordSixth, 16), (Pitches{60, 64, 67, -1}));
    EXPECT_EQ(Spell(0, ChordSixFour, 16), (Pitches{60, 65, 69, -1}));
}

TEST(GetChordPitches, SpellsSeventhChords) {
    const std::map<int32_t, Pitches> spelled = {
        {9, {60, 64, 67, 71}},  {10, {60, 63, 67, 70}}, {11, {60, 64, 67, 70}}, {12, {60, 63, 66, 70}},
        {13, {60, 63, 66, 69}}, {14, {60, 63, 67, 71}}, {17, {60, 64, 68, 71}}};
    for (const auto& [type, pitches] : spelled) {
        EXPECT_EQ(Spell(0, ChordNoTriad, type), pitches) << type;
    }
}

TEST(GetChordPitches, WithoutATypeNothingIsSpelled) {
    for (int32_t triad : {4, 5}) {
        for (int32_t seventh : {15, 16}) {
            EXPECT_EQ(Spell(0, triad, seventh), (Pitches{-1, -1, -1, -1}));
        }
    }
}

TEST(GetChordPitches, AnInversionTurnsTheOrderAndLiftsEveryNote) {
    EXPECT_EQ(Spell(0, ChordMajor, 16, 1), (Pitches{76, 79, 72, -1}));
    EXPECT_EQ(Spell(0, ChordMajor, 16, 2), (Pitches{79, 72, 76, -1}));
    EXPECT_EQ(Spell(0, ChordMajor, 16, 3), (Pitches{72, 76, 79, -1}));
    EXPECT_EQ(Spell(0, ChordNoTriad, 11, 1), (Pitches{76, 79, 82, 72}));
    EXPECT_EQ(Spell(0, ChordMajor, 16, -1), (Pitches{60, 64, 67, -1}));
}

TEST(GetChordPitches, ASeventhStandsOnWhatTheTriadLeftInFront) {
    EXPECT_EQ(Spell(0, ChordMajor, 11, 0), (Pitches{60, 64, 67, 70}));
    // The triad's first inversion leaves 76 in front; the seventh chord on it is turned again.
    EXPECT_EQ(Spell(0, ChordMajor, 11, 1), (Pitches{92, 95, 98, 88}));
}

TEST(GetChordPitches, TakesAnyRootTypeAndInversion) {
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max(),
                      kLeast = std::numeric_limits<int32_t>::min();
    for (int32_t value : {kMost, kLeast, -1, 100}) {
        Spell(value, ChordMajor, 16, kMost);
        Spell(value, ChordNoTriad, 13, kMost);
        Spell(0, value, value, value);
    }
}

TEST(ChordInScale, EveryChordFitsTheInputScale) {
    CChoiralizerV2 engine;
    EXPECT_TRUE(engine.ChordInInputScale({1, ChordMajor, ChordNoSeventh, 0, ""}));
    EXPECT_TRUE(engine.ChordInInputScale({}));
}

TEST(ChordInScale, OutputScaleTestsEveryNote) {
    CChoiralizerV2 engine;
    EXPECT_TRUE(engine.ChordInOutputScale({0, ChordMajor, ChordNoSeventh, 0, ""}));
    EXPECT_TRUE(engine.ChordInOutputScale({7, ChordNoTriad, ChordDominant7, 0, ""}));
    EXPECT_FALSE(engine.ChordInOutputScale({0, ChordNoTriad, ChordDominant7, 0, ""}));  // its B flat
    EXPECT_FALSE(engine.ChordInOutputScale({0, ChordMinor, ChordNoSeventh, 0, ""}));
    engine.SetKey(10);
    EXPECT_TRUE(engine.ChordInOutputScale({0, ChordMinor, ChordNoSeventh, 0, ""}));
}

TEST(ChordInScale, FewerThanThreeNotesDoNotFit) {
    CChoiralizerV2 engine;
    EXPECT_FALSE(engine.ChordInOutputScale({}));
    EXPECT_FALSE(
        engine.ChordInOutputScale({0, ChordNoTriad, ChordMajor, 0, ""}));  // a triad code as a seventh
}

TEST(ChordContainsPitch, InAnyOctave) {
    CChoiralizerV2 engine;
    const ChordInfo chord{0, ChordMajor, ChordNoSeventh, 0, ""};
    EXPECT_TRUE(engine.ChordContainsPitch(64, chord));
    EXPECT_TRUE(engine.ChordContainsPitch(28, chord));
    EXPECT_TRUE(engine.ChordContainsPitch(127, chord));
    EXPECT_FALSE(engine.ChordContainsPitch(65, chord));
    EXPECT_FALSE(engine.ChordContainsPitch(60, {}));
    EXPECT_TRUE(engine.ChordContainsPitch(71, {0, ChordNoTriad, ChordMajor7, 0, ""}));
    EXPECT_FALSE(engine.ChordContainsPitch(71, chord));
}

TEST(IsInScale, FollowsKeyAndRow) {
    CChoiralizerV2 engine;
    engine.SetKey(2);
    engine.SetInputScale(ScaleMajor);
    engine.SetOutputScale(ScaleMinor);
    EXPECT_TRUE(engine.IsInInputScale(66));  // F sharp
    EXPECT_FALSE(engine.IsInOutputScale(66));
    EXPECT_TRUE(engine.IsInOutputScale(65));
    EXPECT_TRUE(engine.IsInInputScale(-10));  // two octaves below D of octave 0
    EXPECT_TRUE(engine.IsInInputScale(-22));
    engine.SetKey(std::numeric_limits<int32_t>::max());
    engine.IsInInputScale(std::numeric_limits<int32_t>::min());
}

// The chords of a list as (root, triad type, seventh type).
std::vector<std::array<int32_t, 3>> Listed(const std::vector<ChordInfo>& out, int32_t count) {
    std::vector<std::array<int32_t, 3>> chords;
    for (int32_t i = 0; i < count; ++i) {
        chords.push_back({out[i].root, out[i].triadType, out[i].seventhType});
        EXPECT_EQ(out[i].inversion, 0);
    }
    EXPECT_EQ(out[count].root, -1);
    EXPECT_EQ(out[count].triadType, ChordNoTriad);
    EXPECT_EQ(out[count].seventhType, ChordNoSeventh);
    return chords;
}

TEST(ListChordsInScale, AMajorKeyHasATriadAndASeventhChordOnEachDegree) {
    CChoiralizerV2 engine;
    std::vector<ChordInfo> out(40);
    const int32_t count = engine.ListChordsInScale(out.data());
    const std::vector<std::array<int32_t, 3>> expected = {
        {0, 0, 16}, {0, 5, 9},  {2, 1, 16}, {2, 5, 10}, {4, 1, 16}, {4, 5, 10},  {5, 0, 16},
        {5, 5, 9},  {7, 0, 16}, {7, 5, 11}, {9, 1, 16}, {9, 5, 10}, {11, 2, 16}, {11, 5, 12}};
    EXPECT_EQ(Listed(out, count), expected);
}

TEST(ListChordsInScale, StartsAtTheKeyAndReducesTheRoots) {
    CChoiralizerV2 engine;
    engine.SetKey(7);
    std::vector<ChordInfo> out(40);
    const int32_t count = engine.ListChordsInScale(out.data());
    EXPECT_EQ(count, 14);
    EXPECT_EQ(out[0].root, 7);
    for (int32_t i = 0; i < count; ++i) {
        EXPECT_LT(out[i].root, 12);
    }
}

TEST(ListChordsInScale, StopsOneRecordBeforeTheRoomEnds) {
    CChoiralizerV2 engine;
    engine.SetOutputScale(ScaleChromatic);
    std::vector<ChordInfo> out(40);
    EXPECT_EQ(engine.ListChordsInScale(out.data()), 39);
    Listed(out, 39);
    EXPECT_EQ(engine.ListChordsInScale(nullptr), 0);
}

TEST(ListChordsWithTones, HoldsWhatFitsTheScaleAndTheStart) {
    CChoiralizerV2 engine;
    std::vector<ChordInfo> out(20);
    for (int32_t start : {60, 62, 71, 0, 4}) {
        const auto chords = Listed(out, engine.ListChordsWithTones(start, out.data()));
        // All chords from `start` up, by spelling each.
        std::vector<std::array<int32_t, 3>> expected;
        for (int32_t step = 0; step < 12; ++step) {
            for (int32_t k = 0; k <= 8 + 18; ++k) {
                const std::array<int32_t, 3> chord = {(start + step) % 12, k <= 8 ? k : 5,
                                                      k <= 8 ? 16 : k - 9};
                const Pitches pitches = Spell(chord[0], chord[1], chord[2]);
                bool fits = pitches[2] >= 0, holds = false;
                for (int32_t pitch : pitches) {
                    if (pitch < 0) {
                        break;
                    }
                    fits = fits && ScaleTable[ScaleMajor][pitch % 12] == 1;
                    holds = holds || (pitch - start) % 12 == 0;
                }
                if (fits && holds) {
                    expected.push_back(chord);
                }
            }
        }
        expected.resize(std::min<size_t>(expected.size(), 19));
        EXPECT_EQ(chords, expected) << start;
    }
}

TEST(ListChordsWithTones, TakesAnyStart) {
    CChoiralizerV2 engine;
    engine.SetOutputScale(ScaleChromatic);
    std::vector<ChordInfo> out(20);
    for (int32_t start : {-1, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(engine.ListChordsWithTones(start, out.data()), 19);
    }
    EXPECT_EQ(engine.ListChordsWithTones(0, nullptr), 0);
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
