// Settings of a melody in voices, from notes alone: for hosts that link the static library.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace mlh {

// How the voices are found.
enum class ArrangeStyle {
    FourPart,   // the engine's own: phrases, functions, chords and four voices from the melody and key alone
    Chords,     // three, two or one voices on the tones of given or tracked chords, note by note
    Intervals,  // fixed intervals in scale steps
    Block,      // block chords below the lead, nine styles
    Fourths,    // open fourths
    Fixed,      // one or two fixed intervals
    Double,     // the lead doubled, and one offset voice
};

// A chord as a host gives it: root, and its type by the codes of SegmentChord in analysis.h (triadType 5
// with a seventhType of 9 to 14, or a triadType of 0 to 3 with a seventhType of 16).
struct ArrangeChord {
    int32_t root = -1;  // pitch class, 0 is C; -1 none
    int32_t triadType = 5;
    int32_t seventhType = 16;
};

struct ArrangeNote {
    int32_t pitch = 60;  // MIDI note number, 0 and up
    float start = 0.0f;  // in any unit: only ratios count
    float end = 0.0f;
    ArrangeChord chord;  // style Chords; without one on the first note all chords are tracked from the melody
};

struct ArrangeSettings {
    ArrangeStyle style = ArrangeStyle::FourPart;
    int32_t key = 0;      // pitch class of the tonic
    int32_t scale = 0;    // row of the scale list below
    int32_t leadRow = 3;  // FourPart: the row that carries the melody, 0 bass to 3 soprano
    int32_t spacing = 1;  // FourPart: 0 close, 1 open, 2 wide
    int32_t voices = 4;   // Chords: lead and harmony, 2 to 4
    int32_t above = 1;    // Chords: harmony voices above the lead
    float spread = 0.5f;  // Chords: 0 to 1
    int32_t variant = 0;  // Block 0 to 8, Fourths 0 to 3, Fixed 0 to 6
    std::array<int32_t, 4> intervals = {0, 2, -2,
                                        -3};  // Intervals: scale steps from the lead, first the lead's own
    int32_t interval = 12;                    // Double: semitones, its sign the direction
};

// The setting of one note.
struct ArrangedNote {
    std::array<int32_t, 4> rows;  // MIDI notes, -1 none. FourPart: bass first; else row 3 is the lead
    ArrangeChord chord;           // what it is set to; of a chord in inversion the root, not the bass
    std::string chordName;        // the engine's own name for it
    int32_t function;             // FourPart: 1 tonic, 2 subdominant, 3 dominant, 4 sixth degree; 0 none
    bool startsPhrase;            // FourPart
    bool inherited;               // FourPart: no chord of its own, goes on with the one before
};

// Names of the 14 scales, in the order of their rows.
const std::vector<std::string>& ScaleNames();

// One entry per note. Empty for an empty melody or settings out of range.
std::vector<ArrangedNote> Arrange(const std::vector<ArrangeNote>& melody, const ArrangeSettings& settings);

}  // namespace mlh
