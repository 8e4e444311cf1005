#include "dsp/VoiceOperations.h"

#include "dsp/Dispatch.h"
#include "dsp/kernels/Kernels.h"

namespace mlh {

namespace {

void AddGrain(float* dst, const float* x, const float* window, float gain, int32_t n) {
    for (int32_t i = 0; i < n; ++i) dst[i] += x[i] * (window[i] * gain);
}

void WriteGrain(float* dst, const float* x, const float* window, float gain, int32_t n) {
    for (int32_t i = 0; i < n; ++i) dst[i] = (1.0f - window[i]) * gain * x[i];
}

int16_t To16(float sample) {
    if (sample >= 1.0f) return 32767;
    if (sample <= -1.0f) return -32767;
    if (sample != sample) return 0;
    return static_cast<int16_t>(sample * 32767.0);
}

void MixTo16(int16_t* out, int32_t stride, const float* const* rows, const double* gains, int32_t rowCount,
             int32_t frames) {
    for (int32_t i = 0; i < frames; ++i) {
        float sum = static_cast<float>(rows[0][i] * gains[0]);
        for (int32_t r = 1; r < rowCount; ++r) sum = static_cast<float>(sum + rows[r][i] * gains[r]);
        *out = To16(sum);
        out += stride;
    }
}

constexpr VoiceOperations generic{AddGrain, WriteGrain, MixTo16};

#ifdef MLH_KERNELS
template <int32_t level>
constexpr VoiceOperations kernels{VoiceKernels<level>::AddGrain, VoiceKernels<level>::WriteGrain,
                                  VoiceKernels<level>::MixTo16};
#endif

}  // namespace

const VoiceOperations& VoiceOps() {
#ifdef MLH_KERNELS
    const int32_t level = CurrentLevel();
    if (level >= 6) return kernels<6>;
    if (level >= 5) return kernels<5>;
    if (level >= 3) return kernels<3>;
#endif
    return generic;
}

}  // namespace mlh
