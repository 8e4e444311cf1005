#include "dsp/HarmonicOperations.h"

#include <algorithm>

namespace mlh::Generic {

// Many maxima run side by side, since one alone would wait for each comparison in turn.
float Largest(const float* bins, int32_t n, float start) {
    constexpr int32_t kLanes = 16;
    float lanes[kLanes];
    std::fill_n(lanes, kLanes, start);
    int32_t i = 0;
    for (; i <= n - kLanes; i += kLanes) {
        for (int32_t l = 0; l < kLanes; ++l) {
            lanes[l] = bins[i + l] > lanes[l] ? bins[i + l] : lanes[l];
        }
    }
    for (; i < n; ++i) {
        lanes[0] = bins[i] > lanes[0] ? bins[i] : lanes[0];
    }
    return *std::max_element(lanes, lanes + kLanes);
}

int32_t FirstLargest(const float* bins, int32_t n) {
    const float largest = Largest(bins, n, 0.0f);
    if (!(largest > 0.0f)) {
        return 0;
    }
    return static_cast<int32_t>(std::find(bins, bins + n, largest) - bins);
}

void AddQuarter(float* bins, float scale, float* spectrum, float spectrumScale, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        spectrum[i] *= spectrumScale;
        bins[i] = bins[i] * scale + 0.25f * spectrum[i];
    }
}

static float Factor(float harmonic, float divisor) { return (harmonic + 0.15f) / divisor; }

void HarmonicProduct(float* product, const float* bins, int32_t n) {
    for (int32_t i = 0; i < n / 3; ++i) {
        product[i] = 2.0f * bins[i] * Factor(bins[2 * i], 2.0f) * Factor(bins[3 * i], 3.0f);
    }
    for (int32_t i = n / 3; i < n / 2; ++i) {
        product[i] = 2.0f * bins[i] * Factor(bins[2 * i], 2.0f) * Factor(0.0f, 3.0f);
    }
    for (int32_t i = n / 2; i < n; ++i) {
        product[i] = 2.0f * bins[i] * Factor(0.0f, 2.0f) * Factor(0.0f, 3.0f);
    }
}

}  // namespace mlh::Generic
