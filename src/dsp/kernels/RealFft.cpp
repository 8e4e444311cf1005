// The real FFT of the kernel levels, written over vectors of L lanes so that almost nothing moves between
// them.
//
// The n real points are read as columns of L complex numbers, L floats of real parts and L of imaginary ones
// as they stand in memory: lane l of column m is x[2Lm + l] + i x[2Lm + L + l]. With M = n / 2L columns:
//
// 1. Passes (Passes.h): each lane takes its own complex transform over the M columns. The result Z[k] stands
//    in digit-reversed order, in which step 2 looks it up.
// 2. Split: a lane's points and those L further on went in as real and imaginary parts of one signal. As in
//    any real transform by way of a complex one of half the length,
//        Y[k] = (Z[k] + conj Z[M-k]) / 2 - i w^k (Z[k] - conj Z[M-k]) / 2,  w the root of order 2M,
//    is the transform of the lane's 2M real points x[l], x[l + L], x[l + 2L], ...; Y[M-k] comes with it.
// 3. Lanes: X[k + 2Mq] = sum over l of u^lk v^lq Y_l[k], u the root of order n, v that of order L: a
//    transform across the lanes, taken for L values of k at once after a transposition. The first half of the
//    q gives bins directly, the second half the conjugates of others.
//
// Inverse walks back, with every step turned round.
//
// For: any length of a few squares of the lanes and more; few operations, about those of a split-radix
// transform of half the length, and no move between lanes but in step 3. Against: step 3 wants its twiddles
// for every bin, as much memory as the signal. The plan's side is in FftPlan.cpp.

#include "dsp/FftPlan.h"
#include "dsp/kernels/Complex.h"
#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/Lanes.h"
#include "dsp/kernels/Passes.h"

