#pragma once

#include <cstdint>
#include <type_traits>

#include "dsp/OperationTable.h"

namespace mlh {

struct FftPlan;
struct QuarterPointPlan;

/// The operations of the table (see OperationTable.h) as built for one processor level. Only the operation
/// table calls them, and only on a machine that has the level. Each returns 0, or kNullVector
/// for a null pointer or kBadCount for a count below 1, with nothing done.
template <int32_t level>
struct Kernels {
#define MLH_DECLARE_Kernel(name) static std::remove_pointer_t<decltype(OperationTable::name)> name;
#define MLH_DECLARE_KernelOf3(name) MLH_DECLARE_Kernel(name)
#define MLH_DECLARE_Checked(name)
#define MLH_DECLARE_Plain(name)
#define MLH_DECLARE(name, server) MLH_DECLARE_##server(name)
    MLH_OPERATION_LIST(MLH_DECLARE)
#undef MLH_DECLARE
#undef MLH_DECLARE_Plain
#undef MLH_DECLARE_Checked
#undef MLH_DECLARE_KernelOf3
#undef MLH_DECLARE_Kernel
};

/// The loops of HarmonicOperations.h.
template <int32_t level>
struct HarmonicKernels {
    static float Largest(const float* bins, int32_t n, float start);
    static int32_t FirstLargest(const float* bins, int32_t n);
    static void AddQuarter(float* bins, float scale, float* spectrum, float spectrumScale, int32_t n);
    static void HarmonicProduct(float* product, const float* bins, int32_t n);
};

/// The real FFT of a level, `fma` with fused multiply-adds. Packed spectra, unscaled (see Fft.h); `in` and
/// `out` may be the same, `work` is the scratch that the plan asks for, in the alignment of the level.
template <int32_t level, bool fma>
struct FftKernels {
    static void Forward(const FftPlan& plan, const float* in, float* out, float* work);
    static void Inverse(const FftPlan& plan, const float* in, float* out, float* work);
};

/// The ends of the autocorrelation of n = plan.fft.size / 2 real points (see Autocorrelation.h).
template <int32_t level, bool fma>
struct AutocorrelationKernels {
    /// power[k] = |sum of in[j] exp(-2 pi i j (k + 1/4) / n)|^2, k < n. Returns the sum of in[j] (-1)^j.
    static float PowerSpectrum(const QuarterPointPlan& plan, const float* in, float* power, float* work);
    /// spectrum: the packed transform U of the powers. turns: cosines c[l] and sines s[l], n/2 of each, and
    /// c[n/2]. For 0 < l < n/2: lags[l] = c re U[l] + s im U[l], lags[n-l] = s re U[l] - c im U[l]; from all
    /// of the lags (-1)^l * removed is taken. lags and spectrum don't overlap; n/2 is a multiple of the
    /// lanes.
    static void Lags(float* lags, const float* spectrum, const float* turns, float removed, int32_t n);
};

/// What the kernels know about a padded spectrum (see PaddedSpectrum.h).
struct PaddedSpectrumTables {
    int32_t size;  ///< values and zeros: a power of two from 32 on, of which the first eighth is given
    const int32_t* order;   ///< [size / 16] the given pairs of values in reversed order of their bits
    const float* twiddles;  ///< those of SplitRadix.h
};

/// Floats between the real and the imaginary parts: lines that lie a power of two apart would throw each
/// other out of the cache.
constexpr int32_t kPaddedSpectrumGap = 16;

/// The spectrum of PaddedSpectrum.h.
template <int32_t level>
struct SpectrumKernels {
    /// out: the magnitudes of bins 0 to size / 2 - 1. work: size + kPaddedSpectrumGap floats. Any alignment;
    /// `in` and `out` don't overlap.
    static void PaddedMagnitudes(const PaddedSpectrumTables& tables, const float* in, float* out,
                                 float* work);
};

/// The loops of a voice (see VoiceOperations.h).
template <int32_t level>
struct VoiceKernels {
    static void AddGrain(float* dst, const float* x, const float* window, float gain, int32_t n);
    static void WriteGrain(float* dst, const float* x, const float* window, float gain, int32_t n);
    static void MixTo16(int16_t* out, int32_t stride, const float* const* rows, const double* gains,
                        int32_t rowCount, int32_t frames);
};

}  // namespace mlh
