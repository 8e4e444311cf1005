// Chords as people write them.
#pragma once

#include <string>
#include <vector>

#include "choir/Types.h"

namespace mlh::choir {

// Reads a chord sheet. The form is recognised by itself:
//   timed lines       "12.5 Am", "12.5 14.0 Am" (.lab), Audacity labels (tab separated start, end, label)
//   a bar grid        "C | Am F | G", bars of equal length with the chords sharing a bar evenly, "%" repeats
//                     the bar before, "." or "-" or "/" holds; needs bpm > 0, beatsPerBar beats to a bar
// Symbols are lead-sheet ones (C, Am7, F#dim, Bbmaj7, G7, Csus4, Am/C, N.C.) or Harte labels (C:maj, A:min7,
// N). `source` names the text in messages ("--chords" or a file name). Throws UsageError with source, line,
// column, what was read, and the nearest valid spelling. Result in rising order of time; a chord of no time
// is at 0.
std::vector<TimedChord> ParseChordSheet(const std::string& text, const std::string& source, double bpm,
                                        int beatsPerBar);

// One symbol. Throws UsageError with the nearest valid spelling.
Chord ParseChordSymbol(const std::string& symbol);

// What the library knows of a chord, triads and seventh chords: third, fifth and seventh in semitones above
// the root, the seventh -1 for a triad. Other chords are reduced to these tones: notes that cannot be stacked
// in thirds would give them another root.
struct CoreTones {
    int third = 4;
    int fifth = 7;
    int seventh = -1;
};
CoreTones ReduceChord(const std::vector<int>& intervals);

// The library's codes of triads and seventh chords (see SegmentChord in mlh/analysis.h), and their tones in
// semitones above the root; none for a code of no chord.
struct ChordCodes {
    int triad = 5;
    int seventh = 16;
};
ChordCodes CodesOf(const CoreTones& tones);
std::vector<int> TonesOf(const ChordCodes& codes);

// Key names: C, F#m, Bb minor, c# minor, Ebmaj, "A major". Returns 0 to 11 major, 12 to 23 minor.
int ParseKey(const std::string& text);

}  // namespace mlh::choir
