#include "choir/mix/Limiter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace mlh::choir {

namespace {

constexpr double kRate = 44100.0;

// The limited stream without its delay.
std::vector<float> Limit(const std::vector<float>& in, int32_t channels, float ceiling, int32_t block) {
    Limiter limiter(channels, kRate, ceiling);
    std::vector<float> padded = in;
    padded.resize(in.size() + static_cast<std::size_t>(limiter.Delay()) * static_cast<std::size_t>(channels),
                  0.0f);
    std::vector<float> out(padded.size());
    const auto frames = static_cast<int32_t>(padded.size()) / channels;
    for (int32_t first = 0; first < frames; first += block) {
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(first) * channels;
        limiter.Process(padded.data() + at, out.data() + at, std::min(block, frames - first));
    }
    return {out.begin() + static_cast<std::ptrdiff_t>(limiter.Delay()) * channels, out.end()};
}

std::vector<float> Noise(std::size_t count, float amplitude, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<float> noise(count);
    for (float& sample : noise) {
        sample = amplitude * (static_cast<float>(random() % 20001) / 10000.0f - 1.0f);
    }
    return noise;
}

}  // namespace

TEST(Limiter, LeavesWhatFitsAsItIs) {
    const auto quiet = Noise(20000, 0.9f, 1);
    EXPECT_EQ(Limit(quiet, 2, 0.95f, 512), quiet);
}

TEST(Limiter, NothingComesOutAboveTheCeiling) {
    for (unsigned seed = 0; seed < 5; ++seed) {
        for (const float sample :
             Limit(Noise(30000, 3.0f, seed), 1 + static_cast<int>(seed % 2), 0.97f, 333)) {
            ASSERT_LE(std::fabs(sample), 0.97f);
        }
    }
}

TEST(Limiter, ALoneClickIsReachedByAGainThatMovesGently) {
    std::vector<float> signal(20000);
    for (std::size_t i = 0; i < signal.size(); ++i) {
        signal[i] = 0.5f * std::sin(0.06f * static_cast<float>(i));
    }
    std::vector<float> clean = signal;
    signal[10000] = 2.0f;
    const auto limited = Limit(signal, 1, 1.0f, 4096);
    // The gain, read off where the sine is not small.
    double before = 1.0;
    for (std::size_t i = 0; i < limited.size(); ++i) {
        if (i == 10000 || std::fabs(clean[i]) < 0.3f) {
            continue;
        }
        const double gain = limited[i] / clean[i];
        EXPECT_LT(std::fabs(gain - before), 0.2) << i;
        before = gain;
    }
    EXPECT_NEAR(limited[10000], 1.0f, 1e-3f);
    EXPECT_EQ(limited[9000], clean[9000]);
    EXPECT_EQ(limited[14000], clean[14000]);
}

TEST(Limiter, HowTheStreamIsCutDoesNotMatter) {
    const auto loud = Noise(10000, 2.0f, 9);
    const auto whole = Limit(loud, 2, 1.0f, 100000);
    for (const int32_t block : {1, 7, 512}) {
        EXPECT_EQ(Limit(loud, 2, 1.0f, block), whole) << block;
    }
}

TEST(Limiter, BothChannelsGetOneGain) {
    std::vector<float> stereo(2 * 5000, 0.25f);
    stereo[2 * 2500] = 4.0f;  // on the left alone
    const auto limited = Limit(stereo, 2, 1.0f, 512);
    EXPECT_LT(limited[2 * 2499 + 1], 0.2f);
    EXPECT_EQ(limited[2 * 2499], limited[2 * 2499 + 1]);
}

TEST(Limiter, CountsWhatLiesAboveAndKeepsThePeak) {
    Limiter limiter(1, kRate, 1.0f);
    const float samples[] = {0.5f, -1.5f, 1.0f, 2.5f};
    float out[4];
    limiter.Process(samples, out, 4);
    EXPECT_EQ(limiter.Above(), 2);
    EXPECT_EQ(limiter.Peak(), 2.5f);
}

TEST(Limiter, SamplesThatAreNotFiniteAreSilenced) {
    std::vector<float> broken(4000, 0.25f);
    broken[1000] = std::numeric_limits<float>::quiet_NaN();
    broken[2000] = std::numeric_limits<float>::infinity();
    const auto limited = Limit(broken, 1, 1.0f, 512);
    EXPECT_EQ(limited[1000], 0.0f);
    EXPECT_EQ(limited[2000], 0.0f);
    EXPECT_EQ(limited[3000], 0.25f);
}

}  // namespace mlh::choir
