#include "dsp/GenericOperations.h"

#include <cmath>

#include "base/Pi.h"
#include "dsp/Dispatch.h"

namespace mlh {

namespace Generic {

namespace {
constexpr float kTwoPi = 2.0f * kPi32;
constexpr float kHalfPi = 0.5f * kPi32;

// term(0) + ... + term(n - 1), in the order of the operation table: the same bits at all levels.
template <class Term>
float Sum(int32_t n, Term term) {
    constexpr int32_t kRow = 8, kBlock = 4 * kRow;
    float sums[kBlock] = {};
    int32_t i = 0;
    for (; i <= n - kBlock; i += kBlock) {
        for (int32_t k = 0; k < kBlock; ++k) {
            sums[k] += term(i + k);
        }
    }
    for (; i <= n - kRow; i += kRow) {
        for (int32_t k = 0; k < kRow; ++k) {
            sums[k] += term(i + k);
        }
    }
    float sum = 0.0f;
    for (int32_t k = 0; k < kRow; ++k) {
        sum += (sums[k] + sums[kRow + k]) + (sums[2 * kRow + k] + sums[3 * kRow + k]);
    }
    for (; i < n; ++i) {
        sum += term(i);
    }
    return sum;
}
}  // namespace

int32_t VecZero(float* dst, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = 0.0f;
    }
    return 0;
}

int32_t VecMaxIndex(const float* src, float* max, int32_t* index, int32_t n) {
    float best = -1e37f;
    int32_t where = 0;
    for (int32_t i = 0; i < n; ++i) {
        if (src[i] >= best) {
            best = src[i];
            where = i;
        }
    }
    *max = best;
    *index = where;
    return 0;
}

int32_t VecMinIndex(const float* src, float* min, int32_t* index, int32_t n) {
    float best = 1e37f;
    int32_t where = 0;
    for (int32_t i = 0; i < n; ++i) {
        if (src[i] < best) {
            best = src[i];
            where = i;
        }
    }
    *min = best;
    *index = where;
    return 0;
}

int32_t VecMean(const float* src, float* mean, int32_t n) {
    *mean = Sum(n, [=](int32_t i) { return src[i]; }) / static_cast<float>(n);
    return 0;
}

int32_t VecStdDev(const float* src, float* dev, int32_t n) {
    float mean = 0.0f;
    VecMean(src, &mean, n);
    const float sum = Sum(n, [=](int32_t i) {
        const float distance = src[i] - mean;
        return distance * distance;
    });
    *dev = std::sqrt(sum / static_cast<float>(n - 1));
    return 0;
}

int32_t VecMaxInPlace(float* dst, const float* src, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        if (src[i] > dst[i]) {
            dst[i] = src[i];
        }
    }
    return 0;
}

int32_t VecAdd(float* dst, const float* src, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] += src[i];
    }
    return 0;
}

int32_t VecAddConst(float* dst, float c, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] += c;
    }
    return 0;
}

int32_t VecSub(float* dst, const float* src, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] -= src[i];
    }
    return 0;
}

int32_t VecMul(float* dst, const float* src, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] *= src[i];
    }
    return 0;
}

int32_t VecMulConst(float* dst, float c, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] *= c;
    }
    return 0;
}

int32_t VecDiv(float* dst, const float* src, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] /= src[i];
    }
    return 0;
}

int32_t VecMulAcc(float* dst, const float* a, const float* b, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] += a[i] * b[i];
    }
    return 0;
}

int32_t VecAbs(float* dst, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = std::fabs(dst[i]);
    }
    return 0;
}

int32_t VecExp(float* dst, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = std::exp(dst[i]);
    }
    return 0;
}

int32_t VecSqrt(float* dst, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = std::sqrt(dst[i]);
    }
    return 0;
}

int32_t VecThresholdLog(float* dst, float level, float value, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = std::log(dst[i] < level ? value : dst[i]);
    }
    return 0;
}

