#include "harmony/ChordsInFunctions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "harmony/ChoiralizerV2.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

std::unique_ptr<CChordsInFunctions> Create() {
    CChordsInFunctions* chords = nullptr;
    EXPECT_EQ(CreateChordsInFunctions(&chords), 0);
    return std::unique_ptr<CChordsInFunctions>(chords);
}

std::vector<std::string> NamesWithTone(const CChordsInFunctions& chords, int32_t function,
                                       int32_t pitchClass) {
    std::vector<ChordFunctionEntry> entries(
        static_cast<size_t>(chords.CountChordsWithTone(function, pitchClass)));
    chords.CopyChordsWithTone(entries.data(), function, pitchClass);
    std::vector<std::string> names;
    for (const ChordFunctionEntry& entry : entries) {
        names.push_back(entry.name);
    }
    return names;
}

TEST(ChordsInFunctions, FindsTheChordsThatHoldATone) {
    const auto chords = Create();
    EXPECT_EQ(
        NamesWithTone(*chords, FunctionTonic, 7),
        (std::vector<std::string>{"Major: First Degree Triad", "Major: Secondary Dominant to Subdominant"}));
    EXPECT_EQ(NamesWithTone(*chords, FunctionSixth, 4).size(), 2u);
}

TEST(ChordsInFunctions, AgreesWithASearchOfTheTablesForEveryTone) {
    const auto chords = Create();
    for (int32_t row : {0, 5, 13}) {
        chords->SetMode(row);
        EXPECT_EQ(chords->GetMode(), row);
        for (int32_t function = 0; function < kFunctionCount; ++function) {
            const FunctionChordList& list = FunctionChordTable[row == 0 ? 0 : 1][function];
            for (int32_t tone = 0; tone < 12; ++tone) {
                std::vector<std::string> expected;
                for (int32_t i = 0; i < list.count; ++i) {
                    const int32_t* tones = list.entries[i].tones;
                    if (std::count(tones, tones + 4, tone) > 0) {
                        expected.push_back(list.entries[i].name);
                    }
                }
                EXPECT_EQ(NamesWithTone(*chords, function, tone), expected);
            }
        }
    }
}

TEST(ChordsInFunctions, NoFunctionAndUnknownFunctionsHoldNothing) {
    const auto chords = Create();
    for (int32_t function : {0, -1, 5, 1000}) {
        for (int32_t tone = 0; tone < 12; ++tone) {
            EXPECT_EQ(chords->CountChordsWithTone(function, tone), 0);
        }
    }
}

TEST(ChordsInFunctions, GivesNoChord) {
    const auto chords = Create();
    ChordFunctionEntry entry;
    chords->GetNoChord(&entry);
    EXPECT_STREQ(entry.name, "No Chord");
    EXPECT_EQ(entry.chordType, ChordUnknownTriad);
}

TEST(BuildChordCandidates, GivesEachChordItsTonesInTheTwoOctavesUnderTheLead) {
    CChoiralizerV2 engine;
    const std::vector<ChordCandidate> candidates = engine.BuildChordCandidates(67, FunctionTonic, 25);
    ASSERT_EQ(candidates.size(), 2u);
    const ChordCandidate& triad = candidates[0];
    EXPECT_STREQ(triad.name, "Major: First Degree Triad");
    EXPECT_EQ(triad.weight, 1.2f);
    EXPECT_EQ(triad.chordType, ChordMajor);
    EXPECT_EQ(triad.bassIndex, 0);
    ASSERT_EQ(triad.pitchCount, 7);
    EXPECT_EQ(std::vector<int32_t>(triad.pitches.begin(), triad.pitches.begin() + 7),
              (std::vector<int32_t>{43, 48, 52, 55, 60, 64, 67}));
    ASSERT_EQ(triad.pitches.size(), 25u);
    EXPECT_EQ(triad.pitches[7], -1);
}

TEST(BuildChordCandidates, FollowsTheRange) {
    CChoiralizerV2 engine;
    engine.SetRange(3, 5);
    const std::vector<ChordCandidate> candidates = engine.BuildChordCandidates(67, FunctionTonic, 9);
    ASSERT_EQ(candidates[0].pitchCount, 3);
    EXPECT_EQ(candidates[0].pitches[0], 64);
    EXPECT_EQ(candidates[0].pitches[1], 67);
    EXPECT_EQ(candidates[0].pitches[2], 72);
}

TEST(BuildChordCandidates, WithoutAChordThereIsTheShapeOfNoChord) {
    CChoiralizerV2 engine;
    for (const auto& [pitch, function] :
         {std::pair<int32_t, int32_t>{60, FunctionNone}, {66, FunctionTonic}}) {
        const std::vector<ChordCandidate> candidates = engine.BuildChordCandidates(pitch, function, 25);
        ASSERT_EQ(candidates.size(), 1u);
        EXPECT_STREQ(candidates[0].name, "No Chord");
        EXPECT_EQ(candidates[0].pitchCount, 1);
        EXPECT_EQ(candidates[0].weight, 1e-10f);
        EXPECT_EQ(candidates[0].bassIndex, -1);
    }
}

TEST(BuildChordCandidates, MinorRowsUseTheMinorLists) {
    CChoiralizerV2 engine;
    engine.SetOutputScale(5);
    EXPECT_STREQ(engine.BuildChordCandidates(63, FunctionTonic, 25)[0].name, "Minor: First Degree Triad");
    engine.SetOutputScale(0);
    EXPECT_STREQ(engine.BuildChordCandidates(64, FunctionTonic, 25)[0].name, "Major: First Degree Triad");
}

TEST(BuildChordCandidates, PitchesBelowTheKeyCountByTheirDistance) {
    CChoiralizerV2 engine;
    engine.SetKey(9);
    engine.SetRange(12, 0);
    // Tones 0 4 7 on A: below the key the distance down counts, so F (4 below) stands for the third.
    const std::vector<ChordCandidate> candidates = engine.BuildChordCandidates(9, FunctionTonic, 13);
    std::vector<int32_t> expected;
    for (int32_t pitch = -3; pitch <= 9; ++pitch) {
        const int32_t distance = std::abs(9 - pitch) % 12;
        if (distance == 0 || distance == 4 || distance == 7) {
            expected.push_back(pitch);
        }
    }
    ASSERT_EQ(candidates[0].pitchCount, static_cast<int32_t>(expected.size()));
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), candidates[0].pitches.begin()));
    EXPECT_EQ(expected, (std::vector<int32_t>{-3, 2, 5, 9}));
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
