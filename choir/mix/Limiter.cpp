#include "choir/mix/Limiter.h"

#include <algorithm>
#include <cmath>

namespace mlh::choir {

namespace {

constexpr double kLookAhead = 0.004;  // [s] long enough that the gain's movement is not heard as a click
constexpr double kHold =
    0.040;  // [s] about a period of the lowest voice, so that the gain does not follow waves

}  // namespace

Limiter::Limiter(int32_t channels, double sampleRate, float ceiling)
    : channels_(channels),
      ceiling_(ceiling),
      lookAhead_(std::max(1, static_cast<int32_t>(kLookAhead * sampleRate))),
      hold_(std::max(1, static_cast<int32_t>(kHold * sampleRate))),
      delayed_(static_cast<std::size_t>(lookAhead_) * static_cast<std::size_t>(channels), 0.0f),
      minima_(static_cast<std::size_t>(lookAhead_) + static_cast<std::size_t>(hold_) + 1),
      averaged_(static_cast<std::size_t>(lookAhead_), 1.0f),
      sum_(lookAhead_) {}

// The least gain of the last lookAhead_ + hold_ frames (Lemire, 2006).
float Limiter::HeldGain(float needed) {
    const std::size_t size = minima_.size();
    while (minimumCount_ > 0 && minima_[(firstMinimum_ + minimumCount_ - 1) % size].gain >= needed) {
        --minimumCount_;
    }
    minima_[(firstMinimum_ + minimumCount_) % size] = {frame_, needed};
    ++minimumCount_;
    while (minima_[firstMinimum_].frame + lookAhead_ + hold_ <= frame_) {
        firstMinimum_ = (firstMinimum_ + 1) % size;
        --minimumCount_;
    }
    return minima_[firstMinimum_].gain;
}

void Limiter::Process(const float* in, float* out, int32_t frames) {
    for (int32_t i = 0; i < frames; ++i, ++frame_) {
        float loudest = 0.0f;
        const auto slot = static_cast<std::size_t>(frame_ % lookAhead_);
        float* const ring = delayed_.data() + slot * static_cast<std::size_t>(channels_);
        float came[2] = {};
        for (int32_t c = 0; c < channels_; ++c) {
            const float sample = in[static_cast<std::ptrdiff_t>(i) * channels_ + c];
            came[c] = std::isfinite(sample) ? sample : 0.0f;
            loudest = std::max(loudest, std::fabs(came[c]));
            above_ += std::fabs(came[c]) > ceiling_ ? 1 : 0;
        }
        peak_ = std::max(peak_, loudest);
        const float held = HeldGain(loudest > ceiling_ ? ceiling_ / loudest : 1.0f);
        sum_ += static_cast<double>(held) - static_cast<double>(averaged_[slot]);
        averaged_[slot] = held;
        const auto gain = static_cast<float>(std::min(sum_ / lookAhead_, 1.0));
        for (int32_t c = 0; c < channels_; ++c) {
            const float limited = ring[c] * gain;
            out[static_cast<std::ptrdiff_t>(i) * channels_ + c] = std::clamp(limited, -ceiling_, ceiling_);
            ring[c] = came[c];
        }
    }
}

}  // namespace mlh::choir
