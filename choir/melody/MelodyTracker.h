// Key, half bars and chords of a melody in one call.
#pragma once

#include <optional>
#include <vector>

#include "choir/melody/ChordTracker.h"
#include "choir/melody/KeyFinder.h"
#include "choir/melody/PulseFinder.h"

namespace mlh::choir {

// A metre that is known, with the length of its half bars in the notes' unit.
struct KnownMetre {
    HalfBarMetre shape = {};
    double half = 2.0;
    std::optional<double> barLine;  // any bar line; found when not given
};

// The metre of a time signature whose quarter notes last `quarter`. Lower numbers of 8 with 6, 9 or 12 above
// are compound.
KnownMetre MetreOf(int upper, int lower, double quarter, std::optional<double> barLine = std::nullopt);

struct TrackOptions {
    std::optional<int> key;           // 0 to 11 major, 12 to 23 minor; found when not given
    std::optional<double> tuning;     // semitones above A = 440; found when not given
    std::optional<double> bpm;        // beats a minute, when notes are in seconds and the tempo is known
    std::optional<KnownMetre> metre;  // when beats are known
};

struct MelodyTrack {
    std::vector<MelodyNote> notes;   // what was tracked: one line, free of tuning
    KeyEstimate key;                 // as found, even when one was given
    int usedKey = 0;                 // given or found
    MelodyPulse pulse;               // half bars
    std::vector<HeardChord> chords;  // by time; the first at the first note; empty without notes
};

// Any notes, in any order; times in seconds unless a metre is given, whose unit they then have.
MelodyTrack TrackMelody(const std::vector<MelodyNote>& notes, const TrackOptions& options = {});

}  // namespace mlh::choir
