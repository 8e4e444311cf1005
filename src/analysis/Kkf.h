// A cross-correlator of one size that looks for the lag at which two stretches of a signal agree.
#pragma once

#include <cstdint>

#include "dsp/CrossCorrelation.h"
#include "dsp/VecMemory.h"

namespace mlh::qrtSPAdapter {

// An object serves one thread and allocates only in Configure.
class CKKF {
  public:
    CKKF() = default;
    virtual ~CKKF() = default;
    CKKF(const CKKF&) = delete;
    CKKF& operator=(const CKKF&) = delete;

    // Prepares for signals of up to size / 2 samples each. Returns 0, the code of CcfCreate, or kOutOfMemory
    // without memory.
    virtual int32_t Configure(int32_t size);

    // Correlates a with b, which must not be the shorter one. Lag p, at GetOutput()[size / 2 + p], is the sum
    // of a[n + p] * b[n] times size. So where b is a taken `d` samples later, a signal of period P peaks at
    // lag d - P. Returns 0, or kBadArgument with nothing done for lengths that do not fit.
    int32_t Correlate(const float* a, int32_t lenA, const float* b, int32_t lenB);

    // The lag of the largest positive value around lag `centre`, `radius` to each side; `centre` itself where
    // none is positive. A search that would leave -maxLag .. maxLag at one end is moved inside as a whole;
    // radius must not exceed maxLag + 1, and 2 * (maxLag + 1) not GetSize() / 2.
    //
    // Values are compared after rounding to a grid of 0.0001, and of equal ones the lowest lag wins: noise in
    // the last bits does not pull the result to and fro on a flat top.
    int32_t FindPeak(int32_t maxLag, int32_t centre, int32_t radius) const;

    // What Correlate and FindPeak find for two signals of this length, which is above maxLag + 1 and at most
    // size / 2. Where the lags to be searched are few against the size, they alone are correlated, each as a
    // sum in the time domain: that is cheaper, and has the same bits at all processor levels, so that the
    // same lag wins. The other lags of the output are then left as they were. Signals that hold what is not a
    // finite number go through the transforms, which leave no lag a number: the centre is the answer.
    int32_t FindLag(const float* a, const float* b, int32_t length, int32_t maxLag, int32_t centre,
                    int32_t radius);

    int32_t GetSize() const { return size_; }
    const float* GetOutput() const { return output_.get(); }

  private:
    struct LagRange {
        int32_t first, last;
    };
    static LagRange SearchedLags(int32_t maxLag, int32_t centre, int32_t radius);
    void CorrelateLags(const float* a, const float* b, int32_t length, LagRange lags);

    int32_t size_ = 0;
    CcfPointer ccf_;
    VecPointer output_;
};

}  // namespace mlh::qrtSPAdapter
