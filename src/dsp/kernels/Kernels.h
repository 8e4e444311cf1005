#pragma once

#include <cstdint>

struct FftPlan;

/// The operations of the table (see OperationTable.h) as built for one processor level. Only the operation
/// table calls them, and only on a machine that has the level. Each returns 0, or -8 for a null pointer or -6
/// for a count below 1, with nothing done.
template <int32_t level>
struct Kernels {
    static int32_t VecZero(float* dst, int32_t n);
    static int32_t VecMaxIndex(const float* src, float* max, int32_t* index, int32_t n);
    static int32_t VecMinIndex(const float* src, float* min, int32_t* index, int32_t n);
    static int32_t VecMean(const float* src, float* mean, int32_t n);
    static int32_t VecStdDev(const float* src, float* dev, int32_t n);
    static int32_t VecMaxInPlace(float* dst, const float* src, int32_t n);
    static int32_t VecAdd(float* dst, const float* src, int32_t n);
    static int32_t VecAddConst(float* dst, float c, int32_t n);
    static int32_t VecSub(float* dst, const float* src, int32_t n);
    static int32_t VecMul(float* dst, const float* src, int32_t n);
    static int32_t VecMulConst(float* dst, float c, int32_t n);
    static int32_t VecDiv(float* dst, const float* src, int32_t n);
    static int32_t VecMulAcc(float* dst, const float* a, const float* b, int32_t n);
    static int32_t VecAbs(float* dst, int32_t n);
    static int32_t VecExp(float* dst, int32_t n);
    static int32_t VecSqrt(float* dst, int32_t n);
    static int32_t VecThresholdLog(float* dst, float threshold, float value, int32_t n);
    static int32_t VecDot(const float* a, const float* b, float* out, int32_t n);
    static int32_t VecThresholdLow(float* dst, float threshold, float value, int32_t n);
    static int32_t VecThresholdHigh(float* dst, float threshold, float value, int32_t n);
    static int32_t SpectrumMul(float* dst, const float* src, int32_t nBins);
    static int32_t SpectrumPhase(float* dst, const float* src, int32_t n);
    static int32_t SpectrumMulAcc(float* dst, const float* a, const float* b, int32_t nBins);
    static int32_t SpectrumMagnitude(float* dst, const float* src, int32_t nBins);
    static int32_t VecWrapPhase(float* dst, const float* src, int32_t n);
    static int32_t VecSinCos(float* sine, float* cosine, const float* src, int32_t n);
};

/// The real FFT of a level, `fma` with fused multiply-adds. Packed spectra, unscaled (see Fft.h); `in` and
/// `out` may be the same, `work` is the scratch that the plan asks for, in the alignment of the level.
template <int32_t level, bool fma>
struct FftKernels {
    static void Forward(const FftPlan& plan, const float* in, float* out, float* work);
    static void Inverse(const FftPlan& plan, const float* in, float* out, float* work);
};
