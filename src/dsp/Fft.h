#pragma once

#include <cstdint>
#include <memory>

#include "dsp/FftPlan.h"
#include "dsp/VecMemory.h"

namespace mlh {

/// A windowed real FFT, made and destroyed through the operation table:
///
///     CqrtfFFT_If* fft;
///     int32_t code = Ops().FFTCreate(&fft, windowLength, zeroPadFactor, windowType);
///     fft->Forward(spectrum, samples);
///     Ops().FFTDestroy(&fft);
///
/// FFTCreate stores null first and returns 0, or kBadArgument unless windowLength is a power of two of at
/// least 4 and zeroPadFactor one of at least 1 (and their product at most 2^30). FFTDestroy clears the
/// pointer and returns 0, or kBadArgument with nothing done for a null pointer or an object of another level.
/// Deleting the object is always right, whatever the level is now: FFTPointer does that.
///
/// Spectra are packed (see OperationTable.h) and have fftSize = windowLength * zeroPadFactor floats. Nothing
/// is scaled: Inverse(Forward(x)) is fftSize * x. An object serves one thread at a time and allocates nothing
/// after its creation.
///
/// | windowType | window of n = windowLength values, i = 0 .. n - 1                          |
/// |------------|----------------------------------------------------------------------------|
/// | 0          | 1 (not multiplied)                                                         |
/// | 1          | sin(pi (i + 1) / (n + 1))                                                  |
/// | 2          | (1 - cos(2 pi (i + 1) / (n + 1))) / 2                                      |
/// | 3          | 0.54 - 0.46 cos(2 pi i / (n - 1))                                          |
/// | 4          | 0.42 - 0.5 cos(2 pi i / (n - 1)) + 0.08 cos(4 pi i / (n - 1))              |
/// | 5          | triangle, 0 at both ends                                                   |
/// | 6          | its square                                                                 |
/// | 7          | 0                                                                          |
/// | other      | left as allocated, all 0                                                   |
class CqrtfFFT_If {
  public:
    /// X[k] = sum of x[j] exp(-2 pi i j k / fftSize) over the windowed, zero-padded block.
    /// in: windowLength samples; out: fftSize floats; they may be the same buffer.
    virtual int32_t Forward(float* out, const float* in) = 0;
    /// in: packed spectrum of fftSize floats; out: the first windowLength samples; they may be the same
    /// buffer.
    virtual int32_t Inverse(float* out, const float* in) = 0;
    /// Builds the plan of the level; run by Init. 0, or a code that goes into the status.
    virtual int32_t PrepareKernel() = 0;
    /// Frees what PrepareKernel allocated.
    virtual void ReleaseKernel() = 0;
    /// Allocates the buffers, fills the window and prepares the kernel; run by FFTCreate.
    virtual void Init() = 0;
    virtual ~CqrtfFFT_If() = default;
};

using FFTPointer = std::unique_ptr<CqrtfFFT_If>;

/// Level 0: a split-radix transform in place.
class CqrtfFFTGen final : public CqrtfFFT_If {
  public:
    CqrtfFFTGen(int32_t windowLength, int32_t zeroPadFactor, int32_t windowType);
    CqrtfFFTGen(const CqrtfFFTGen&) = delete;
    CqrtfFFTGen& operator=(const CqrtfFFTGen&) = delete;

    int32_t Forward(float* out, const float* in) override;
    int32_t Inverse(float* out, const float* in) override;
    int32_t PrepareKernel() override { return 0; }
    void ReleaseKernel() override {}
    void Init() override;
    ~CqrtfFFTGen() override = default;

  private:
    int32_t fftSize_;
    int32_t windowLength_;
    VecPointer window_;
    int32_t status_ = 0;
    std::unique_ptr<int32_t[]> bitReversal_;  // see SplitRadix.h; filled by the first transform
    VecPointer twiddles_;
    VecPointer work_;
    int32_t windowType_;
};

/// Levels 3 to 6: the transform of the level's kernels.
template <int32_t level>
class CqrtfFFTKernel final : public CqrtfFFT_If {
  public:
    CqrtfFFTKernel(int32_t windowLength, int32_t zeroPadFactor, int32_t windowType);
    CqrtfFFTKernel(const CqrtfFFTKernel&) = delete;
    CqrtfFFTKernel& operator=(const CqrtfFFTKernel&) = delete;

    int32_t Forward(float* out, const float* in) override;
    int32_t Inverse(float* out, const float* in) override;
    int32_t PrepareKernel() override;
    void ReleaseKernel() override;
    void Init() override;
    ~CqrtfFFTKernel() override = default;

  private:
    using Kernel = void (*)(const FftPlan& plan, const float* in, float* out, float* work);

    int32_t fftSize_;
    int32_t windowLength_;
    VecPointer window_;
    int32_t status_ = 0;
    std::unique_ptr<FftPlan> plan_;
    VecPointer planWork_;
    VecPointer planInit_;
    VecPointer planMemory_;
    VecPointer work_;
    int32_t windowType_;
    Kernel forward_ = nullptr;
    Kernel inverse_ = nullptr;
    std::unique_ptr<CqrtfFFTGen> small_;  // instead of a plan, where the vectors are too wide for the length
};

using CqrtfFFTSSE2 = CqrtfFFTKernel<3>;
using CqrtfFFTSSE3 = CqrtfFFTKernel<4>;
using CqrtfFFTSSE4 = CqrtfFFTKernel<5>;
using CqrtfFFTAVX = CqrtfFFTKernel<6>;

/// The table entries of a level whose class is `FFT`.
template <class FFT>
int32_t FFTCreate(CqrtfFFT_If** fft, int32_t windowLength, int32_t zeroPadFactor, int32_t windowType);
template <class FFT>
int32_t FFTDestroy(CqrtfFFT_If** fft);

}  // namespace mlh
