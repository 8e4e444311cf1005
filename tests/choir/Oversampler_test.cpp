#include "choir/render/Oversampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "choir/people/RandomSource.h"
#include "support/SyntheticSinger.h"

namespace mlh::choir {

namespace {

std::vector<float> Sine(double cyclesPerSample, int32_t count) {
    std::vector<float> samples;
    for (int32_t i = 0; i < count; ++i) {
        samples.push_back(static_cast<float>(std::sin(2.0 * std::numbers::pi * cyclesPerSample * i)));
    }
    return samples;
}

std::vector<float> GoUp(const Oversampler& oversampler, const std::vector<float>& in) {
    const auto margin = static_cast<std::size_t>(oversampler.margin());
    std::vector<float> padded(in.size() + 2 * margin);
    std::copy(in.begin(), in.end(), padded.begin() + static_cast<std::ptrdiff_t>(margin));
    std::vector<float> out(in.size() * static_cast<std::size_t>(oversampler.factor()));
    oversampler.Up(padded.data(), static_cast<int32_t>(in.size()), out.data());
    return out;
}

std::vector<float> GoDown(const Oversampler& oversampler, const std::vector<float>& in) {
    const auto reach = static_cast<std::size_t>(oversampler.reach());
    std::vector<float> padded(in.size() + 2 * reach);
    std::copy(in.begin(), in.end(), padded.begin() + static_cast<std::ptrdiff_t>(reach));
    std::vector<float> out(in.size() / static_cast<std::size_t>(oversampler.factor()));
    oversampler.Down(padded.data(), static_cast<int32_t>(out.size()), out.data());
    return out;
}

// [dB] of the filter at a frequency in cycles per fine sample.
double Response(const Oversampler& oversampler, double frequency) {
    std::complex<double> sum = 0.0;
    for (int32_t d = -oversampler.reach(); d <= oversampler.reach(); ++d) {
        sum += oversampler.Tap(d) * std::polar(1.0, -2.0 * std::numbers::pi * frequency * d);
    }
    return 20.0 * std::log10(std::abs(sum) / oversampler.factor());
}

TEST(Oversampler, IsFlatBelowAndSilentAbove) {
    for (const int factor : {2, 4}) {
        const Oversampler oversampler(factor);
        double flattest = 0.0, loudest = -300.0;
        for (double f = 0.0; f <= 0.45; f += 0.0005) {
            flattest = std::max(flattest, std::fabs(Response(oversampler, f / factor)));
        }
        for (double f = 0.55; f <= 0.5 * factor; f += 0.0005) {
            loudest = std::max(loudest, Response(oversampler, f / factor));
        }
        std::printf("factor %d: %.6f dB below 0.45, %.1f dB above 0.55\n", factor, flattest, loudest);
        EXPECT_LT(flattest, 0.001);
        EXPECT_LT(loudest, -100.0);
    }
}

TEST(Oversampler, KeepsTheRecordingsOwnSamplesGoingUp) {
    const auto in = Noise(3000);
    for (const int factor : {1, 2, 4}) {
        const auto out = GoUp(Oversampler(factor), in);
        for (std::size_t i = 0; i < in.size(); ++i) {
            ASSERT_EQ(out[i * static_cast<std::size_t>(factor)], in[i]) << factor << " at " << i;
        }
    }
}

TEST(Oversampler, AToneStaysWhereItWasOnTheFinerClock) {
    constexpr double kFrequency = 0.123;
    const auto in = Sine(kFrequency, 2000);
    for (const int factor : {2, 4}) {
        const auto out = GoUp(Oversampler(factor), in);
        const auto wanted = Sine(kFrequency / factor, 2000 * factor);
        for (std::size_t i = 400; i < out.size() - 400; ++i) {
            ASSERT_NEAR(out[i], wanted[i], 2e-5);
        }
    }
}

TEST(Oversampler, UpAndDownGivesTheRecordingBack) {
    for (const double frequency : {0.0005, 0.1, 0.3, 0.44}) {
        const auto in = Sine(frequency, 3000);
        for (const int factor : {1, 2, 4}) {
            const Oversampler oversampler(factor);
            const auto back = GoDown(oversampler, GoUp(oversampler, in));
            for (std::size_t i = 100; i < in.size() - 100; ++i) {
                ASSERT_NEAR(back[i], in[i], 5e-5) << frequency;
            }
        }
    }
}

TEST(Oversampler, StretchesHaveTheBitsOfTheWhole) {
    const auto in = Noise(9000);
    for (const int factor : {2, 4}) {
        const Oversampler oversampler(factor);
        const auto fine = GoUp(oversampler, in);
        const auto coarse = GoDown(oversampler, fine);
        RandomSource random(9);
        for (int i = 0; i < 30; ++i) {
            const auto first = static_cast<int32_t>(1000 + 5000 * random.Uniform());
            const auto count = static_cast<int32_t>(1 + 2000 * random.Uniform());
            std::vector<float> up(static_cast<std::size_t>(count * factor)),
                down(static_cast<std::size_t>(count));
            oversampler.Up(in.data() + first - oversampler.margin(), count, up.data());
            oversampler.Down(fine.data() + static_cast<std::ptrdiff_t>(first) * factor - oversampler.reach(),
                             count, down.data());
            ASSERT_TRUE(
                std::equal(up.begin(), up.end(), fine.begin() + static_cast<std::ptrdiff_t>(first) * factor));
            ASSERT_TRUE(std::equal(down.begin(), down.end(), coarse.begin() + first));
        }
    }
}

}  // namespace

}  // namespace mlh::choir
