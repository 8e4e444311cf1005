#include "dsp/SplitRadix.h"

#include <cmath>
#include <utility>

#include "base/Pi.h"

namespace mlh {

namespace {

struct Complex {
    float re, im;
};

Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }

// Times -i on the way forward, +i on the way back.
template <bool inverse>
Complex Turn(Complex a) {
    return inverse ? Complex{-a.im, a.re} : Complex{a.im, -a.re};
}

// Complex values stand in the data as pairs of floats.
Complex Load(const float* data, int32_t k) { return {data[2 * k], data[2 * k + 1]}; }
void Store(float* data, int32_t k, Complex a) {
    data[2 * k] = a.re;
    data[2 * k + 1] = a.im;
}

int32_t Log2(int32_t n) {
    int32_t bits = 0;
    while ((n >> bits) > 1) {
        ++bits;
    }
    return bits;
}

void FillTwiddles(float* twiddles, int32_t points) {
    for (int32_t m = 4; m <= points; m *= 2) {
        float* const rows = twiddles + m;
        const int32_t quarter = m / 4;
        for (int32_t k = 0; k < quarter; ++k) {
            const double angle = -2.0 * kPi * k / m;
            rows[k] = static_cast<float>(std::cos(angle));
            rows[quarter + k] = static_cast<float>(std::sin(angle));
            rows[2 * quarter + k] = static_cast<float>(std::cos(3.0 * angle));
            rows[3 * quarter + k] = static_cast<float>(std::sin(3.0 * angle));
        }
    }
}

// A quarter wave of cosines; read backwards it is the sines.
void FillCosines(float* cosines, int32_t n) {
    for (int32_t k = 0; k <= n / 4; ++k) {
        cosines[k] = static_cast<float>(std::cos(2.0 * kPi * k / n));
    }
}

// The reversed indices of half the bits of `points`, the middle bit left out when their number is odd.
void FillBitReversal(int32_t* reversed, int32_t points) {
    const int32_t halfBits = Log2(points) / 2;
    reversed[0] = 0;
    for (int32_t bit = 0; bit < halfBits; ++bit) {
        for (int32_t i = 0; i < (1 << bit); ++i) {
            reversed[(1 << bit) + i] = reversed[i] + (1 << (halfBits - 1 - bit));
        }
    }
}

// An index is high half, middle bit (or none), low half; its reverse swaps the halves and reverses each.
// Going through all pairs of halves once, no swap has to be tested for having been done.
void ReverseBits(float* data, int32_t points, const int32_t* reversed) {
    const int32_t bits = Log2(points);
    const int32_t half = 1 << (bits / 2);
    const int32_t high = points / half;
    for (int32_t middle = 0; middle < high; middle += half) {
        for (int32_t a = 1; a < half; ++a) {
            for (int32_t b = 0; b < a; ++b) {
                const int32_t i = reversed[a] * high + middle + b;
                const int32_t j = reversed[b] * high + middle + a;
                const Complex swapped = Load(data, i);
                Store(data, i, Load(data, j));
                Store(data, j, swapped);
            }
        }
    }
}

// Joins the transform of the even points (first half) with those of the points 4k+1 and 4k+3 (last quarters),
// for one k.
template <bool inverse>
inline void JoinOne(float* data, int32_t quarter, int32_t k, Complex z1, Complex z3) {
    const Complex sum = z1 + z3;
    const Complex turned = Turn<inverse>(z1 - z3);
    const Complex even0 = Load(data, k), even1 = Load(data, k + quarter);
    Store(data, k, even0 + sum);
    Store(data, k + quarter, even1 + turned);
    Store(data, k + 2 * quarter, even0 - sum);
    Store(data, k + 3 * quarter, even1 - turned);
}

// The same for all k of a quarter. Half of all the time is spent here: the quarters are distinguished and
// everything is written out, so that the compiler can take several k at once.
template <bool inverse>
inline void Join(float* __restrict x0, float* __restrict x1, float* __restrict x2, float* __restrict x3,
                 const float* __restrict twiddles, int32_t quarter) {
    const float* __restrict w1Re = twiddles;
    const float* __restrict w1Im = twiddles + quarter;
    const float* __restrict w3Re = twiddles + 2 * quarter;
    const float* __restrict w3Im = twiddles + 3 * quarter;
    for (int32_t k = 0; k < quarter; ++k) {
        const float turn1 = inverse ? -w1Im[k] : w1Im[k];
        const float turn3 = inverse ? -w3Im[k] : w3Im[k];
        const float z1Re = x2[2 * k] * w1Re[k] - x2[2 * k + 1] * turn1;
        const float z1Im = x2[2 * k] * turn1 + x2[2 * k + 1] * w1Re[k];
        const float z3Re = x3[2 * k] * w3Re[k] - x3[2 * k + 1] * turn3;
        const float z3Im = x3[2 * k] * turn3 + x3[2 * k + 1] * w3Re[k];
        const float sumRe = z1Re + z3Re, sumIm = z1Im + z3Im;
        const float turnedRe = inverse ? z3Im - z1Im : z1Im - z3Im;
        const float turnedIm = inverse ? z1Re - z3Re : z3Re - z1Re;
        const float even0Re = x0[2 * k], even0Im = x0[2 * k + 1];
        const float even1Re = x1[2 * k], even1Im = x1[2 * k + 1];
        x0[2 * k] = even0Re + sumRe;
        x0[2 * k + 1] = even0Im + sumIm;
        x1[2 * k] = even1Re + turnedRe;
        x1[2 * k + 1] = even1Im + turnedIm;
        x2[2 * k] = even0Re - sumRe;
        x2[2 * k + 1] = even0Im - sumIm;
        x3[2 * k] = even1Re - turnedRe;
        x3[2 * k + 1] = even1Im - turnedIm;
    }
}

template <bool inverse>
inline void JoinAll(float* data, int32_t points, const float* twiddles) {
    const int32_t quarter = points / 4;
    Join<inverse>(data, data + 2 * quarter, data + 4 * quarter, data + 6 * quarter, twiddles + points,
                  quarter);
}

void Transform2(float* data) {
    const Complex a = Load(data, 0), b = Load(data, 1);
    Store(data, 0, a + b);
    Store(data, 1, a - b);
}

template <bool inverse>
void Transform4(float* data) {
    Transform2(data);
    JoinOne<inverse>(data, 1, 0, Load(data, 2), Load(data, 3));
}

template <bool inverse>
void Transform8(float* data) {
    constexpr float root = 0.707106781186547524f;
    Transform4<inverse>(data);
    Transform2(data + 8);
    Transform2(data + 12);
    const Complex a = Load(data, 5), b = Load(data, 7);
    // Times w and w^3 of the eighth turn.
    const Complex turnedA = Turn<inverse>(a), turnedB = Turn<inverse>(b);
    JoinOne<inverse>(data, 2, 0, Load(data, 4), Load(data, 6));
    JoinOne<inverse>(data, 2, 1, Complex{root * (a.re + turnedA.re), root * (a.im + turnedA.im)},
                     Complex{root * (turnedB.re - b.re), root * (turnedB.im - b.im)});
}

// With the length known, the loop of the join is unrolled.
template <bool inverse>
void Transform16(float* data, const float* twiddles) {
    Transform8<inverse>(data);
    Transform4<inverse>(data + 16);
    Transform4<inverse>(data + 24);
    JoinAll<inverse>(data, 16, twiddles);
}

// Depth first, so that each part is worked on while it is in the cache.
template <bool inverse>
void TransformComplex(float* data, int32_t points, const float* twiddles) {
    if (points == 16) {
        return Transform16<inverse>(data, twiddles);
    }
    if (points == 8) {
        return Transform8<inverse>(data);
    }
    if (points == 4) {
        return Transform4<inverse>(data);
    }
    if (points == 2) {
        return Transform2(data);
    }
    TransformComplex<inverse>(data, points / 2, twiddles);
    TransformComplex<inverse>(data + points, points / 4, twiddles);
    TransformComplex<inverse>(data + points + points / 2, points / 4, twiddles);
    JoinAll<inverse>(data, points, twiddles);
}

// With Z the transform of the pairs taken as complex points, bin k of the real signal is
//     E + w^k O,  E = (Z[k] + conj Z[m-k]) / 2,  O = (Z[k] - conj Z[m-k]) / 2i,  m = n/2,
// and bin m-k is conj(E - w^k O). The way back is the same step with the turns reversed.
template <bool inverse>
void RealStep(float* data, int32_t n, const float* cosines) {
    // k walks up from the front, its partner down from the back.
    float* __restrict low = data;
    float* __restrict high = data + n;
    const float* __restrict sines = cosines + n / 4;
    for (int32_t k = 1; k < n / 4; ++k) {
        // The two directions differ in the sign of the cosine alone.
        const float cosine = inverse ? -cosines[k] : cosines[k], sine = sines[-k];
        const float aRe = low[2 * k], aIm = low[2 * k + 1];
        const float bRe = high[-2 * k], bIm = high[-2 * k + 1];
        const float evenRe = 0.5f * (aRe + bRe), evenIm = 0.5f * (aIm - bIm);
        const float halfRe = 0.5f * (aRe - bRe), halfIm = 0.5f * (aIm + bIm);
        const float oddRe = halfIm * cosine - halfRe * sine;
        const float oddIm = -(halfRe * cosine + halfIm * sine);
        low[2 * k] = evenRe + oddRe;
        low[2 * k + 1] = evenIm + oddIm;
        high[-2 * k] = evenRe - oddRe;
        high[-2 * k + 1] = oddIm - evenIm;
    }
}

// The middle bin is its own partner: the real step conjugates it and changes nothing else.
void ConjugateMiddle(float* data, int32_t n) { data[n / 2 + 1] = -data[n / 2 + 1]; }

}  // namespace

