#include "choir/voicing/NoteDealing.h"

#include <gtest/gtest.h>

#include <vector>

namespace mlh::choir {

namespace {

TEST(DealNotes, TracksDriveAVoiceEach) {
    const std::vector<NoteLine> tracks = {{"", {{0, 1, 60, 1}, {1, 2, 62, 1}}}, {"", {{0.5, 2, 55, 1}}}};
    const auto changes = DealNotes(tracks, 2);
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_EQ(changes[0].pitches, (std::vector<double>{60, -1}));
    EXPECT_EQ(changes[1].pitches, (std::vector<double>{60, 55}));
    EXPECT_EQ(changes[2].pitches, (std::vector<double>{62, 55}));
    EXPECT_EQ(changes[3].pitches, (std::vector<double>{-1, -1}));
}

TEST(DealNotes, OfOverlappingNotesInATrackTheLastSounds) {
    const auto changes = DealNotes({{"", {{0, 3, 60, 1}, {1, 2, 62, 1}}}, {"", {}}}, 2);
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_EQ(changes[1].pitches[0], 62.0);
    EXPECT_EQ(changes[2].pitches[0], 60.0);
}

TEST(DealNotes, ALoneTrackIsDealtOutFromTheTop) {
    const std::vector<NoteLine> chordal = {
        {"", {{0, 2, 60, 1}, {0, 1, 64, 1}, {0, 2, 67, 1}, {1, 2, 65, 1}}}};
    EXPECT_EQ(CountVoices(chordal), 3);
    const auto changes = DealNotes(chordal, 3);
    EXPECT_EQ(changes[0].pitches, (std::vector<double>{67, 64, 60}));
    EXPECT_EQ(changes[1].pitches, (std::vector<double>{67, 65, 60}));
    EXPECT_EQ(changes[2].pitches, (std::vector<double>{-1, -1, -1}));
}

}  // namespace

}  // namespace mlh::choir
