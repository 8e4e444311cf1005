// Measures of sound that know nothing of pitch marks.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace mlh {

// Loudest difference between samples `from` and `to` against the loudest sample of `b` there [dB].
inline double DifferenceDecibels(const std::vector<float>& a, const std::vector<float>& b, int32_t from,
                                 int32_t to) {
    double difference = 0.0, peak = 0.0;
    for (int32_t i = from; i < to; ++i) {
        difference = std::max(difference, std::abs(static_cast<double>(a[i]) - b[i]));
        peak = std::max(peak, std::abs(static_cast<double>(b[i])));
    }
    return 20.0 * std::log10(std::max(difference, 1e-30) / std::max(peak, 1e-30));
}

// The period [samples, with fraction] of `window` samples from `start` on by normalised autocorrelation; 0
// where nothing repeats at least that well (1 is perfectly). Of all lags that come near the best the shortest
// counts, so that a period is not taken for two.
inline double TrackPeriod(const std::vector<float>& samples, int32_t start, int32_t window, int32_t shortest,
                          int32_t longest, double leastLikeness = 0.0) {
    std::vector<double> score(static_cast<size_t>(longest) + 2, -1.0);
    for (int32_t lag = shortest; lag <= longest + 1; ++lag) {
        double cross = 0.0, a = 0.0, b = 0.0;
        for (int32_t i = start; i < start + window; ++i) {
            cross += static_cast<double>(samples[i]) * samples[i + lag];
            a += static_cast<double>(samples[i]) * samples[i];
            b += static_cast<double>(samples[i + lag]) * samples[i + lag];
        }
        score[lag] = cross / std::sqrt(a * b + 1e-12);
    }
    const double best = *std::max_element(score.begin(), score.end());
    if (best < leastLikeness) {
        return 0.0;
    }
    for (int32_t lag = shortest + 1; lag <= longest; ++lag) {
        const double before = score[lag - 1], here = score[lag], after = score[lag + 1];
        if (here < 0.93 * best || here < before || here < after) {
            continue;
        }
        const double curve = before - 2.0 * here + after;
        return lag + (curve < 0.0 ? 0.5 * (before - after) / curve : 0.0);
    }
    return 0.0;
}

}  // namespace mlh
