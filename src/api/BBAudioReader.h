// The reader that the exports build over the host's samples.
#pragma once

#include <cstdint>

#include "mlh/reader.h"

namespace mlh {

// Reads interleaved 16-bit or float samples in the host's memory, which it does not own. At most one of
// the two sample pointers is set; with neither, the recording is silence.
class BBAudioReader final : public MemoryReader {
  public:
    // Starts again with other samples at position 0. A negative length counts as 0.
    void Assign(const int16_t* samples16, const float* samples32, int32_t frames, int32_t channels,
                int32_t sampleRate);

  protected:
    void TakeChannel(int32_t channel, int32_t first, int32_t count, float* out) const override;

  private:
    const int16_t* samples16_ = nullptr;
};

}  // namespace mlh
