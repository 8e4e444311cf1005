// The two ends of the autocorrelation (see dsp/Autocorrelation.h): the power spectrum at the quarter points,
// and the lags from the transform of that.
//
// The power spectrum goes like the real FFT (RealFft.cpp), with columns of L complex points in natural order,
// which are real here before their weights: point Lm + l is lane l of column m. With n = L * M points and w
// the root of order 4n,
//     X[k + Mq] = sum over l of w^l(4k+1) v^lq sum over m of x[Lm + l] w^Lm(4k+1),  v the root of order L:
// passes over the columns in each lane, then a transform across the lanes for L values of k at once. The
// weight w^Lm of a column is one factor for its block before the first butterflies and one for its place in
// the block, which the twiddles after them hold.
#include "dsp/FftPlan.h"
#include "dsp/kernels/Complex.h"
#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/Lanes.h"
#include "dsp/kernels/Passes.h"

namespace mlh {

namespace {

template <int32_t radix, class V>
void WeightedPass(const QuarterPointPlan& plan, const float* in, float* work) {
    const int32_t count = plan.fft.columns / radix, stride = plan.fft.blockStride;
    const float* twiddles = plan.fft.twiddles[0];
    const float* const weights = plan.weights;
    for (int32_t j = 0; j < count; ++j) {
        Complex<V> x[radix];
        for (int32_t q = 0; q < radix; ++q) {
            const V point = V::Load(in + q * count * V::lanes);
            x[q] = {point * V::Broadcast(weights[2 * q]), point * V::Broadcast(weights[2 * q + 1])};
        }
        Transform<radix, false>(x);
        for (int32_t q = 0; q < radix; ++q) {
            (x[q] * Complex<V>::Broadcast(twiddles + 2 * q)).Store(work + q * stride);
        }
        in += V::lanes;
        work += 2 * V::lanes;
        twiddles += 2 * radix;
    }
}

template <class V>
void Columns(const QuarterPointPlan& plan, const float* in, float* work) {
    const int32_t radix = plan.fft.radix[0];
    radix == 4 ? WeightedPass<4, V>(plan, in, work) : WeightedPass<8, V>(plan, in, work);
    for (int32_t q = 0; q < radix; ++q) {
        Blocks<false, V>(plan.fft, 1, work + q * plan.fft.blockStride, plan.fft.columns / radix, 1);
    }
}

template <class V>
void LanePowers(const FftPlan& plan, const float* work, float* power) {
    constexpr int32_t L = V::lanes, column = Square<V>::column;
    for (int32_t k = 0; k < plan.columns; k += L) {
        const int32_t* const places = plan.places + k;
        const float* const twiddles = plan.laneTwiddles + column * k;
        Square<V> square;
        for (int32_t row = 0; row < L; ++row) {
            // Which column comes to stand in lane `row`.
            const int32_t from = Lanes<V>::rowOfLane[row];
            (Complex<V>::Load(work + places[row]) * Complex<V>::Load(twiddles + column * row))
                .Store(square[from]);
        }
        Complex<V> x[L];
        LoadLanes(square, x);
        Transform<L, false>(x);
        for (int32_t q = 0; q < L; ++q) {
            MulAdd(x[q].re, x[q].re, x[q].im * x[q].im).Store(power + k + q * plan.columns);
        }
    }
}

// The sum of in[j] * (-1)^j.
template <class V>
float AlternatingSum(const float* in, int32_t n) {
    V sums[4] = {V::Broadcast(0.0f), V::Broadcast(0.0f), V::Broadcast(0.0f), V::Broadcast(0.0f)};
    for (int32_t j = 0; j < n; j += 4 * V::lanes) {
        for (int32_t k = 0; k < 4; ++k) {
            sums[k] = sums[k] + V::Load(in + j + k * V::lanes);
        }
    }
    float lanes[V::lanes];
    ((sums[0] + sums[1]) + (sums[2] + sums[3])).Store(lanes);
    float sum = 0.0f;
    for (int32_t l = 0; l < V::lanes; l += 2) {
        sum += lanes[l] - lanes[l + 1];
    }
    return sum;
}

template <class V>
float PowerSpectrum(const QuarterPointPlan& plan, const float* in, float* power, float* work) {
    const float alternatingSum = AlternatingSum<V>(in, plan.fft.size / 2);
    Columns<V>(plan, in, work);
    LanePowers<V>(plan.fft, work, power);
    return alternatingSum;
}

// Lags l to l + L - 1 and their partners n - l.
template <class V>
inline void LagPairs(float* lags, const float* spectrum, const float* turns, V removed, int32_t n,
                     int32_t l) {
    const V low = V::Load(spectrum + 2 * l), high = V::Load(spectrum + 2 * l + V::lanes);
    const V re = EvenLanes(low, high), im = OddLanes(low, high);
    const V cosine = V::Load(turns + l), sine = V::Load(turns + n / 2 + l);
    (MulAdd(cosine, re, sine * im) - removed).Store(lags + l);
    Reverse(MulSub(sine, re, cosine * im) - removed).Store(lags + n - l - (V::lanes - 1));
}

}  // namespace

template <>
float AutocorrelationKernels<MLH_LEVEL, fma>::PowerSpectrum(const QuarterPointPlan& plan, const float* in,
                                                            float* power, float* work) {
#ifdef __AVX__
    if (plan.fft.lanes == 8) {
        return mlh::PowerSpectrum<F8>(plan, in, power, work);
    }
#endif
    return mlh::PowerSpectrum<F4>(plan, in, power, work);
}

template <>
void AutocorrelationKernels<MLH_LEVEL, fma>::Lags(float* lags, const float* spectrum, const float* turns,
                                                  float removed, int32_t n) {
    float alternating[V::lanes];
    for (int32_t l = 0; l < V::lanes; ++l) {
        alternating[l] = l % 2 == 0 ? removed : -removed;
    }
    lags[0] = turns[0] * spectrum[0] - removed;
    lags[n / 2] = turns[n] * spectrum[1] - removed;
    for (int32_t l = 1; l < V::lanes; ++l) {
        const float re = spectrum[2 * l], im = spectrum[2 * l + 1];
        const float cosine = turns[l], sine = turns[n / 2 + l];
        lags[l] = cosine * re + sine * im - alternating[l];
        lags[n - l] = sine * re - cosine * im - alternating[l];
    }
    for (int32_t l = V::lanes; l < n / 2; l += V::lanes) {
        LagPairs(lags, spectrum, turns, V::Load(alternating), n, l);
    }
}

}  // namespace mlh
