#include "analysis/Kkf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "base/Codes.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

using qrtSPAdapter::CKKF;

double PlainCorrelation(const std::vector<float>& a, const std::vector<float>& b, int32_t lag) {
    double sum = 0.0;
    for (int32_t n = 0; n < static_cast<int32_t>(b.size()); ++n) {
        const int32_t i = n + lag;
        if (i >= 0 && i < static_cast<int32_t>(a.size())) {
            sum += static_cast<double>(a[static_cast<size_t>(i)]) * b[static_cast<size_t>(n)];
        }
    }
    return sum;
}

// Makes the correlator's output at lag p what `heights` holds at middle + p, in steps of the grid on which
// values are compared: by correlating with a single impulse.
void SetOutput(CKKF& correlator, const std::vector<int32_t>& heights) {
    const int32_t half = correlator.GetSize() / 2;
    const auto middle = static_cast<int32_t>(heights.size()) / 2;
    std::vector<float> a(static_cast<size_t>(half), 0.0f);
    std::vector<float> b(static_cast<size_t>(half), 0.0f);
    b[static_cast<size_t>(middle)] = 1.0f;
    for (size_t i = 0; i < heights.size(); ++i) {
        const double value = (heights[i] + 0.5) / 10000.0;  // half a step clear of the rounding
        a[i] = static_cast<float>(value / correlator.GetSize());
    }
    ASSERT_EQ(correlator.Correlate(a.data(), half, b.data(), half), 0);
}

TEST(Kkf, ConfigureHandsOnTheCorrelatorsRefusal) {
    CKKF correlator;
    EXPECT_EQ(correlator.Configure(0), kBadArgument);
    EXPECT_EQ(correlator.Configure(-64), kBadArgument);
    EXPECT_EQ(correlator.Configure(512), 0);
    EXPECT_EQ(correlator.GetSize(), 512);
}

TEST(Kkf, OutputIsThePlainCorrelationTimesSizeWithLagZeroInTheMiddle) {
    for (const int32_t size : {64, 512, 4096}) {
        CKKF correlator;
        ASSERT_EQ(correlator.Configure(size), 0);
        for (const int32_t length : {1, 7, size / 4, size / 2 - 1, size / 2}) {
            const std::vector<float> a = Noise(length, 1);
            const std::vector<float> b = Noise(length, 2);
            ASSERT_EQ(correlator.Correlate(a.data(), length, b.data(), length), 0);
            // Rounding of three transforms: a few parts in 10^7 of the largest possible sum.
            const double tolerance = 2e-6 * size * length;
            for (int32_t i = 0; i < size; ++i) {
                const double expected = size * PlainCorrelation(a, b, i - size / 2);
                ASSERT_NEAR(correlator.GetOutput()[i], expected, tolerance)
                    << size << " " << length << " " << i;
            }
        }
    }
}

TEST(Kkf, WhatIsNoLagIsExactlyZeroWhateverWasThereBefore) {
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(256), 0);
    const std::vector<float> a = Noise(128, 1);
    correlator.Correlate(a.data(), 128, a.data(), 128);
    EXPECT_EQ(correlator.GetOutput()[0], 0.0f);
    correlator.Correlate(a.data(), 10, a.data(), 10);
    for (int32_t i = 0; i < 256; ++i) {
        if (std::abs(i - 128) >= 10) {
            EXPECT_EQ(correlator.GetOutput()[i], 0.0f) << i;
        }
    }
}

TEST(Kkf, LengthsThatDoNotFitAreRefused) {
    CKKF correlator;
    std::vector<float> a(64);
    EXPECT_EQ(correlator.Correlate(a.data(), 1, a.data(), 1), kBadArgument) << "not configured";
    ASSERT_EQ(correlator.Configure(64), 0);
    EXPECT_EQ(correlator.Correlate(a.data(), 0, a.data(), 1), kBadArgument);
    EXPECT_EQ(correlator.Correlate(a.data(), 1, a.data(), -1), kBadArgument);
    EXPECT_EQ(correlator.Correlate(a.data(), 33, a.data(), 1), kBadArgument);
    EXPECT_EQ(correlator.Correlate(a.data(), 1, a.data(), 33), kBadArgument);
    EXPECT_EQ(correlator.Correlate(a.data(), 32, a.data(), 32), 0);
}

