#include "api/BBAudioReader.h"

#include <algorithm>
#include <cstddef>

namespace mlh {

namespace {

// Leaves 1.2 dB of headroom above full scale.
constexpr float kFullScale16 = 37268.0f;

template <class Sample>
void TakeChannel(const Sample* interleaved, int32_t channels, int32_t count, float* out) {
    if (channels == 1) {
        std::copy_n(interleaved, count, out);
    } else {
        for (int32_t i = 0; i < count; ++i) {
            out[i] = interleaved[static_cast<std::size_t>(i) * static_cast<std::size_t>(channels)];
        }
    }
}

}  // namespace

void BBAudioReader::Assign(const int16_t* samples16, const float* samples32, int32_t frames, int32_t channels,
                           int32_t sampleRate) {
    samples16_ = samples16;
    samples32_ = samples32;
    length_ = std::max(frames, 0);
    numChannels_ = channels;
    sampleRate_ = sampleRate;
    position_ = 0;
}

int32_t BBAudioReader::SetPosition(int32_t frame) {
    position_ = std::max(frame, 0);
    return 0;
}

int32_t BBAudioReader::Read(float** channels, int32_t frames) {
    const int32_t available = std::min(frames, length_ - position_);
    if (channels != nullptr && numChannels_ >= 1) {
        const bool silent = samples16_ == nullptr && samples32_ == nullptr;
        const int32_t count = silent ? 0 : std::max(available, 0);
        for (int32_t c = 0; c < numChannels_; ++c) {
            float* out = channels[c];
            if (out == nullptr) continue;
            const std::size_t first = static_cast<std::size_t>(position_) * numChannels_ + c;
            if (samples16_ != nullptr) {
                TakeChannel(samples16_ + first, numChannels_, count, out);
                for (int32_t i = 0; i < count; ++i) out[i] /= kFullScale16;
            } else if (!silent) {
                TakeChannel(samples32_ + first, numChannels_, count, out);
            }
            std::fill(out + count, out + std::max(frames, count), 0.0f);
        }
    }
    position_ += available;
    return available;
}

}  // namespace mlh
