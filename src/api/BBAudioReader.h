// The reader that the exports build over the host's samples.
#pragma once

#include <cstdint>

#include "mlh/addon.h"

namespace mlh {

// Reads interleaved 16-bit or float samples in the host's memory, which it does not own. At most one of
// the two sample pointers is set; with neither, the recording is silence.
class BBAudioReader : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    // Starts over with other samples at position 0. A negative length counts as 0.
    void Assign(const int16_t* samples16, const float* samples32, int32_t frames, int32_t channels,
                int32_t sampleRate);

    // Stores the frame, a negative one as 0. There is no upper limit. Returns 0.
    int32_t SetPosition(int32_t frame) override;

    // Fills `frames` samples of each channel whose pointer is not null, with zeros behind the end, and
    // moves on. Returns the frames that came from the recording: `frames` but at its end, and below 0
    // (moving the position back) behind it. With null `channels` it only moves.
    int32_t Read(float** channels, int32_t frames) override;

    int32_t GetLength() override { return length_; }
    int32_t GetNumChannels() override { return numChannels_; }
    int32_t GetSampleRate() override { return sampleRate_; }

  private:
    const int16_t* samples16_ = nullptr;
    const float* samples32_ = nullptr;
    int32_t length_ = 0;
    int32_t numChannels_ = 0;
    int32_t sampleRate_ = 0;
    int32_t position_ = 0;
};

}  // namespace mlh
