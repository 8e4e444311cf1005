#include "dsp/Autocorrelation.h"

#include <cmath>

#include "base/Pi.h"
#include "dsp/Dispatch.h"
#include "dsp/SplitRadix.h"

namespace mlh {

namespace {

void PlainLags(float* lags, const float* spectrum, const float* turns, float removed, int32_t n) {
    const float* const cosines = turns;
    const float* const sines = turns + n / 2;
    lags[0] = cosines[0] * spectrum[0] - removed;
    lags[n / 2] = turns[n] * spectrum[1] - removed;
    for (int32_t l = 1; l < n / 2; ++l) {
        const float re = spectrum[2 * l], im = spectrum[2 * l + 1];
        const float alternating = l % 2 == 0 ? removed : -removed;
        lags[l] = cosines[l] * re + sines[l] * im - alternating;
        lags[n - l] = sines[l] * re - cosines[l] * im - alternating;
    }
}

// The sum of in[j] * (-1)^j; n is a multiple of 4.
float AlternatingSum(const float* in, int32_t n) {
    float sums[4] = {};
    for (int32_t j = 0; j < n; j += 4) {
        for (int32_t k = 0; k < 4; ++k) {
            sums[k] += in[j + k];
        }
    }
    return (sums[0] - sums[1]) + (sums[2] - sums[3]);
}

}  // namespace

Autocorrelation::Autocorrelation(int32_t n) : n_(n) {
    InitDispatch(-1);
    power_ = MakeVec(n);
    turns_ = MakeVec(n + 1);
    CqrtfFFT_If* created;
    Ops().FFTCreate(&created, n, 1, 0);
    fft_.reset(created);
    for (int32_t l = 0; l <= n / 2; ++l) {
        const double angle = 2.0 * kPi * l / (4.0 * n);
        turns_[l < n / 2 ? l : n] = static_cast<float>(2.0 * std::cos(angle));
        if (l < n / 2) {
            turns_[n / 2 + l] = static_cast<float>(2.0 * std::sin(angle));
        }
    }
    PrepareKernels(ChosenLevel());
    if (powerSpectrum_ == nullptr) {
        PreparePlain();
    }
}

void Autocorrelation::PrepareKernels(const Level& level) {
    const TransformKernels& kernels = ChosenTransforms(level);
    if (kernels.powerSpectrum == nullptr || 2 * n_ < ShortestFft(4)) {
        return;
    }
    const int32_t lanes = 2 * n_ < ShortestFft(level.lanes) ? 4 : level.lanes;
    const FftPlanSizes sizes = GetQuarterPointPlanSizes(n_, lanes);
    const VecPointer planInit = MakeVec(sizes.init);
    planMemory_ = MakeVec(sizes.tables);
    plan_ = BuildQuarterPointPlan(n_, lanes, planMemory_.get(), planInit.get());
    work_ = MakeVec(sizes.work);
    powerSpectrum_ = kernels.powerSpectrum;
    lags_ = kernels.lags;
}

void Autocorrelation::PreparePlain() {
    lags_ = PlainLags;
    work_ = MakeVec(2 * n_);
    weights_ = MakeVec(2 * n_);
    for (int32_t j = 0; j < n_; ++j) {
        const double angle = -2.0 * kPi * j / (4.0 * n_);
        weights_[j] = static_cast<float>(std::cos(angle));
        weights_[n_ + j] = static_cast<float>(std::sin(angle));
    }
    bitReversal_ = std::make_unique<int32_t[]>(static_cast<size_t>(SplitRadixBitReversalSize(2 * n_)));
    twiddles_ = MakeVec(SplitRadixTwiddleSize(2 * n_));
}

void Autocorrelation::Compute(float* out, const float* in) {
    const float middle = powerSpectrum_ != nullptr ? powerSpectrum_(plan_, in, power_.get(), work_.get())
                                                   : PlainPowerSpectrum(in);
    fft_->Forward(power_.get(), power_.get());
    lags_(out, power_.get(), turns_.get(), middle * middle, n_);
}

// What the kernels do, in plain loops.
float Autocorrelation::PlainPowerSpectrum(const float* in) {
    float* const __restrict points = work_.get();
    const float* const __restrict cosines = weights_.get();
    const float* const __restrict sines = weights_.get() + n_;
    for (int32_t j = 0; j < n_; ++j) {
        points[2 * j] = in[j] * cosines[j];
        points[2 * j + 1] = in[j] * sines[j];
    }
    ComplexSplitRadixForward(points, 2 * n_, bitReversal_.get(), twiddles_.get());
    float* const __restrict powers = power_.get();
    for (int32_t k = 0; k < n_; ++k) {
        powers[k] = points[2 * k] * points[2 * k] + points[2 * k + 1] * points[2 * k + 1];
    }
    return AlternatingSum(in, n_);
}

}  // namespace mlh
