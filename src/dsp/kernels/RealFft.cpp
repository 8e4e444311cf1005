// The real FFT of the kernel levels, written over vectors of L lanes so that almost nothing moves between
// lanes.
//
// The n real points are read as columns of L complex numbers, L floats of real parts and L of imaginary ones
// as they stand in memory: lane l of column m is x[2Lm + l] + i x[2Lm + L + l]. With M = n / 2L columns:
//
// 1. Passes: each lane takes its own complex transform over the M columns, in place, by decimation in
// frequency
//    with radices 8 and 4; all lanes share their twiddles. The result Z[k] stands in digit-reversed order,
//    which step 2 looks up, block by block so that the inner passes stay in the cache.
// 2. Split: a lane's points and those L further on went in as the real and the imaginary part of one signal.
// As
//    for any real transform by way of a complex one of half the length,
//        Y[k] = (Z[k] + conj Z[M-k]) / 2 - i w^k (Z[k] - conj Z[M-k]) / 2,  w the root of order 2M,
//    is the transform of the lane's 2M real points x[l], x[l+L], x[l+2L], ...; Y[M-k] comes with it.
// 3. Lanes: X[k + 2Mq] = sum over l of u^lk v^lq Y_l[k], u the root of order n, v of order L: a transform
// across
//    the lanes, done for L values of k at once after a transposition. q < L/2 gives bins of the lower half
//    directly, the other q give them as conjugates.
//
// Inverse walks back, with every step turned round. In real arithmetic about as many operations as a
// split-radix transform of half the length; the shape follows F. Franchetti, S. Kral, J. Lorenz and C.
// Ueberhuber, "Efficient utilization of SIMD extensions", 2005.

#include "dsp/FftPlan.h"
#include "dsp/kernels/Complex.h"
#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/Lanes.h"

