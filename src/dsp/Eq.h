#pragma once

#include <cstdint>

namespace mlh::qMELODOR {

/// Characteristics of the filter.
enum EqType : int32_t {
    kLowShelf = 0,
    kHighShelf = 1,
    kPeak = 2,
    kLowPass = 3,
    kHighPass = 4,
    kPeakNoDirect = 5,  ///< peak with b0 forced to 0
    kOnePole = 6,       ///< one-pole low-pass
};

/// Coefficients of y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] + a1 y[n-1] + a2 y[n-2]: the recursive ones carry
/// the sign that this sum adds, the opposite of a transfer function's denominator.
struct EqCoefficients {
    float b0, b1, b2, a1, a2;
};

/// Coefficients of one characteristic: analogue second-order prototypes under the bilinear transform (U.
/// Zoelzer, "Digital Audio Signal Processing", 1997), the one-pole low-pass apart.
/// - frequency: Hz over the sample rate, 0 to 0.5
/// - gainDb: shelves and peaks only; at or below 0 the numerator and denominator change places, so that a
///   negative gain lifts by as much as the positive one (the high shelf by less)
/// - q: peaks only
EqCoefficients DesignEq(int32_t type, float frequency, float gainDb, float q);

/// A second-order recursive filter for any number of channels, in 32-bit floats. It is made in bypass, and
/// parameters take effect at the next process call. What decides about bypass is the type:
///
/// | type           | in bypass                                   |
/// |----------------|---------------------------------------------|
/// | low-pass       | above 0.45 of the sample rate               |
/// | high-pass      | below 0.01 of the sample rate               |
/// | peaks          | never                                       |
/// | shelves, one-pole | always: nothing lifts the first bypass   |
///
/// In bypass the input is copied and the delay lines stand still. One thread per filter; nothing is allocated
/// after creation.
class CEqIf {
  public:
    /// Planar buffers, one per channel; in and out may be the same.
    virtual void Process(const float* const* in, float** out, int32_t frames) = 0;
    /// The same on interleaved buffers: index frame * numChannels + channel.
    virtual void ProcessInterleaved(const float* in, float* out, int32_t frames) = 0;
    /// Frequency in Hz, gain in dB, quality factor; used from the next process call on. Returns 0.
    virtual int32_t SetParameters(float frequencyHz, float gainDb, float q) = 0;
    /// What the filter works with now, not what was set since; each pointer may be null. While bypassed, a
    /// low-pass answers half the sample rate and a high-pass 0 as frequency.
    virtual void GetParameters(float* frequencyHz, float* gainDb, float* q) = 0;
    virtual int32_t GetType() = 0;
    /// Clears the delay lines; parameters stay.
    virtual void Reset() = 0;
    virtual ~CEqIf() = default;
};

/// Makes a filter of one EqType; the caller deletes it. Stores null first. Returns 0, kOutOfMemory when
/// memory is out, kBadArgument for a null `out`, a rate or channel count below 1, or an unknown type.
int32_t CreateEq(CEqIf** out, int32_t sampleRate, int32_t numChannels, int32_t type);

}  // namespace mlh::qMELODOR
