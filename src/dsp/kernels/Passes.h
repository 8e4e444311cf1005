// The passes of the FFTs: in each lane a complex transform over the columns of a plan, in place, by
// decimation in frequency with radices 8 and 4. All lanes share their twiddles. The result stands in
// digit-reversed order (FftPlan::places). Depth first, so that the inner passes stay in the cache.
#pragma once

#include "dsp/FftPlan.h"
#include "dsp/kernels/Complex.h"

namespace mlh {

namespace {

// One pass joins `radix` columns that stand `srcStride` floats apart, for `count` columns in a row; they come
// to stand `dstStride` apart.

template <int32_t radix, class V>
inline void ForwardPass(const float* src, int32_t srcStride, float* dst, int32_t dstStride, int32_t count,
                        const float* twiddles) {
    for (int32_t j = 0; j < count; ++j) {
        Complex<V> x[radix];
        for (int32_t q = 0; q < radix; ++q) {
            x[q] = Complex<V>::Load(src + q * srcStride);
        }
        Transform<radix, false>(x);
        x[0].Store(dst);
        for (int32_t q = 1; q < radix; ++q) {
            (x[q] * Complex<V>::Broadcast(twiddles + 2 * (q - 1))).Store(dst + q * dstStride);
        }
        src += 2 * V::lanes;
        dst += 2 * V::lanes;
        twiddles += 2 * (radix - 1);
    }
}

template <int32_t radix, class V>
inline void InversePass(const float* src, int32_t srcStride, float* dst, int32_t dstStride, int32_t count,
                        const float* twiddles) {
    for (int32_t j = 0; j < count; ++j) {
        Complex<V> x[radix];
        for (int32_t i = 0; i < radix; ++i) {
            // Partners of the first butterflies one after the other, so that few of the values wait.
            const int32_t q = i / 2 + i % 2 * (radix / 2);
            x[q] = Complex<V>::Load(src + q * srcStride);
            if (q > 0) {
                x[q] = MulConj(x[q], Complex<V>::Broadcast(twiddles + 2 * (q - 1)));
            }
        }
        Transform<radix, true>(x);
        for (int32_t q = 0; q < radix; ++q) {
            x[q].Store(dst + q * dstStride);
        }
        src += 2 * V::lanes;
        dst += 2 * V::lanes;
        twiddles += 2 * (radix - 1);
    }
}

template <bool inverse, int32_t radix, class V>
void PassOf(const float* src, int32_t srcStride, float* dst, int32_t dstStride, int32_t count,
            const float* twiddles) {
    if constexpr (inverse) {
        InversePass<radix, V>(src, srcStride, dst, dstStride, count, twiddles);
    } else {
        ForwardPass<radix, V>(src, srcStride, dst, dstStride, count, twiddles);
    }
}

template <bool inverse, class V>
void Pass(const FftPlan& plan, int32_t pass, const float* src, int32_t srcStride, float* dst,
          int32_t dstStride, int32_t count) {
    const auto function = plan.radix[pass] == 4 ? PassOf<inverse, 4, V> : PassOf<inverse, 8, V>;
    function(src, srcStride, dst, dstStride, count, plan.twiddles[pass]);
}

// The innermost pass has no twiddles: `count` groups of `radix` neighbours.
template <bool inverse, int32_t radix, class V>
void Leaves(float* data, int32_t count) {
    constexpr int32_t column = 2 * V::lanes;
    for (int32_t i = 0; i < count; ++i, data += radix * column) {
        Complex<V> x[radix];
        for (int32_t q = 0; q < radix; ++q) {
            x[q] = Complex<V>::Load(data + q * column);
        }
        Transform<radix, inverse>(x);
        for (int32_t q = 0; q < radix; ++q) {
            x[q].Store(data + q * column);
        }
    }
}

// All passes from `pass` on, in `count` blocks one after the other.
template <bool inverse, class V>
void Blocks(const FftPlan& plan, int32_t pass, float* data, int32_t columns, int32_t count) {
    if (pass == plan.passes) {
        return;
    }
    const int32_t radix = plan.radix[pass];
    if (pass == plan.passes - 1) {
        const auto function = radix == 4 ? Leaves<inverse, 4, V> : Leaves<inverse, 8, V>;
        return function(data, count);
    }
    const int32_t inner = columns / radix, stride = inner * 2 * V::lanes;
    for (int32_t i = 0; i < count; ++i, data += radix * stride) {
        if constexpr (!inverse) {
            Pass<false, V>(plan, pass, data, stride, data, stride, inner);
        }
        Blocks<inverse, V>(plan, pass + 1, data, inner, radix);
        if constexpr (inverse) {
            Pass<true, V>(plan, pass, data, stride, data, stride, inner);
        }
    }
}

}  // namespace

}  // namespace mlh
