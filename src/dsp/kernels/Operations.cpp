// The vector operations of the level MLH_LEVEL. They give the bits of the plain loops.

#include "base/Codes.h"
#include "base/Pi.h"
#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/Loops.h"

namespace mlh {

namespace {

template <class... Pointers>
int32_t Check(int32_t n, Pointers... pointers) {
    if ((!pointers || ...)) {
        return kNullVector;
    }
    return n < 1 ? kBadCount : 0;
}

// dst[i] = operation(dst[i])
template <class Operation>
void Apply(float* dst, int32_t n, Operation operation) {
    ForEach(0, n, [=](auto type, int32_t i) { operation(decltype(type)::Load(dst + i)).Store(dst + i); });
}

// dst[i] = operation(dst[i], src[i])
template <class Operation>
void Apply(float* dst, const float* src, int32_t n, Operation operation) {
    ForEach(0, n, [=](auto type, int32_t i) {
        using T = decltype(type);
        operation(T::Load(dst + i), T::Load(src + i)).Store(dst + i);
    });
}

// Eight lanes at every level, since they give a sum its order.
#ifdef __AVX__
using Eight = F8;
#else
struct Eight {
    static constexpr int32_t lanes = 8;
    F4 low, high;

    static Eight Load(const float* p) { return {F4::Load(p), F4::Load(p + 4)}; }
    static Eight Broadcast(float x) { return {F4::Broadcast(x), F4::Broadcast(x)}; }
    void Store(float* p) const {
        low.Store(p);
        high.Store(p + 4);
    }
    friend Eight operator+(Eight a, Eight b) { return {a.low + b.low, a.high + b.high}; }
    friend Eight operator-(Eight a, Eight b) { return {a.low - b.low, a.high - b.high}; }
    friend Eight operator*(Eight a, Eight b) { return {a.low * b.low, a.high * b.high}; }
};
#endif

// The sum of term(i), where the callable loads its own elements. Four sums run side by side, since an
// addition takes longer than the next load. Generic::Sum says the same in plain loops.
template <class Term>
float Sum(int32_t n, Term term) {
    const Eight zero = Eight::Broadcast(0.0f);
    Eight sums[4] = {zero, zero, zero, zero};
    int32_t i = 0;
    for (; i <= n - 4 * Eight::lanes; i += 4 * Eight::lanes) {
        for (int32_t k = 0; k < 4; ++k) {
            sums[k] = sums[k] + term(Eight{}, i + k * Eight::lanes);
        }
    }
    for (; i <= n - Eight::lanes; i += Eight::lanes) {
        sums[0] = sums[0] + term(Eight{}, i);
    }
    float lanes[Eight::lanes];
    ((sums[0] + sums[1]) + (sums[2] + sums[3])).Store(lanes);
    float sum = 0.0f;
    for (float lane : lanes) {
        sum += lane;
    }
    for (; i < n; ++i) {
        sum += term(F1{}, i).v;
    }
    return sum;
}

float Mean(const float* src, int32_t n) {
    return Sum(n, [=](auto type, int32_t i) { return decltype(type)::Load(src + i); }) /
           static_cast<float>(n);
}

// Products of complex numbers in pairs of lanes; the first pair, which is no complex number, comes out wrong.
V ComplexMul(V a, V b) { return a * DuplicateEven(b) + NegateEven(SwapPairs(a) * DuplicateOdd(b)); }

}  // namespace

template <>
int32_t Kernels<MLH_LEVEL>::VecZero(float* dst, int32_t n) {
    if (n == 0) {
        return 0;
    }
    if (const int32_t code = Check(n, dst)) {
        return code;
    }
    __builtin_memset(dst, 0, static_cast<size_t>(n) * sizeof(float));
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecMaxIndex(const float* src, float* max, int32_t* index, int32_t n) {
    if (const int32_t code = Check(n, src, max, index)) {
        return code;
    }
    const float largest = Extreme(src, n, -__builtin_inff(), [](auto a, auto b) { return Max(a, b); });
    *index = FirstIndexOf(src, n, largest);
    *max = largest;
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecMinIndex(const float* src, float* min, int32_t* index, int32_t n) {
    if (const int32_t code = Check(n, src, min, index)) {
        return code;
    }
    constexpr float start = 1e37f;
    const float smallest = Extreme(src, n, start, [](auto a, auto b) { return Min(a, b); });
    *index = smallest < start ? FirstIndexOf(src, n, smallest) : 0;
    *min = smallest;
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecMean(const float* src, float* mean, int32_t n) {
    if (const int32_t code = Check(n, src, mean)) {
        return code;
    }
    *mean = Mean(src, n);
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecStdDev(const float* src, float* dev, int32_t n) {
    if (const int32_t code = Check(n, src, dev)) {
        return code;
    }
    const float mean = Mean(src, n);
    const float sum = Sum(n, [=](auto type, int32_t i) {
        using T = decltype(type);
        const T distance = T::Load(src + i) - T::Broadcast(mean);
        return distance * distance;
    });
    *dev = Sqrt(F1{sum / static_cast<float>(n - 1)}).v;
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecMaxInPlace(float* dst, const float* src, int32_t n) {
    if (const int32_t code = Check(n, dst, src)) {
        return code;
    }
    Apply(dst, src, n, [](auto d, auto s) { return Max(s, d); });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecAdd(float* dst, const float* src, int32_t n) {
    if (const int32_t code = Check(n, dst, src)) {
        return code;
    }
    Apply(dst, src, n, [](auto d, auto s) { return d + s; });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecAddConst(float* dst, float c, int32_t n) {
    if (const int32_t code = Check(n, dst)) {
        return code;
    }
    Apply(dst, n, [=](auto d) { return d + decltype(d)::Broadcast(c); });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecSub(float* dst, const float* src, int32_t n) {
    if (const int32_t code = Check(n, dst, src)) {
        return code;
    }
    Apply(dst, src, n, [](auto d, auto s) { return d - s; });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecMul(float* dst, const float* src, int32_t n) {
    if (const int32_t code = Check(n, dst, src)) {
        return code;
    }
    Apply(dst, src, n, [](auto d, auto s) { return d * s; });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecMulConst(float* dst, float c, int32_t n) {
    if (const int32_t code = Check(n, dst)) {
        return code;
    }
    Apply(dst, n, [=](auto d) { return d * decltype(d)::Broadcast(c); });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecDiv(float* dst, const float* src, int32_t n) {
    if (const int32_t code = Check(n, dst, src)) {
        return code;
    }
    Apply(dst, src, n, [](auto d, auto s) { return d / s; });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecMulAcc(float* dst, const float* a, const float* b, int32_t n) {
    if (const int32_t code = Check(n, dst, a, b)) {
        return code;
    }
    ForEach(0, n, [=](auto type, int32_t i) {
        using T = decltype(type);
        (T::Load(dst + i) + T::Load(a + i) * T::Load(b + i)).Store(dst + i);
    });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecAbs(float* dst, int32_t n) {
    if (const int32_t code = Check(n, dst)) {
        return code;
    }
    Apply(dst, n, [](auto d) { return Abs(d); });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecSqrt(float* dst, int32_t n) {
    if (const int32_t code = Check(n, dst)) {
        return code;
    }
    Apply(dst, n, [](auto d) { return Sqrt(d); });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecDot(const float* a, const float* b, float* out, int32_t n) {
    if (const int32_t code = Check(n, a, b, out)) {
        return code;
    }
    *out = Sum(n, [=](auto type, int32_t i) {
        using T = decltype(type);
        return T::Load(a + i) * T::Load(b + i);
    });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecThresholdLow(float* dst, float threshold, float value, int32_t n) {
    if (const int32_t code = Check(n, dst)) {
        return code;
    }
    Apply(dst, n, [=](auto d) {
        using T = decltype(d);
        return SelectLess(d, T::Broadcast(threshold), T::Broadcast(value), d);
    });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecThresholdHigh(float* dst, float threshold, float value, int32_t n) {
    if (const int32_t code = Check(n, dst)) {
        return code;
    }
    Apply(dst, n, [=](auto d) {
        using T = decltype(d);
        return SelectLess(T::Broadcast(threshold), d, T::Broadcast(value), d);
    });
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::SpectrumMul(float* dst, const float* src, int32_t nBins) {
    if (const int32_t code = Check(nBins, dst, src)) {
        return code;
    }
    const float first = dst[0] * src[0], last = dst[1] * src[1];
    constexpr int32_t bins = V::lanes / 2;
    int32_t k = 0;
    for (; k <= nBins - bins; k += bins) {
        ComplexMul(V::Load(dst + 2 * k), V::Load(src + 2 * k)).Store(dst + 2 * k);
    }
    for (; k < nBins; ++k) {
        const float aRe = dst[2 * k], aIm = dst[2 * k + 1];
        const float bRe = src[2 * k], bIm = src[2 * k + 1];
        dst[2 * k] = aRe * bRe - aIm * bIm;
        dst[2 * k + 1] = aRe * bIm + aIm * bRe;
    }
    dst[0] = first;
    dst[1] = last;
    return 0;
}

#if MLH_LEVEL == 3
// One form, on groups of four floats, serves all the levels.
template <>
int32_t Kernels<MLH_LEVEL>::SpectrumMulAcc(float* dst, const float* a, const float* b, int32_t nBins) {
    if (const int32_t code = Check(nBins, dst, a, b)) {
        return code;
    }
    const float first = dst[0] + a[0] * b[0], last = dst[1] + a[1] * b[1];
    int32_t k = 0;
    for (; k <= nBins - 2; k += 2) {
        (V::Load(dst + 2 * k) + ComplexMul(V::Load(a + 2 * k), V::Load(b + 2 * k))).Store(dst + 2 * k);
    }
    if (k < nBins) {
        const float aRe = a[2 * k], aIm = a[2 * k + 1];
        const float bRe = b[2 * k], bIm = b[2 * k + 1];
        dst[2 * k] += aRe * bRe - aIm * bIm;
        dst[2 * k + 1] += aRe * bIm + aIm * bRe;
    }
    dst[0] = first;
    dst[1] = last;
    return 0;
}
#endif

template <>
int32_t Kernels<MLH_LEVEL>::SpectrumMagnitude(float* dst, const float* src, int32_t nBins) {
    if (const int32_t code = Check(nBins, dst, src)) {
        return code;
    }
    const float first = src[0];
    int32_t k = 0;
    // Where dst is src, what is written was read before: bin k of dst lies below bin k of src.
    for (; k <= nBins - V::lanes; k += V::lanes) {
        const V low = V::Load(src + 2 * k), high = V::Load(src + 2 * k + V::lanes);
        const V re = EvenLanes(low, high), im = OddLanes(low, high);
        Sqrt(re * re + im * im).Store(dst + k);
    }
    for (; k < nBins; ++k) {
        const F1 re = F1::Load(src + 2 * k), im = F1::Load(src + 2 * k + 1);
        Sqrt(re * re + im * im).Store(dst + k);
    }
    dst[0] = __builtin_fabsf(first);
    return 0;
}

template <>
int32_t Kernels<MLH_LEVEL>::VecWrapPhase(float* dst, const float* src, int32_t n) {
    if (const int32_t code = Check(n, dst, src)) {
        return code;
    }
    const auto wrap = [](auto phase) {
        using T = decltype(phase);
        const T pi = T::Broadcast(kPi32), twoPi = T::Broadcast(2.0f * kPi32);
        const T y = phase + pi;
        return y + twoPi * Floor(Negate(y) / twoPi) + pi;
    };
    int32_t i = 0;
    for (; i <= n - V::lanes; i += V::lanes) {
        wrap(V::Load(src + i)).Store(dst + i);
    }
    for (; i < n; ++i) {
        wrap(F1::Load(src + i)).Store(dst + i);
    }
    return 0;
}

}  // namespace mlh
