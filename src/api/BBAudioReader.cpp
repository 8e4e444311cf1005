#include "api/BBAudioReader.h"

#include <algorithm>
#include <cstddef>

namespace {

// Leaves 1.2 dB of headroom above full scale.
constexpr float kFullScale16 = 37268.0f;

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
            std::size_t index = static_cast<std::size_t>(position_) * numChannels_ + c;
            for (int32_t i = 0; i < count; ++i, index += numChannels_) {
                out[i] =
                    samples16_ ? static_cast<float>(samples16_[index]) / kFullScale16 : samples32_[index];
            }
            std::fill(out + count, out + std::max(frames, count), 0.0f);
        }
    }
    position_ += available;
    return available;
}
