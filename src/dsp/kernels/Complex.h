// Complex numbers over the vector types, and the small transforms that the FFT is made of.
#pragma once

#include "dsp/kernels/Vector.h"

namespace mlh {

namespace {

/// V::lanes complex numbers.
template <class V>
struct Complex {
    V re, im;

    /// The real parts come before the imaginary parts.
    static Complex Load(const float* p) { return {V::Load(p), V::Load(p + V::lanes)}; }
    static Complex Broadcast(const float* p) {
        V re, im;
        BroadcastPair(p, re, im);
        return {re, im};
    }
    void Store(float* p) const {
        re.Store(p);
        im.Store(p + V::lanes);
    }

    friend Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
    friend Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
    friend Complex operator*(Complex a, Complex b) {
        return {MulSub(a.re, b.re, a.im * b.im), MulAdd(a.re, b.im, a.im * b.re)};
    }
    friend Complex MulConj(Complex a, Complex b) {
        return {MulAdd(a.re, b.re, a.im * b.im), MulSub(a.im, b.re, a.re * b.im)};
    }
    friend Complex Conj(Complex a) { return {a.re, Negate(a.im)}; }
    friend Complex AddScaled(Complex a, Complex b, V scale) {
        return {MulAdd(b.re, scale, a.re), MulAdd(b.im, scale, a.im)};
    }
    friend Complex SubScaled(Complex a, Complex b, V scale) {
        return {NegMulAdd(b.re, scale, a.re), NegMulAdd(b.im, scale, a.im)};
    }
};

// Times w, the unit that a forward transform turns by in a quarter of a circle: -i; on the way back +i.
template <bool inverse, class V>
inline Complex<V> AddTurned(Complex<V> a, Complex<V> b) {
    return inverse ? Complex<V>{a.re - b.im, a.im + b.re} : Complex<V>{a.re + b.im, a.im - b.re};
}
template <bool inverse, class V>
inline Complex<V> SubTurned(Complex<V> a, Complex<V> b) {
    return AddTurned<!inverse>(a, b);
}

// Transforms of 4 and 8 points, in place and in natural order.
template <bool inverse, class V>
inline void Transform4(Complex<V>& x0, Complex<V>& x1, Complex<V>& x2, Complex<V>& x3) {
    const Complex<V> a = x0 + x2, b = x0 - x2, c = x1 + x3, d = x1 - x3;
    x0 = a + c;
    x1 = AddTurned<inverse>(b, d);
    x2 = a - c;
    x3 = SubTurned<inverse>(b, d);
}

template <bool inverse, class V>
inline void Transform8(Complex<V>* x) {
    Transform4<inverse>(x[0], x[2], x[4], x[6]);
    Transform4<inverse>(x[1], x[3], x[5], x[7]);
    const V root = V::Broadcast(0.70710678118654752f);
    // The odd half turned by 0 to 3 eighths of a circle; where there is a root, it is left for the sums.
    const Complex<V> odd0 = x[1], odd2 = x[5];
    const Complex<V> odd1 = AddTurned<inverse>(x[3], x[3]), odd3 = SubTurned<inverse>(x[7], x[7]);
    const Complex<V> even0 = x[0], even1 = x[2], even2 = x[4], even3 = x[6];
    x[0] = even0 + odd0;
    x[1] = AddScaled(even1, odd1, root);
    x[2] = AddTurned<inverse>(even2, odd2);
    x[3] = SubScaled(even3, odd3, root);
    x[4] = even0 - odd0;
    x[5] = SubScaled(even1, odd1, root);
    x[6] = SubTurned<inverse>(even2, odd2);
    x[7] = AddScaled(even3, odd3, root);
}

template <int32_t points, bool inverse, class V>
inline void Transform(Complex<V>* x) {
    if constexpr (points == 4) {
        Transform4<inverse>(x[0], x[1], x[2], x[3]);
    } else {
        Transform8<inverse>(x);
    }
}

}  // namespace

}  // namespace mlh
