#pragma once

#include <cstdint>

namespace mlh {

/// What the FFT kernels know about one transform length; kernels/RealFft.cpp reads it and has the method.
/// A column is a pair of vectors, the real and the imaginary parts of `lanes` complex numbers.
struct FftPlan {
    static constexpr int32_t kMostPasses = 12;

    int32_t size;     ///< real points
    int32_t lanes;    ///< floats in a vector
    int32_t columns;  ///< size / (2 * lanes)
    int32_t passes;
    int32_t radix[kMostPasses];          ///< 4 or 8; their product is `columns`
    int32_t blockStride;                 ///< floats from one block to the next after the first pass
    const int32_t* places;               ///< [columns + 1] where column k stands after the passes, in floats
    const float* twiddles[kMostPasses];  ///< [columns of a block][radix - 1] complex numbers
    const float* splitTwiddles;          ///< [columns / 2] complex numbers
    const float* inverseSplitTwiddles;   ///< twice as long ones
    const float* laneTwiddles;           ///< [columns / 2][2] columns: halved: of k, of columns - k
    const float* middleTwiddles;         ///< one column: of columns / 2
};

/// How much memory a plan takes, in floats; all of it wants the alignment of the level.
struct FftPlanSizes {
    int32_t tables;  ///< what the plan points to
    int32_t init;    ///< needed only while the plan is built
    int32_t work;    ///< needed by each transform
};

/// The shortest transform that can be planned for this many lanes.
constexpr int32_t ShortestFft(int32_t lanes) { return 4 * lanes * lanes; }

/// size: a power of two from ShortestFft(lanes) to 2^30; lanes: 4 or 8.
FftPlanSizes GetFftPlanSizes(int32_t size, int32_t lanes);
FftPlan BuildFftPlan(int32_t size, int32_t lanes, float* tables, float* init);

/// What the kernels of the autocorrelation know about one length; kernels/Autocorrelation.cpp explains
/// the method.
struct QuarterPointPlan {
    FftPlan fft;  ///< of 2 * points; twiddles[0] has [radix] complex numbers a column, laneTwiddles one
                  ///< column for each; the other twiddles serve the passes alone
    const float* weights;  ///< [radix[0]] complex numbers for the blocks of the first pass
};

/// points: a power of two from ShortestFft(lanes) / 2 to 2^26; lanes: 4 or 8.
FftPlanSizes GetQuarterPointPlanSizes(int32_t points, int32_t lanes);
QuarterPointPlan BuildQuarterPointPlan(int32_t points, int32_t lanes, float* tables, float* init);

}  // namespace mlh
