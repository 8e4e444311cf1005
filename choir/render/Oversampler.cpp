#include "choir/render/Oversampler.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace mlh::choir {

namespace {

constexpr int32_t kReach = 34;    // samples of the recording to each side
constexpr double kKaiser = 10.6;  // for 105 dB
constexpr int32_t kBlock = 1024;  // outputs that are summed side by side

// The modified Bessel function of the first kind and order 0.
double Bessel(double x) {
    double sum = 1.0, term = 1.0;
    for (int k = 1; term > 1e-17 * sum; ++k) {
        term *= (x / (2.0 * k)) * (x / (2.0 * k));
        sum += term;
    }
    return sum;
}

// sum[n] += tap * in[n]; has the compiler's vectors without reordering any output's sum.
void Accumulate(float* sum, const float* in, float tap, int32_t count) {
    for (int32_t n = 0; n < count; ++n) {
        sum[n] += tap * in[n];
    }
}

}  // namespace

Oversampler::Oversampler(int factor)
    : factor_(std::clamp(factor, 1, 4)), reach_(factor_ == 1 ? 0 : kReach * factor_ - 1) {
    taps_.resize(static_cast<std::size_t>(2 * reach_ + 1));
    const double end = kReach * factor_;
    std::vector<double> wanted(taps_.size());
    for (int32_t d = -reach_; d <= reach_; ++d) {
        const double place = d / end;
        const double window = Bessel(kKaiser * std::sqrt(1.0 - place * place)) / Bessel(kKaiser);
        const double x = std::numbers::pi * d / factor_;
        const double sinc = d == 0 ? 1.0 : d % factor_ == 0 ? 0.0 : std::sin(x) / x;
        wanted[static_cast<std::size_t>(d + reach_)] = factor_ == 1 ? 1.0 : sinc * window;
    }
    // A steady signal comes out at its height in every phase.
    for (int phase = 0; phase < factor_; ++phase) {
        double sum = 0.0;
        for (std::size_t i = static_cast<std::size_t>(phase); i < wanted.size(); i += factor_) {
            sum += wanted[i];
        }
        for (std::size_t i = static_cast<std::size_t>(phase); i < wanted.size(); i += factor_) {
            taps_[i] = static_cast<float>(wanted[i] / sum);
        }
    }
}

double Oversampler::Tap(int32_t distance) const {
    if (distance < -reach_ || distance > reach_) {
        return 0.0;
    }
    return taps_[static_cast<std::size_t>(distance + reach_)];
}

void Oversampler::Up(const float* in, int32_t count, float* out) const {
    if (factor_ == 1) {
        std::copy_n(in + margin(), count, out);
        return;
    }
    std::vector<float> sums(kBlock);
    for (int32_t first = 0; first < count; first += kBlock) {
        const int32_t length = std::min(kBlock, count - first);
        for (int phase = 0; phase < factor_; ++phase) {
            std::fill(sums.begin(), sums.end(), 0.0f);
            // Fine sample n * factor + phase takes the recording's sample n + k with the tap at
            // phase - k * factor.
            for (int32_t k = -margin(); k <= margin(); ++k) {
                const double tap = Tap(phase - k * factor_);
                if (tap == 0.0) {
                    continue;
                }
                Accumulate(sums.data(), in + margin() + first + k, static_cast<float>(tap), length);
            }
            for (int32_t n = 0; n < length; ++n) {
                out[static_cast<std::ptrdiff_t>(first + n) * factor_ + phase] =
                    sums[static_cast<std::size_t>(n)];
            }
        }
    }
}

void Oversampler::Down(const float* in, int32_t count, float* out) const {
    if (factor_ == 1) {
        std::copy_n(in, count, out);
        return;
    }
    // The fine samples are dealt to `factor` rows, so that each tap meets neighbours.
    const int32_t rowLength = kBlock + 2 * reach_ / factor_ + 1;
    std::vector<float> row(static_cast<std::size_t>(rowLength));
    const float share = 1.0f / static_cast<float>(factor_);
    for (int32_t first = 0; first < count; first += kBlock) {
        const int32_t length = std::min(kBlock, count - first);
        float* sums = out + first;
        std::fill_n(sums, length, 0.0f);
        const float* start = in + static_cast<std::ptrdiff_t>(first) * factor_;
        for (int phase = 0; phase < factor_ && phase <= 2 * reach_; ++phase) {
            const int32_t taps = (2 * reach_ - phase) / factor_ + 1;
            for (int32_t i = 0; i < length + taps - 1; ++i) {
                row[static_cast<std::size_t>(i)] = start[static_cast<std::ptrdiff_t>(i) * factor_ + phase];
            }
            for (int32_t k = 0; k < taps; ++k) {
                const float tap = taps_[static_cast<std::size_t>(k * factor_ + phase)] * share;
                if (tap == 0.0f) {
                    continue;
                }
                Accumulate(sums, row.data() + k, tap, length);
            }
        }
    }
}

}  // namespace mlh::choir
