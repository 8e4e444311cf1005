// The vector types that the kernels are written over: F1, F4 and, where the compiler may use AVX, F8. V is
// the widest of them.
//
// Every kernel source is compiled once per processor level. So that no function of one level can be taken for
// the same one of another level by the linker, all of this stands in an unnamed namespace, and kernel sources
// use nothing inline of the standard library. Roots and quotients are the exact instructions.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace mlh {

namespace {

#ifdef __FMA__
constexpr bool fma = true;
#else
constexpr bool fma = false;
#endif

struct F1 {
    static constexpr int32_t lanes = 1;
    float v;

    static F1 Load(const float* p) { return {*p}; }
    static F1 Broadcast(float x) { return {x}; }
    void Store(float* p) const { *p = v; }

    friend F1 operator+(F1 a, F1 b) { return {a.v + b.v}; }
    friend F1 operator-(F1 a, F1 b) { return {a.v - b.v}; }
    friend F1 operator*(F1 a, F1 b) { return {a.v * b.v}; }
    friend F1 operator/(F1 a, F1 b) { return {a.v / b.v}; }
    friend F1 Negate(F1 a) { return {-a.v}; }
    friend F1 Abs(F1 a) { return {__builtin_fabsf(a.v)}; }
    friend F1 MulAdd(F1 a, F1 b, F1 c) { return a * b + c; }
    friend F1 MulSub(F1 a, F1 b, F1 c) { return a * b - c; }
    friend F1 NegMulAdd(F1 a, F1 b, F1 c) { return c - a * b; }
    friend F1 Sqrt(F1 a) { return {_mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(a.v)))}; }
    friend F1 Floor(F1 a);
    friend F1 LoadEverySecond(const float* p, F1) { return {*p}; }
    friend F1 LoadEveryThird(const float* p, F1) { return {*p}; }
    friend F1 Reverse(F1 a) { return a; }
    /// a where it is greater, else b; so b where one of them is not a number.
    friend F1 Max(F1 a, F1 b) { return {a.v > b.v ? a.v : b.v}; }
    friend F1 Min(F1 a, F1 b) { return {a.v < b.v ? a.v : b.v}; }
    /// chosen where a < b, else other.
    friend F1 SelectLess(F1 a, F1 b, F1 chosen, F1 other) { return a.v < b.v ? chosen : other; }
};

struct F4 {
    static constexpr int32_t lanes = 4;
    __m128 v;

    static F4 Load(const float* p) { return {_mm_loadu_ps(p)}; }
    static F4 Broadcast(float x) { return {_mm_set1_ps(x)}; }
    void Store(float* p) const { _mm_storeu_ps(p, v); }

