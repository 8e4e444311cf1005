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

PaddedSpectrum::PaddedSpectrum(int32_t given, int32_t size) : given_(given), size_(size) {
    InitDispatch(-1);
    bitReversal_ = std::make_unique<int32_t[]>(static_cast<size_t>(SplitRadixBitReversalSize(size)));
    twiddles_ = MakeVec(SplitRadixTwiddleSize(size));
    FillSplitRadixTables(size, bitReversal_.get(), twiddles_.get());
    work_ = MakeVec(size + kPaddedSpectrumGap);
    if (size != 8 * given || size < kShortest) {
        return;
    }
    kernel_ = ChosenLevel().paddedMagnitudes;
    if (kernel_ == nullptr) {
        return;
    }
    // The given points in reversed order of their bits.
    const int32_t points = given / 2;
    order_ = std::make_unique<int32_t[]>(static_cast<size_t>(points));
    for (int32_t bit = 1; bit < points; bit *= 2) {
        for (int32_t i = 0; i < bit; ++i) {
            order_[bit + i] = order_[i] + points / (2 * bit);
        }
    }
}

void PaddedSpectrum::Compute(float* out, const float* in) {
    if (kernel_ == nullptr) {
        return ComputePlain(out, in);
    }
    kernel_({size_, order_.get(), twiddles_.get()}, in, out, work_.get());
}

void PaddedSpectrum::ComputePlain(float* out, const float* in) {
    float* const block = work_.get();
    std::copy_n(in, given_, block);
    std::fill(block + given_, block + size_, 0.0f);
    RealSplitRadixForward(block, size_, bitReversal_.get(), twiddles_.get());
    Ops().SpectrumMagnitude(out, block, size_ / 2);
}

}  // namespace mlh
