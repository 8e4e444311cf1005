#include "dsp/PaddedSpectrum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "LevelMain.h"
#include "PlainFft.h"
#include "dsp/Fft.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr float kGuard = 77.5f;

// Magnitudes of bins 0 to size / 2 - 1. A guard follows them.
std::vector<float> Magnitudes(const std::vector<float>& block, int32_t size) {
    PaddedSpectrum spectrum(static_cast<int32_t>(block.size()), size);
    std::vector<float> out(static_cast<size_t>(size / 2) + 1, kGuard);
    spectrum.Compute(out.data(), block.data());
    EXPECT_EQ(out.back(), kGuard);
    out.pop_back();
    return out;
}

// By the transform of level 0, with the zeros.
std::vector<float> PlainMagnitudes(const std::vector<float>& block, int32_t size) {
    std::vector<float> padded(block);
    padded.resize(static_cast<size_t>(size));
    CqrtfFFT_If* created;
    FFTCreate<CqrtfFFTGen>(&created, size, 1, 0);
    const FFTPointer fft(created);
    fft->Forward(padded.data(), padded.data());
    std::vector<float> magnitudes(static_cast<size_t>(size / 2));
    magnitudes[0] = std::fabs(padded[0]);
    for (size_t k = 1; k < magnitudes.size(); ++k) {
        const float re = padded[2 * k], im = padded[2 * k + 1];
        magnitudes[k] = std::sqrt(re * re + im * im);
    }
    return magnitudes;
}

TEST(PaddedSpectrumTest, EveryLevelHasTheBitsOfTheSplitRadix) {
    for (const int32_t padding : {1, 2, 4, 8, 16}) {
        for (int32_t given = 4; given <= 4096; given *= 2) {
            for (unsigned seed = 1; seed <= 4; ++seed) {
                const std::vector<float> block = Noise(given, seed);
                EXPECT_EQ(Magnitudes(block, given * padding), PlainMagnitudes(block, given * padding))
                    << given << " values, " << padding << " times as many with the zeros";
            }
        }
    }
}

TEST(PaddedSpectrumTest, AToneStandsAtItsFrequencyWithHalfItsLengthAsHeight) {
    constexpr int32_t kGiven = 1024, kSize = 8192;
    for (const int32_t bin : {256, 1000, 2048, 4000}) {
        std::vector<float> block(kGiven);
        for (int32_t i = 0; i < kGiven; ++i) {
            block[static_cast<size_t>(i)] =
                static_cast<float>(std::cos(2.0 * 3.14159265358979 * bin * i / kSize));
        }
        const std::vector<float> magnitudes = Magnitudes(block, kSize);
        EXPECT_NEAR(magnitudes[static_cast<size_t>(bin)], kGiven / 2, bin % 8 == 0 ? 0.01 : 3.0);
        const auto largest = std::max_element(magnitudes.begin(), magnitudes.end());
        EXPECT_EQ(largest - magnitudes.begin(), bin);
    }
}

TEST(PaddedSpectrumTest, AnImpulseIsFlatAndSilenceIsNothing) {
    std::vector<float> block(1024);
    for (const float magnitude : Magnitudes(block, 8192)) {
        EXPECT_EQ(magnitude, 0.0f);
    }
    block[700] = -0.5f;
    for (const float magnitude : Magnitudes(block, 8192)) {
        EXPECT_NEAR(magnitude, 0.5f, 1e-6f);
    }
}

TEST(PaddedSpectrumTest, TheSameBlockGivesTheSameBitsWhateverCameBefore) {
    PaddedSpectrum spectrum(256, 2048);
    const std::vector<float> block = Noise(256, 7), other = Noise(256, 8);
    std::vector<float> first(1024), again(1024);
    spectrum.Compute(first.data(), block.data());
    spectrum.Compute(again.data(), other.data());
    EXPECT_NE(first, again);
    spectrum.Compute(again.data(), block.data());
    EXPECT_EQ(first, again);
}

TEST(PaddedSpectrumTest, WhatIsNotANumberStaysInItsBlock) {
    PaddedSpectrum spectrum(256, 2048);
    std::vector<float> block = Noise(256, 7);
    const std::vector<float> clean = block;
    block[31] = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> out(1024), expected(1024);
    spectrum.Compute(expected.data(), clean.data());
    spectrum.Compute(out.data(), block.data());
    for (const float magnitude : out) {
        EXPECT_TRUE(std::isnan(magnitude));
    }
    spectrum.Compute(out.data(), clean.data());
    EXPECT_EQ(out, expected);
}

}  // namespace

}  // namespace mlh
