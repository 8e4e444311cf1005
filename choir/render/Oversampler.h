// Takes a recording to two or four times its rate and back, sample by sample on the same clock.
//
// Grains lie on whole samples, so that voices gain from a finer clock. The filters are windowed sincs
// (Kaiser, 1974) whose zeros fall on the samples that are there already (half-band filters: Mintzer, 1982):
// going up, every factor-th sample is the recording's own, bit for bit. They are even, so that nothing is
// delayed: sample n of the recording is sample n * factor of the finer one. Four times is twice and twice
// again; the second step has nothing near its edge and takes a short filter. Flat within 0.001 dB up to 0.45
// of the rate, below -100 dB from 0.55 of it on; between them it falls through -6 dB at half the rate, so
// that the little that a recording has there comes back changed.
//
// Each output sample is one sum in one order, whatever stretch is asked for: stretches have the bits of the
// whole. Nothing is allocated after construction. Cost per sample of the recording, each way: 34 products for
// factor 2, 54 going up and 44 going down for factor 4, half of the taps being zero and the others being
// pairs.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh::choir {

class Oversampler {
  public:
    // 1 (a copy), 2 or 4.
    explicit Oversampler(int factor);

    int factor() const { return factor_; }
    // How many fine samples to each side of a fine sample have a part in a sample of the recording.
    int32_t reach() const { return reach_; }

    // Going up: `in` are the recording's samples from first - margin() to first + count - 1 + margin(), zeros
    // outside the recording; `out` takes count * factor fine samples.
    int32_t margin() const { return reach_ / factor_ + 1; }
    void Up(const float* in, int32_t count, float* out) const;

    // Going down: `in` are the fine samples from first * factor - reach() to (first + count - 1) * factor +
    // reach(); `out` takes count samples.
    void Down(const float* in, int32_t count, float* out) const;

    // The filter's value at a distance of so many fine samples.
    double Tap(int32_t distance) const;

  private:
    int factor_;
    int32_t reach_;
    std::vector<float> long_;   // of the step to twice the rate: taps at distances 1, 3, 5 ...
    std::vector<float> short_;  // of the step from there to four times
};

}  // namespace mlh::choir