namespace {

// --- Step 1: the passes. One pass joins `radix` columns `stride` floats apart, for `count` columns in a row.

template <int32_t radix, bool last, class V>
inline void ForwardPass(const float* src, int32_t srcStride, float* dst, int32_t dstStride, int32_t count,
                        const float* twiddles) {
    for (int32_t j = 0; j < count;
         ++j, src += 2 * V::lanes, dst += 2 * V::lanes, twiddles += 2 * (radix - 1)) {
        Complex<V> x[radix];
        for (int32_t q = 0; q < radix; ++q) x[q] = Complex<V>::Load(src + q * srcStride);
        Transform<radix, false>(x);
        x[0].Store(dst);
        for (int32_t q = 1; q < radix; ++q) {
            if constexpr (!last) x[q] = x[q] * Complex<V>::Broadcast(twiddles + 2 * (q - 1));
            x[q].Store(dst + q * dstStride);
        }
    }
}

template <int32_t radix, bool last, class V>
inline void InversePass(const float* src, int32_t srcStride, float* dst, int32_t dstStride, int32_t count,
                        const float* twiddles) {
    for (int32_t j = 0; j < count;
         ++j, src += 2 * V::lanes, dst += 2 * V::lanes, twiddles += 2 * (radix - 1)) {
        Complex<V> x[radix];
        x[0] = Complex<V>::Load(src);
        for (int32_t q = 1; q < radix; ++q) {
            x[q] = Complex<V>::Load(src + q * srcStride);
            if constexpr (!last) x[q] = MulConj(x[q], Complex<V>::Broadcast(twiddles + 2 * (q - 1)));
        }
        Transform<radix, true>(x);
        for (int32_t q = 0; q < radix; ++q) x[q].Store(dst + q * dstStride);
    }
}

template <bool inverse, class V>
void Pass(int32_t radix, const float* src, int32_t srcStride, float* dst, int32_t dstStride, int32_t count,
          const float* twiddles) {
    if (radix == 4) {
        if constexpr (inverse) {
            InversePass<4, false, V>(src, srcStride, dst, dstStride, count, twiddles);
        } else {
            ForwardPass<4, false, V>(src, srcStride, dst, dstStride, count, twiddles);
        }
    } else {
        if constexpr (inverse) {
            InversePass<8, false, V>(src, srcStride, dst, dstStride, count, twiddles);
        } else {
            ForwardPass<8, false, V>(src, srcStride, dst, dstStride, count, twiddles);
        }
    }
}

// The innermost pass, over `count` groups of `radix` neighbours. Both directions are the same there but for
// the turns.
template <int32_t radix, bool inverse, class V>
void Leaves(float* data, int32_t count) {
    constexpr int32_t column = 2 * V::lanes;
    for (int32_t i = 0; i < count; ++i, data += radix * column) {
        Complex<V> x[radix];
        for (int32_t q = 0; q < radix; ++q) x[q] = Complex<V>::Load(data + q * column);
        Transform<radix, inverse>(x);
        for (int32_t q = 0; q < radix; ++q) x[q].Store(data + q * column);
    }
}

// All passes from `pass` on within one block, depth first.
template <bool inverse, class V>
void Block(const FftPlan& plan, int32_t pass, float* data, int32_t columns) {
    const int32_t radix = plan.radix[pass];
    if (pass == plan.passes - 1) {
        if (radix == 4) return Leaves<4, inverse, V>(data, 1);
        return Leaves<8, inverse, V>(data, 1);
    }
    const int32_t inner = columns / radix, stride = inner * 2 * V::lanes;
    if constexpr (!inverse) Pass<false, V>(radix, data, stride, data, stride, inner, plan.twiddles[pass]);
    if (inner == 4) {
        Leaves<4, inverse, V>(data, radix);
    } else if (inner == 8) {
        Leaves<8, inverse, V>(data, radix);
    } else {
        for (int32_t q = 0; q < radix; ++q) Block<inverse, V>(plan, pass + 1, data + q * stride, inner);
    }
    if constexpr (inverse) Pass<true, V>(radix, data, stride, data, stride, inner, plan.twiddles[pass]);
}

template <class V>
void ForwardColumns(const FftPlan& plan, const float* in, float* work) {
    const int32_t radix = plan.radix[0], inner = plan.columns / radix;
    Pass<false, V>(radix, in, inner * 2 * V::lanes, work, plan.blockStride, inner, plan.twiddles[0]);
    if (plan.passes == 1) return;
    for (int32_t q = 0; q < radix; ++q) Block<false, V>(plan, 1, work + q * plan.blockStride, inner);
}

template <class V>
void InverseColumns(const FftPlan& plan, float* work, float* out) {
    const int32_t radix = plan.radix[0], inner = plan.columns / radix;
    if (plan.passes > 1) {
        for (int32_t q = 0; q < radix; ++q) Block<true, V>(plan, 1, work + q * plan.blockStride, inner);
    }
    Pass<true, V>(radix, work, plan.blockStride, out, inner * 2 * V::lanes, inner, plan.twiddles[0]);
}

// --- Steps 2 and 3, for L values of k from `first` on together with their partners M - k.

// L columns in a square buffer, on their way between the columns and the lanes.
template <class V>
struct Square {
    static constexpr int32_t column = 2 * V::lanes;
    alignas(64) float rows[V::lanes * column];
    float* operator[](int32_t row) { return rows + row * column; }
};

template <class V>
inline void LoadLanes(Square<V>& square, Complex<V>* x) {
    V re[V::lanes], im[V::lanes];
    Lanes<V>::LoadTransposed(square.rows, Square<V>::column, re);
    Lanes<V>::LoadTransposed(square.rows + V::lanes, Square<V>::column, im);
    for (int32_t l = 0; l < V::lanes; ++l) x[l] = {re[l], im[l]};
}

template <class V>
inline void StoreLanes(const Complex<V>* x, Square<V>& square) {
    V re[V::lanes], im[V::lanes];
    for (int32_t l = 0; l < V::lanes; ++l) {
        re[l] = x[l].re;
        im[l] = x[l].im;
    }
    Lanes<V>::StoreTransposed(re, square.rows, Square<V>::column);
    Lanes<V>::StoreTransposed(im, square.rows + V::lanes, Square<V>::column);
}

template <class V>
inline void SplitForward(const FftPlan& plan, const float* work, int32_t first, Square<V>& low,
                         Square<V>& high) {
    const V half = V::Broadcast(0.5f);
    for (int32_t row = 0; row < V::lanes; ++row) {
        const int32_t k = first + row;
        const Complex<V> a = Complex<V>::Load(work + plan.places[k]);
        const Complex<V> b = Conj(Complex<V>::Load(work + plan.places[plan.columns - k]));
        const Complex<V> odd = (a - b) * Complex<V>::Broadcast(plan.splitTwiddles + 2 * k);
        const Complex<V> even = a + b;
        const float* twiddles = plan.laneTwiddles + 2 * k * Square<V>::column;
        (AddScaled(odd, even, half) * Complex<V>::Load(twiddles)).Store(low[row]);
        const Complex<V> mirrored{MulSub(even.re, half, odd.re), NegMulAdd(even.im, half, odd.im)};
        (mirrored * Complex<V>::Load(twiddles + Square<V>::column)).Store(high[row]);
    }
}

template <class V>
inline void SplitInverse(const FftPlan& plan, float* work, int32_t first, Square<V>& low, Square<V>& high) {
    const V two = V::Broadcast(2.0f);
    for (int32_t row = 0; row < V::lanes; ++row) {
        const int32_t k = first + row;
        const float* twiddles = plan.laneTwiddles + 2 * k * Square<V>::column;
        const Complex<V> a = MulConj(Complex<V>::Load(low[row]), Complex<V>::Load(twiddles));
        const Complex<V> b =
            Conj(MulConj(Complex<V>::Load(high[row]), Complex<V>::Load(twiddles + Square<V>::column)));
        const Complex<V> odd = MulConj(a - b, Complex<V>::Broadcast(plan.splitTwiddles + 2 * k));
        const Complex<V> even = a + b;
        AddScaled(even, odd, two).Store(work + plan.places[k]);
        Conj(SubScaled(even, odd, two)).Store(work + plan.places[plan.columns - k]);
    }
}

// The bins of L values of k stand in runs of L, one for each q, that go up or down with k: the first half of
// the q gives bins k + 2Mq, the second half gives the conjugates of bins 2M(L - q) - k.
//
// The run of q = L/2 that starts from k = 0 reaches bin n/2, whose place is element 1: the caller says where
// it is.

template <bool down, class V>
inline void StoreBins(Complex<V>* x, float* lower, float* upper, float* middle, int32_t turn) {
    constexpr int32_t half = V::lanes / 2;
    Transform<V::lanes, false>(x);
    for (int32_t q = 0; q < half; ++q) {
        float* const p = lower + q * turn;
        down ? Lanes<V>::StoreDown(p, x[q]) : Lanes<V>::StoreUp(p, x[q]);
    }
    for (int32_t q = half; q < V::lanes; ++q) {
        float* const p = q == half ? middle : upper + (V::lanes - q) * turn;
        down ? Lanes<V>::StoreUp(p, Conj(x[q])) : Lanes<V>::StoreDown(p, Conj(x[q]));
    }
}

template <bool down, class V>
inline void LoadBins(Complex<V>* x, const float* bottom, const float* lower, const float* upper,
                     const float* middle, int32_t turn) {
    constexpr int32_t half = V::lanes / 2;
    for (int32_t q = 0; q < half; ++q) {
        const float* const p = q == 0 ? bottom : lower + q * turn;
        x[q] = down ? Lanes<V>::LoadDown(p) : Lanes<V>::LoadUp(p);
    }
    for (int32_t q = half; q < V::lanes; ++q) {
        const float* const p = q == half ? middle : upper + (V::lanes - q) * turn;
        x[q] = Conj(down ? Lanes<V>::LoadUp(p) : Lanes<V>::LoadDown(p));
    }
    Transform<V::lanes, true>(x);
}

template <class V>
void ForwardLanes(const FftPlan& plan, const float* work, float* out) {
    constexpr int32_t L = V::lanes;
    const int32_t M = plan.columns, turn = 4 * M;
    float edge[2 * L];
    for (int32_t k = 0; k < M / 2; k += L) {
        Square<V> low, high;
        SplitForward<V>(plan, work, k, low, high);
        Complex<V> x[L];
        LoadLanes(low, x);
        float* const upper = out - 2 * (k + L - 1);
        StoreBins<false, V>(x, out + 2 * k, upper, k == 0 ? edge : upper + L / 2 * turn, turn);
        LoadLanes(high, x);
        float* const partners = out + 2 * (k - M);
        StoreBins<true, V>(x, out + 2 * (M - k - (L - 1)), partners, partners + L / 2 * turn, turn);
    }
    // The run up to bin n/2.
    __builtin_memcpy(out + plan.size - 2 * (L - 1), edge, sizeof(edge) - 2 * sizeof(float));
    out[1] = edge[2 * (L - 1)];
}

template <class V>
void InverseLanes(const FftPlan& plan, const float* in, float* work) {
    constexpr int32_t L = V::lanes;
    const int32_t M = plan.columns, turn = 4 * M;
    // The runs from bin 0 and up to bin n/2.
    float bottom[2 * L], edge[2 * L];
    __builtin_memcpy(bottom, in, sizeof(bottom));
    __builtin_memcpy(edge, in + plan.size - 2 * (L - 1), sizeof(edge) - 2 * sizeof(float));
    edge[2 * (L - 1)] = in[1];
    edge[2 * L - 1] = 0.0f;
    bottom[1] = 0.0f;
    for (int32_t k = 0; k < M / 2; k += L) {
        Square<V> low, high;
        Complex<V> x[L];
        const float* const lower = in + 2 * k;
        const float* const upper = in - 2 * (k + L - 1);
        LoadBins<false, V>(x, k == 0 ? bottom : lower, lower, upper, k == 0 ? edge : upper + L / 2 * turn,
                           turn);
        StoreLanes(x, low);
        const float* const partners = in + 2 * (k - M);
        const float* const down = in + 2 * (M - k - (L - 1));
        LoadBins<true, V>(x, down, down, partners, partners + L / 2 * turn, turn);
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
    for (int32_t l = 0; l < L; ++l) x[l] = {F1{column[l]}, F1{column[L + l]}};
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

#ifdef __FMA__
constexpr bool fma = true;
#else
constexpr bool fma = false;
#endif

}  // namespace

template <>
void FftKernels<MLH_LEVEL, fma>::Forward(const FftPlan& plan, const float* in, float* out, float* work) {
#ifdef __AVX__
    if (plan.lanes == 8) return ::Forward<F8>(plan, in, out, work);
#endif
    ::Forward<F4>(plan, in, out, work);
}

template <>
void FftKernels<MLH_LEVEL, fma>::Inverse(const FftPlan& plan, const float* in, float* out, float* work) {
#ifdef __AVX__
    if (plan.lanes == 8) return ::Inverse<F8>(plan, in, out, work);
#endif
    ::Inverse<F4>(plan, in, out, work);
}