int32_t SplitRadixBitReversalSize(int32_t n) {
    return 2 + static_cast<int32_t>(std::sqrt(static_cast<double>(n / 2)));
}

int32_t SplitRadixTwiddleSize(int32_t n) { return n + n / 4 + 1; }

void FillSplitRadixTables(int32_t n, int32_t* bitReversal, float* twiddles) {
    const int32_t points = n / 2;
    FillTwiddles(twiddles, points);
    FillCosines(twiddles + n, n);
    FillBitReversal(bitReversal + 2, points);
    bitReversal[0] = n;
    bitReversal[1] = n / 4 + 1;
}

void ComplexSplitRadixForward(float* data, int32_t n, int32_t* bitReversal, float* twiddles) {
    if (bitReversal[0] == 0) {
        FillSplitRadixTables(n, bitReversal, twiddles);
    }
    const int32_t points = n / 2;
    if (n > 4) {
        ReverseBits(data, points, bitReversal + 2);
    }
    TransformComplex<false>(data, points, twiddles);
}

void RealSplitRadixForward(float* data, int32_t n, int32_t* bitReversal, float* twiddles) {
    ComplexSplitRadixForward(data, n, bitReversal, twiddles);
    if (n > 4) {
        RealStep<false>(data, n, twiddles + n);
    }
    ConjugateMiddle(data, n);
    const Complex first = Load(data, 0);
    Store(data, 0, {first.re + first.im, first.re - first.im});
}

void RealSplitRadixInverse(float* data, int32_t n, int32_t* bitReversal, float* twiddles) {
    if (bitReversal[0] == 0) {
        FillSplitRadixTables(n, bitReversal, twiddles);
    }
    const int32_t points = n / 2;
    const Complex first = Load(data, 0);
    Store(data, 0, {0.5f * (first.re + first.im), 0.5f * (first.re - first.im)});
    ConjugateMiddle(data, n);
    if (n > 4) {
        RealStep<true>(data, n, twiddles + n);
    }
    if (n > 4) {
        ReverseBits(data, points, bitReversal + 2);
    }
    TransformComplex<true>(data, points, twiddles);
}

}  // namespace mlh
