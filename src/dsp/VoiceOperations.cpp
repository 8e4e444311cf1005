#include "dsp/VoiceOperations.h"

namespace mlh::Generic {

void AddGrain(float* dst, const float* x, const float* window, float gain, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] += x[i] * (window[i] * gain);
    }
}

void WriteGrain(float* dst, const float* x, const float* window, float gain, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = (1.0f - window[i]) * gain * x[i];
    }
}

static int16_t To16(float sample) {
    if (sample >= 1.0f) {
        return 32767;
    }
    if (sample <= -1.0f) {
        return -32767;
    }
    if (sample != sample) {
        return 0;
    }
    return static_cast<int16_t>(sample * 32767.0);
}

void MixTo16(int16_t* out, int32_t stride, const float* const* rows, const double* gains, int32_t rowCount,
             int32_t frames) {
    for (int32_t i = 0; i < frames; ++i) {
        float sum = static_cast<float>(rows[0][i] * gains[0]);
        for (int32_t r = 1; r < rowCount; ++r) {
            sum = static_cast<float>(sum + rows[r][i] * gains[r]);
        }
        *out = To16(sum);
        out += stride;
    }
}

}  // namespace mlh::Generic
