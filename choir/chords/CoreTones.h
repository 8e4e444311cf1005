// Chords as the core knows them: triads and seventh chords by codes.
#pragma once

#include <vector>

namespace mlh::choir {

// Third, fifth and seventh in semitones above the root, the seventh -1 for a triad. Other chords are reduced
// to these tones: notes that cannot be stacked in thirds would give them another root.
struct CoreTones {
    int third = 4;
    int fifth = 7;
    int seventh = -1;
};
CoreTones ReduceChord(const std::vector<int>& intervals);

// The core's codes of triads and seventh chords (see SegmentChord in mlh/analysis.h), and their tones in
// semitones above the root; none for a code of no chord.
struct ChordCodes {
    int triad = 5;
    int seventh = 16;
};
ChordCodes CodesOf(const CoreTones& tones);
std::vector<int> TonesOf(const ChordCodes& codes);

}  // namespace mlh::choir
