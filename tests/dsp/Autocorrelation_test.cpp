#include "dsp/Autocorrelation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "LevelMain.h"
#include "PlainFft.h"
#include "dsp/FftPlan.h"
#include "dsp/kernels/Kernels.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr float kGuard = 77.5f;

// By its definition, in 64 bits.
std::vector<double> PlainLags(const std::vector<float>& x) {
    const size_t n = x.size();
    double middle = 0.0;
    for (size_t j = 0; j < n; ++j) {
        middle += (j % 2 == 0 ? 1.0 : -1.0) * static_cast<double>(x[j]);
    }
    std::vector<double> lags(n);
    for (size_t l = 0; l < n; ++l) {
        double sum = 0.0;
        for (size_t j = 0; j + l < n; ++j) {
            sum += static_cast<double>(x[j]) * static_cast<double>(x[j + l]);
        }
        lags[l] = 2.0 * static_cast<double>(n) * sum - (l % 2 == 0 ? 1.0 : -1.0) * middle * middle;
    }
    return lags;
}

std::vector<float> Compute(Autocorrelation& correlation, const std::vector<float>& x) {
    std::vector<float> out(x.size() + 2, kGuard);
    correlation.Compute(out.data() + 1, x.data());
    EXPECT_EQ(out.front(), kGuard);
    EXPECT_EQ(out.back(), kGuard);
    return {out.begin() + 1, out.end() - 1};
}

TEST(AutocorrelationTest, GivesTheLagsOfItsDefinitionAtEveryLength) {
    for (int32_t n = 4; n <= 4096; n *= 2) {
        SCOPED_TRACE(n);
        Autocorrelation correlation(n);
        std::vector<float> x = Noise(n, static_cast<unsigned>(n));
        EXPECT_LT(ErrorDb(Compute(correlation, x), PlainLags(x)), kRoundingDb);
        for (float& value : x) {
            value = std::fabs(value);  // as magnitudes are
        }
        EXPECT_LT(ErrorDb(Compute(correlation, x), PlainLags(x)), kRoundingDb);
    }
}

TEST(AutocorrelationTest, EachLonePairOfValuesHasItsLags) {
    for (int32_t n : {4, 16, 32, 64, 256}) {
        Autocorrelation correlation(n);
        for (int32_t place = 0; place < n; ++place) {
            std::vector<float> x(static_cast<size_t>(n));
            x[0] = 1.0f;
            x[static_cast<size_t>(place)] = 2.0f;
            const std::vector<float> got = Compute(correlation, x);
            const std::vector<double> want = PlainLags(x);
            for (size_t l = 0; l < x.size(); ++l) {
                ASSERT_NEAR(got[l], want[l], 3e-6 * n) << n << " " << place << " " << l;
            }
        }
    }
}

TEST(AutocorrelationTest, InPlaceAndASecondTimeTheBitsAreTheSame) {
    for (int32_t n = 4; n <= 4096; n *= 4) {
        Autocorrelation correlation(n);
        const std::vector<float> x = Noise(n, 7);
        const std::vector<float> lags = Compute(correlation, x);
        Compute(correlation, Noise(n, 8));
        EXPECT_EQ(Compute(correlation, x), lags);
        std::vector<float> inPlace = x;
        correlation.Compute(inPlace.data(), inPlace.data());
        EXPECT_EQ(inPlace, lags);
    }
}

TEST(AutocorrelationTest, SilenceHasNone) {
    Autocorrelation correlation(64);
    for (float lag : Compute(correlation, std::vector<float>(64))) {
        EXPECT_EQ(lag, 0.0f);
    }
}

#ifdef MLH_KERNELS

// The kernels of the level, those with and without fused multiply-adds, and narrow vectors where wide ones
// are to be had.
template <int32_t level, bool fma>
void ExpectKernels(int32_t lanes) {
    for (int32_t n = ShortestFft(lanes) / 2; n <= 2048; n *= 2) {
        SCOPED_TRACE(n);
        const FftPlanSizes sizes = GetQuarterPointPlanSizes(n, lanes);
        const auto guarded = [](int32_t count) {
            return std::vector<float>(static_cast<size_t>(count) + 1, kGuard);
        };
        std::vector<float> tables = guarded(sizes.tables), init = guarded(sizes.init),
                           work = guarded(sizes.work);
        const QuarterPointPlan plan = BuildQuarterPointPlan(n, lanes, tables.data(), init.data());
        const std::vector<float> x = Noise(n, static_cast<unsigned>(n));

        std::vector<float> power = guarded(n);
        const float alternating =
            AutocorrelationKernels<level, fma>::PowerSpectrum(plan, x.data(), power.data(), work.data());
        std::vector<double> want(x.size());
        double wantAlternating = 0.0;
        for (int32_t k = 0; k < n; ++k) {
            double re = 0.0, im = 0.0;
            for (int32_t j = 0; j < n; ++j) {
                const double angle = 2.0 * kPi * j * (k + 0.25) / n;
                re += static_cast<double>(x[static_cast<size_t>(j)]) * std::cos(angle);
                im += static_cast<double>(x[static_cast<size_t>(j)]) * std::sin(angle);
            }
            want[static_cast<size_t>(k)] = re * re + im * im;
            wantAlternating += (k % 2 == 0 ? 1.0 : -1.0) * static_cast<double>(x[static_cast<size_t>(k)]);
        }
        EXPECT_LT(ErrorDb(power, want), kRoundingDb);
        EXPECT_NEAR(alternating, wantAlternating, 1e-6 * n);

        const std::vector<float> spectrum = Noise(n, 3), turns = Noise(n + 1, 4);
        const size_t half = x.size() / 2;
        std::vector<float> lags = guarded(n);
        AutocorrelationKernels<level, fma>::Lags(lags.data(), spectrum.data(), turns.data(), 0.25f, n);
        EXPECT_FLOAT_EQ(lags[0], turns[0] * spectrum[0] - 0.25f);
        EXPECT_FLOAT_EQ(lags[half], turns[x.size()] * spectrum[1] - 0.25f);
        for (size_t l = 1; l < half; ++l) {
            const float removed = l % 2 == 0 ? 0.25f : -0.25f, cosine = turns[l], sine = turns[half + l];
            EXPECT_NEAR(lags[l], cosine * spectrum[2 * l] + sine * spectrum[2 * l + 1] - removed, 1e-6) << l;
            EXPECT_NEAR(lags[x.size() - l], sine * spectrum[2 * l] - cosine * spectrum[2 * l + 1] - removed,
                        1e-6);
        }
        for (const auto* buffer : {&tables, &init, &work, &power, &lags}) {
            EXPECT_EQ(buffer->back(), kGuard);
        }
    }
}

TEST(AutocorrelationTest, TheKernelsOfTheLevelDoWhatTheyPromise) {
    switch (CurrentLevel()) {
        case 3:
            return ExpectKernels<3, false>(4);
        case 4:
            return ExpectKernels<4, false>(4);
        case 5:
            return ExpectKernels<5, false>(4);
        case 6:
            ExpectKernels<6, false>(4);
            ExpectKernels<6, false>(8);
            if (ProcessorHasFusedMultiplyAdd()) {
                ExpectKernels<6, true>(8);
            }
            return;
        default:
            GTEST_SKIP() << "level 0 has plain loops";
    }
}

#endif

}  // namespace

}  // namespace mlh