    /// a = p[0], b = p[1] in all lanes; here in one load.
    friend void BroadcastPair(const float* p, F4& a, F4& b) {
        const __m128i pair = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        a.v = _mm_castsi128_ps(_mm_shuffle_epi32(pair, 0x00));
        b.v = _mm_castsi128_ps(_mm_shuffle_epi32(pair, 0x55));
    }
    friend F4 operator+(F4 a, F4 b) { return {_mm_add_ps(a.v, b.v)}; }
    friend F4 operator-(F4 a, F4 b) { return {_mm_sub_ps(a.v, b.v)}; }
    friend F4 operator*(F4 a, F4 b) { return {_mm_mul_ps(a.v, b.v)}; }
    friend F4 operator/(F4 a, F4 b) { return {_mm_div_ps(a.v, b.v)}; }
    friend F4 Negate(F4 a) { return {_mm_xor_ps(a.v, _mm_set1_ps(-0.0f))}; }
    friend F4 Abs(F4 a) { return {_mm_andnot_ps(_mm_set1_ps(-0.0f), a.v)}; }
#ifdef __FMA__
    friend F4 MulAdd(F4 a, F4 b, F4 c) { return {_mm_fmadd_ps(a.v, b.v, c.v)}; }
    friend F4 MulSub(F4 a, F4 b, F4 c) { return {_mm_fmsub_ps(a.v, b.v, c.v)}; }
    friend F4 NegMulAdd(F4 a, F4 b, F4 c) { return {_mm_fnmadd_ps(a.v, b.v, c.v)}; }
#else
    friend F4 MulAdd(F4 a, F4 b, F4 c) { return a * b + c; }
    friend F4 MulSub(F4 a, F4 b, F4 c) { return a * b - c; }
    friend F4 NegMulAdd(F4 a, F4 b, F4 c) { return c - a * b; }
#endif
    friend F4 Sqrt(F4 a) { return {_mm_sqrt_ps(a.v)}; }
    friend F4 Floor(F4 a) {
#ifdef __SSE4_1__
        return {_mm_floor_ps(a.v)};
#else
        // Beyond 2^23, and for what is not a number, a float is its own floor.
        const __m128 truncated = _mm_cvtepi32_ps(_mm_cvttps_epi32(a.v));
        const __m128 over = _mm_and_ps(_mm_cmpgt_ps(truncated, a.v), _mm_set1_ps(1.0f));
        const __m128 small = _mm_cmplt_ps(Abs(a).v, _mm_set1_ps(8388608.0f));
        return {_mm_or_ps(_mm_and_ps(small, _mm_sub_ps(truncated, over)), _mm_andnot_ps(small, a.v))};
#endif
    }
    friend F4 Max(F4 a, F4 b) { return {_mm_max_ps(a.v, b.v)}; }
    friend F4 Min(F4 a, F4 b) { return {_mm_min_ps(a.v, b.v)}; }
    friend F4 SelectLess(F4 a, F4 b, F4 chosen, F4 other) {
        const __m128 less = _mm_cmplt_ps(a.v, b.v);
        return {_mm_or_ps(_mm_and_ps(less, chosen.v), _mm_andnot_ps(less, other.v))};
    }
    /// Bit i is set where lane i of both is equal.
    friend int32_t EqualLanes(F4 a, F4 b) { return _mm_movemask_ps(_mm_cmpeq_ps(a.v, b.v)); }

    /// p[0], p[2], p[4], ...; reads two vectors.
    friend F4 LoadEverySecond(const float* p, F4) { return EvenLanes(Load(p), Load(p + lanes)); }
    /// p[0], p[3], p[6], ...; reads three vectors.
    friend F4 LoadEveryThird(const float* p, F4) {
        const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4), c = _mm_loadu_ps(p + 8);
        return {_mm_shuffle_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 3, 0)),
                               _mm_shuffle_ps(b, c, _MM_SHUFFLE(1, 1, 2, 2)), _MM_SHUFFLE(2, 0, 1, 0))};
    }
    friend F4 Reverse(F4 a) { return {_mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(0, 1, 2, 3))}; }

    // Complex numbers in pairs of lanes.
    friend F4 DuplicateEven(F4 a) { return {_mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(2, 2, 0, 0))}; }
    friend F4 DuplicateOdd(F4 a) { return {_mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(3, 3, 1, 1))}; }
    friend F4 SwapPairs(F4 a) { return {_mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(2, 3, 0, 1))}; }
    friend F4 NegateEven(F4 a) { return {_mm_xor_ps(a.v, _mm_setr_ps(-0.0f, 0.0f, -0.0f, 0.0f))}; }
    friend F4 EvenLanes(F4 a, F4 b) { return {_mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(2, 0, 2, 0))}; }
    friend F4 OddLanes(F4 a, F4 b) { return {_mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(3, 1, 3, 1))}; }
};

inline F1 Floor(F1 a) { return {_mm_cvtss_f32(Floor(F4{_mm_set_ss(a.v)}).v)}; }

#ifdef __AVX__
struct F8 {
    static constexpr int32_t lanes = 8;
    __m256 v;

    static F8 Load(const float* p) { return {_mm256_loadu_ps(p)}; }
    static F8 Broadcast(float x) { return {_mm256_set1_ps(x)}; }
    void Store(float* p) const { _mm256_storeu_ps(p, v); }

    friend void BroadcastPair(const float* p, F8& a, F8& b) {
        a.v = _mm256_broadcast_ss(p);
        b.v = _mm256_broadcast_ss(p + 1);
    }
    friend F8 operator+(F8 a, F8 b) { return {_mm256_add_ps(a.v, b.v)}; }
    friend F8 operator-(F8 a, F8 b) { return {_mm256_sub_ps(a.v, b.v)}; }
    friend F8 operator*(F8 a, F8 b) { return {_mm256_mul_ps(a.v, b.v)}; }
    friend F8 operator/(F8 a, F8 b) { return {_mm256_div_ps(a.v, b.v)}; }
    friend F8 Negate(F8 a) { return {_mm256_xor_ps(a.v, _mm256_set1_ps(-0.0f))}; }
    friend F8 Abs(F8 a) { return {_mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.v)}; }
