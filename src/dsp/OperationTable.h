#pragma once

#include <cstdint>

namespace mlh {

class CqrtfFFT_If;
class CqrtfCcf_If;

/// The vector operations of the library: one pointer each, filled for one processor level at a time.
///
/// Calling code never names a level and never calls an implementation directly:
///
///     InitDispatch(-1);                        // once, in every constructor that does signal work
///     Ops().VecMul(samples, window, count);    // one indirect call
///
/// Vectors are 32-bit floats; counts are elements. Two vectors of one call are either the same or do not
/// overlap, unless an operation says otherwise. The vectors need no alignment.
///
/// A packed spectrum of a real signal of even length n has n floats: element 0 is the (real) bin 0, element 1
/// the (real) bin n/2, elements 2k and 2k+1 are the real and imaginary part of bin k, 0 < k < n/2. `nBins` is
/// n/2 for the whole of it, the first pair counted as one bin.
///
/// The status is 0; at levels 3 to 6 also kNullVector for a null pointer and kBadCount for a count below 1,
/// with nothing done. At level 0 nothing is checked.
struct OperationTable {
    // Memory. Alignment: 8 bytes at level 0, 16 at levels 3 to 5, 32 at level 6.

    /// Gives `count` floats, not cleared. Throws std::bad_alloc.
    float* (*VecAlloc)(int32_t count);
    /// Frees what VecAlloc gave at any level, and clears the pointer. A null pointer is left alone.
    int32_t (*VecFree)(float** vec);
    /// dst[i] = 0. A count of 0 is allowed at every level.
    int32_t (*VecZero)(float* dst, int32_t n);

    // Statistics. Sums, and those of VecDot, have the same bits at all levels: eight lanes wide in four rows
    // that take turns as long as 32 elements are left, then in row 0 alone; the rows added up ((0 + 1) + (2 +
    // 3)), then the lanes in order, then the up to seven elements that fill no row.

    /// Largest value and its index. Among equal ones level 0 keeps the last (it starts from -1e37 at index 0
    /// and compares with >=), levels 3 to 6 the first. A NaN never wins.
    int32_t (*VecMaxIndex)(const float* src, float* max, int32_t* index, int32_t n);
    /// Smallest value below 1e37 and its index, the first among equals; 1e37 and 0 where no value is.
    int32_t (*VecMinIndex)(const float* src, float* min, int32_t* index, int32_t n);
    int32_t (*VecMean)(const float* src, float* mean, int32_t n);
    /// Root of the summed squared distances from the mean over n - 1. Not finite for n = 1.
    int32_t (*VecStdDev)(const float* src, float* dev, int32_t n);

    // Arithmetic, element by element.

    /// dst[i] = max(dst[i], src[i])
    int32_t (*VecMaxInPlace)(float* dst, const float* src, int32_t n);
    /// dst[i] += src[i]
    int32_t (*VecAdd)(float* dst, const float* src, int32_t n);
    /// dst[i] += c
    int32_t (*VecAddConst)(float* dst, float c, int32_t n);
    /// dst[i] -= src[i]
    int32_t (*VecSub)(float* dst, const float* src, int32_t n);
    /// dst[i] *= src[i]
    int32_t (*VecMul)(float* dst, const float* src, int32_t n);
    /// dst[i] *= c
    int32_t (*VecMulConst)(float* dst, float c, int32_t n);
    /// dst[i] /= src[i]
    int32_t (*VecDiv)(float* dst, const float* src, int32_t n);
    /// dst[i] += a[i] * b[i]
    int32_t (*VecMulAcc)(float* dst, const float* a, const float* b, int32_t n);
    /// Clears the sign bit.
    int32_t (*VecAbs)(float* dst, int32_t n);
    int32_t (*VecExp)(float* dst, int32_t n);
    int32_t (*VecSqrt)(float* dst, int32_t n);
    /// Values under `level` become `value`; then dst[i] = natural logarithm of dst[i].
    int32_t (*VecThresholdLog)(float* dst, float level, float value, int32_t n);
    /// *out = sum of a[i] * b[i]
    int32_t (*VecDot)(const float* a, const float* b, float* out, int32_t n);
    /// Values under `level` become `value`.
    int32_t (*VecThresholdLow)(float* dst, float level, float value, int32_t n);
    /// Values over `level` become `value`.
    int32_t (*VecThresholdHigh)(float* dst, float level, float value, int32_t n);

    // Packed spectra.

