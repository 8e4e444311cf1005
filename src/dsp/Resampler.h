#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

namespace mlh {

/// Bandlimited sample-rate conversion at any ratio, which may change from call to call: a Kaiser-windowed
/// sinc, kept as one wing of a finely sampled table and walked with linear interpolation (J. O. Smith and P.
/// Gossett, "A flexible sampling-rate conversion method", ICASSP 1984).
///
///     CResampleBase* resampler;
///     CreateResampler(&resampler, 3, 16384, 1, kResampleFloat, 0);
///     int32_t written = resampler->Process(in, out, 44100.0f, 11025.0f, 1, frames);
///     DestroyResampler(&resampler);
///
/// Output 0 is centred on input 0, with silence before it; the last `margin` input frames wait for what
/// follows them. The gain in the pass band is 0.99. How the input is cut into calls does not matter to the
/// output, only to the number of frames a call gives: each call counts afresh from the whole input frames it
/// can use.
///
/// One thread per object; Process allocates nothing.
class CResampleBase {
  public:
    CResampleBase(const CResampleBase&) = delete;
    CResampleBase& operator=(const CResampleBase&) = delete;

    /// Converts `frames` interleaved frames of `channels` channels from inRate to outRate [Hz]. `in` and
    /// `out` hold the samples of the class, float or int16. `out` must have room for ceil((frames + 2) *
    /// outRate / inRate) + 1 frames. Returns the frames written. Rates not above 0 or further down than a
    /// factor of 1000, frames outside 0 .. capacity, channels outside 1 .. the count at creation, or an
    /// object without buffers: 0, nothing taken.
    virtual int32_t Process(const void* in, void* out, float inRate, float outRate, int32_t channels,
                            int32_t frames) = 0;
    /// Back to the state after Init.
    virtual void Reset() = 0;
    /// Allocates the buffers and builds the filter. Returns 0, or kOutOfMemory when memory is out.
    virtual int32_t Init() = 0;
    /// Frees the buffers; Init brings them back.
    virtual void Release() = 0;
    virtual ~CResampleBase() = default;
    /// Fills table and delta with a filter of `length` entries, 1 to tableLength; other lengths change
    /// nothing.
    virtual void BuildFilter(int32_t length) = 0;

    int32_t GetTableLength() const { return tableLength; }
    int32_t GetHalfLength() const { return halfLength; }
    int32_t GetMargin() const { return margin; }
    int32_t GetWriteIndex() const { return writeIndex; }
    bool IsFirstCall() const { return firstCall; }
    double GetTime() const { return time; }

  protected:
    CResampleBase(int32_t quality, int32_t capacity, int32_t channels);

    bool Accepts(double factor, int32_t channels, int32_t frames) const;
    void ResetState();
    void WidenMargin(double step, int32_t channels);

    const int32_t tableLength;  ///< entries of one wing: quality * 256
    int32_t creep;              ///< whole frames by which the time had run ahead of the margin
    int32_t margin;             ///< input frames kept on each side of the read point
    int32_t pendingMargin;      ///< frames in `buffer` before those that writeIndex counts
    int64_t readIndex;          ///< input frames passed by the read point since the reset
    int64_t outputTotal;        ///< frames produced since the reset
    int32_t tableIncrement;     ///< table step per input frame, with 7 fraction bits
    const int32_t entriesPerCrossing = 256;
    int32_t writeIndex;         ///< frames in `buffer` after pendingMargin; below 0 where some are owed
    const int32_t halfLength;   ///< filter half length in zero crossings: quality + 1
    int64_t historyOffset;      ///< samples by which `buffer` has moved back into the history
    int64_t dropped;            ///< samples before the history that are not needed any more
    const int64_t historySize;  ///< samples of the history, the room before `buffer`
    const int32_t numChannels;
    const int32_t capacity;    ///< frames that one call may bring
    const int64_t bufferSize;  ///< samples after the history
    bool firstCall;            ///< until a call has passed
    const float rolloff;
    const float kaiserBeta = 9.0f;
    double time;  ///< read time in frames of `buffer`
};

/// The converter on float samples, or on 16-bit ones with a 16-bit table.
template <class Sample>
class CResample final : public CResampleBase {
  public:
    CResample(int32_t quality, int32_t capacity, int32_t channels);

    int32_t Process(const void* in, void* out, float inRate, float outRate, int32_t channels,
                    int32_t frames) override;
    void Reset() override;
    int32_t Init() override;
    void Release() override;
    void BuildFilter(int32_t length) override;

    const std::vector<Sample>& GetTable() const;
    const std::vector<Sample>& GetDelta() const;

  private:
    using Weight = std::conditional_t<std::is_same_v<Sample, float>, float, int32_t>;
    static constexpr int32_t kGroup = 8;  // outputs that are computed side by side

    void Append(const Sample* in, int32_t channels, int32_t frames);
    void RunKernel(Sample* out, int32_t channels, double factor, int32_t outFrames);
    void RunGroup(const Sample* source, int32_t count, double step, int32_t channels, float gain,
                  Sample* out);
    void WeighTaps(int64_t fixedTime);
    static bool AreWholeFramesApart(const int64_t (&fixedTimes)[kGroup]);
    Sample Interpolate(const Sample* centre, int32_t channels, float gain) const;
    void InterpolateGroup(const Sample* source, const int64_t (&fixedTimes)[kGroup], int32_t channels,
                          float gain, Sample* out) const;
    void Advance(int32_t usable, int32_t channels);
    void Drop(int32_t passed, int32_t channels);
    Sample* Buffer() { return storage_.data() + dropped + historySize - historyOffset; }

    std::vector<Sample> table_;  ///< one wing of the filter, 256 entries per zero crossing
    std::vector<Sample> delta_;  ///< table[i + 1] - table[i], 0 at the end
    // Not a SampleQueue: its frames are interleaved by the channels of each call, which may differ, and those
    // before the first are read again when the margin grows.
    std::vector<Sample> storage_;  ///< history and buffer, interleaved, with as much room again to move on in

    std::vector<Weight> leftTaps_, rightTaps_;  ///< the filter at tapFraction, away from the read time
    int32_t leftCount_ = 0, rightCount_ = 0;
    int32_t tapFraction_ = -1;  ///< 15 bits of the read time; -1 at the start of a call
};

using CResampleFloat = CResample<float>;
using CResampleInt = CResample<int16_t>;

enum ResampleKind : int32_t { kResampleFloat = 0, kResampleInt = 1 };

/// Makes a converter. Stores null first.
/// quality   1 to 120: zero crossings of the filter on each side
/// capacity  frames that one call may bring at most
/// channels  channels that a call may have at most
/// kind      0 float, 1 int16
/// flag      has no effect
/// Returns 0, kBadArgument for an argument out of range, kOutOfMemory when the object can't be allocated.
/// When its buffers can't, the result is 0 and *out stays null.
int32_t CreateResampler(CResampleBase** out, int32_t quality, int32_t capacity, int32_t channels,
                        int32_t kind, int32_t flag);

/// Deletes the converter and clears the pointer. Returns 0, or kBadArgument for null.
int32_t DestroyResampler(CResampleBase** resampler);

/// Input frames that the next call must bring to yield `outFrames` frames; 0 where it needs none, for a null
/// object or for rates not above 0.
int32_t GetRequiredInput(const CResampleBase* resampler, int32_t outFrames, float inRate, float outRate);

}  // namespace mlh
