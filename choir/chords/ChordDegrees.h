// Degrees of a chord as symbols and labels write them: 3, b7, #11.
#pragma once

#include <string>

#include "theory/Scales.h"

namespace mlh::choir {

inline constexpr int kHighestDegree = 13;
inline constexpr int kHighestInterval = 21;  // [semitones] a thirteenth

// Semitones of a degree, 1 and up, above the root, as in the major scale.
inline int NaturalInterval(int degree) { return theory::StepOffset(theory::ScaleMajor, degree - 1); }

// How labels write an interval of 0 to 21 semitones.
inline std::string DegreeName(int interval) {
    static constexpr const char* kNames[kHighestInterval + 1] = {
        "1", "b2", "2",  "b3", "3",  "4",  "b5", "5",   "#5", "6",   "b7",
        "7", "8",  "b9", "9",  "#9", "10", "11", "#11", "12", "b13", "13"};
    return kNames[interval];
}

}  // namespace mlh::choir
