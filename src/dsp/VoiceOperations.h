#pragma once

#include <cstdint>
#include <type_traits>

namespace mlh {

/// The loops over every sample that a voice goes through, from grain to 16 bits. Like the operation table,
/// there is one set per processor level; all of them give the same bits, whatever the alignment. Counts may
/// be 0.
///
///     VoiceOps().AddGrain(left, x, rising, gain, length);
struct VoiceOperations {
    /// dst[i] += x[i] * (window[i] * gain). dst overlaps neither of the others.
    void (*AddGrain)(float* dst, const float* x, const float* window, float gain, int32_t n);
    /// dst[i] = (1 - window[i]) * gain * x[i]. dst overlaps neither of the others.
    void (*WriteGrain)(float* dst, const float* x, const float* window, float gain, int32_t n);
    /// out[i * stride] = the sum of rows[r][i] * gains[r] in 16 bits, for `frames` values of i. Each product
    /// and each sum is formed in 64 bits; after each row, of which there is at least one, the sum is narrowed
    /// to 32. 1 and above gives 32767, -1 and below -32767, what is not a number 0; between, the fraction of
    /// the sum times 32767 is cut off.
    void (*MixTo16)(int16_t* out, int32_t stride, const float* const* rows, const double* gains,
                    int32_t rowCount, int32_t frames);
};

/// Level 0: plain loops that say what each operation means. The chosen set is VoiceOps() of Dispatch.h.
namespace Generic {
std::remove_pointer_t<decltype(VoiceOperations::AddGrain)> AddGrain;
std::remove_pointer_t<decltype(VoiceOperations::WriteGrain)> WriteGrain;
std::remove_pointer_t<decltype(VoiceOperations::MixTo16)> MixTo16;
}  // namespace Generic

inline constexpr VoiceOperations kPlainVoiceOperations = {Generic::AddGrain, Generic::WriteGrain,
                                                          Generic::MixTo16};

}  // namespace mlh
