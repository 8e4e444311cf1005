#include "choir/chords/ChordTrack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace mlh::choir {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<TimedNote> Chord3(double start, double end, std::vector<double> pitches) {
    std::vector<TimedNote> notes;
    for (double pitch : pitches) {
        notes.push_back({start, end, pitch, 1.0});
    }
    return notes;
}

std::vector<TimedNote> Join(std::vector<std::vector<TimedNote>> parts) {
    std::vector<TimedNote> all;
    for (const auto& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::vector<std::string> Names(const std::vector<TimedNote>& notes) {
    std::vector<std::string> names;
    for (const TimedChord& chord : ChordsOfNotes(notes)) {
        names.push_back(chord.chord.name);
    }
    return names;
}

TEST(ChordTrack, ChordsFollowTheNotes) {
    const auto chords = ChordsOfNotes(Join({Chord3(0, 2, {48, 64, 67}), Chord3(2, 4, {47, 62, 65, 67})}));
    ASSERT_EQ(chords.size(), 2u);
    EXPECT_EQ(chords[0].chord.name, "C");
    EXPECT_EQ(chords[0].time, 0.0);
    EXPECT_EQ(chords[1].chord.name, "G7/B");
    EXPECT_EQ(chords[1].time, 2.0);
}

TEST(ChordTrack, NotesOfOneChordNeedNotStartAtOnce) {
    std::vector<TimedNote> notes = {{0, 1.03, 48, 1}, {0.02, 1.01, 64, 1}, {0.04, 0.98, 67, 1}};
    const auto next = Chord3(1.0, 2.0, {53, 60, 69});
    EXPECT_THAT(Names(Join({notes, next})), ElementsAre("C", "F"));
}

TEST(ChordTrack, RestsSingleNotesAndRepeatedChordsChangeNothing) {
    EXPECT_THAT(Names(Join({Chord3(0, 1, {48, 64, 67}), Chord3(2, 3, {50}), Chord3(4, 5, {48, 64, 67})})),
                ElementsAre("C"));
    EXPECT_THAT(Names({}), IsEmpty());
    EXPECT_THAT(Names(Chord3(0, 1, {60})), IsEmpty());
    EXPECT_THAT(Names(Chord3(0, 1, {60, 72})), IsEmpty());
}

TEST(ChordTrack, NotesThatAreNoNotesAreIgnored) {
    const auto absurd = std::vector<TimedNote>{{NAN, 1, 60, 1}, {0, INFINITY, 60, 1}, {0, 1, -5, 1},
                                               {0, 1, 400, 1},  {0, 1, NAN, 1},       {1, 0, 61, 1}};
    EXPECT_THAT(Names(Join({absurd, Chord3(0, 1, {57, 60, 64})})), ElementsAre("Am"));
}

}  // namespace

}  // namespace mlh::choir
