// The loops of a voice for the level MLH_LEVEL. They give the bits of the plain loops.

#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/Loops.h"

namespace mlh {

namespace {

// Four numbers of 64 bits.
#ifdef __AVX__
struct D4 {
    __m256d v;

    static D4 Broadcast(double x) { return {_mm256_set1_pd(x)}; }
    static D4 Widen(F4 a) { return {_mm256_cvtps_pd(a.v)}; }
    F4 Narrow() const { return {_mm256_cvtpd_ps(v)}; }
    __m128i Truncate() const { return _mm256_cvttpd_epi32(v); }
    friend D4 operator+(D4 a, D4 b) { return {_mm256_add_pd(a.v, b.v)}; }
    friend D4 operator*(D4 a, D4 b) { return {_mm256_mul_pd(a.v, b.v)}; }
};
#else
struct D4 {
    __m128d low, high;

    static D4 Broadcast(double x) { return {_mm_set1_pd(x), _mm_set1_pd(x)}; }
    static D4 Widen(F4 a) { return {_mm_cvtps_pd(a.v), _mm_cvtps_pd(_mm_movehl_ps(a.v, a.v))}; }
    F4 Narrow() const { return {_mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high))}; }
    __m128i Truncate() const { return _mm_unpacklo_epi64(_mm_cvttpd_epi32(low), _mm_cvttpd_epi32(high)); }
    friend D4 operator+(D4 a, D4 b) { return {_mm_add_pd(a.low, b.low), _mm_add_pd(a.high, b.high)}; }
    friend D4 operator*(D4 a, D4 b) { return {_mm_mul_pd(a.low, b.low), _mm_mul_pd(a.high, b.high)}; }
};
#endif

// Four frames of the mix, of which `load(row)` gives one row's.
template <class Load>
F4 Mix(const double* gains, int32_t rowCount, Load load) {
    F4 sum = (D4::Widen(load(0)) * D4::Broadcast(gains[0])).Narrow();
    for (int32_t r = 1; r < rowCount; ++r) {
        sum = (D4::Widen(sum) + D4::Widen(load(r)) * D4::Broadcast(gains[r])).Narrow();
    }
    return sum;
}

// Four samples in 16 bits, in the lower half.
__m128i To16(F4 samples) {
    const __m128 numbers = _mm_and_ps(samples.v, _mm_cmpord_ps(samples.v, samples.v));
    const F4 limited = Max(Min(F4{numbers}, F4::Broadcast(1.0f)), F4::Broadcast(-1.0f));
    const __m128i whole = (D4::Widen(limited) * D4::Broadcast(32767.0)).Truncate();
    return _mm_packs_epi32(whole, whole);
}

}  // namespace

template <>
void VoiceKernels<MLH_LEVEL>::AddGrain(float* dst, const float* x, const float* window, float gain,
                                       int32_t n) {
    ForEach(0, n, [=](auto type, int32_t i) {
        using T = decltype(type);
        (T::Load(dst + i) + T::Load(x + i) * (T::Load(window + i) * T::Broadcast(gain))).Store(dst + i);
    });
}

template <>
void VoiceKernels<MLH_LEVEL>::WriteGrain(float* dst, const float* x, const float* window, float gain,
                                         int32_t n) {
    ForEach(0, n, [=](auto type, int32_t i) {
        using T = decltype(type);
        const T falling = T::Broadcast(1.0f) - T::Load(window + i);
        (falling * T::Broadcast(gain) * T::Load(x + i)).Store(dst + i);
    });
}

template <>
void VoiceKernels<MLH_LEVEL>::MixTo16(int16_t* out, int32_t stride, const float* const* rows,
                                      const double* gains, int32_t rowCount, int32_t frames) {
    int32_t i = 0;
    for (; i <= frames - 4; i += 4) {
        const __m128i four = To16(Mix(gains, rowCount, [=](int32_t r) { return F4::Load(rows[r] + i); }));
        if (stride == 1) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), four);
        } else {
            out[0] = static_cast<int16_t>(_mm_extract_epi16(four, 0));
            out[stride] = static_cast<int16_t>(_mm_extract_epi16(four, 1));
            out[2 * stride] = static_cast<int16_t>(_mm_extract_epi16(four, 2));
            out[3 * stride] = static_cast<int16_t>(_mm_extract_epi16(four, 3));
        }
        out += 4 * stride;
    }
    for (; i < frames; ++i) {
        const auto load = [=](int32_t r) { return F4{_mm_load_ss(rows[r] + i)}; };
        *out = static_cast<int16_t>(_mm_extract_epi16(To16(Mix(gains, rowCount, load)), 0));
        out += stride;
    }
}

}  // namespace mlh