namespace mlh {

namespace {

// --- Step 1: the passes. The outermost pass moves the signal to or from the work buffer.

template <class V>
void ForwardColumns(const FftPlan& plan, const float* in, float* work) {
    const int32_t radix = plan.radix[0], inner = plan.columns / radix;
    Pass<false, V>(plan, 0, in, inner * 2 * V::lanes, work, plan.blockStride, inner);
    for (int32_t q = 0; q < radix; ++q) {
        Blocks<false, V>(plan, 1, work + q * plan.blockStride, inner, 1);
    }
}

template <class V>
void InverseColumns(const FftPlan& plan, float* work, float* out) {
    const int32_t radix = plan.radix[0], inner = plan.columns / radix;
    for (int32_t q = 0; q < radix; ++q) {
        Blocks<true, V>(plan, 1, work + q * plan.blockStride, inner, 1);
    }
    Pass<true, V>(plan, 0, work, plan.blockStride, out, inner * 2 * V::lanes, inner);
}

// --- Steps 2 and 3, for L values of k from `first` on together with their partners M - k.

template <class V>
inline void SplitForward(const FftPlan& plan, const float* work, int32_t first, Square<V>& low,
                         Square<V>& high) {
    constexpr int32_t column = Square<V>::column;
    // Looked up here once: the compiler must take it that the stores below change the plan.
    const float* const splitTwiddles = plan.splitTwiddles + 2 * first;
    const float* const laneTwiddles = plan.laneTwiddles + 2 * column * first;
    const int32_t* const places = plan.places + first;
    const int32_t* const partners = plan.places + plan.columns - first;
    for (int32_t row = 0; row < V::lanes; ++row) {
        const Complex<V> a = Complex<V>::Load(work + places[row]);
        const Complex<V> b = Complex<V>::Load(work + partners[-row]);
        // a and conj b, added and subtracted.
        const Complex<V> even{a.re + b.re, a.im - b.im}, difference{a.re - b.re, a.im + b.im};
        const Complex<V> odd = difference * Complex<V>::Broadcast(splitTwiddles + 2 * row);
        const Complex<V> y = even + odd;
        const Complex<V> partner{even.re - odd.re, odd.im - even.im};
        const float* const twiddles = laneTwiddles + 2 * column * row;
        (y * Complex<V>::Load(twiddles)).Store(low[row]);
        (partner * Complex<V>::Load(twiddles + column)).Store(high[row]);
    }
}

template <class V>
inline void SplitInverse(const FftPlan& plan, float* work, int32_t first, Square<V>& low, Square<V>& high) {
    constexpr int32_t column = Square<V>::column;
    const float* const splitTwiddles = plan.inverseSplitTwiddles + 2 * first;
    const float* const laneTwiddles = plan.laneTwiddles + 2 * column * first;
    const int32_t* const places = plan.places + first;
    const int32_t* const partners = plan.places + plan.columns - first;
    for (int32_t row = 0; row < V::lanes; ++row) {
        const float* const twiddles = laneTwiddles + 2 * column * row;
        const Complex<V> a = MulConj(Complex<V>::Load(low[row]), Complex<V>::Load(twiddles));
        const Complex<V> b = MulConj(Complex<V>::Load(high[row]), Complex<V>::Load(twiddles + column));
        const Complex<V> even{a.re + b.re, a.im - b.im}, difference{a.re - b.re, a.im + b.im};
        // Both twice: the lane twiddles bring a half that belongs to the way forward.
        const Complex<V> odd = MulConj(difference, Complex<V>::Broadcast(splitTwiddles + 2 * row));
        const Complex<V> twice = even + even;
        (twice + odd).Store(work + places[row]);
        Complex<V>{twice.re - odd.re, odd.im - twice.im}.Store(work + partners[-row]);
    }
}

// The bins of L values of k stand in runs of L, one for each q, that go up or down with k. The first half of
// the q gives bins k + 2Mq, the runs that start `lower` floats from the spectrum's beginning for q = 0; the
// second half gives the conjugates of bins 2M(L - q) - k, `upper` being the start for q = L. `turn` is 2M
// bins.
//
// The two runs of k = 0 at the ends of the spectrum hold bins 0 and n/2, which stand together in element 1:
// these runs (q = 0 and q = L/2) come from buffers of their own, where a buffer is given.

template <bool down, class V>
inline void StoreBins(Complex<V>* x, float* out, int32_t lower, int32_t upper, int32_t turn, float* lastRun) {
    constexpr int32_t half = V::lanes / 2;
    Transform<V::lanes, false>(x);
    for (int32_t q = 0; q < half; ++q) {
        float* const p = out + (lower + q * turn);
        down ? Lanes<V>::StoreDown(p, x[q]) : Lanes<V>::StoreUp(p, x[q]);
    }
    for (int32_t q = half; q < V::lanes; ++q) {
        float* const p = q == half && lastRun != nullptr ? lastRun : out + (upper + (V::lanes - q) * turn);
        down ? Lanes<V>::StoreUp(p, Conj(x[q])) : Lanes<V>::StoreDown(p, Conj(x[q]));
    }
}

template <bool down, class V>
inline void LoadBins(Complex<V>* x, const float* in, int32_t lower, int32_t upper, int32_t turn,
                     const float* firstRun, const float* lastRun) {
    constexpr int32_t half = V::lanes / 2;
    for (int32_t q = 0; q < half; ++q) {
        const float* const p = q == 0 && firstRun != nullptr ? firstRun : in + (lower + q * turn);
        x[q] = down ? Lanes<V>::LoadDown(p) : Lanes<V>::LoadUp(p);
    }
    for (int32_t q = half; q < V::lanes; ++q) {
        const float* const p =
            q == half && lastRun != nullptr ? lastRun : in + (upper + (V::lanes - q) * turn);
        x[q] = Conj(down ? Lanes<V>::LoadUp(p) : Lanes<V>::LoadDown(p));
    }
    Transform<V::lanes, true>(x);
}

template <class V>
void ForwardLanes(const FftPlan& plan, const float* work, float* out) {
    constexpr int32_t L = V::lanes;
    const int32_t M = plan.columns, turn = 4 * M;
    float lastRun[2 * L];
    for (int32_t k = 0; k < M / 2; k += L) {
        Square<V> low, high;
        SplitForward<V>(plan, work, k, low, high);
        Complex<V> x[L];
        LoadLanes(low, x);
        StoreBins<false, V>(x, out, 2 * k, -2 * (k + L - 1), turn, k == 0 ? lastRun : nullptr);
        LoadLanes(high, x);
        StoreBins<true, V>(x, out, 2 * (M - k - (L - 1)), 2 * (k - M), turn, nullptr);
    }
    __builtin_memcpy(out + plan.size - 2 * (L - 1), lastRun, sizeof(lastRun) - 2 * sizeof(float));
    out[1] = lastRun[2 * (L - 1)];
}

template <class V>
void InverseLanes(const FftPlan& plan, const float* in, float* work) {
    constexpr int32_t L = V::lanes;
    const int32_t M = plan.columns, turn = 4 * M;
    float firstRun[2 * L], lastRun[2 * L];
    __builtin_memcpy(firstRun, in, sizeof(firstRun));
    firstRun[1] = 0.0f;
    __builtin_memcpy(lastRun, in + plan.size - 2 * (L - 1), sizeof(lastRun) - 2 * sizeof(float));
    lastRun[2 * (L - 1)] = in[1];
    lastRun[2 * (L - 1) + 1] = 0.0f;
    for (int32_t k = 0; k < M / 2; k += L) {
        Square<V> low, high;
        Complex<V> x[L];
        LoadBins<false, V>(x, in, 2 * k, -2 * (k + L - 1), turn, k == 0 ? firstRun : nullptr,
                           k == 0 ? lastRun : nullptr);
        StoreLanes(x, low);
        LoadBins<true, V>(x, in, 2 * (M - k - (L - 1)), 2 * (k - M), turn, nullptr, nullptr);
        StoreLanes(x, high);
        SplitInverse<V>(plan, work, k, low, high);
    }
}

// k = M/2 is its own partner: Y is the conjugate of Z. Its bins are single ones.
template <class V>
int32_t MiddleBin(const FftPlan& plan, int32_t q) {
    const int32_t M = plan.columns;
    return q < V::lanes / 2 ? M / 2 + 2 * M * q : 2 * M * (V::lanes - q) - M / 2;
}

template <class V>
void ForwardMiddle(const FftPlan& plan, const float* work, float* out) {
    constexpr int32_t L = V::lanes;
    float column[2 * L];
    const Complex<V> y = Conj(Complex<V>::Load(work + plan.places[plan.columns / 2]));
    (y * Complex<V>::Load(plan.middleTwiddles)).Store(column);
    Complex<F1> x[L];
    for (int32_t l = 0; l < L; ++l) {
        x[l] = {F1{column[l]}, F1{column[L + l]}};
    }
    Transform<L, false>(x);
    for (int32_t q = 0; q < L; ++q) {
        float* const bin = out + 2 * MiddleBin<V>(plan, q);
        bin[0] = x[q].re.v;
        bin[1] = q < L / 2 ? x[q].im.v : -x[q].im.v;
    }
}

template <class V>
void InverseMiddle(const FftPlan& plan, const float* in, float* work) {
    constexpr int32_t L = V::lanes;
    Complex<F1> x[L];
    for (int32_t q = 0; q < L; ++q) {
        const float* const bin = in + 2 * MiddleBin<V>(plan, q);
        x[q] = {F1{bin[0]}, F1{q < L / 2 ? bin[1] : -bin[1]}};
    }
    Transform<L, true>(x);
    float column[2 * L];
    for (int32_t l = 0; l < L; ++l) {
        column[l] = x[l].re.v;
        column[L + l] = x[l].im.v;
    }
    const Complex<V> y = Conj(MulConj(Complex<V>::Load(column), Complex<V>::Load(plan.middleTwiddles)));
    (y + y).Store(work + plan.places[plan.columns / 2]);
}

// --- The whole.

template <class V>
void Forward(const FftPlan& plan, const float* in, float* out, float* work) {
    ForwardColumns<V>(plan, in, work);
    ForwardLanes<V>(plan, work, out);
    ForwardMiddle<V>(plan, work, out);
}

template <class V>
void Inverse(const FftPlan& plan, const float* in, float* out, float* work) {
    InverseLanes<V>(plan, in, work);
    InverseMiddle<V>(plan, in, work);
    InverseColumns<V>(plan, work, out);
}

}  // namespace

template <>
void FftKernels<MLH_LEVEL, fma>::Forward(const FftPlan& plan, const float* in, float* out, float* work) {
#ifdef __AVX__
    if (plan.lanes == 8) {
        return mlh::Forward<F8>(plan, in, out, work);
    }
#endif
    mlh::Forward<F4>(plan, in, out, work);
}

template <>
void FftKernels<MLH_LEVEL, fma>::Inverse(const FftPlan& plan, const float* in, float* out, float* work) {
#ifdef __AVX__
    if (plan.lanes == 8) {
        return mlh::Inverse<F8>(plan, in, out, work);
    }
#endif
    mlh::Inverse<F4>(plan, in, out, work);
}

}  // namespace mlh