TEST(Kkf, APeriodicSignalPeaksAtTheDistanceLessItsPeriod) {
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(2048), 0);
    constexpr int32_t kWindow = 600;
    for (const int32_t period : {220, 280, 300, 333}) {
        std::vector<float> signal(2 * kWindow);
        for (size_t i = 0; i < signal.size(); ++i) {
            signal[i] =
                static_cast<float>(std::sin(2.0 * std::numbers::pi * static_cast<double>(i) / period));
        }
        correlator.Correlate(signal.data(), kWindow, signal.data() + kWindow / 2, kWindow);
        const int32_t lag = correlator.FindPeak(kWindow / 2 - 1, 0, kWindow / 4);
        // The overlap shrinks with the lag, which draws the top of so short a correlation by some samples.
        EXPECT_NEAR(kWindow / 2 - lag, period, 6);
        const std::vector<float> a(signal.begin(), signal.begin() + kWindow);
        const std::vector<float> b(signal.begin() + kWindow / 2, signal.begin() + kWindow / 2 + kWindow);
        for (int32_t p = -kWindow / 4; p <= kWindow / 4; ++p) {
            // One part in a million for the rounding of the transforms.
            EXPECT_LE(PlainCorrelation(a, b, p), PlainCorrelation(a, b, lag) + 1e-6 * kWindow) << period;
        }
    }
}

// A tone of this period with some noise, long enough for two stretches half a window apart.
std::vector<float> NoisyTone(int32_t period, int32_t length, uint64_t seed) {
    std::vector<float> signal = Noise(length, seed);
    for (size_t i = 0; i < signal.size(); ++i) {
        const double phase = 2.0 * std::numbers::pi * static_cast<double>(i) / period;
        signal[i] = static_cast<float>(std::sin(phase) + 0.5 * std::sin(3.0 * phase)) + 0.1f * signal[i];
    }
    return signal;
}

TEST(Kkf, TheLagOfAFewLagsIsThatOfTheWholeCorrelation) {
    for (const int32_t period : {40, 117, 256, 430}) {
        const int32_t window = 2 * period, half = period;
        const std::vector<float> signal = NoisyTone(period + 3, 3 * period, static_cast<uint64_t>(period));
        CKKF whole, few;
        const int32_t size = window <= 512 ? 1024 : 2048;
        ASSERT_EQ(whole.Configure(size), 0);
        ASSERT_EQ(few.Configure(size), 0);
        whole.Correlate(signal.data(), window, signal.data() + half, window);
        for (const int32_t radius : {1, 8, period / 16, period / 8}) {
            // Centres in the middle and so far out that the search is moved inside.
            for (const int32_t centre : {0, -3, 5, half - 2, -half + 1}) {
                const int32_t expected = whole.FindPeak(half - 1, centre, radius);
                const int32_t found =
                    few.FindLag(signal.data(), signal.data() + half, window, half - 1, centre, radius);
                EXPECT_EQ(found, expected) << period << " " << radius << " " << centre;
                const float highest = whole.GetOutput()[size / 2 + expected];
                EXPECT_NEAR(few.GetOutput()[size / 2 + found], highest, 1e-5f * size * window);
            }
        }
    }
}

TEST(Kkf, OnlyTheLagsThatAreSearchedAreCorrelatedWhereTheyAreFew) {
    const std::vector<float> signal = NoisyTone(100, 300, 1);
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(512), 0);
    const std::vector<float> nothing(200, 0.0f);
    correlator.Correlate(nothing.data(), 200, nothing.data(), 200);
    correlator.FindLag(signal.data(), signal.data() + 100, 200, 99, 2, 6);
    for (int32_t lag = -199; lag < 200; ++lag) {
        EXPECT_EQ(correlator.GetOutput()[256 + lag] != 0.0f, std::abs(lag - 2) <= 6) << lag;
    }
}

