#include "dsp/Fft.h"

#include <cstring>

#include "base/Codes.h"
#include "dsp/Dispatch.h"
#include "dsp/FftWindow.h"
#include "dsp/SplitRadix.h"

namespace mlh {

namespace {

constexpr int64_t kLargestSize = int64_t{1} << 30;

// Copies one block into the transform buffer, which may be the same, windows it and pads it with zeros.
void LoadBlock(float* buffer, const float* in, const float* window, int32_t windowLength, int32_t fftSize,
               int32_t windowType) {
    const size_t count = static_cast<size_t>(windowLength);
    if (buffer != in) {
        std::memmove(buffer, in, count * sizeof(float));
    }
    if (fftSize > windowLength) {
        Ops().VecZero(buffer + windowLength, fftSize - windowLength);
    }
    if (windowType != 0) {
        Ops().VecMul(buffer, window, windowLength);
    }
}

bool IsPowerOfTwo(int32_t n) { return n > 0 && (n & (n - 1)) == 0; }

}  // namespace

CqrtfFFTGen::CqrtfFFTGen(int32_t windowLength, int32_t zeroPadFactor, int32_t windowType)
    : fftSize_(windowLength * zeroPadFactor), windowLength_(windowLength), windowType_(windowType) {}

void CqrtfFFTGen::Init() {
    window_ = MakeVec(windowLength_);
    bitReversal_ = std::make_unique<int32_t[]>(static_cast<size_t>(SplitRadixBitReversalSize(fftSize_)));
    twiddles_ = MakeVec(SplitRadixTwiddleSize(fftSize_));
    work_ = MakeVec(fftSize_);
    FillWindow(window_.get(), windowLength_, windowType_);
    status_ |= PrepareKernel();
}

int32_t CqrtfFFTGen::Forward(float* out, const float* in) {
    LoadBlock(out, in, window_.get(), windowLength_, fftSize_, windowType_);
    RealSplitRadixForward(out, fftSize_, bitReversal_.get(), twiddles_.get());
    return 0;
}

int32_t CqrtfFFTGen::Inverse(float* out, const float* in) {
    // The spectrum is copied in any case, so that it may stand in `out`.
    std::memcpy(work_.get(), in, static_cast<size_t>(fftSize_) * sizeof(float));
    RealSplitRadixInverse(work_.get(), fftSize_, bitReversal_.get(), twiddles_.get());
    // The split radix delivers half of what the kernels do.
    for (int32_t i = 0; i < windowLength_; ++i) {
        out[i] = 2.0f * work_[static_cast<size_t>(i)];
    }
    return 0;
}

#ifdef MLH_KERNELS

namespace {

// The widest vectors that the level has and the length is long enough for; 0 where none are.
int32_t LanesFor(const Level& level, int32_t fftSize) {
    if (fftSize >= ShortestFft(level.lanes)) {
        return level.lanes;
    }
    return fftSize >= ShortestFft(4) ? 4 : 0;
}

}  // namespace

template <int32_t level>
CqrtfFFTKernel<level>::CqrtfFFTKernel(int32_t windowLength, int32_t zeroPadFactor, int32_t windowType)
    : fftSize_(windowLength * zeroPadFactor), windowLength_(windowLength), windowType_(windowType) {}

template <int32_t level>
void CqrtfFFTKernel<level>::Init() {
    window_ = MakeVec(windowLength_);
    work_ = MakeVec(fftSize_);
    FillWindow(window_.get(), windowLength_, windowType_);
    status_ |= PrepareKernel();
}

template <int32_t level>
int32_t CqrtfFFTKernel<level>::PrepareKernel() {
    const Level& record = FindLevel(level);
    const int32_t lanes = LanesFor(record, fftSize_);
    if (lanes == 0) {
        small_ = std::make_unique<CqrtfFFTGen>(windowLength_, fftSize_ / windowLength_, windowType_);
        small_->Init();
        return 0;
    }
    const FftPlanSizes sizes = GetFftPlanSizes(fftSize_, lanes);
    planMemory_ = MakeVec(sizes.tables);
    planInit_ = MakeVec(sizes.init);
    planWork_ = MakeVec(sizes.work);
    plan_ = std::make_unique<FftPlan>(BuildFftPlan(fftSize_, lanes, planMemory_.get(), planInit_.get()));
    const TransformKernels& kernels = ChosenTransforms(record);
    forward_ = kernels.forward;
    inverse_ = kernels.inverse;
    return 0;
}

template <int32_t level>
void CqrtfFFTKernel<level>::ReleaseKernel() {
    small_.reset();
    plan_.reset();
    planWork_.reset();
    planInit_.reset();
    planMemory_.reset();
}

template <int32_t level>
int32_t CqrtfFFTKernel<level>::Forward(float* out, const float* in) {
    if (small_ != nullptr) {
        return small_->Forward(out, in);
    }
    // A block that is taken as it stands needs no copy.
    const float* block = in;
    if (windowType_ != 0 || windowLength_ != fftSize_) {
        LoadBlock(work_.get(), in, window_.get(), windowLength_, fftSize_, windowType_);
        block = work_.get();
    }
    forward_(*plan_, block, out, planWork_.get());
    return 0;
}

template <int32_t level>
int32_t CqrtfFFTKernel<level>::Inverse(float* out, const float* in) {
    if (small_ != nullptr) {
        return small_->Inverse(out, in);
    }
    float* const block = windowLength_ == fftSize_ ? out : work_.get();
    inverse_(*plan_, in, block, planWork_.get());
    if (block != out) {
        std::memcpy(out, block, static_cast<size_t>(windowLength_) * sizeof(float));
    }
    return 0;
}

#endif

template <class FFT>
int32_t FFTCreate(CqrtfFFT_If** fft, int32_t windowLength, int32_t zeroPadFactor, int32_t windowType) {
    *fft = nullptr;
    if (!IsPowerOfTwo(windowLength) || windowLength % 4 != 0 || !IsPowerOfTwo(zeroPadFactor)) {
        return kBadArgument;
    }
    if (int64_t{windowLength} * zeroPadFactor > kLargestSize) {
        return kBadArgument;
    }
    FFTPointer created = std::make_unique<FFT>(windowLength, zeroPadFactor, windowType);
    created->Init();
    *fft = created.release();
    return 0;
}

template <class FFT>
int32_t FFTDestroy(CqrtfFFT_If** fft) {
    if (dynamic_cast<FFT*>(*fft) == nullptr) {
        return kBadArgument;
    }
    delete *fft;
    *fft = nullptr;
    return 0;
}

template int32_t FFTCreate<CqrtfFFTGen>(CqrtfFFT_If**, int32_t, int32_t, int32_t);
template int32_t FFTDestroy<CqrtfFFTGen>(CqrtfFFT_If**);

#ifdef MLH_KERNELS
template class CqrtfFFTKernel<3>;
template class CqrtfFFTKernel<4>;
template class CqrtfFFTKernel<5>;
template class CqrtfFFTKernel<6>;

template int32_t FFTCreate<CqrtfFFTSSE2>(CqrtfFFT_If**, int32_t, int32_t, int32_t);
template int32_t FFTCreate<CqrtfFFTSSE3>(CqrtfFFT_If**, int32_t, int32_t, int32_t);
template int32_t FFTCreate<CqrtfFFTSSE4>(CqrtfFFT_If**, int32_t, int32_t, int32_t);
template int32_t FFTCreate<CqrtfFFTAVX>(CqrtfFFT_If**, int32_t, int32_t, int32_t);
template int32_t FFTDestroy<CqrtfFFTSSE2>(CqrtfFFT_If**);
template int32_t FFTDestroy<CqrtfFFTSSE3>(CqrtfFFT_If**);
template int32_t FFTDestroy<CqrtfFFTSSE4>(CqrtfFFT_If**);
template int32_t FFTDestroy<CqrtfFFTAVX>(CqrtfFFT_If**);
#endif

}  // namespace mlh
