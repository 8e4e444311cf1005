// Chords over time as people write them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "choir/Types.h"
#include "choir/chords/ChordSymbol.h"

namespace mlh::choir {

struct ChordTextSettings {
    double bpm = 0.0;     // of bars and beats that have no times; 0 for none
    int beatsPerBar = 4;  // 1 and up
    int key = -1;         // of degrees: 0 to 11 major, 12 to 23 minor, -1 none
};

struct ChordRemark {
    int line;    // from 1
    int column;  // from 1, in characters
    std::string text;
};

struct ChordSheet {
    std::vector<TimedChord> chords;    // by rising time
    std::vector<ChordRemark> remarks;  // each once, at its first place
};

// Reads a chord sheet. The form is recognised by itself:
//   one symbol        holds from 0 on
//   timed lines       "12.5 Am", "1:02.5 Am", "12.5 14.0 Am" (.lab), Audacity labels (tab separated start,
//   end,
//                     label); commas and semicolons end a line too
//   a bar grid        "C | Am F | G": bars of equal length with the chords sharing a bar evenly; "%" repeats
//   the
//                     bar before, "." or "-" or "/" hold
//   beats             "C / Am / F G": no bar lines, a beat for each chord and slash
//   words with chords "[C]Sing [G]along" (ChordPro): each chord holds for a bar; {key}, {tempo}, {time},
//   {capo}
//                     and {transpose} count
// Bars, beats and words with chords need a tempo. A line that starts with # or \ is a comment. `source` names
// the text in messages ("--chords" or a file name). Throws ChordTextError with source, line, column, what was
// read, and what to write.
ChordSheet ReadChordSheet(std::string_view text, const std::string& source,
                          const ChordTextSettings& settings = {});

// Key names: C, F#m, Bb minor, c# minor, Ebmaj, "A major". Returns 0 to 11 major, 12 to 23 minor; -1 for
// anything else.
int ReadKey(const std::string& text);

}  // namespace mlh::choir
