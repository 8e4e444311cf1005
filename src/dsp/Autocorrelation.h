#pragma once

#include <cstdint>
#include <memory>

#include "dsp/Fft.h"
#include "dsp/FftPlan.h"
#include "dsp/VecMemory.h"

namespace mlh {

/// The linear autocorrelation of n real values, without the share of half the sampling rate:
///
///     out[l] = 2n * sum over j of in[j] in[j + l]  -  (-1)^l * (sum over j of (-1)^j in[j])^2,   0 <= l < n
///
/// That is the inverse, unscaled, of the power spectrum of 2n points (the values and n zeros) with its middle
/// bin cleared, but for half of the work: n complex points forward and n real points back.
///
/// Method: the right-angle convolution of R. Crandall and B. Fagin, "Discrete weighted transforms and
/// large-integer arithmetic", 1994. Of a signal whose point j is turned by j/4n of a circle, what a transform
/// of n points wraps around comes out turned by a quarter of the circle, in the imaginary part. So with
/// P[k] = |X(exp(2 pi i (k + 1/4) / n))|^2, k < n, and U its transform,
///
///     n * sum over j of in[j] in[j + l]  =  re(exp(-2 pi i l / 4n) U[l]),
///
/// and since P is real, U[n - l] is the conjugate of U[l]: a real transform of n points gives all lags.
///
/// An object serves one thread at a time and belongs to the processor level of its creation. It allocates
/// nothing after that.
class Autocorrelation {
  public:
    /// n: a power of two from 4 to 2^26. Throws std::bad_alloc.
    explicit Autocorrelation(int32_t n);

    /// in and out: n values; they may be the same.
    void Compute(float* out, const float* in);

  private:
    void PrepareKernels(const Level& level);
    void PreparePlain();
    float PlainPowerSpectrum(const float* in);

    int32_t n_;
    FFTPointer fft_;    // of the powers
    VecPointer power_;  // [n], then its transform
    VecPointer turns_;  // [n/2] cosines, [n/2] sines, the cosine at n/2; all of them twice as long
    VecPointer work_;
    decltype(TransformKernels::lags) lags_;

    // With kernels:
    decltype(TransformKernels::powerSpectrum) powerSpectrum_ = nullptr;
    QuarterPointPlan plan_{};
    VecPointer planMemory_;

    // Without: a split-radix transform of weighted points.
    VecPointer weights_;  // [n] cosines, [n] sines
    std::unique_ptr<int32_t[]> bitReversal_;
    VecPointer twiddles_;
};

}  // namespace mlh
