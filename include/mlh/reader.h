// A reader over samples in memory: what most hosts of addon.h need.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "mlh/addon.h"

namespace mlh {

// Reads interleaved floats in the host's memory, which must stay valid and unchanged. Hosts may derive from
// it to watch the reading or to keep their samples in another format.
class MemoryReader : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    MemoryReader() = default;
    // `frames` * `channels` samples; a negative length counts as 0. Null is silence.
    MemoryReader(const float* samples, int32_t frames, int32_t channels, int32_t sampleRate) {
        Assign(samples, frames, channels, sampleRate);
    }

    // Starts again with other samples at position 0.
    void Assign(const float* samples, int32_t frames, int32_t channels, int32_t sampleRate) {
        samples_ = samples;
        length_ = std::max(frames, 0);
        numChannels_ = channels;
        sampleRate_ = sampleRate;
        position_ = 0;
    }

    // Stores the frame, a negative one as 0. There is no upper limit. Returns 0.
    int32_t SetPosition(int32_t frame) override {
        position_ = std::max(frame, 0);
        return 0;
    }

    // Fills `frames` samples of each channel whose pointer is not null, with zeros past the end, and moves
    // on. Returns the frames that came from the recording: `frames` but at its end, and below 0 (moving the
    // position back) past it. With null `channels` it only moves.
    int32_t Read(float** channels, int32_t frames) override {
        const int32_t available = std::min(frames, length_ - position_);
        const int32_t count = std::max(available, 0);
        for (int32_t c = 0; channels != nullptr && c < numChannels_; ++c) {
            if (channels[c] == nullptr) {
                continue;
            }
            TakeChannel(c, position_, count, channels[c]);
            std::fill(channels[c] + count, channels[c] + std::max(frames, count), 0.0f);
        }
        position_ += available;
        return available;
    }

    int32_t GetLength() override { return length_; }
    int32_t GetNumChannels() override { return numChannels_; }
    int32_t GetSampleRate() override { return sampleRate_; }
    int32_t GetPosition() const { return position_; }  // of the next frame

  protected:
    // Writes `count` samples of a channel from frame `first` on. All of them are inside the recording.
    virtual void TakeChannel(int32_t channel, int32_t first, int32_t count, float* out) const {
        if (samples_ == nullptr) {
            std::fill_n(out, count, 0.0f);
        } else {
            CopyChannel(samples_, channel, first, count, out);
        }
    }

    // One channel of interleaved samples of any type.
    template <class Sample>
    void CopyChannel(const Sample* samples, int32_t channel, int32_t first, int32_t count, float* out) const {
        const auto stride = static_cast<std::size_t>(numChannels_);
        const Sample* in =
            samples + static_cast<std::size_t>(first) * stride + static_cast<std::size_t>(channel);
        if (stride == 1) {
            std::copy_n(in, count, out);
        } else {
            for (int32_t i = 0; i < count; ++i) {
                out[i] = static_cast<float>(in[static_cast<std::size_t>(i) * stride]);
            }
        }
    }

  private:
    const float* samples_ = nullptr;
    int32_t length_ = 0;
    int32_t numChannels_ = 0;
    int32_t sampleRate_ = 0;
    int32_t position_ = 0;
};

}  // namespace mlh
