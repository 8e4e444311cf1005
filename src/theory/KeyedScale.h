// Walking and counting on a scale: the one arithmetic that the rules of both engines are written in.
#pragma once

#include <cstdint>

#include "theory/PitchClass.h"
#include "theory/Scales.h"

namespace mlh::theory {

// A scale laid on a tonic. A position is a pitch measured in semitones above the tonic, within the octave,
// 0 to 11. An unknown row number reads as major.
class KeyedScale {
  public:
    constexpr KeyedScale(int32_t tonic, int32_t row) : tonic_(tonic), tones_(ScaleOf(row).flags) {}

    // The position of a pitch.
    constexpr int32_t Position(int32_t pitch) const { return PitchClass(int64_t{pitch} - tonic_); }

    // Whether a position, of any octave, is a tone of the scale.
    constexpr bool IsTone(int32_t position) const { return tones_[PitchClass(position)] != 0; }

    constexpr bool InScale(int32_t pitch) const { return IsTone(Position(pitch)); }

    // The scale steps from `from` to `from` + `delta` semitones, negative downwards: the tones met, both ends
    // counted, less one. Right when `from` is a tone; else just that count, which can be -1 for an upward
    // `delta`.
    constexpr int32_t CountSteps(int32_t from, int32_t delta) const {
        const int32_t start = Position(from);
        const int32_t first = delta < 0 ? start + delta : start;
        const int32_t last = delta < 0 ? start : start + delta;
        int32_t tones = 0;
        for (int32_t position = first; position <= last; ++position) {
            tones += IsTone(position);
        }
        return delta < 0 ? -(tones - 1) : tones - 1;
    }

    // The semitones from a position up or down to the k-th tone met, the position itself counting. k >= 1.
    constexpr int32_t WalkUp(int32_t position, int32_t k) const {
        int32_t semitones = 0;
        for (int32_t met = IsTone(position); met < k; met += IsTone(position + semitones)) {
            ++semitones;
        }
        return semitones;
    }
    constexpr int32_t WalkDown(int32_t position, int32_t k) const {
        int32_t semitones = 0;
        for (int32_t met = IsTone(position); met < k; met += IsTone(position - semitones)) {
            ++semitones;
        }
        return semitones;
    }

    // The number of scale steps of a pitch above the tonic below it; for a pitch between two tones, the
    // lower's.
    constexpr int32_t Degree(int32_t pitch) const {
        const int32_t distance = Position(pitch);
        int32_t tones = 0;
        for (int32_t position = 0; position <= distance; ++position) {
            tones += IsTone(position);
        }
        return tones - 1;
    }

  private:
    int32_t tonic_;
    const int32_t* tones_;
};

}  // namespace mlh::theory
