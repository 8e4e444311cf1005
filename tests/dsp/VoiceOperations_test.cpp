#include "dsp/VoiceOperations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "LevelMain.h"
#include "dsp/Dispatch.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::vector<int32_t> Counts() {
    std::vector<int32_t> counts;
    for (int32_t n = 0; n <= 35; ++n) {
        counts.push_back(n);
    }
    for (int32_t n : {64, 127, 1000, 4096}) {
        counts.push_back(n);
    }
    return counts;
}

void ExpectSameBits(const std::vector<float>& got, const std::vector<float>& want) {
    ASSERT_EQ(got.size(), want.size());
    EXPECT_EQ(std::memcmp(got.data(), want.data(), got.size() * sizeof(float)), 0) << got.size();
}

// Each grain starts off alignment, with guards on both sides of what is written.
template <class Operation, class Want>
void CheckGrain(Operation operation, Want want) {
    constexpr size_t kGuards = 9;
    for (const int32_t n : Counts()) {
        const auto count = static_cast<size_t>(n);
        for (size_t shift = 0; shift < 4; ++shift) {
            const std::vector<float> x = Noise(n + 4, 1), window = Noise(n + 4, 2);
            std::vector<float> got = Noise(n + 2 * static_cast<int32_t>(kGuards), 3);
            std::vector<float> wanted = got;
            const size_t start = kGuards - shift;
            operation(got.data() + start, x.data() + shift, window.data() + (shift + 1) % 4, 0.7f, n);
            for (size_t i = 0; i < count; ++i) {
                float& value = wanted[start + i];
                value = want(value, x[shift + i], window[(shift + 1) % 4 + i], 0.7f);
            }
            ExpectSameBits(got, wanted);
        }
    }
}

TEST(VoiceOperations, AGrainIsAddedUnderItsWindow) {
    CheckGrain(VoiceOps().AddGrain,
               [](float before, float x, float window, float gain) { return before + x * (window * gain); });
}

TEST(VoiceOperations, AGrainIsWrittenUnderTheRestOfItsWindow) {
    CheckGrain(VoiceOps().WriteGrain,
               [](float, float x, float window, float gain) { return (1.0f - window) * gain * x; });
}

int16_t PlainMix(const std::vector<std::vector<float>>& rows, const std::vector<double>& gains, size_t i) {
    float sum = static_cast<float>(static_cast<double>(rows[0][i]) * gains[0]);
    for (size_t r = 1; r < rows.size(); ++r) {
        sum = static_cast<float>(static_cast<double>(sum) + static_cast<double>(rows[r][i]) * gains[r]);
    }
    if (std::isnan(sum)) {
        return 0;
    }
    if (sum >= 1.0f) {
        return 32767;
    }
    if (sum <= -1.0f) {
        return -32767;
    }
    return static_cast<int16_t>(std::trunc(static_cast<double>(sum) * 32767.0));
}

void CheckMix(const std::vector<std::vector<float>>& samples, const std::vector<double>& gains,
              int32_t frames) {
    constexpr int16_t kGuard = 12321;
    for (const int32_t stride : {1, 2}) {
        std::vector<int16_t> out(static_cast<size_t>(stride) * static_cast<size_t>(frames) + 9, kGuard);
        std::vector<const float*> rows;
        for (const auto& row : samples) {
            rows.push_back(row.data());
        }
        VoiceOps().MixTo16(out.data() + 1, stride, rows.data(), gains.data(),
                           static_cast<int32_t>(rows.size()), frames);
        for (size_t i = 0; i < out.size(); ++i) {
            const size_t at = i - 1, frame = at / static_cast<size_t>(stride);
            const bool written =
                i >= 1 && at % static_cast<size_t>(stride) == 0 && frame < static_cast<size_t>(frames);
            EXPECT_EQ(out[i], written ? PlainMix(samples, gains, frame) : kGuard) << i << " of " << frames;
        }
    }
}

TEST(VoiceOperations, AnyNumberOfRowsIsMixedWithEverySumNarrowed) {
    const std::vector<double> gains = {0.9, 0.333333333333, -0.7, 0.1, 0.45};
    for (const int32_t frames : Counts()) {
        for (size_t count = 1; count <= gains.size(); ++count) {
            std::vector<std::vector<float>> rows;
            for (size_t r = 0; r < count; ++r) {
                rows.push_back(Noise(frames, static_cast<unsigned>(r)));
            }
            CheckMix(rows, {gains.begin(), gains.begin() + static_cast<std::ptrdiff_t>(count)}, frames);
        }
    }
}

TEST(VoiceOperations, WhatIsTooLoudOrNoNumberIsLimited) {
    const float below = std::nextafter(1.0f, 0.0f), above = std::nextafter(1.0f, 2.0f);
    const std::vector<float> row = {1.0f,   -1.0f,     below, -below, above, -above,     7.0f,
                                    -7.0f,  kNaN,      -kNaN, 0.0f,   -0.0f, 1e30f,      -1e30f,
                                    1e-40f, kInfinity, 0.99f, -0.5f,  0.5f,  -kInfinity, kNaN};
    CheckMix({row}, {1.0}, static_cast<int32_t>(row.size()));
    CheckMix({row, row}, {1.0, -1.0}, static_cast<int32_t>(row.size()));  // infinity less infinity
    CheckMix({row, row}, {1e300, 1e300}, static_cast<int32_t>(row.size()));
}

TEST(VoiceOperations, EverySampleOfSixteenBitsCanBeReached) {
    std::vector<float> row;
    for (int32_t value = -32767; value <= 32767; ++value) {
        row.push_back(static_cast<float>((value + (value < 0 ? -0.5 : 0.5)) / 32767.0));
    }
    CheckMix({row}, {1.0}, static_cast<int32_t>(row.size()));
}

}  // namespace

}  // namespace mlh
