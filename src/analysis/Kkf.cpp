#include "analysis/Kkf.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "dsp/Dispatch.h"

namespace qrtSPAdapter {

int32_t CKKF::Configure(int32_t newSize) {
    InitDispatch(-1);
    CqrtfCcf_If* created = nullptr;
    const int32_t code = Ops().CcfCreate(&created, newSize / 2, 0);
    if (code != 0) return code;
    ccf.reset(created);
    try {
        output = MakeVec(newSize);
    } catch (const std::bad_alloc&) {
        return 1000001;
    }
    size = newSize;
    return 0;
}

int32_t CKKF::Correlate(const float* a, int32_t lenA, const float* b, int32_t lenB) {
    const int32_t half = size / 2;
    if (lenA < 1 || lenB < 1 || lenA > half || lenB > half) return 5000003;
    const auto& ops = Ops();
    const int32_t lengths[2] = {lenA, lenB};
    float* lags = output.get() + 1;
    CcfCompute(ccf.get(), lags, a, b, lengths);
    ops.VecMulConst(output.get(), static_cast<float>(size), size);

    // Lag 0 stands at index lenA now; it belongs in the middle.
    const int32_t shift = half - lenA;
    const int32_t lagCount = lenA + lenB - 1;
    if (shift >= 1) {
        std::copy_backward(lags, lags + lagCount, lags + shift + lagCount);
        std::fill(output.get(), lags + shift, 0.0f);
        std::fill(lags + shift + lagCount, output.get() + size, 0.0f);
    } else {
        output[0] = 0.0f;
    }
    return 0;
}

int32_t CKKF::FindPeak(int32_t maxLag, int32_t centre, int32_t radius) const {
    const int32_t middle = size / 2;
    int32_t low = middle + centre - radius;
    int32_t high = middle + centre + radius;
    if (low < middle - maxLag) {
        low = middle - maxLag - 1;
        high = low + 2 * radius;
    } else if (high > middle + maxLag) {
        high = middle + maxLag - 1;
        low = high - 2 * radius;
    }
    float best = 0.0f;
    int32_t bestIndex = middle + centre;
    for (int32_t i = low; i <= high; ++i) {
        const float value = std::floor(output[i] * 10000.0f);
        if (value > best) {
            best = value;
            bestIndex = i;
        }
    }
    return bestIndex - middle;
}

}  // namespace qrtSPAdapter
