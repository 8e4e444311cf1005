// Tuning and key of a melody, from its notes weighted by their lengths.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "analysis/PitchAnalysis.h"

namespace mlh {

// How far the melody lies off the grid of A = 440 Hz [semitones], about -0.5 to 0.5: the mean signed
// deviation from the semitones or, where the notes lie nearer to the points between them, from those.
// Not a number where the lengths sum to 0.
float EstimateTuning(const std::vector<AnalysisNote>& notes);

// Summed length of the notes of each pitch class, 0 being C, [samples], after taking `tuning` off and
// adding `transpose`, both in semitones.
std::array<float, 12> WeighPitchClasses(const std::vector<AnalysisNote>& notes, float tuning,
                                        int32_t transpose);

// 0 to 11 major on that pitch class, 12 to 23 minor, -1 where no class has weight.
//
// The scales that hold the most of the melody, up to 5 % less than the best of them, are the candidates;
// among these the key profiles choose (Krumhansl, 1990).
int32_t ChooseKey(const std::array<float, 12>& weights);

}  // namespace mlh
