#pragma once

#include <cstdint>
#include <memory>

#include "dsp/VecMemory.h"

namespace mlh {

struct PaddedSpectrumTables;

/// The magnitudes of the spectrum of a block with zeros after it, the same bits at every processor level:
/// a pitch that is read off the top of a peak must not depend on how a level rounds.
///
/// All levels take the sums and products of the split radix (SplitRadix.h) in its order. The kernels leave
/// out those with zeros.
///
/// An object serves one thread at a time and belongs to the processor level of its creation. It allocates
/// nothing after that.
class PaddedSpectrum {
  public:
    /// given: how many values come; size: values and zeros together. Powers of two, 4 <= given <= size <=
    /// 2^26. Throws std::bad_alloc.
    PaddedSpectrum(int32_t given, int32_t size);

    /// in: `given` values. out: the magnitudes of bins 0 to size / 2 - 1, unscaled; not where `in` is.
    void Compute(float* out, const float* in);

  private:
    using Kernel = void (*)(const PaddedSpectrumTables&, const float*, float*, float*);

    void ComputePlain(float* out, const float* in);

    int32_t given_, size_;
    std::unique_ptr<int32_t[]> bitReversal_;
    VecPointer twiddles_;
    VecPointer work_;
    std::unique_ptr<int32_t[]> order_;  // [size / 16] what PaddedSpectrumTables holds
    Kernel kernel_ = nullptr;
};

}  // namespace mlh
