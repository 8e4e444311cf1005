// A chord by its tones, and the names that tones have.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mlh::choir {

// What is to be sung, exactly: no tone that is not listed belongs to the chord.
struct Chord {
    std::string name = {};            // of what sounds: "Cmaj7", "G7/B", "N.C."
    int root = -1;                    // pitch class, 0 is C; -1 for no chord
    std::vector<int> intervals = {};  // semitones above the root, rising, 0 to 21: a ninth is 14, not 2
    int bass = -1;                    // pitch class of a slash bass, -1 if it is the root
    std::string written = {};         // as somebody wrote it; empty for a chord that nobody wrote
};

// Bit p for pitch class p: the tones, and the bass where it is another one. 0 for no chord.
std::uint16_t PitchClassesOf(const Chord& chord);

// The same root, tones and bass, whatever the names.
bool SoundsLike(const Chord& a, const Chord& b);

// The intervals in the order in which fewer voices than tones keep them: third (or what is sung in its
// stead), seventh, root, what is altered or added from the top down, a plain fifth last.
std::vector<int> IntervalsByImportance(const std::vector<int>& intervals);

// The chord symbol's part after the root: "m7", "(no5)"; for tones that no symbol has, a list of degrees:
// ":(1,b2,3)". Together with a root it reads as exactly these tones.
std::string ChordSuffix(const std::vector<int>& intervals);

// Name of a root, tones and bass, with flats or sharps for the black keys. "N.C." for root -1.
std::string ChordName(int root, const std::vector<int>& intervals, int bass = -1, bool flats = false);

// The chord that sounding pitches (MIDI notes) make, with their exact pitch classes as its tones and the
// lowest one as its bass: of the names that fit all of them one on the bass is taken, else the simplest. No
// chord for no pitch.
Chord RecogniseChord(const std::vector<int>& pitches, bool flats = false);

}  // namespace mlh::choir
