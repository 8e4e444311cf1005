// A recording as the core pulls it: at its own rate or a finer one, and longer by a stretch of silence.
#pragma once

#include <cstdint>
#include <vector>

#include "choir/render/Oversampler.h"
#include "choir/take/AddOn.h"
#include "mlh/addon.h"

namespace mlh::choir {

// The finer samples, made when they are asked for. About a second of them is kept, so that a long recording
// needs no second copy and voices that are rendered side by side share what each of them reads. For one
// thread.
class FineSamples {
  public:
    // The recording's samples and the oversampler must outlive this. `silence` [frames of the recording] is
    // added at the end. Throws Failure for more frames than the core counts.
    FineSamples(const AudioView& audio, const Oversampler& oversampler, int32_t silence);

    int32_t length() const { return length_; }  // [fine frames]
    int32_t channels() const { return audio_.channels; }
    int32_t sampleRate() const { return audio_.sampleRate * oversampler_.factor(); }

    // Copies `frames` fine frames, all of them before the end, to a row for each channel that is not null.
    void Copy(int32_t first, int32_t frames, float* const* rows);

  private:
    struct Block {
        int64_t index = -1;
        std::vector<float> rows[2];
    };
    const Block& BlockOf(int64_t index);
    // Samples of one channel, zeros outside the recording.
    void ReadRow(int32_t channel, int64_t first, std::vector<float>& row) const;

    AudioView audio_;
    const Oversampler& oversampler_;
    int32_t length_;
    std::vector<Block> blocks_;  // block i lies at i modulo their number
    std::vector<float> in_;      // samples of the recording around a block
};

// A place in the fine samples: every voice has its own.
class FineReader final : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    // The samples must outlive the reader.
    explicit FineReader(FineSamples& samples) : samples_(samples) {}

    int32_t SetPosition(int32_t frame) override;
    int32_t Read(float** channels, int32_t frames) override;
    int32_t GetLength() override { return samples_.length(); }
    int32_t GetNumChannels() override { return samples_.channels(); }
    int32_t GetSampleRate() override { return samples_.sampleRate(); }

  private:
    FineSamples& samples_;
    int32_t position_ = 0;
};

}  // namespace mlh::choir
