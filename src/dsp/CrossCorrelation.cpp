#include "dsp/CrossCorrelation.h"

#include <algorithm>
#include <cstring>

#include "base/Codes.h"

namespace mlh {

namespace {

constexpr int32_t kLargestRequest = 1 << 26;

class CqrtfCcf final : public CqrtfCcf_If {};

void CopyFloats(float* dst, const float* src, int32_t n) {
    std::memcpy(dst, src, static_cast<size_t>(n) * sizeof(float));
}

}  // namespace

int32_t CcfCreate(CqrtfCcf_If** ccf, int32_t size, int32_t mode) {
    *ccf = nullptr;
    // A request of 1 would need a transform of two points, which does not exist.
    if (size < 2 || size > kLargestRequest) {
        return kBadArgument;
    }
    CcfPointer created = std::make_unique<CqrtfCcf>();
    created->mode = mode;
    created->size = 1;
    while (created->size < 2 * size) {
        created->size *= 2;
    }
    CqrtfFFT_If* fft;
    if (const int32_t code = Ops().FFTCreate(&fft, created->size, 1, 0)) {
        return code;
    }
    created->fft.reset(fft);
    for (VecPointer& buffer : created->spectrum) {
        buffer = MakeVec(created->size);
    }
    *ccf = created.release();
    return 0;
}

int32_t CcfDestroy(CqrtfCcf_If** ccf) {
    if (*ccf == nullptr) {
        return kBadArgument;
    }
    delete *ccf;
    *ccf = nullptr;
    return 0;
}

int32_t CcfCompute(CqrtfCcf_If* ccf, float* out, const float* a, const float* b, const int32_t lengths[2]) {
    if (ccf == nullptr || a == nullptr || b == nullptr || lengths == nullptr) {
        return kBadArgument;
    }
    const int32_t n = ccf->size;
    if (lengths[0] < 1 || lengths[0] > n || lengths[1] < 1 || lengths[1] > n) {
        return kBadArgument;
    }

    const OperationTable& ops = Ops();
    const int32_t m = std::min(lengths[0], lengths[1]);
    float* const correlation = ccf->spectrum[0].get();
    float* const other = ccf->spectrum[1].get();

    CopyFloats(correlation, a, lengths[0]);
    CopyFloats(other, b, lengths[1]);
    if (lengths[0] < n) {
        ops.VecZero(correlation + lengths[0], n - lengths[0]);
    }
    if (lengths[1] < n) {
        ops.VecZero(other + lengths[1], n - lengths[1]);
    }

    float deviations[2] = {1.0f, 1.0f};
    if (ccf->mode != 0) {
        ops.VecStdDev(correlation, &deviations[0], lengths[0]);
        ops.VecStdDev(other, &deviations[1], lengths[1]);
    }

    ccf->fft->Forward(correlation, correlation);
    ccf->fft->Forward(other, other);
    ops.SpectrumConjugate(other, n);
    ops.SpectrumMul(correlation, other, n / 2);
    ops.VecMulConst(correlation, 1.0f / static_cast<float>(n), n);
    if (ccf->mode != 0) {
        ops.VecMulConst(correlation, 1.0f / (static_cast<float>(m) * deviations[0] * deviations[1]), n);
    }
    ccf->fft->Inverse(correlation, correlation);

    if (out != nullptr) {
        const int32_t total = lengths[0] + lengths[1] - 1;
        const int32_t negativeLags = std::min(m - 1, total);
        CopyFloats(out, correlation + (n - m + 1), negativeLags);
        CopyFloats(out + negativeLags, correlation, total - negativeLags);
    }

    int32_t lag = 0;
    ops.VecMaxIndex(correlation, &ccf->peakValue, &lag, n / 2);
    ccf->peakIndex = (lag - m + 1 + n) % n;
    return 0;
}

}  // namespace mlh
