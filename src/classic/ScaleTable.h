// The scales that both harmony engines know, as rows of twelve flags.
#pragma once

#include <cstdint>

namespace mlh::ChoiralizerClassic {

// Row numbers of ScaleTable.
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

// ScaleTable[row][semitones above the tonic] is 1 for a tone of the scale. The tonic always is one.
inline constexpr int32_t ScaleTable[kScaleRows][12] = {
    {1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 0, 1},  // major
    {1, 0, 1, 1, 0, 1, 0, 1, 0, 1, 1, 0},  // Dorian
    {1, 1, 0, 1, 0, 1, 0, 1, 1, 0, 1, 0},  // Phrygian
    {1, 0, 1, 0, 1, 0, 1, 1, 0, 1, 0, 1},  // Lydian
    {1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 1, 0},  // Mixolydian
    {1, 0, 1, 1, 0, 1, 0, 1, 1, 0, 1, 0},  // natural minor
    {1, 1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 0},  // Locrian
    {1, 0, 1, 1, 0, 1, 0, 1, 1, 0, 0, 1},  // harmonic minor
    {1, 0, 1, 1, 0, 0, 1, 1, 1, 0, 0, 1},  // harmonic minor with raised fourth
    {1, 1, 0, 0, 1, 1, 0, 1, 1, 0, 0, 1},  // double harmonic
    {1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0},  // whole tone
    {1, 0, 1, 0, 1, 0, 0, 1, 0, 1, 0, 0},  // major pentatonic
    {1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 0},  // minor pentatonic
    {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},  // chromatic
};

// The flags of a row. An unknown row number reads as major.
constexpr const int32_t* ScaleTones(int32_t row) {
    return ScaleTable[row >= 0 && row < kScaleRows ? row : ScaleMajor];
}

// The seven-tone scale that a pentatonic one is cut from; every other scale is its own parent.
constexpr int32_t ParentRow(int32_t row) {
    return row == ScaleMajorPentatonic ? ScaleMajor : row == ScaleMinorPentatonic ? ScaleMinor : row;
}

constexpr bool IsPentatonic(int32_t row) { return ParentRow(row) != row; }

}  // namespace mlh::ChoiralizerClassic
