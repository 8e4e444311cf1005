// The spectrum of dsp/PaddedSpectrum.h at the level MLH_LEVEL, with the bits of dsp/SplitRadix.cpp: the same
// butterflies on the same values in the same order, several side by side, so nothing here may be fused. What
// changes is how the points lie, real and imaginary parts apart, and what is left out.
//
// The values fill the first eighth of the points. Bit reversal takes them to every eighth place, so that the
// shortest transforms have two or four of them and 14 or 28 zeros, whose sums are left out.
#include <cstddef>

#include "dsp/kernels/Complex.h"
#include "dsp/kernels/Kernels.h"

namespace mlh {

namespace {

static_assert(!fma, "a fused butterfly has other bits");

struct Transforms {
    const float* in;
    const int32_t* order;  // of the value that comes next
    const float* twiddles;
    ptrdiff_t imaginary;           // how far after a real part its imaginary part is
    float rootsRe[8], rootsIm[8];  // the first half of the roots of order 16
};

Complex<V> NextValue(Transforms& t) {
    const float* const value = t.in + 2 * *t.order++;
    return {V::Broadcast(value[0]), V::Broadcast(value[1])};
}

template <class T>
inline Complex<T> Load(const float* re, ptrdiff_t imaginary) {
    return {T::Load(re), T::Load(re + imaginary)};
}

inline void Store(float* re, ptrdiff_t imaginary, Complex<V> x) {
    x.re.Store(re);
    x.im.Store(re + imaginary);
}

// Joins points k and k + quarter of the transform of the even points, x0 and x1, with points k of those of
// the points 4j + 1 and 4j + 3, turned: z1 and z3.
inline void StoreJoined(float* data, ptrdiff_t imaginary, ptrdiff_t quarter, Complex<V> x0, Complex<V> x1,
                        Complex<V> z1, Complex<V> z3) {
    const Complex<V> sum = z1 + z3, difference = z1 - z3;
    Store(data, imaginary, x0 + sum);
    Store(data + quarter, imaginary, AddTurned<false>(x1, difference));
    Store(data + 2 * quarter, imaginary, x0 - sum);
    Store(data + 3 * quarter, imaginary, SubTurned<false>(x1, difference));
}

void Join(float* data, ptrdiff_t imaginary, ptrdiff_t quarter, const float* twiddles) {
    for (const float* const end = data + quarter; data < end; data += V::lanes, twiddles += V::lanes) {
        const Complex<V> z1 = Load<V>(data + 2 * quarter, imaginary) * Load<V>(twiddles, quarter);
        const Complex<V> z3 =
            Load<V>(data + 3 * quarter, imaginary) * Load<V>(twiddles + 2 * quarter, quarter);
        StoreJoined(data, imaginary, quarter, Load<V>(data, imaginary), Load<V>(data + quarter, imaginary),
                    z1, z3);
    }
}

// A value at place 0 and one at place 8, which is an odd point of its half.
void Transform16(Transforms& t, float* data) {
    const Complex<V> x0 = NextValue(t), x8 = NextValue(t);
    for (int32_t k = 0; k < 8; k += V::lanes) {
        const Complex<V> z = x8 * Complex<V>{V::Load(t.rootsRe + k), V::Load(t.rootsIm + k)};
        Store(data + k, t.imaginary, x0 + z);
        Store(data + 8 + k, t.imaginary, x0 - z);
    }
}

// Values at the places 0, 8, 16 and 24: of the even points as above, one of the points 4j + 1, one of the
// rest.
void Transform32(Transforms& t, float* data) {
    const Complex<V> x0 = NextValue(t), x8 = NextValue(t), x16 = NextValue(t), x24 = NextValue(t);
    const float* const twiddles = t.twiddles + 32;
    for (int32_t k = 0; k < 8; k += V::lanes) {
        const Complex<V> z = x8 * Complex<V>{V::Load(t.rootsRe + k), V::Load(t.rootsIm + k)};
        const Complex<V> z1 = x16 * Load<V>(twiddles + k, 8), z3 = x24 * Load<V>(twiddles + 16 + k, 8);
        StoreJoined(data + k, t.imaginary, 8, x0 + z, x0 - z, z1, z3);
    }
}

// Depth first, so that each part is worked on while it is in the cache.
void Transform(Transforms& t, float* data, int32_t points) {
    if (points == 16) {
        return Transform16(t, data);
    }
    if (points == 32) {
        return Transform32(t, data);
    }
    const int32_t quarter = points / 4;
    Transform(t, data, 2 * quarter);
    Transform(t, data + 2 * quarter, quarter);
    Transform(t, data + 3 * quarter, quarter);
    Join(data, t.imaginary, quarter, t.twiddles + points);
}

template <class T>
T Magnitude(T re, T im) {
    return Sqrt(re * re + im * im);
}

// Bins k up to k + lanes - 1 of the real signal, and their partners points - k down.
template <class T>
inline void MagnitudePairs(const float* data, ptrdiff_t imaginary, int32_t points, int32_t k,
                           const float* cosines, float* out) {
    const int32_t partner = points - k - (T::lanes - 1);
    const Complex<T> a = Load<T>(data + k, imaginary);
    const Complex<T> b{Reverse(T::Load(data + partner)), Reverse(T::Load(data + partner + imaginary))};
    const T cosine = T::Load(cosines + k), sine = Reverse(T::Load(cosines + partner - points / 2));
    const T half = T::Broadcast(0.5f);
    const T evenRe = half * (a.re + b.re), evenIm = half * (a.im - b.im);
    const T halfRe = half * (a.re - b.re), halfIm = half * (a.im + b.im);
    const T oddRe = halfIm * cosine - halfRe * sine;
    const T oddIm = Negate(halfRe * cosine + halfIm * sine);
    Magnitude(evenRe + oddRe, evenIm + oddIm).Store(out + k);
    Reverse(Magnitude(evenRe - oddRe, oddIm - evenIm)).Store(out + partner);
}

}  // namespace

template <>
void SpectrumKernels<MLH_LEVEL>::PaddedMagnitudes(const PaddedSpectrumTables& tables, const float* in,
                                                  float* out, float* work) {
    const int32_t points = tables.size / 2;
    Transforms t{in, tables.order, tables.twiddles, points + kPaddedSpectrumGap, {}, {}};
    for (int32_t k = 0; k < 4; ++k) {
        const float re = tables.twiddles[16 + k], im = tables.twiddles[20 + k];
        t.rootsRe[k] = re;
        t.rootsIm[k] = im;
        t.rootsRe[4 + k] = im;  // turned by a quarter of the circle
        t.rootsIm[4 + k] = -re;
    }
    Transform(t, work, points);

    const float* const cosines = tables.twiddles + tables.size;
    int32_t k = 1;
    for (; k <= points / 2 - V::lanes; k += V::lanes) {
        MagnitudePairs<V>(work, t.imaginary, points, k, cosines, out);
    }
    for (; k < points / 2; ++k) {
        MagnitudePairs<F1>(work, t.imaginary, points, k, cosines, out);
    }
    out[0] = __builtin_fabsf(work[0] + work[t.imaginary]);
    const Complex<F1> middle = Load<F1>(work + points / 2, t.imaginary);
    Magnitude(middle.re, middle.im).Store(out + points / 2);
}

}  // namespace mlh
