// Walking and counting on a scale: the one arithmetic that every rule of this engine is written in.
#pragma once

#include <cstdint>

namespace mlh::ChoiralizerClassic {

// The floored remainder by twelve, 0..11 for any number.
int32_t PitchClass(int64_t pitch);

// A row of ScaleTable laid on a tonic. A position is a pitch measured in semitones above the tonic, within
// the octave, 0..11. An unknown row number reads as major.
class KeyedScale {
  public:
    KeyedScale(int32_t tonic, int32_t row);

    // The position of a pitch.
    int32_t Position(int32_t pitch) const { return PitchClass(int64_t{pitch} - tonic_); }

    // Whether a position, of any octave, is a tone of the scale.
    bool IsTone(int32_t position) const { return tones_[PitchClass(position)] != 0; }

    bool InScale(int32_t pitch) const { return IsTone(Position(pitch)); }

    // The scale steps from `from` to `from` + `delta` semitones, negative downwards: the tones met, both ends
    // counted, less one. Right when `from` is a tone; else just that count, which can be -1 for an upward
    // `delta`.
    int32_t CountSteps(int32_t from, int32_t delta) const;

    // The semitones from a position up or down to the k-th tone met, the position itself counting. k >= 1.
    int32_t WalkUp(int32_t position, int32_t k) const;
    int32_t WalkDown(int32_t position, int32_t k) const;

    // The number of scale steps of a pitch above the tonic below it; for a pitch between two tones, the
    // lower's.
    int32_t Degree(int32_t pitch) const;

  private:
    int32_t tonic_;
    const int32_t* tones_;
};

}  // namespace mlh::ChoiralizerClassic
