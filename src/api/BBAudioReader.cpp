#include "api/BBAudioReader.h"

namespace mlh {

namespace {

// Leaves 1.2 dB of headroom above full scale.
constexpr float kFullScale16 = 37268.0f;

}  // namespace

void BBAudioReader::Assign(const int16_t* samples16, const float* samples32, int32_t frames, int32_t channels,
                           int32_t sampleRate) {
    MemoryReader::Assign(samples32, frames, channels, sampleRate);
    samples16_ = samples16;
}

void BBAudioReader::TakeChannel(int32_t channel, int32_t first, int32_t count, float* out) const {
    if (samples16_ == nullptr) {
        MemoryReader::TakeChannel(channel, first, count, out);
        return;
    }
    CopyChannel(samples16_, channel, first, count, out);
    for (int32_t i = 0; i < count; ++i) {
        out[i] /= kFullScale16;
    }
}

}  // namespace mlh