int32_t VecDot(const float* a, const float* b, float* out, int32_t n) {
    *out = Sum(n, [=](int32_t i) { return a[i] * b[i]; });
    return 0;
}

int32_t VecThresholdLow(float* dst, float level, float value, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        if (dst[i] < level) {
            dst[i] = value;
        }
    }
    return 0;
}

int32_t VecThresholdHigh(float* dst, float level, float value, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        if (dst[i] > level) {
            dst[i] = value;
        }
    }
    return 0;
}

int32_t SpectrumPack(float* dst, const float* re, const float* im, int32_t n) {
    dst[0] = re[0];
    dst[1] = re[n / 2];
    for (int32_t k = 1; k < n / 2; ++k) {
        dst[2 * k] = re[k];
        dst[2 * k + 1] = im[k];
    }
    return 0;
}

int32_t SpectrumUnpack(float* re, float* im, const float* src, int32_t n) {
    re[0] = src[0];
    im[0] = 0.0f;
    for (int32_t k = 1; k < n / 2; ++k) {
        re[k] = src[2 * k];
        im[k] = src[2 * k + 1];
    }
    re[n / 2] = src[1];
    im[n / 2] = 0.0f;
    return 0;
}

int32_t SpectrumAdd(float* dst, const float* src, int32_t nBins) { return Ops().VecAdd(dst, src, 2 * nBins); }

int32_t SpectrumMul(float* dst, const float* src, int32_t nBins) {
    dst[0] *= src[0];
    dst[1] *= src[1];
    for (int32_t k = 1; k < nBins; ++k) {
        const float aRe = dst[2 * k], aIm = dst[2 * k + 1];
        const float bRe = src[2 * k], bIm = src[2 * k + 1];
        dst[2 * k] = aRe * bRe - aIm * bIm;
        dst[2 * k + 1] = aRe * bIm + aIm * bRe;
    }
    return 0;
}

int32_t NoOperation() { return 0; }

int32_t SpectrumPhase(float* dst, const float* src, int32_t n) {
    for (int32_t k = 1; k < n / 2; ++k) {
        const float re = src[2 * k], im = src[2 * k + 1];
        dst[k] = re == 0.0f && im != 0.0f ? kHalfPi : std::atan2(im, re);
    }
    dst[0] = kPi32;
    return 0;
}

int32_t SpectrumMulAcc(float* dst, const float* a, const float* b, int32_t nBins) {
    dst[0] += a[0] * b[0];
    dst[1] += a[1] * b[1];
    for (int32_t k = 1; k < nBins; ++k) {
        const float aRe = a[2 * k], aIm = a[2 * k + 1];
        const float bRe = b[2 * k], bIm = b[2 * k + 1];
        dst[2 * k] += aRe * bRe - aIm * bIm;
        dst[2 * k + 1] += aRe * bIm + aIm * bRe;
    }
    return 0;
}

int32_t SpectrumMagnitude(float* dst, const float* src, int32_t nBins) {
    dst[0] = std::fabs(src[0]);
    for (int32_t k = 1; k < nBins; ++k) {
        const float re = src[2 * k], im = src[2 * k + 1];
        dst[k] = std::sqrt(re * re + im * im);
    }
    return 0;
}

int32_t SpectrumConjugate(float* dst, int32_t n) {
    for (int32_t k = 1; k < n / 2; ++k) {
        dst[2 * k + 1] = -dst[2 * k + 1];
    }
    return 0;
}

int32_t VecWrapPhase(float* dst, const float* src, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const float y = src[i] + kPi32;
        dst[i] = y + kTwoPi * std::floor(-y / kTwoPi) + kPi32;
    }
    return 0;
}

int32_t VecSinCos(float* sine, float* cosine, const float* src, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const float angle = src[i];
        sine[i] = std::sin(angle);
        cosine[i] = std::cos(angle);
    }
    return 0;
}

int32_t SpectrumReIndex(int32_t k) { return 2 * k; }

int32_t SpectrumImIndex(int32_t k) { return 2 * k + 1; }

}  // namespace Generic

}  // namespace mlh
