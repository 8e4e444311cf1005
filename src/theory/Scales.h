// The scales that the engines know, one row for each.
#pragma once

#include <cstdint>

#include "theory/PitchClass.h"

namespace mlh::theory {

// Row numbers of kScales. The order is what hosts pass as numbers.
enum ScaleRow : int32_t {
    ScaleMajor = 0,
    ScaleDorian,
    ScalePhrygian,
    ScaleLydian,
    ScaleMixolydian,
    ScaleMinor,
    ScaleLocrian,
    ScaleHarmonicMinor,
    ScaleHungarianMinor,
    ScaleDoubleHarmonic,
    ScaleWholeTone,
    ScaleMajorPentatonic,
    ScaleMinorPentatonic,
    ScaleChromatic,
};
inline constexpr int32_t kScaleRows = 14;

struct Scale {
    const char* name;
    int32_t flags[kPitchClasses];  // 1 for a tone, by semitones above the tonic, which is always a tone
    int32_t signatureShift;        // fifths from the key signature of major on the same tonic to this one's
    ScaleRow parent;               // the seven-tone scale that a pentatonic one is cut from, else itself

    // Of a scale with both thirds, like the chromatic one, the major one counts.
    constexpr bool HasMinorThird() const { return flags[3] != 0 && flags[4] == 0; }
};

// Hungarian minor is harmonic minor with a raised fourth.
inline constexpr Scale kScales[kScaleRows] = {
    {"major", {1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 0, 1}, 0, ScaleMajor},
    {"dorian", {1, 0, 1, 1, 0, 1, 0, 1, 0, 1, 1, 0}, -2, ScaleDorian},
    {"phrygian", {1, 1, 0, 1, 0, 1, 0, 1, 1, 0, 1, 0}, -4, ScalePhrygian},
    {"lydian", {1, 0, 1, 0, 1, 0, 1, 1, 0, 1, 0, 1}, 1, ScaleLydian},
    {"mixolydian", {1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 1, 0}, -1, ScaleMixolydian},
    {"minor", {1, 0, 1, 1, 0, 1, 0, 1, 1, 0, 1, 0}, -3, ScaleMinor},
    {"locrian", {1, 1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 0}, -5, ScaleLocrian},
    {"harmonic-minor", {1, 0, 1, 1, 0, 1, 0, 1, 1, 0, 0, 1}, -3, ScaleHarmonicMinor},
    {"hungarian-minor", {1, 0, 1, 1, 0, 0, 1, 1, 1, 0, 0, 1}, -3, ScaleHungarianMinor},
    {"double-harmonic", {1, 1, 0, 0, 1, 1, 0, 1, 1, 0, 0, 1}, 0, ScaleDoubleHarmonic},
    {"whole-tone", {1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0}, 0, ScaleWholeTone},
    {"major-pentatonic", {1, 0, 1, 0, 1, 0, 0, 1, 0, 1, 0, 0}, 0, ScaleMajor},
    {"minor-pentatonic", {1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 0}, -3, ScaleMinor},
    {"chromatic", {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, 0, ScaleChromatic},
};

// The row of a number. An unknown number reads as major.
constexpr const Scale& ScaleOf(int32_t row) {
    return kScales[row >= 0 && row < kScaleRows ? row : ScaleMajor];
}

constexpr ScaleRow ParentRow(int32_t row) { return ScaleOf(row).parent; }

constexpr bool IsPentatonic(int32_t row) {
    return row >= 0 && row < kScaleRows && kScales[row].parent != row;
}

// Semitones from the tonic up to a step of a scale: step 0 is the tonic, as many as the scale has tones are
// an octave. Steps below 0 lie below the tonic.
constexpr int32_t StepOffset(int32_t row, int32_t step) {
    const Scale& scale = ScaleOf(row);
    int32_t offset = 0;
    for (int32_t left = step; left != 0; left += step < 0 ? 1 : -1) {
        do {
            offset += step < 0 ? -1 : 1;
        } while (scale.flags[PitchClass(offset)] == 0);
    }
    return offset;
}

}  // namespace mlh::theory
