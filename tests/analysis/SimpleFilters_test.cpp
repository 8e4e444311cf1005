#include "analysis/SimpleFilters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

TEST(SimpleFilters, TheFirIsAScaledFirstDifferenceAtMinusOneHalf) {
    CSimpleFIRFilter filter(-0.5f);
    const float x[] = {1.0f, 0.0f, 2.0f, 2.0f};
    float y[4];
    filter.Process(x, y, 4);
    EXPECT_EQ(y[0], 0.5f);
    EXPECT_EQ(y[1], -0.5f);
    EXPECT_EQ(y[2], 1.0f);
    EXPECT_EQ(y[3], 0.0f);
}

TEST(SimpleFilters, TheFirWeighsByOneLessTheCoefficientsSize) {
    CSimpleFIRFilter filter(0.25f);
    const float x[] = {1.0f, 0.0f};
    float y[2];
    filter.Process(x, y, 2);
    EXPECT_EQ(y[0], 0.75f);
    EXPECT_EQ(y[1], 0.25f);
}

TEST(SimpleFilters, TheIirIsAOnePoleLowPassAtMinusNineTenths) {
    CSimpleIIRFilter filter(-0.9f);
    std::vector<float> step(400, 1.0f);
    filter.Process(step.data(), step.data(), 400);
    for (const int32_t n : {0, 1, 9, 50}) {
        // The closed form of the step response; 1e-6 is the rounding of the recursion.
        EXPECT_NEAR(step[static_cast<size_t>(n)], 1.0 - std::pow(0.9, n + 1), 1e-6);
    }
    EXPECT_NEAR(step[399], 1.0f, 1e-6f);
}

TEST(SimpleFilters, TheIirFadesToANumberAboveTheDenormals) {
    CSimpleIIRFilter filter(-0.9f);
    std::vector<float> silence(3000, 0.0f);
    silence[0] = 1.0f;
    filter.Process(silence.data(), silence.data(), 3000);
    EXPECT_GT(silence.back(), 0.5e-23f);  // 1e-24 / (1 - 0.9)
    EXPECT_LT(silence.back(), 2e-23f);
}

TEST(SimpleFilters, TheStateGoesOnFromCallToCall) {
    const std::vector<float> noise = Noise(200);
    std::vector<float> fir(200), iir(200), firCut(200), iirCut(200);
    CSimpleFIRFilter(-0.5f).Process(noise.data(), fir.data(), 200);
    CSimpleIIRFilter(-0.9f).Process(noise.data(), iir.data(), 200);
    CSimpleFIRFilter firFilter(-0.5f);
    CSimpleIIRFilter iirFilter(-0.9f);
    for (size_t at = 0; at < 200; at += 8) {
        firFilter.Process(&noise[at], &firCut[at], 8);
        iirFilter.Process(&noise[at], &iirCut[at], 8);
    }
    EXPECT_EQ(fir, firCut);
    EXPECT_EQ(iir, iirCut);
}

TEST(SimpleFilters, InPlaceGivesTheSame) {
    const std::vector<float> noise = Noise(100);
    std::vector<float> apart(100), inPlace = noise;
    CSimpleFIRFilter(-0.5f).Process(noise.data(), apart.data(), 100);
    CSimpleFIRFilter(-0.5f).Process(inPlace.data(), inPlace.data(), 100);
    EXPECT_EQ(apart, inPlace);
}

}  // namespace

}  // namespace mlh
