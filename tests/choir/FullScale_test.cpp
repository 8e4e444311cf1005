#include "choir/mix/FullScale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/SyntheticSinger.h"

namespace mlh::choir {

namespace {

constexpr int32_t kRate = 44100;

PeakCurve PeaksOf(const std::vector<float>& samples, int32_t channels, int32_t block = 1000) {
    PeakCurve peaks(kRate);
    const auto frames = static_cast<int32_t>(samples.size()) / channels;
    for (int32_t first = 0; first < frames; first += block) {
        peaks.Add(samples.data() + static_cast<std::ptrdiff_t>(first) * channels,
                  std::min(block, frames - first), channels);
    }
    return peaks;
}

std::vector<float> Limited(std::vector<float> samples, int32_t channels, int32_t block = 100000) {
    const FullScale limit(PeaksOf(samples, channels));
    const auto frames = static_cast<int32_t>(samples.size()) / channels;
    for (int32_t first = 0; first < frames; first += block) {
        limit.Apply(first, std::min(block, frames - first), channels,
                    samples.data() + static_cast<std::ptrdiff_t>(first) * channels);
    }
    return samples;
}

float HighestOf(const std::vector<float>& samples) {
    float highest = 0.0f;
    for (const float sample : samples) {
        highest = std::max(highest, std::fabs(sample));
    }
    return highest;
}

}  // namespace

TEST(FullScale, LeavesWhatFitsAsItIs) {
    const auto quiet = Noise(20000, 1, 1.0f);
    EXPECT_EQ(Limited(quiet, 2), quiet);
    auto scaled = quiet;
    FullScale(PeaksOf(quiet, 2).Peak()).Apply(0, 10000, 2, scaled.data());
    EXPECT_EQ(scaled, quiet);
    EXPECT_EQ(FullScale(1.0f).LeastGain(), 1.0f);
    EXPECT_EQ(FullScale(PeaksOf({}, 1)).LeastGain(), 1.0f);
}

TEST(FullScale, ScaledStreamsKeepTheirShapeAndPeakAtFullScale) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        const auto loud = Noise(5000, seed, 1.1f + 0.37f * static_cast<float>(seed));
        const FullScale scale(PeaksOf(loud, 1).Peak());
        auto scaled = loud;
        scale.Apply(0, 5000, 1, scaled.data());
        EXPECT_LE(HighestOf(scaled), 1.0f);
        EXPECT_GT(HighestOf(scaled), 1.0f - 2e-7f);
        for (std::size_t i = 0; i < loud.size(); ++i) {
            ASSERT_EQ(scaled[i], loud[i] * scale.LeastGain()) << i;
        }
    }
}

TEST(FullScale, NothingLimitedIsAboveFullScaleAndLittleIsLostThere) {
    for (unsigned seed = 0; seed < 5; ++seed) {
        const int32_t channels = 1 + static_cast<int32_t>(seed % 2);
        const auto loud = Noise(30000, seed, 3.0f);
        const auto limited = Limited(loud, channels);
        EXPECT_LE(HighestOf(limited), 1.0f);
        EXPECT_GT(HighestOf(limited), 0.95f);
    }
}

TEST(FullScale, ALoneClickIsReachedByAGainThatMovesGently) {
    std::vector<float> clean(20000);
    for (std::size_t i = 0; i < clean.size(); ++i) {
        clean[i] = 0.5f * std::sin(0.06f * static_cast<float>(i));
    }
    std::vector<float> signal = clean;
    signal[10000] = 2.0f;
    const auto limited = Limited(signal, 1);
    double before = 1.0;
    for (std::size_t i = 0; i < limited.size(); ++i) {
        if (i == 10000 || std::fabs(clean[i]) < 0.01f) {
            continue;
        }
        const double gain = limited[i] / clean[i];
        EXPECT_LT(std::fabs(gain - before), 0.01) << i;
        before = gain;
    }
    EXPECT_NEAR(limited[10000], 1.0f, 1e-6f);
    EXPECT_NEAR(limited[10000 + 30 * 44], 0.5 * clean[10000 + 30 * 44], 0.01);  // held
    // 11 ms before it and 55 ms after it nothing has changed.
    EXPECT_TRUE(std::equal(clean.begin(), clean.begin() + 10000 - 485, limited.begin()));
    EXPECT_TRUE(std::equal(clean.begin() + 10000 + 2430, clean.end(), limited.begin() + 10000 + 2430));
}

TEST(FullScale, AStretchHasTheBitsOfTheWhole) {
    const auto loud = Noise(10000, 9, 2.0f);
    const auto whole = Limited(loud, 2);
    for (const int32_t block : {1, 7, 512}) {
        EXPECT_EQ(Limited(loud, 2, block), whole) << block;
    }
}

TEST(FullScale, BothChannelsGetOneGain) {
    std::vector<float> stereo(2 * 5000, 0.25f);
    stereo[2 * 2500] = 4.0f;  // on the left alone
    const auto limited = Limited(stereo, 2);
    EXPECT_LT(limited[2 * 2499 + 1], 0.2f);
    EXPECT_EQ(limited[2 * 2499], limited[2 * 2499 + 1]);
}

TEST(FullScale, PeaksAreCountedHoweverTheStreamIsCut) {
    const std::vector<float> samples = {0.5f,
                                        -1.5f,
                                        1.0f,
                                        2.5f,
                                        std::numeric_limits<float>::quiet_NaN(),
                                        std::numeric_limits<float>::infinity()};
    for (const int32_t block : {1, 2, 100}) {
        const PeakCurve peaks = PeaksOf(samples, 1, block);
        EXPECT_EQ(peaks.Above(), 2);
        EXPECT_EQ(peaks.Peak(), 2.5f);
    }
    const auto noise = Noise(3001, 3, 1.0f);
    EXPECT_EQ(PeaksOf(noise, 1, 17).Entries(), PeaksOf(noise, 1).Entries());
    EXPECT_EQ(PeaksOf(noise, 1).Entries().size(), 69u);  // of 44 frames
}

TEST(FullScale, WhatIsPastTheStreamStaysWithin) {
    const FullScale limit(PeaksOf(Noise(1000, 4, 2.0f), 1));
    std::vector<float> more(2000, 5.0f);
    limit.Apply(0, 2000, 1, more.data());
    EXPECT_LE(HighestOf(more), 1.0f);
}

}  // namespace mlh::choir
