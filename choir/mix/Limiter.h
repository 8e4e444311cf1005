// Keeps samples within full scale without clipping them: a look-ahead peak limiter.
//
// The gain that each sample needs is held at its minimum over the look-ahead and the hold, then averaged over
// the look-ahead, so that it has arrived when the peak comes and moves without corners (the usual design,
// e.g. Giannoulis, Massberg and Reiss, 2012). All channels share the gain, so that nothing moves in the
// stereo image. Constant work per sample on average; nothing allocates after the constructor.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh::choir {

class Limiter {
  public:
    // `ceiling` above 0, linear; channels 1 or 2; rate [Hz].
    Limiter(int32_t channels, double sampleRate, float ceiling);

    // Takes `frames` interleaved frames and writes as many to `out` (which may be `in`): the stream delayed
    // by Delay() frames, silence first. A sample that is not finite counts as 0.
    void Process(const float* in, float* out, int32_t frames);

    // [frames] After the input, push as many frames of silence to get the rest.
    int32_t Delay() const { return lookAhead_; }

    // What came in: the highest absolute sample, and how many samples lay above the ceiling.
    float Peak() const { return peak_; }
    int64_t Above() const { return above_; }

  private:
    struct Needed {
        int64_t frame;
        float gain;
    };

    float HeldGain(float needed);

    int32_t channels_;
    float ceiling_;
    int32_t lookAhead_;
    int32_t hold_;
    int64_t frame_ = 0;
    float peak_ = 0.0f;
    int64_t above_ = 0;
    std::vector<float> delayed_;  // lookAhead_ frames, a ring
    std::vector<Needed> minima_;  // rising gains of the frames that may still be the least, a ring
    std::size_t firstMinimum_ = 0, minimumCount_ = 0;
    std::vector<float> averaged_;  // the held gains that the average is of, a ring
    double sum_;
};

}  // namespace mlh::choir
