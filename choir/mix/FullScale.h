// What becomes of a stream that goes above full scale, 1.
//
// The stream is looked at whole first: a PeakCurve takes its highest sample of each millisecond. From this
// follows what every sample is multiplied by, so that any stretch has the bits of the whole and nothing is
// delayed. What stays within full scale is left as it is, bit for bit.
//
//     Scale  one factor for the whole stream, so that its highest sample is at full scale
//     Limit  less where it is too loud, all the rest as it is: each millisecond takes the least factor that
//            the 5 ms to come and the 40 ms past need (about a period of the lowest voice, so that the gain
//            does not follow waves), then the mean of 4 ms to both sides, so that it has arrived when the
//            peak comes and moves without corners (the usual look-ahead limiter, e.g. Giannoulis, Massberg
//            and Reiss, 2012, here without a delay)
//
// Linear in the stream; a float per millisecond is kept.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh::choir {

// Auto: Scale where samples are integers, which hold nothing above full scale; None where they are floats.
enum class Clip { Auto, Scale, Limit, None };

class PeakCurve {
  public:
    explicit PeakCurve(int32_t sampleRate);

    // Interleaved frames in their order, in portions of any size.
    void Add(const float* samples, int32_t frames, int32_t channels);

    // The highest absolute sample, and how many samples lie above full scale. NaN and infinity count as 0.
    float Peak() const { return peak_; }
    int64_t Above() const { return above_; }

    int32_t FramesPerEntry() const { return framesPerEntry_; }
    const std::vector<float>& Entries() const { return entries_; }

  private:
    int32_t framesPerEntry_;
    int64_t frames_ = 0;
    float peak_ = 0.0f;
    int64_t above_ = 0;
    std::vector<float> entries_;
};

class FullScale {
  public:
    // Scale, of what peaks at `peak`: of several streams that are to keep their balance, the highest.
    explicit FullScale(float peak);
    // Limit.
    explicit FullScale(const PeakCurve& peaks);

    // Changes interleaved frames of the stream from `first` on in place. Frames past the stream that was
    // looked at are only kept from going above full scale.
    void Apply(int64_t first, int32_t frames, int32_t channels, float* samples) const;

    // The least factor that is applied anywhere, 1 if nothing changes.
    float LeastGain() const { return least_; }

  private:
    float GainAt(int64_t frame) const;

    float least_ = 1.0f;
    int32_t framesPerEntry_ = 1;
    std::vector<float> gains_;  // in the middle of each entry of the peak curve; empty: the same everywhere
};

}  // namespace mlh::choir
