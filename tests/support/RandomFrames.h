// Frame arrays for trying the cleaning chain on: seeded, the same on every platform.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "analysis/PitchAnalysis.h"

namespace mlh {

class FrameMaker {
  public:
    explicit FrameMaker(uint32_t seed) : bits_(seed) {}

    int32_t Whole(int32_t low, int32_t high) {  // both included
        return low + static_cast<int32_t>(bits_() % static_cast<uint32_t>(high - low + 1));
    }
    float Real(float low, float high) {
        return low + (high - low) * static_cast<float>(bits_() >> 8) * (1.0f / 16777216.0f);
    }
    bool Chance(float probability) { return Real(0.0f, 1.0f) < probability; }

    // No shape at all. Positions never fall; with `equalPositions` some repeat.
    std::vector<AnalysisFrame> Noise(int32_t count, bool equalPositions);
    // Notes with glides, vibrato, jitter, octave errors, onsets and pauses, as a singer's marks give them.
    std::vector<AnalysisFrame> Voice(int32_t count, float sampleRate);
    // Pitches, energies and distances of few values, so that at 40 kHz what is compared is often equal.
    std::vector<AnalysisFrame> Grid(int32_t count);
    // Notes on such frames, in order or not, their positions those of their frames or not.
    std::vector<AnalysisNote> Notes(int32_t count, const std::vector<AnalysisFrame>& frames);
    // Exchanges frames, so that positions fall.
    void Shuffle(std::vector<AnalysisFrame>& frames, int32_t swaps);

  private:
    std::mt19937 bits_;
};

}  // namespace mlh
