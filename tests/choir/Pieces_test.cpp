#include "choir/voicing/Pieces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace mlh::choir {

namespace {

const std::vector<NoteSpan> kTwoNotes = {{1.0, 2.0}, {2.2, 3.0}};

}  // namespace

TEST(Pieces, WithoutChordsEveryNoteIsOnePiece) {
    EXPECT_EQ(CutAtChords(kTwoNotes, {}),
              (std::vector<Piece>{{0, 1.0, 2.0, -1, false}, {1, 2.2, 3.0, -1, false}}));
    EXPECT_TRUE(CutAtChords({}, {0.0, 1.0}).empty());
}

TEST(Pieces, AChangeInsideANoteCutsIt) {
    EXPECT_EQ(
        CutAtChords(kTwoNotes, {1.0, 1.5}),
        (std::vector<Piece>{{0, 1.0, 1.5, 0, false}, {0, 1.5, 2.0, 1, false}, {1, 2.2, 3.0, 1, false}}));
}

TEST(Pieces, AChangeNearABorderIsMovedThere) {
    const std::vector<Piece> expected = {{0, 1.0, 2.0, 0, false}, {1, 2.2, 3.0, 1, false}};
    for (const double change : {1.9, 2.0, 2.1, 2.2, 2.3}) {
        EXPECT_EQ(CutAtChords(kTwoNotes, {0.0, change}), expected) << change;
    }
}

TEST(Pieces, BeforeTheFirstChordTheFirstOneHolds) {
    EXPECT_EQ(CutAtChords(kTwoNotes, {2.2}),
              (std::vector<Piece>{{0, 1.0, 2.0, 0, false}, {1, 2.2, 3.0, 0, false}}));
}

TEST(Pieces, OfSeveralChangesOnOneSpotTheLastCounts) {
    EXPECT_EQ(CutAtChords(kTwoNotes, {0.0, 0.5, 1.05, 2.1, 2.15}),
              (std::vector<Piece>{{0, 1.0, 2.0, 2, false}, {1, 2.2, 3.0, 4, false}}));
}

TEST(Pieces, AChangeAfterTheLastNoteChangesNothing) {
    EXPECT_EQ(CutAtChords(kTwoNotes, {0.0, 3.5}).back().chord, 0);
}

TEST(Pieces, APauseIsMarked) {
    const auto pieces = CutAtChords({{0.0, 1.0}, {1.1, 2.0}, {3.0, 4.0}}, {0.0, 3.5});
    ASSERT_EQ(pieces.size(), 4u);
    EXPECT_FALSE(pieces[1].afterPause);
    EXPECT_TRUE(pieces[2].afterPause);
    EXPECT_FALSE(pieces[3].afterPause);
}

TEST(Pieces, CoverEveryNoteWithoutGapsInOrder) {
    std::mt19937 random(2);
    const auto uniform = [&](double most) { return most * static_cast<double>(random() % 10000) / 10000.0; };
    for (int round = 0; round < 100; ++round) {
        std::vector<NoteSpan> notes;
        double time = 0.0;
        while (notes.size() < 60) {
            time += uniform(0.5);
            notes.push_back({time, time + 0.02 + uniform(1.0)});
            time = notes.back().end;
        }
        std::vector<double> changes;
        for (double change = uniform(2.0); change < time + 2.0; change += uniform(1.5)) {
            changes.push_back(change);
        }
        const auto pieces = CutAtChords(notes, changes);
        std::size_t at = 0;
        int chord = 0;
        for (std::size_t i = 0; i < notes.size(); ++i) {
            double covered = notes[i].start;
            while (at < pieces.size() && pieces[at].note == static_cast<int>(i)) {
                EXPECT_EQ(pieces[at].start, covered);
                EXPECT_GT(pieces[at].end, pieces[at].start);
                EXPECT_GE(pieces[at].chord, chord);
                chord = pieces[at].chord;
                covered = pieces[at++].end;
            }
            EXPECT_EQ(covered, notes[i].end);
        }
        EXPECT_EQ(at, pieces.size());
    }
}

}  // namespace mlh::choir
