// A recording as the core pulls it: at its own rate or a finer one, and longer by a stretch of silence.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "choir/render/Oversampler.h"
#include "choir/take/AddOn.h"
#include "mlh/addon.h"

namespace mlh::choir {

// Makes the finer samples when they are asked for and keeps some blocks of them, so that a long recording
// needs no second copy. Those who read along the recording have each block made once; each voice has a reader
// of its own.
class FineReader final : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    // The recording's samples and the oversampler must outlive the reader. `silence` [frames of the
    // recording] is added at the end.
    FineReader(const AudioView& audio, const Oversampler& oversampler, int32_t silence);

    int32_t SetPosition(int32_t frame) override;
    int32_t Read(float** channels, int32_t frames) override;
    int32_t GetLength() override { return length_; }
    int32_t GetNumChannels() override { return audio_.channels; }
    int32_t GetSampleRate() override { return audio_.sampleRate * oversampler_.factor(); }

  private:
    struct Block {
        int64_t index = -1;
        std::vector<float> rows[2];
    };
    const Block& BlockOf(int64_t index);

    AudioView audio_;
    const Oversampler& oversampler_;
    int32_t length_;  // fine frames
    int32_t position_ = 0;
    std::array<Block, 4> blocks_;
    std::vector<float> in_[2];  // samples of the recording around a block
};

}  // namespace mlh::choir
