// The library against the script that learned its tables: the same answers on melodies made up there.
#include <gtest/gtest.h>

#include <cmath>

#include "choir/melody/MelodyTracker.h"

namespace mlh::choir {
namespace {

struct Reference {
    const double* notes;
    int noteCount;
    int key;
    double confidence;
    const double* written;
    int writtenCount;
    double upbeat;  // half bars from 0 to a bar line, 0 to 2, when they are sought
    double half;    // seconds
    double phase;   // of the first onset, in half bars from a bar line
    int halves;     // in a bar
    int beats;      // in a half bar
    const double* free;
    int freeCount;
};

#include "choir/MelodyReference.inc"

void ExpectChords(const std::vector<HeardChord>& chords, const double* expected, int count) {
    ASSERT_EQ(chords.size(), static_cast<size_t>(count));
    for (size_t i = 0; i < chords.size(); ++i) {
        EXPECT_NEAR(chords[i].time, expected[3 * i], 1e-5) << i;
        EXPECT_EQ(chords[i].root, static_cast<int>(expected[3 * i + 1])) << i;
        EXPECT_EQ(static_cast<int>(chords[i].kind), static_cast<int>(expected[3 * i + 2])) << i;
    }
}

TEST(MelodyReference, KeysAndChordsOfWrittenMelodiesAreTheScripts) {
    for (const Reference& reference : kReferences) {
        std::vector<MelodyNote> notes;
        for (int i = 0; i < reference.noteCount; ++i) {
            const double* note = reference.notes + 4 * i;
            notes.push_back({note[0], note[1], note[2]});
        }
        TrackOptions options;
        options.metre = MetreOf(4, 4, 1.0, 0.0);
        const MelodyTrack track = TrackMelody(notes, options);
        EXPECT_EQ(track.key.best, reference.key);
        EXPECT_NEAR(track.key.confidence, reference.confidence, 1e-8);
        ExpectChords(track.chords, reference.written, reference.writtenCount);
    }
}

TEST(MelodyReference, BarLinesOfKnownMetresAreTheScripts) {
    for (const Reference& reference : kReferences) {
        std::vector<MelodyNote> notes;
        for (int i = 0; i < reference.noteCount; ++i) {
            const double* note = reference.notes + 4 * i;
            notes.push_back({note[0], note[1], note[2]});
        }
        TrackOptions options;
        options.key = reference.key;
        options.metre = MetreOf(4, 4, 1.0);
        const double halves = TrackMelody(notes, options).pulse.clock.HalvesAt(0.0);
        EXPECT_NEAR(-halves - 2.0 * std::floor(-halves / 2.0), reference.upbeat, 1e-6);
    }
}

TEST(MelodyReference, PulseAndChordsOfSungMelodiesAreTheScripts) {
    for (const Reference& reference : kReferences) {
        std::vector<MelodyNote> notes;
        for (int i = 0; i < reference.noteCount; ++i) {
            const double* note = reference.notes + 4 * i;
            const bool last = i + 1 == reference.noteCount;
            notes.push_back({note[3], last ? note[3] + 1.0 : note[7], note[2]});
        }
        TrackOptions options;
        options.key = reference.key;
        const MelodyTrack track = TrackMelody(notes, options);
        EXPECT_NEAR(track.pulse.clock.Half(), reference.half, 1e-6);
        EXPECT_NEAR(track.pulse.clock.HalvesAt(notes[0].start), reference.phase, 1e-5);
        EXPECT_EQ(track.pulse.metre.halves, reference.halves);
        EXPECT_EQ(track.pulse.metre.beats, reference.beats);
        ExpectChords(track.chords, reference.free, reference.freeCount);
    }
}

}  // namespace
}  // namespace mlh::choir