// A sum meets a sample at either end at some lags only; a transform spreads it over all of them.
TEST(Kkf, AmongWhatIsNotFiniteTheCentreIsTheAnswerOfFewLagsToo) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(512), 0);
    const std::vector<float> clean = NoisyTone(103, 300, 1);
    ASSERT_NE(correlator.FindLag(clean.data(), clean.data() + 100, 200, 99, 2, 6), 2);
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), kInfinity, -kInfinity, 3e38f}) {
        for (const size_t place : {size_t{0}, size_t{1}, size_t{5}, size_t{150}, size_t{298}, size_t{299}}) {
            std::vector<float> signal = clean;
            signal[place] = bad;
            EXPECT_EQ(correlator.FindLag(signal.data(), signal.data() + 100, 200, 99, 2, 6), 2)
                << bad << " at " << place;
        }
    }
}

TEST(Kkf, AWideSearchCorrelatesTheWhole) {
    const std::vector<float> signal = NoisyTone(500, 1500, 1);
    CKKF whole, wide;
    ASSERT_EQ(whole.Configure(2048), 0);
    ASSERT_EQ(wide.Configure(2048), 0);
    whole.Correlate(signal.data(), 1000, signal.data() + 500, 1000);
    const int32_t lag = wide.FindLag(signal.data(), signal.data() + 500, 1000, 499, 0, 250);
    EXPECT_EQ(lag, whole.FindPeak(499, 0, 250));
    for (int32_t i = 0; i < 2048; ++i) {
        EXPECT_EQ(wide.GetOutput()[i], whole.GetOutput()[i]) << i;
    }
}

TEST(Kkf, OfEqualPeaksTheLowestLagWins) {
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(64), 0);
    SetOutput(correlator, {0, 0, 7, 0, 0, 7, 0, 0, 7, 0, 0});
    EXPECT_EQ(correlator.FindPeak(10, 0, 5), -3);
    EXPECT_EQ(correlator.FindPeak(10, 1, 3), 0);
}

TEST(Kkf, WithoutAPositiveValueTheCentreIsTheAnswer) {
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(64), 0);
    SetOutput(correlator, std::vector<int32_t>(21, -5));
    EXPECT_EQ(correlator.FindPeak(8, 3, 4), 3);
    EXPECT_EQ(correlator.FindPeak(8, 30, 4), 30) << "even a centre far out";
    SetOutput(correlator, std::vector<int32_t>(21, 0));
    EXPECT_EQ(correlator.FindPeak(8, -2, 4), -2) << "below a step of the grid is nothing";
}

TEST(Kkf, ValuesWithinAStepOfTheGridAreEqual) {
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(64), 0);
    std::vector<float> a(32, 0.0f);
    std::vector<float> b(32, 0.0f);
    b[10] = 1.0f;
    a[8] = 5.2f / 10000.0f / 64.0f;
    a[12] = 5.8f / 10000.0f / 64.0f;
    correlator.Correlate(a.data(), 32, b.data(), 32);
    EXPECT_GT(correlator.GetOutput()[34], correlator.GetOutput()[30]);
    EXPECT_EQ(correlator.FindPeak(10, 0, 5), -2);
}

// Both ends of the search range, and the one-sided clipping that puts it one lag outside on the low side and
// one lag short on the high side.
TEST(Kkf, ASearchBeyondTheLimitMovesInsideAsAWhole) {
    CKKF correlator;
    ASSERT_EQ(correlator.Configure(64), 0);
    std::vector<int32_t> rising(25);
    for (int32_t i = 0; i < 25; ++i) {
        rising[static_cast<size_t>(i)] = i + 1;  // lag -12 .. 12
    }
    SetOutput(correlator, rising);
    EXPECT_EQ(correlator.FindPeak(6, 0, 3), 3);
    EXPECT_EQ(correlator.FindPeak(6, 3, 3), 6) << "just inside";
    EXPECT_EQ(correlator.FindPeak(6, 4, 3), 5) << "moved to end at 5";
    EXPECT_EQ(correlator.FindPeak(6, 11, 3), 5);
    EXPECT_EQ(correlator.FindPeak(6, -3, 3), 0) << "just inside";
    EXPECT_EQ(correlator.FindPeak(6, -4, 3), -1) << "moved to start at -7";
    std::vector<int32_t> falling(rising.rbegin(), rising.rend());
    SetOutput(correlator, falling);
    EXPECT_EQ(correlator.FindPeak(6, -4, 3), -7);
    EXPECT_EQ(correlator.FindPeak(6, 4, 3), -1);
}

}  // namespace

}  // namespace mlh
