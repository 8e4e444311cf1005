#include "analysis/Kkf.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>

#include "base/Codes.h"
#include "dsp/Dispatch.h"

namespace mlh {

namespace {

// The transforms of a correlation cost about as much as this many products for each of its points.
constexpr int64_t kProductsPerPoint = 128;

bool HasFiniteEnergy(const float* signal, int32_t length) {
    float energy;
    Ops().VecDot(signal, signal, &energy, length);
    return std::isfinite(energy);
}

}  // namespace

namespace qrtSPAdapter {

int32_t CKKF::Configure(int32_t newSize) {
    InitDispatch(-1);
    CqrtfCcf_If* created = nullptr;
    const int32_t code = Ops().CcfCreate(&created, newSize / 2, 0);
    if (code != 0) {
        return code;
    }
    ccf_.reset(created);
    try {
        output_ = MakeVec(newSize);
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    size_ = newSize;
    return 0;
}

int32_t CKKF::Correlate(const float* a, int32_t lenA, const float* b, int32_t lenB) {
    const int32_t half = size_ / 2;
    if (lenA < 1 || lenB < 1 || lenA > half || lenB > half) {
        return kBadArgument;
    }
    const auto& ops = Ops();
    const int32_t lengths[2] = {lenA, lenB};
    float* lags = output_.get() + 1;
    CcfCompute(ccf_.get(), lags, a, b, lengths);
    ops.VecMulConst(output_.get(), static_cast<float>(size_), size_);

    // Lag 0 stands at index lenA now; it belongs in the middle.
    const int32_t shift = half - lenA;
    const int32_t lagCount = lenA + lenB - 1;
    if (shift >= 1) {
        std::copy_backward(lags, lags + lagCount, lags + shift + lagCount);
        std::fill(output_.get(), lags + shift, 0.0f);
        std::fill(lags + shift + lagCount, output_.get() + size_, 0.0f);
    } else {
        output_[0] = 0.0f;
    }
    return 0;
}

CKKF::LagRange CKKF::SearchedLags(int32_t maxLag, int32_t centre, int32_t radius) {
    if (centre - radius < -maxLag) {
        return {-maxLag - 1, -maxLag - 1 + 2 * radius};
    }
    if (centre + radius > maxLag) {
        return {maxLag - 1 - 2 * radius, maxLag - 1};
    }
    return {centre - radius, centre + radius};
}

int32_t CKKF::FindPeak(int32_t maxLag, int32_t centre, int32_t radius) const {
    const LagRange lags = SearchedLags(maxLag, centre, radius);
    const float* const correlation = output_.get() + size_ / 2;
    float best = 0.0f;
    int32_t bestLag = centre;
    for (int32_t lag = lags.first; lag <= lags.last; ++lag) {
        const float value = std::floor(correlation[lag] * 10000.0f);
        if (value > best) {
            best = value;
            bestLag = lag;
        }
    }
    return bestLag;
}

int32_t CKKF::FindLag(const float* a, const float* b, int32_t length, int32_t maxLag, int32_t centre,
                      int32_t radius) {
    const LagRange lags = SearchedLags(maxLag, centre, radius);
    const int64_t products = static_cast<int64_t>(lags.last - lags.first + 1) * length;
    const bool areFew = products <= kProductsPerPoint * size_;
    if (areFew && HasFiniteEnergy(a, length) && HasFiniteEnergy(b, length)) {
        CorrelateLags(a, b, length, lags);
    } else {
        Correlate(a, length, b, length);
    }
    return FindPeak(maxLag, centre, radius);
}

void CKKF::CorrelateLags(const float* a, const float* b, int32_t length, LagRange lags) {
    float* const correlation = output_.get() + size_ / 2;
    for (int32_t lag = lags.first; lag <= lags.last; ++lag) {
        // The samples that face each other: a[n + lag] and b[n].
        const float* const first = a + std::max(lag, 0);
        const float* const second = b - std::min(lag, 0);
        Ops().VecDot(first, second, &correlation[lag], length - std::abs(lag));
        correlation[lag] *= static_cast<float>(size_);
    }
}

}  // namespace qrtSPAdapter

}  // namespace mlh