    /// Packs bins 0 to n/2 into n floats. im[0] and im[n/2] are not read.
    int32_t (*SpectrumPack)(float* dst, const float* re, const float* im, int32_t n);
    /// The reverse: n/2 + 1 values each; im[0] and im[n/2] become 0.
    int32_t (*SpectrumUnpack)(float* re, float* im, const float* src, int32_t n);
    int32_t (*SpectrumAdd)(float* dst, const float* src, int32_t nBins);
    /// dst *= src: the first two elements as real numbers, every later pair as a complex one.
    int32_t (*SpectrumMul)(float* dst, const float* src, int32_t nBins);
    /// Does nothing: keeps the place of an operation that is gone.
    int32_t (*NoOperation)();
    /// dst[k] = phase of bin k for 0 < k < n/2, with +pi/2 wherever the real part alone is 0; dst[0] = pi.
    int32_t (*SpectrumPhase)(float* dst, const float* src, int32_t n);
    /// dst += a * b, multiplied like SpectrumMul.
    int32_t (*SpectrumMulAcc)(float* dst, const float* a, const float* b, int32_t nBins);
    /// dst[k] = magnitude of bin k, k < nBins; bin n/2 does not appear. dst may be src.
    int32_t (*SpectrumMagnitude)(float* dst, const float* src, int32_t nBins);
    /// Negates the imaginary parts of bins 0 < k < n/2 of a spectrum of n floats.
    int32_t (*SpectrumConjugate)(float* dst, int32_t n);
    /// Wraps phases into (-pi, pi].
    int32_t (*VecWrapPhase)(float* dst, const float* src, int32_t n);
    int32_t (*VecSinCos)(float* sine, float* cosine, const float* src, int32_t n);
    /// Where the real part of bin k stands: 2k.
    int32_t (*SpectrumReIndex)(int32_t k);
    /// Where the imaginary part of bin k stands: 2k + 1.
    int32_t (*SpectrumImIndex)(int32_t k);

    // Objects of the level; see Fft.h and CrossCorrelation.h.

    int32_t (*FFTCreate)(CqrtfFFT_If** fft, int32_t windowLength, int32_t zeroPadFactor, int32_t windowType);
    int32_t (*FFTDestroy)(CqrtfFFT_If** fft);
    int32_t (*CcfCreate)(CqrtfCcf_If** ccf, int32_t size, int32_t mode);
    int32_t (*CcfDestroy)(CqrtfCcf_If** ccf);
};

/// The operations that have a plain loop, and what serves them at levels 3 to 6:
///     Kernel     the level's kernel
///     KernelOf3  that of level 3, whose groups of four are the best form at every level
///     Checked    the plain loop, after the checks that kernels make
///     Plain      the plain loop
/// To add an operation, declare it above and name it here; write its loop in GenericOperations.cpp and, for
/// Kernel, in kernels/Operations.cpp. Everything else follows from this list.
#define MLH_OPERATION_LIST(X)    \
    X(VecZero, Kernel)           \
    X(VecMaxIndex, Kernel)       \
    X(VecMinIndex, Kernel)       \
    X(VecMean, Kernel)           \
    X(VecStdDev, Kernel)         \
    X(VecMaxInPlace, Kernel)     \
    X(VecAdd, Kernel)            \
    X(VecAddConst, Kernel)       \
    X(VecSub, Kernel)            \
    X(VecMul, Kernel)            \
    X(VecMulConst, Kernel)       \
    X(VecDiv, Kernel)            \
    X(VecMulAcc, Kernel)         \
    X(VecAbs, Kernel)            \
    X(VecExp, Checked)           \
    X(VecSqrt, Kernel)           \
    X(VecThresholdLog, Checked)  \
    X(VecDot, Kernel)            \
    X(VecThresholdLow, Kernel)   \
    X(VecThresholdHigh, Kernel)  \
    X(SpectrumPack, Plain)       \
    X(SpectrumUnpack, Plain)     \
    X(SpectrumAdd, Plain)        \
    X(SpectrumMul, Kernel)       \
    X(NoOperation, Plain)        \
    X(SpectrumPhase, Checked)    \
    X(SpectrumMulAcc, KernelOf3) \
    X(SpectrumMagnitude, Kernel) \
    X(SpectrumConjugate, Plain)  \
    X(VecWrapPhase, Kernel)      \
    X(VecSinCos, Checked)        \
    X(SpectrumReIndex, Plain)    \
    X(SpectrumImIndex, Plain)

inline constexpr int kOperationCount = 39;
static_assert(sizeof(OperationTable) == kOperationCount * sizeof(void (*)()),
              "the layout of the table is fixed");

}  // namespace mlh
