// One of the twelve pitches of the octave.
#pragma once

#include <cstdint>

namespace mlh::theory {

inline constexpr int32_t kPitchClasses = 12;  // semitones of the octave

// 0 to 11, 0 is C: the floored remainder of a pitch by twelve, for any number. It reads as that number.
class PitchClass {
  public:
    constexpr PitchClass() = default;
    constexpr explicit PitchClass(int64_t pitch)
        : value_(static_cast<int32_t>(pitch % kPitchClasses < 0 ? pitch % kPitchClasses + kPitchClasses
                                                                : pitch % kPitchClasses)) {}

    constexpr operator int32_t() const { return value_; }

    // Semitones up to this pitch class from another one, 0 to 11.
    constexpr int32_t Above(PitchClass lower) const { return PitchClass(int64_t{value_} - lower.value_); }

  private:
    int32_t value_ = 0;
};

}  // namespace mlh::theory
