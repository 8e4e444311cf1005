#include "dsp/HarmonicOperations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "LevelMain.h"
#include "PlainFft.h"
#include "dsp/Dispatch.h"
#include "dsp/kernels/Kernels.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr float kGuard = 77.5f;

std::vector<float> Bins(int32_t n) {
    std::vector<float> bins = Noise(n, static_cast<unsigned>(n));
    for (float& bin : bins) {
        bin = std::fabs(bin);
    }
    return bins;
}

TEST(HarmonicOperationsTest, TheLargestIsFoundWhereverItStands) {
    for (int32_t n = 1; n <= 70; ++n) {
        for (int32_t place = 0; place < n; ++place) {
            std::vector<float> bins = Noise(n + 1, 3);
            bins.back() = kGuard;  // not to be looked at
            bins[static_cast<size_t>(place)] = 2.0f;
            EXPECT_EQ(HarmonicOps().Largest(bins.data(), n, 0.0f), 2.0f);
            EXPECT_EQ(HarmonicOps().Largest(bins.data(), n, 3.0f), 3.0f);
            EXPECT_EQ(HarmonicOps().FirstLargest(bins.data(), n), place);
        }
    }
}

TEST(HarmonicOperationsTest, OfEqualBinsTheFirstIsTaken) {
    for (int32_t n : {2, 9, 40, 333}) {
        for (int32_t first = 0; first + 1 < n; first += 1 + n / 20) {
            std::vector<float> bins(static_cast<size_t>(n), 0.5f);
            std::fill(bins.begin() + first, bins.end(), 1.0f);
            EXPECT_EQ(HarmonicOps().FirstLargest(bins.data(), n), first);
        }
    }
}

TEST(HarmonicOperationsTest, NothingPositiveGivesBinZero) {
    for (int32_t n : {1, 8, 37}) {
        const std::vector<float> bins(static_cast<size_t>(n), -1.0f), zeros(bins.size());
        EXPECT_EQ(HarmonicOps().FirstLargest(bins.data(), n), 0);
        EXPECT_EQ(HarmonicOps().FirstLargest(zeros.data(), n), 0);
        EXPECT_EQ(HarmonicOps().Largest(bins.data(), n, 1e-25f), 1e-25f);
    }
}

TEST(HarmonicOperationsTest, WhatIsNotANumberIsNeverTheLargest) {
    for (int32_t n : {3, 16, 75}) {
        std::vector<float> bins = Bins(n);
        bins[static_cast<size_t>(n / 2)] = 5.0f;
        for (int32_t i = 0; i < n; i += 2) {
            if (i != n / 2) {
                bins[static_cast<size_t>(i)] = std::numeric_limits<float>::quiet_NaN();
            }
        }
        EXPECT_EQ(HarmonicOps().Largest(bins.data(), n, 0.0f), 5.0f);
        EXPECT_EQ(HarmonicOps().FirstLargest(bins.data(), n), n / 2);
    }
}

TEST(HarmonicOperationsTest, AQuarterOfTheScaledSpectrumIsAddedBitForBit) {
    for (int32_t n = 1; n <= 70; ++n) {
        std::vector<float> bins = Noise(n + 1, 1), spectrum = Noise(n + 1, 2);
        std::vector<float> wantBins = bins, wantSpectrum = spectrum;
        for (size_t i = 0; i < static_cast<size_t>(n); ++i) {
            wantSpectrum[i] *= 0.7f;
            wantBins[i] = wantBins[i] * 1.3f + 0.25f * wantSpectrum[i];
        }
        HarmonicOps().AddQuarter(bins.data(), 1.3f, spectrum.data(), 0.7f, n);
        EXPECT_EQ(bins, wantBins) << n;
        EXPECT_EQ(spectrum, wantSpectrum) << n;
    }
}

TEST(HarmonicOperationsTest, TheProductTakesThreeHarmonicsBitForBit) {
    std::vector<int32_t> lengths;
    for (int32_t n = 2; n <= 200; n += 2) {
        lengths.push_back(n);
    }
    lengths.insert(lengths.end(), {1024, 4096});
    for (int32_t n : lengths) {
        std::vector<float> bins = Bins(n);
        bins.push_back(kGuard);  // after the end, where harmonics count as 0
        std::vector<float> product(bins.size(), kGuard), want = product;
        for (int32_t i = 0; i < n; ++i) {
            const auto at = [&](int32_t k) { return bins[static_cast<size_t>(k)]; };
            const float second = ((i < n / 2 ? at(2 * i) : 0.0f) + 0.15f) / 2.0f;
            const float third = ((i < n / 3 ? at(3 * i) : 0.0f) + 0.15f) / 3.0f;
            want[static_cast<size_t>(i)] = 2.0f * at(i) * second * third;
        }
        HarmonicOps().HarmonicProduct(product.data(), bins.data(), n);
        EXPECT_EQ(product, want) << n;
    }
}

#ifdef MLH_KERNELS
TEST(HarmonicOperationsTest, TheKernelsOfTheLevelRun) {
    const auto largest = HarmonicOps().Largest;
    EXPECT_EQ(largest == &HarmonicKernels<3>::Largest, CurrentLevel() == 3 || CurrentLevel() == 4);
    EXPECT_EQ(largest == &HarmonicKernels<5>::Largest, CurrentLevel() == 5);
    EXPECT_EQ(largest == &HarmonicKernels<6>::Largest, CurrentLevel() == 6);
}
#endif

}  // namespace

}  // namespace mlh
