// Chords for a melody, from its notes, its key and its half bars.
//
// A linear-chain conditional random field (J. Lafferty, A. McCallum, F. Pereira, 2001), as I. Simon, D.
// Morris, S. Basu, 2008, harmonise with a hidden Markov model. The melody is cut into pieces, each note at
// every half bar. States are chords relative to the tonic: those that make up over 0.4 % of the time in the
// tunes learned from, in major and in minor (secondary dominants and the major dominant of minor keys among
// them). A piece scores each chord by its degree and metric strength, by the degrees sung within four notes
// after and before, and, where bars are known, by its bar's place in eight. Going on to another chord scores
// by the two chords, and by where and how the piece begins: on a bar line or off the beat, with a note or
// within one, after a long note or a short one, a leap, a rest. First and last chords have scores of their
// own, which makes the cadence.
//
// Each piece takes the chord of the likeliest root given the whole melody (its posterior, by
// forward-backward), which is right more often than the one best path.
//
// For: songs and dances with about a chord a bar. Against: melodies that change key, jazz. Cost: pieces x
// states^2.
#pragma once

#include <vector>

#include "choir/melody/MelodyNote.h"
#include "choir/melody/PulseFinder.h"

namespace mlh::choir {

// Major stands for sixths and suspensions, too, Seventh for all dominants.
enum class HeardKind { Major, Seventh, Minor, Diminished, Augmented };

// The tones of a kind in semitones above its root, root first.
std::vector<int> TonesOf(HeardKind kind);

// How a name goes on after the root: "", "7", "m", "dim", "aug".
const char* SuffixOf(HeardKind kind);

// A chord holds from its time until the next one, the last one to the end.
struct HeardChord {
    double time = 0.0;  // in the notes' unit
    int root = 0;       // pitch class
    HeardKind kind = HeardKind::Major;
    double confidence = 0.0;  // mean posterior of the root over the chord's pieces, by duration; 0 to 1
};

// Whether bars and onsets are exact, as a score's or a click track's, or found in what was sung: each has its
// own tables.
enum class MetreSource { Known, Found };

// Notes as OneLine gives them, pitches free of tuning; tonic a pitch class. Half bar 0 of the clock is a bar
// line. No notes, no chords.
std::vector<HeardChord> TrackChords(const std::vector<MelodyNote>& notes, int tonic, bool minor,
                                    const HalfBarClock& clock, const HalfBarMetre& metre, MetreSource source);

}  // namespace mlh::choir
