// How the complex numbers of the FFT move between lanes: transposition of a square of vectors, and the way to
// and from the interleaved spectrum.
//
// The lanes of a transposed vector are in no natural order but in that of rowOfLane, which is chosen so that
// interleaving needs no step across the halves of a vector.
#pragma once

#include "dsp/kernels/Complex.h"

namespace mlh {

namespace {

template <class V>
struct Lanes;

template <>
struct Lanes<F4> {
    static constexpr int32_t rowOfLane[4] = {0, 1, 2, 3};

    /// vectors[l] = element l of each row; the rows stand `stride` floats apart.
    static void LoadTransposed(const float* rows, int32_t stride, F4* vectors) {
        __m128 a = _mm_loadu_ps(rows), b = _mm_loadu_ps(rows + stride);
        __m128 c = _mm_loadu_ps(rows + 2 * stride), d = _mm_loadu_ps(rows + 3 * stride);
        _MM_TRANSPOSE4_PS(a, b, c, d);
        vectors[0].v = a;
        vectors[1].v = b;
        vectors[2].v = c;
        vectors[3].v = d;
    }
    static void StoreTransposed(const F4* vectors, float* rows, int32_t stride) {
        __m128 a = vectors[0].v, b = vectors[1].v, c = vectors[2].v, d = vectors[3].v;
        _MM_TRANSPOSE4_PS(a, b, c, d);
        _mm_storeu_ps(rows, a);
        _mm_storeu_ps(rows + stride, b);
        _mm_storeu_ps(rows + 2 * stride, c);
        _mm_storeu_ps(rows + 3 * stride, d);
    }

    /// Real and imaginary parts in turns, from the row 0 up or from the last row down.
    static void StoreUp(float* p, Complex<F4> a) {
        _mm_storeu_ps(p, _mm_unpacklo_ps(a.re.v, a.im.v));
        _mm_storeu_ps(p + 4, _mm_unpackhi_ps(a.re.v, a.im.v));
    }
    static void StoreDown(float* p, Complex<F4> a) {
        const __m128 low = _mm_unpacklo_ps(a.re.v, a.im.v), high = _mm_unpackhi_ps(a.re.v, a.im.v);
        _mm_storeu_ps(p, SwapHalves(high));
        _mm_storeu_ps(p + 4, SwapHalves(low));
    }
    static Complex<F4> LoadUp(const float* p) {
        const __m128 low = _mm_loadu_ps(p), high = _mm_loadu_ps(p + 4);
        return {{_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0))},
                {_mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1))}};
    }
    static Complex<F4> LoadDown(const float* p) {
        const __m128 low = _mm_loadu_ps(p + 4), high = _mm_loadu_ps(p);
        return {{_mm_shuffle_ps(low, high, _MM_SHUFFLE(0, 2, 0, 2))},
                {_mm_shuffle_ps(low, high, _MM_SHUFFLE(1, 3, 1, 3))}};
    }

  private:
    static __m128 SwapHalves(__m128 a) { return _mm_shuffle_ps(a, a, _MM_SHUFFLE(1, 0, 3, 2)); }
};

#ifdef __AVX__
template <>
struct Lanes<F8> {
    static constexpr int32_t rowOfLane[8] = {0, 1, 4, 5, 2, 3, 6, 7};

    static void LoadTransposed(const float* rows, int32_t stride, F8* vectors) {
        for (int32_t half = 0; half < 8; half += 4) {
            const float* p = rows + half;
            __m256 a = LoadHalves(p, p + 2 * stride), b = LoadHalves(p + stride, p + 3 * stride);
            __m256 c = LoadHalves(p + 4 * stride, p + 6 * stride),
                   d = LoadHalves(p + 5 * stride, p + 7 * stride);
            Transpose4(a, b, c, d);
            vectors[half].v = a;
            vectors[half + 1].v = b;
            vectors[half + 2].v = c;
            vectors[half + 3].v = d;
        }
    }
    static void StoreTransposed(const F8* vectors, float* rows, int32_t stride) {
        __m256 a = vectors[0].v, b = vectors[1].v, c = vectors[2].v, d = vectors[3].v;
        __m256 e = vectors[4].v, f = vectors[5].v, g = vectors[6].v, h = vectors[7].v;
        Transpose4(a, b, c, d);
        Transpose4(e, f, g, h);
        StoreRows(rows, rows + 2 * stride, a, e);
        StoreRows(rows + stride, rows + 3 * stride, b, f);
        StoreRows(rows + 4 * stride, rows + 6 * stride, c, g);
        StoreRows(rows + 5 * stride, rows + 7 * stride, d, h);
    }

    static void StoreUp(float* p, Complex<F8> a) {
        _mm256_storeu_ps(p, _mm256_unpacklo_ps(a.re.v, a.im.v));
        _mm256_storeu_ps(p + 8, _mm256_unpackhi_ps(a.re.v, a.im.v));
    }
    static void StoreDown(float* p, Complex<F8> a) {
        _mm256_storeu_ps(p, Reverse(_mm256_unpackhi_ps(a.re.v, a.im.v)));
        _mm256_storeu_ps(p + 8, Reverse(_mm256_unpacklo_ps(a.re.v, a.im.v)));
    }
    static Complex<F8> LoadUp(const float* p) {
        const __m256 low = _mm256_loadu_ps(p), high = _mm256_loadu_ps(p + 8);
        return {{_mm256_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0))},
                {_mm256_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1))}};
    }
    static Complex<F8> LoadDown(const float* p) {
        const __m256 low = SwapSides(_mm256_loadu_ps(p + 8)), high = SwapSides(_mm256_loadu_ps(p));
        return {{_mm256_shuffle_ps(low, high, _MM_SHUFFLE(0, 2, 0, 2))},
                {_mm256_shuffle_ps(low, high, _MM_SHUFFLE(1, 3, 1, 3))}};
    }

  private:
    static __m256 LoadHalves(const float* low, const float* high) {
        return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
    }
    static void StoreRows(float* row0, float* row1, __m256 left, __m256 right) {
        _mm256_storeu_ps(row0, _mm256_permute2f128_ps(left, right, 0x20));
        _mm256_storeu_ps(row1, _mm256_permute2f128_ps(left, right, 0x31));
    }
    static __m256 SwapSides(__m256 a) { return _mm256_permute2f128_ps(a, a, 1); }
    static __m256 Reverse(__m256 complexes) {
        return _mm256_permute_ps(SwapSides(complexes), _MM_SHUFFLE(1, 0, 3, 2));
    }
    // In each half apart.
    static void Transpose4(__m256& a, __m256& b, __m256& c, __m256& d) {
        const __m256 ab0 = _mm256_unpacklo_ps(a, b), ab1 = _mm256_unpackhi_ps(a, b);
        const __m256 cd0 = _mm256_unpacklo_ps(c, d), cd1 = _mm256_unpackhi_ps(c, d);
        a = _mm256_shuffle_ps(ab0, cd0, _MM_SHUFFLE(1, 0, 1, 0));
        b = _mm256_shuffle_ps(ab0, cd0, _MM_SHUFFLE(3, 2, 3, 2));
        c = _mm256_shuffle_ps(ab1, cd1, _MM_SHUFFLE(1, 0, 1, 0));
        d = _mm256_shuffle_ps(ab1, cd1, _MM_SHUFFLE(3, 2, 3, 2));
    }
};
#endif

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
    for (int32_t l = 0; l < V::lanes; ++l) {
        x[l] = {re[l], im[l]};
    }
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

}  // namespace

}  // namespace mlh
