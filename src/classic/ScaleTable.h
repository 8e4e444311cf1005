// The scales as both harmony engines read them: rows of twelve flags.
#pragma once

#include <cstdint>

#include "theory/KeyedScale.h"
#include "theory/PitchClass.h"
#include "theory/Scales.h"

namespace mlh::ChoiralizerClassic {

using theory::IsPentatonic;
using theory::KeyedScale;
using theory::kScaleRows;
using theory::ParentRow;
using theory::PitchClass;
using enum theory::ScaleRow;

struct ScaleFlags {
    int32_t rows[kScaleRows][12];
};
constexpr ScaleFlags FlagsOfScales() {
    ScaleFlags table{};
    for (int32_t row = 0; row < kScaleRows; ++row) {
        for (int32_t position = 0; position < 12; ++position) {
            table.rows[row][position] = theory::kScales[row].flags[position];
        }
    }
    return table;
}
inline constexpr ScaleFlags kScaleFlags = FlagsOfScales();

// ScaleTable[row][semitones above the tonic] is 1 for a tone of the scale. The tonic always is one.
inline constexpr const int32_t (&ScaleTable)[kScaleRows][12] = kScaleFlags.rows;

// The flags of a row. An unknown row number reads as major.
constexpr const int32_t* ScaleTones(int32_t row) {
    return ScaleTable[row >= 0 && row < kScaleRows ? row : int32_t{ScaleMajor}];
}

}  // namespace mlh::ChoiralizerClassic
