// The harmonic vocabulary: how pitches, chord types and chords are coded, and the one measure of the distance
// between two pitches of a scale.
//
// A pitch is a MIDI note number, -1 meaning none; a key is a pitch class 0 to 11, 0 being C; a scale is a row
// of 12 flags from the tonic up (theory/Scales.h). Everything here is constant data or a pure function.
#pragma once

#include <cstdint>
#include <string>

#include "theory/ChordTypes.h"

namespace mlh::ChoiralizerV2 {

// One code space for triads (0 to 8) and seventh chords (9 to 17). Of the two fields of a ChordInfo the one
// that does not apply holds ChordNoTriad or ChordNoSeventh.
enum ChordType : int32_t {
    ChordMajor = 0,
    ChordMinor = 1,
    ChordDiminished = 2,
    ChordAugmented = 3,
    ChordUnknownTriad = 4,  // three notes that make no known chord
    ChordNoTriad = 5,       // the chord is a seventh chord, or none at all
    ChordSus4 = 6,
    ChordSixth = 7,    // a triad that stands on its third
    ChordSixFour = 8,  // a triad that stands on its fifth
    ChordMajor7 = 9,
    ChordMinor7 = 10,
    ChordDominant7 = 11,
    ChordHalfDiminished7 = 12,
    ChordDiminished7 = 13,
    ChordMinorMajor7 = 14,
    ChordUnknownSeventh = 15,  // four notes that make no known chord
    ChordNoSeventh = 16,       // the chord is a triad, or none at all
    ChordAugmentedMajor7 = 17,
};

constexpr int32_t kChordTypeCount = 18;

// Chord tones in semitones above the root, padded by repeating the root; -1 where a type has no tones.
struct ChordTones {
    int32_t rows[kChordTypeCount][4];
};
constexpr ChordTones TonesOfChords() {
    ChordTones table{};
    for (int32_t code = 0; code < kChordTypeCount; ++code) {
        // An inverted triad has the tones of the major one.
        const bool inverted = code == ChordSixth || code == ChordSixFour;
        const int32_t wanted = inverted ? int32_t{ChordMajor} : code;
        for (int32_t& tone : table.rows[code]) {
            tone = -1;
        }
        // By the rows themselves: gcc with sanitizers takes no comparison of their addresses for a constant.
        for (const theory::ChordType& type : theory::kChordTypes) {
            if (type.code != wanted) {
                continue;
            }
            for (int32_t tone = 0; tone < 4; ++tone) {
                table.rows[code][tone] = type.tones[tone < type.count ? tone : 0].semitones;
            }
            break;
        }
    }
    return table;
}
inline constexpr ChordTones kChordTones = TonesOfChords();
inline constexpr const int32_t (&ChordToneTable)[kChordTypeCount][4] = kChordTones.rows;

// Note names in four runs of 12: upper-case sharps, lower-case sharps, upper-case flats, lower-case flats.
extern const char* const NoteNameTable[48];

// A chord as the engine stores it for each note and hands it to its caller.
struct ChordInfo {
    int32_t root = -1;  // pitch class, -1 for no chord; the mode 7 setting does not reduce it (up to 22)
    int32_t triadType = ChordNoTriad;
    int32_t seventhType = ChordNoSeventh;
    int32_t inversion = -1;  // 0 root position, 1.. inversion, -1 unknown
    std::string name;        // for display
};

// Row of the scale table. An unknown row number reads as major, as in the classic engine.
const int32_t* ScaleRow(int32_t row);

// Whether the pitch is a tone of the scale row on key.
bool IsScaleTone(int32_t pitch, int32_t key, const int32_t* scale);

// The interval between two pitches, counted in tones of a scale.
struct ScaleDistance {
    int32_t steps;      // scale steps within the octave, 0 to 7; -1 when no scale tone lies on the way
    int32_t octaves;    // whole octaves, from the semitones
    int32_t direction;  // -1 downward, +1 upward and for equal pitch classes
    int32_t quality;    // 1 if the first pitch is out of the scale, + 2 if the second is

    bool operator==(const ScaleDistance&) const = default;
};

// Measures from pitch a to pitch b in the scale row on key. A pure octave has 0 steps and 1 octave.
ScaleDistance ScaleInterval(int32_t a, int32_t b, int32_t key, const int32_t* scale);

// Pitch class above the key. It mirrors below the key (the absolute difference counts), which every
// chord table and rule of this folder relies on.
int32_t PitchClassFromKey(int32_t key, int32_t pitch);

// Whether `tones` (four of them) hold the pitch class.
bool HasTone(const int32_t* tones, int32_t pitchClass);

// Walks up a chord from its bass tone: how many tones lie before the pitch class, 0 to 3, or 4 if it is not
// in the chord. With bassIndex -1 the walk begins at the value before `tones`, which must exist.
int32_t PositionFromBass(const int32_t* tones, int32_t bassIndex, int32_t pitchClass);

// Display name. Names of minor kinds are lower case: 12 is added to the root's index into the name table, so
// a caller that has raised the root by 12 already gets the run after (upper-case flats). useFlats is 1 or 0.
std::string ChordName(int32_t root, int32_t typeCode, int32_t useFlats);

}  // namespace mlh::ChoiralizerV2