#ifdef __FMA__
    friend F8 MulAdd(F8 a, F8 b, F8 c) { return {_mm256_fmadd_ps(a.v, b.v, c.v)}; }
    friend F8 MulSub(F8 a, F8 b, F8 c) { return {_mm256_fmsub_ps(a.v, b.v, c.v)}; }
    friend F8 NegMulAdd(F8 a, F8 b, F8 c) { return {_mm256_fnmadd_ps(a.v, b.v, c.v)}; }
#else
    friend F8 MulAdd(F8 a, F8 b, F8 c) { return a * b + c; }
    friend F8 MulSub(F8 a, F8 b, F8 c) { return a * b - c; }
    friend F8 NegMulAdd(F8 a, F8 b, F8 c) { return c - a * b; }
#endif
    friend F8 Sqrt(F8 a) { return {_mm256_sqrt_ps(a.v)}; }
    friend F8 Floor(F8 a) { return {_mm256_floor_ps(a.v)}; }
    friend F8 Max(F8 a, F8 b) { return {_mm256_max_ps(a.v, b.v)}; }
    friend F8 Min(F8 a, F8 b) { return {_mm256_min_ps(a.v, b.v)}; }
    friend F8 SelectLess(F8 a, F8 b, F8 chosen, F8 other) {
        return {_mm256_blendv_ps(other.v, chosen.v, _mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ))};
    }
    friend int32_t EqualLanes(F8 a, F8 b) { return _mm256_movemask_ps(_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ)); }

    friend F8 LoadEverySecond(const float* p, F8) { return EvenLanes(Load(p), Load(p + lanes)); }
    friend F8 LoadEveryThird(const float* p, F8) {
        const __m256 a = _mm256_loadu_ps(p), b = _mm256_loadu_ps(p + 8), c = _mm256_loadu_ps(p + 16);
        // In the order of lanes 0, 9, 18, 3 | 12, 21, 6, 15, of which each half keeps three.
        const __m256 mixed = _mm256_blend_ps(_mm256_blend_ps(a, b, 0b10010010), c, 0b00100100);
        const __m256 turned = _mm256_permute_ps(mixed, _MM_SHUFFLE(1, 2, 3, 0));
        return {_mm256_blend_ps(turned, _mm256_permute2f128_ps(turned, turned, 1), 0b01000100)};
    }
    friend F8 Reverse(F8 a) {
        return {_mm256_permute_ps(_mm256_permute2f128_ps(a.v, a.v, 1), _MM_SHUFFLE(0, 1, 2, 3))};
    }

    friend F8 DuplicateEven(F8 a) { return {_mm256_moveldup_ps(a.v)}; }
    friend F8 DuplicateOdd(F8 a) { return {_mm256_movehdup_ps(a.v)}; }
    friend F8 SwapPairs(F8 a) { return {_mm256_permute_ps(a.v, _MM_SHUFFLE(2, 3, 0, 1))}; }
    friend F8 NegateEven(F8 a) {
        return {_mm256_xor_ps(a.v, _mm256_setr_ps(-0.0f, 0.0f, -0.0f, 0.0f, -0.0f, 0.0f, -0.0f, 0.0f))};
    }
    friend F8 EvenLanes(F8 a, F8 b) {
        const __m256 low = _mm256_permute2f128_ps(a.v, b.v, 0x20),
                     high = _mm256_permute2f128_ps(a.v, b.v, 0x31);
        return {_mm256_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0))};
    }
    friend F8 OddLanes(F8 a, F8 b) {
        const __m256 low = _mm256_permute2f128_ps(a.v, b.v, 0x20),
                     high = _mm256_permute2f128_ps(a.v, b.v, 0x31);
        return {_mm256_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1))};
    }
};
using V = F8;
#else
using V = F4;
#endif

}  // namespace

}  // namespace mlh
