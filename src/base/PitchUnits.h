// Units of pitch and how values pass from one to another.
//
// A pitch is a number on the MIDI scale: 69 is A4 at 440 Hz, 1 is a semitone; a note is a whole pitch, a
// ratio is one of frequencies, a period is a length in samples. Each conversion has one home, and its width,
// order and constants are part of the results: where two do nearly the same, their difference is in the name.
#pragma once

#include <cmath>
#include <cstdint>

#include "base/NarrowedMath.h"
#include "base/Truncate.h"

namespace mlh {

inline constexpr float kConcertHertz = 440.0f;  // of A4
inline constexpr float kConcertPitch = 69.0f;
inline constexpr int32_t kSemitonesPerOctave = 12;

// ---- Ratios and semitones -----------------------------------------------------------------------

inline double SemitonesToRatio(double semitones) { return std::pow(2.0, semitones / kSemitonesPerOctave); }
// Narrowed at the end.
inline float SemitonesToRatio32(double semitones) { return static_cast<float>(SemitonesToRatio(semitones)); }
inline double RatioToSemitones(double ratio) { return kSemitonesPerOctave * std::log2(ratio); }

// ---- Frequencies and pitches --------------------------------------------------------------------

// In 64 bits, for what is shown or measured outside the core.
inline double PitchToHertz(double pitch) { return kConcertHertz * SemitonesToRatio(pitch - kConcertPitch); }
inline double HertzToPitch(double hertz) { return kConcertPitch + RatioToSemitones(hertz / kConcertHertz); }

// Both ways in 32 bits, by natural logarithms, each with the constant of its own: there and back is the same
// but for about a hundred-thousandth of the distance from A4.
inline float HertzToPitch32(float hertz) {
    constexpr float kOctavesPerNeper = 1.442695f;  // 1 / ln 2
    return Narrowed::Log(hertz / kConcertHertz) * 12.0f * kOctavesPerNeper + kConcertPitch;
}
inline float PitchToHertz32(float pitch) {
    constexpr float kSemitonesPerNeper = 17.31234f;  // 12 / ln 2
    return kConcertHertz * Narrowed::Exp((pitch - kConcertPitch) / kSemitonesPerNeper);
}

// ---- Periods ------------------------------------------------------------------------------------

// 0 for a period below 1, which is not a period.
inline float PeriodToPitch32(int32_t period, float sampleRate) {
    return period < 1 ? 0.0f : HertzToPitch32(sampleRate / static_cast<float>(period));
}
// The nearest whole number of samples, halves up.
inline float NearestPeriod32(float period) { return std::floor(period + 0.5f); }

// ---- Whole semitones ----------------------------------------------------------------------------

// Halves up.
inline float NearestSemitone32(float pitch) { return std::floor(pitch + 0.5f); }
// Halves up, of a pitch moved down by the tuning and up by whole semitones, in this order.
inline float NearestTunedSemitone32(float pitch, float tuning, int32_t transpose) {
    return std::floor(pitch + 0.5f - tuning + static_cast<float>(transpose));
}
// Halves away from 0.
inline float NearestInterval32(float semitones) {
    return std::copysign(std::floor(std::abs(semitones) + 0.5f), semitones);
}

// Note numbers are computed in 64 bits, where the half is added without rounding, and held in the range of
// int32; NaN is the lowest.

// Halves up; below 0 the next note towards 0, so that "no note", -1, becomes 0.
inline int32_t NoteTowardsZero(float pitch) { return TruncateToInt32(static_cast<double>(pitch) + 0.5); }
// Halves away from 0. Not by std::round: on Windows it takes the largest number below a half up to 1.
inline int32_t NoteAwayFromZero(float pitch) {
    return TruncateToInt32(std::copysign(std::floor(std::fabs(static_cast<double>(pitch)) + 0.5), pitch));
}

}  // namespace mlh
