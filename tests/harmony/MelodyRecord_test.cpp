// The record that the steps read, and the steps as functions over it.
#include "harmony/MelodyRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "harmony/ChoiralizerV2.h"
#include "harmony/ChordsInFunctions.h"
#include "harmony/FunctionAssignment.h"
#include "harmony/FunctionTables.h"
#include "harmony/PhraseAnalysis.h"
#include "harmony/VoicingLists.h"
#include "harmony/VoicingRules.h"
#include "harmony/VoicingSearch.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using testing::ElementsAre;

// Twinkle, twinkle: two phrases of seven notes, the seventh held.
std::vector<NoteItem> TwoPhrases() {
    const int32_t pitches[] = {60, 60, 67, 67, 69, 69, 67, 65, 65, 64, 64, 62, 62, 60};
    std::vector<NoteItem> items;
    float time = 0.0f;
    for (const int32_t pitch : pitches) {
        const float duration = items.size() % 7 == 6 ? 2.0f : 1.0f;
        items.push_back({pitch, time, time + duration, 0, 0, 0});
        time += duration;
    }
    return items;
}

TEST(MelodyRecord, ARestCountsToTheNoteBeforeIt) {
    const NoteItem items[] = {{60, 1.0f, 1.5f, 0, 0, 0}, {62, 3.0f, 4.0f, 0, 0, 0}};
    const MelodyRecord record = MakeMelodyRecord(items, 2);
    EXPECT_THAT(record.notePitch, ElementsAre(60, 62));
    EXPECT_THAT(record.noteStart, ElementsAre(1.0f, 3.0f));
    EXPECT_THAT(record.noteEnd, ElementsAre(1.5f, 4.0f));
    EXPECT_THAT(record.noteDuration, ElementsAre(2.0f, 1.0f));
    EXPECT_EQ(record.totalDuration, 3.0f);
    EXPECT_EQ(record.meanDuration, 1.5f);
    EXPECT_EQ(record.Count(), 2u);
}

TEST(MelodyRecord, TheStepsGiveWhatTheEngineGives) {
    std::vector<NoteItem> items = TwoPhrases();
    const size_t n = items.size();
    CChoiralizerV2 engine;
    NoteList list;
    list.items = items.data();
    list.count = static_cast<int32_t>(n);
    ASSERT_EQ(engine.SetMelody(&list, 0), 0);
    ASSERT_EQ(engine.Calculate(), 0);

    const Tonality tonality{0, 0};
    const MelodyRecord record = MakeMelodyRecord(items.data(), n);
    const Phrases phrases = FindPhrases(record, tonality);
    EXPECT_EQ(phrases.boundaryCandidate, engine.GetBoundaryCandidates());
    EXPECT_EQ(phrases.phraseBoundary, engine.GetPhraseBoundaries());

    std::vector<int32_t> functions(n, FunctionNone);
    ASSERT_EQ(FindFunctions(record, tonality, phrases.phraseBoundary, std::vector<int32_t>(n, 0), functions),
              0);
    EXPECT_EQ(functions, engine.GetNoteFunctions());

    const CChordsInFunctions chords;
    const VoicingLayout layout{0, 3, 24, 0, chords, engine.GetVerticalRules(), engine.GetTransitionRules()};
    std::vector<CandidateList> lists = BuildVoicingLists(record, functions, layout);
    FindBestPaths(lists, engine.GetTransitionRules());
    const std::vector<PathStep> path = TraceBestPath(lists);
    ASSERT_EQ(path.size(), n);
    for (size_t i = 0; i < n; ++i) {
        const PathStep& step = path[n - 1 - i];
        EXPECT_EQ(step.note, static_cast<int32_t>(i));
        EXPECT_FALSE(step.isInherited);
        EXPECT_EQ(lists[i].voicings[step.candidate], engine.GetCandidateLists()[i].voicings[step.candidate]);
        EXPECT_EQ(lists[i].candidates[step.candidate].score, engine.GetChosen()[i].score);
    }
}

TEST(MelodyRecord, ALockedNoteWithoutAFunctionTakesPartInTheSearch) {
    // C sharp is out of the scale and left out, unless it is locked.
    const std::vector<int32_t> pitches = {60, 61, 64, 65, 67};
    MelodyRecord record;
    record.notePitch = pitches;
    record.noteDuration.assign(5, 1.0f);
    std::vector<int32_t> locked(5, 0), functions(5, FunctionNone);
    const std::vector<int32_t> boundaries(5, 0);
    ASSERT_EQ(FindFunctions(record, {0, 0}, boundaries, locked, functions), 0);
    EXPECT_EQ(functions[1], FunctionNone);
    locked[1] = 1;
    functions.assign(5, FunctionNone);
    ASSERT_EQ(FindFunctions(record, {0, 0}, boundaries, locked, functions), 0);
    EXPECT_NE(functions[1], FunctionNone);
}

TEST(MelodyRecord, ThePathOfNoListsIsEmpty) { EXPECT_TRUE(TraceBestPath({}).empty()); }

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
