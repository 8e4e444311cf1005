#pragma once

#include <cstdint>
#include <memory>

#include "dsp/Fft.h"
#include "dsp/VecMemory.h"

namespace mlh {

/// The linear cross-correlation of two real signals through one FFT each, and where its largest value stands.
///
///     CqrtfCcf_If* ccf;
///     Ops().CcfCreate(&ccf, 100, 1);           // signals of up to ccf->Size() samples, here 256
///     CcfCompute(ccf, lags, a, b, lengths);
///     Ops().CcfDestroy(&ccf);                  // or CcfPointer
///
/// CcfCreate stores null first and returns 0, or kBadArgument for a size below 2 or above 2^26. Mode 0 is
/// plain, any other value normalised: divided by the shorter length and both deviations. CcfDestroy clears
/// the pointer and returns 0, or kBadArgument for a null pointer.
///
/// An object serves one thread at a time and allocates nothing after its creation.
class CqrtfCcf_If {
  public:
    virtual ~CqrtfCcf_If() = default;

    /// The transform length: the smallest power of two not below twice the requested size.
    int32_t Size() const { return size; }
    int32_t Mode() const { return mode; }
    /// The largest correlation at a lag from 0 to Size()/2 - 1, as of the last CcfCompute.
    float PeakValue() const { return peakValue; }
    /// Its lag less m - 1, m being the shorter length, modulo Size(). Note that this is not its index in
    /// `out`.
    int32_t PeakIndex() const { return peakIndex; }

    CqrtfCcf_If(const CqrtfCcf_If&) = delete;
    CqrtfCcf_If& operator=(const CqrtfCcf_If&) = delete;

  protected:
    CqrtfCcf_If() = default;

    int32_t size = 0;
    VecPointer spectrum[2];
    FFTPointer fft;
    int32_t mode = 0;
    int32_t peakIndex = 0;
    float peakValue = 0.0f;

    friend int32_t CcfCreate(CqrtfCcf_If** ccf, int32_t size, int32_t mode);
    friend int32_t CcfCompute(CqrtfCcf_If* ccf, float* out, const float* a, const float* b,
                              const int32_t lengths[2]);
};

using CcfPointer = std::unique_ptr<CqrtfCcf_If>;

/// Correlates a (lengths[0] samples) with b (lengths[1] samples): lag p is the sum of a[j + p] * b[j].
/// out: null, or lengths[0] + lengths[1] - 1 floats, from lag -(m - 1) up, m being the shorter length.
/// Returns 0, or kBadArgument with nothing done for a null object or signal, or a length out of 1 to Size().
int32_t CcfCompute(CqrtfCcf_If* ccf, float* out, const float* a, const float* b, const int32_t lengths[2]);

/// The table entries, the same at all levels.
int32_t CcfCreate(CqrtfCcf_If** ccf, int32_t size, int32_t mode);
int32_t CcfDestroy(CqrtfCcf_If** ccf);

}  // namespace mlh
