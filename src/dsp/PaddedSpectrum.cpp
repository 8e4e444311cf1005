#include "dsp/PaddedSpectrum.h"

#include <algorithm>

#include "dsp/Dispatch.h"
#include "dsp/SplitRadix.h"
#include "dsp/kernels/Kernels.h"

namespace mlh {

namespace {

// The kernels take the eighth of a block that is given, and no transform below 16 points.
constexpr int32_t kShortest = 32;

}  // namespace

PaddedSpectrum::PaddedSpectrum(int32_t given, int32_t size) : given(given), size(size) {
    InitDispatch(-1);
    bitReversal = std::make_unique<int32_t[]>(static_cast<size_t>(SplitRadixBitReversalSize(size)));
    twiddles = MakeVec(SplitRadixTwiddleSize(size));
    FillSplitRadixTables(size, bitReversal.get(), twiddles.get());
    work = MakeVec(size + kPaddedSpectrumGap);
    if (size != 8 * given || size < kShortest) return;
    kernel = ChosenLevel().paddedMagnitudes;
    if (kernel == nullptr) return;
    // The given points in reversed order of their bits.
    const int32_t points = given / 2;
    order = std::make_unique<int32_t[]>(static_cast<size_t>(points));
    for (int32_t bit = 1; bit < points; bit *= 2) {
        for (int32_t i = 0; i < bit; ++i) order[bit + i] = order[i] + points / (2 * bit);
    }
}

void PaddedSpectrum::Compute(float* out, const float* in) {
    if (kernel == nullptr) return ComputePlain(out, in);
    kernel({size, order.get(), twiddles.get()}, in, out, work.get());
}

void PaddedSpectrum::ComputePlain(float* out, const float* in) {
    float* const block = work.get();
    std::copy_n(in, given, block);
    std::fill(block + given, block + size, 0.0f);
    RealSplitRadixForward(block, size, bitReversal.get(), twiddles.get());
    Ops().SpectrumMagnitude(out, block, size / 2);
}

}  // namespace mlh
