#include "choir/mix/FullScale.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace mlh::choir {

namespace {

constexpr double kEntry = 0.001;          // [s]
constexpr std::ptrdiff_t kLookAhead = 4;  // [entries] long enough that the movement is not heard as a click
constexpr std::ptrdiff_t kHold = 40;      // [entries] so that the gain does not follow single waves

// The largest factor with which `peak` does not exceed full scale.
float GainFor(float peak) {
    if (!(peak > 1.0f)) {
        return 1.0f;
    }
    float gain = 1.0f / peak;
    while (gain * peak > 1.0f) {
        gain = std::nextafter(gain, 0.0f);
    }
    return gain;
}

// The least of values[i - back] to values[i + ahead] for each i; a running minimum (Lemire, 2006).
std::vector<float> Least(const std::vector<float>& values, std::ptrdiff_t back, std::ptrdiff_t ahead) {
    const auto count = static_cast<std::ptrdiff_t>(values.size());
    std::vector<float> least(values.size());
    std::vector<std::ptrdiff_t> rising;  // places whose values may still be the least
    std::size_t first = 0;
    for (std::ptrdiff_t i = -ahead; i < count; ++i) {
        const std::ptrdiff_t next = i + ahead;
        if (next < count) {
            while (rising.size() > first && values[static_cast<std::size_t>(rising.back())] >=
                                                values[static_cast<std::size_t>(next)]) {
                rising.pop_back();
            }
            rising.push_back(next);
        }
        if (i < 0) {
            continue;
        }
        while (rising[first] < i - back) {
            ++first;
        }
        least[static_cast<std::size_t>(i)] = values[static_cast<std::size_t>(rising[first])];
    }
    return least;
}

// The mean over `reach` values to both sides, in doubles that begin afresh for each value: no stretch of
// equal values comes out as anything but this value.
std::vector<float> Averaged(const std::vector<float>& values, std::ptrdiff_t reach) {
    const auto count = static_cast<std::ptrdiff_t>(values.size());
    std::vector<float> means(values.size());
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const std::ptrdiff_t from = std::max<std::ptrdiff_t>(i - reach, 0);
        const std::ptrdiff_t to = std::min(i + reach, count - 1);
        double sum = 0.0;
        for (std::ptrdiff_t k = from; k <= to; ++k) {
            sum += static_cast<double>(values[static_cast<std::size_t>(k)]);
        }
        means[static_cast<std::size_t>(i)] = static_cast<float>(sum / static_cast<double>(to - from + 1));
    }
    return means;
}

}  // namespace

PeakCurve::PeakCurve(int32_t sampleRate)
    : framesPerEntry_(std::max(1, static_cast<int32_t>(kEntry * sampleRate))) {}

void PeakCurve::Add(const float* samples, int32_t frames, int32_t channels) {
    for (int32_t i = 0; i < frames; ++i, ++frames_) {
        float loudest = 0.0f;
        for (int32_t c = 0; c < channels; ++c) {
            const float size = std::fabs(samples[static_cast<std::ptrdiff_t>(i) * channels + c]);
            if (std::isfinite(size)) {
                loudest = std::max(loudest, size);
                above_ += size > 1.0f ? 1 : 0;
            }
        }
        if (frames_ % framesPerEntry_ == 0) {
            entries_.push_back(0.0f);
        }
        entries_.back() = std::max(entries_.back(), loudest);
        peak_ = std::max(peak_, loudest);
    }
}

FullScale::FullScale(float peak) : least_(GainFor(peak)) {}

FullScale::FullScale(const PeakCurve& peaks) : framesPerEntry_(peaks.FramesPerEntry()) {
    if (!(peaks.Peak() > 1.0f)) {
        return;
    }
    std::vector<float> needed;
    for (const float peak : peaks.Entries()) {
        needed.push_back(GainFor(peak));
    }
    // One entry more than the mean reaches: between two entries the gain goes over from one to the other.
    gains_ = Averaged(Least(needed, kHold, kLookAhead + 1), kLookAhead);
    least_ = *std::min_element(gains_.begin(), gains_.end());
}

float FullScale::GainAt(int64_t frame) const {
    const double place = (static_cast<double>(frame) + 0.5) / framesPerEntry_ - 0.5;
    const double whole = std::floor(place);
    const auto last = static_cast<int64_t>(gains_.size()) - 1;
    const auto at = [&](int64_t entry) {
        return static_cast<double>(gains_[static_cast<std::size_t>(std::clamp<int64_t>(entry, 0, last))]);
    };
    const auto entry = static_cast<int64_t>(whole);
    const double before = at(entry);
    return static_cast<float>(before + (place - whole) * (at(entry + 1) - before));
}

void FullScale::Apply(int64_t first, int32_t frames, int32_t channels, float* samples) const {
    if (least_ == 1.0f) {
        return;
    }
    for (int32_t i = 0; i < frames; ++i) {
        const float gain = gains_.empty() ? least_ : GainAt(first + i);
        for (int32_t c = 0; c < channels; ++c) {
            float& sample = samples[static_cast<std::ptrdiff_t>(i) * channels + c];
            sample = std::clamp(sample * gain, -1.0f, 1.0f);
        }
    }
}

}  // namespace mlh::choir
