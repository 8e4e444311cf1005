#include "dsp/Eq.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <vector>

#include "base/Codes.h"
#include "support/SyntheticSinger.h"

namespace mlh {

using namespace qMELODOR;
using Complex = std::complex<double>;

namespace {

constexpr double kPi = std::numbers::pi;

std::unique_ptr<CEqIf> MakeEq(int32_t type, int32_t sampleRate = 11025, int32_t channels = 1) {
    CEqIf* eq = nullptr;
    EXPECT_EQ(CreateEq(&eq, sampleRate, channels, type), 0);
    return std::unique_ptr<CEqIf>(eq);
}

std::vector<float> Filtered(CEqIf& eq, const std::vector<float>& in) {
    std::vector<float> out(in.size());
    eq.ProcessInterleaved(in.data(), out.data(), static_cast<int32_t>(in.size()));
    return out;
}

// Gain and phase that a filter really applies to a tone, once its start has died away.
Complex MeasuredGain(CEqIf& eq, double frequency) {
    const int settle = 20000, length = 20000;
    std::vector<float> tone(settle + length);
    for (size_t i = 0; i < tone.size(); ++i) {
        tone[i] = static_cast<float>(0.25 * std::cos(2 * kPi * frequency * static_cast<double>(i)));
    }
    const std::vector<float> out = Filtered(eq, tone);
    Complex sumIn = 0, sumOut = 0;
    for (int i = settle; i < settle + length; ++i) {
        const double hann = 1 - std::cos(2 * kPi * (i - settle) / length);
        const Complex turn = hann * std::polar(1.0, -2 * kPi * frequency * i);
        sumIn += static_cast<double>(tone[i]) * turn;
        sumOut += static_cast<double>(out[i]) * turn;
    }
    return sumOut / sumIn;
}

// The analogue prototype b(s) / a(s), coefficients of s^2, s and 1, at the place where the bilinear transform
// puts the tone.
struct Prototype {
    double b[3], a[3];
};
Complex Response(const Prototype& p, double cutoff, double frequency) {
    const Complex s(0, std::tan(kPi * frequency) / std::tan(kPi * cutoff));
    return (p.b[0] * s * s + p.b[1] * s + p.b[2]) / (p.a[0] * s * s + p.a[1] * s + p.a[2]);
}

Complex Response(const EqCoefficients& c, double frequency) {
    const Complex z = std::polar(1.0, -2 * kPi * frequency);
    return (Complex(c.b0) + Complex(c.b1) * z + Complex(c.b2) * z * z) /
           (Complex(1.0) - Complex(c.a1) * z - Complex(c.a2) * z * z);
}

double VoltageOf(double db) { return std::pow(10.0, db / 20.0); }

const double kRootOfTwo = std::sqrt(2.0);
const double kTones[] = {0.003, 0.0101, 0.05, 0.13, 0.25, 0.3628, 0.41, 0.47};

// 32-bit coefficients of filters with poles not too near the unit circle.
constexpr double kGainTolerance = 2e-4;

}  // namespace

TEST(Eq, LowPassIsASecondOrderButterworth) {
    for (double cutoff : {0.02, 0.1, 0.3628118, 0.44}) {
        for (double tone : kTones) {
            auto eq = MakeEq(kLowPass, 100000);
            eq->SetParameters(static_cast<float>(cutoff * 100000), 0.0f, 1.0f);
            const Complex expected = Response({{0, 0, 1}, {1, kRootOfTwo, 1}}, cutoff, tone);
            EXPECT_LT(std::abs(MeasuredGain(*eq, tone) - expected), kGainTolerance) << cutoff << " " << tone;
        }
    }
}

TEST(Eq, HighPassIsASecondOrderButterworth) {
    for (double cutoff : {0.02, 0.1, 0.3, 0.48}) {
        for (double tone : kTones) {
            auto eq = MakeEq(kHighPass, 100000);
            eq->SetParameters(static_cast<float>(cutoff * 100000), 0.0f, 1.0f);
            const Complex expected = Response({{1, 0, 0}, {1, kRootOfTwo, 1}}, cutoff, tone);
            EXPECT_LT(std::abs(MeasuredGain(*eq, tone) - expected), kGainTolerance) << cutoff << " " << tone;
        }
    }
}

TEST(Eq, GainAndQOfAPassFilterHaveNoEffect) {
    auto plain = MakeEq(kLowPass);
    auto other = MakeEq(kLowPass);
    plain->SetParameters(1000.0f, 0.0f, 1.0f);
    other->SetParameters(1000.0f, 12.0f, 7.0f);
    const std::vector<float> noise = Noise(500);
    EXPECT_EQ(Filtered(*plain, noise), Filtered(*other, noise));
}

TEST(Eq, PeakLiftsItsCentreByItsGain) {
    for (double gain : {3.0, 12.0}) {
        for (double q : {0.7, 4.0}) {
            const double V = VoltageOf(gain);
            for (double tone : kTones) {
                auto eq = MakeEq(kPeak, 100000);
                eq->SetParameters(13000.0f, static_cast<float>(gain), static_cast<float>(q));
                const Complex expected = Response({{1, V / q, 1}, {1, 1 / q, 1}}, 0.13, tone);
                EXPECT_LT(std::abs(MeasuredGain(*eq, tone) - expected), kGainTolerance * V)
                    << gain << " " << tone;
                if (tone == 0.13) {
                    EXPECT_NEAR(std::abs(expected), V, 1e-9);
                }
            }
        }
    }
}

TEST(Eq, PeakOfNegativeGainLiftsToo) {
    auto eq = MakeEq(kPeak, 100000);
    eq->SetParameters(13000.0f, -6.0f, 2.0f);
    EXPECT_NEAR(std::abs(MeasuredGain(*eq, 0.13)), VoltageOf(6.0), 1e-3);
    const double V = VoltageOf(-6.0);
    for (double tone : kTones) {
        const Complex expected = Response({{1, 0.5, 1}, {1, 0.5 * V, 1}}, 0.13, tone);
        EXPECT_LT(std::abs(Response(DesignEq(kPeak, 0.13f, -6.0f, 2.0f), tone) - expected), kGainTolerance);
    }
}

TEST(Eq, PeakOfNoGainPassesEverything) {
    auto eq = MakeEq(kPeak);
    eq->SetParameters(1000.0f, 0.0f, 1.0f);
    const std::vector<float> noise = Noise(2000);
    const std::vector<float> out = Filtered(*eq, noise);
    for (size_t i = 0; i < noise.size(); ++i) {
        EXPECT_NEAR(out[i], noise[i], 1e-5f);
    }
}

TEST(Eq, PeakWithoutDirectPathIsThePeakWithB0Removed) {
    const EqCoefficients peak = DesignEq(kPeak, 0.13f, 6.0f, 2.0f);
    const EqCoefficients c = DesignEq(kPeakNoDirect, 0.13f, 6.0f, 2.0f);
    EXPECT_EQ(c.b0, 0.0f);
    EXPECT_EQ(c.b1, peak.b1);
    EXPECT_EQ(c.b2, peak.b2);
    EXPECT_EQ(c.a1, peak.a1);
    EXPECT_EQ(c.a2, peak.a2);
    for (double tone : kTones) {
        auto eq = MakeEq(kPeakNoDirect, 100000);
        eq->SetParameters(13000.0f, 6.0f, 2.0f);
        EXPECT_LT(std::abs(MeasuredGain(*eq, tone) - Response(c, tone)), kGainTolerance) << tone;
    }
}

TEST(Eq, LowShelfLiftsTheLowEnd) {
    for (double gain : {6.0, -6.0}) {
        const double V = VoltageOf(gain);
        const double up[3] = {1, std::sqrt(V) * kRootOfTwo, V};
        const double flat[3] = {1, kRootOfTwo, 1};
        const Prototype lift = {{up[0], up[1], up[2]}, {flat[0], flat[1], flat[2]}};
        const Prototype inverse = {{flat[0], flat[1], flat[2]}, {up[0], up[1], up[2]}};
        const EqCoefficients c = DesignEq(kLowShelf, 0.1f, static_cast<float>(gain), 1.0f);
        for (double tone : kTones) {
            const Complex expected = Response(gain > 0 ? lift : inverse, 0.1, tone);
            EXPECT_LT(std::abs(Response(c, tone) - expected), kGainTolerance) << gain << " " << tone;
        }
        EXPECT_NEAR(std::abs(Response(c, 0.0)), VoltageOf(6.0), 1e-4);
        EXPECT_NEAR(std::abs(Response(c, 0.5)), 1.0, 1e-4);
    }
}

TEST(Eq, HighShelfLiftsTheHighEnd) {
    const double V = VoltageOf(6.0);
    const EqCoefficients c = DesignEq(kHighShelf, 0.1f, 6.0f, 1.0f);
    for (double tone : kTones) {
        const Complex expected = Response({{V, std::sqrt(V) * kRootOfTwo, 1}, {1, kRootOfTwo, 1}}, 0.1, tone);
        EXPECT_LT(std::abs(Response(c, tone) - expected), kGainTolerance) << tone;
    }
    EXPECT_NEAR(std::abs(Response(c, 0.0)), 1.0, 1e-4);
    EXPECT_NEAR(std::abs(Response(c, 0.5)), V, 1e-4);
}

// Its numerator and denominator are scaled apart, so that no prototype describes it.
TEST(Eq, HighShelfOfNegativeGainHasItsOwnScaling) {
    const double K = std::tan(kPi * 0.1), K2 = K * K, r = kRootOfTwo, V = VoltageOf(-6.0), sV = std::sqrt(V);
    const EqCoefficients c = DesignEq(kHighShelf, 0.1f, -6.0f, 1.0f);
    const double above = sV * r * K + V + K2;
    EXPECT_NEAR(c.b0, (1 + r * K + K2) / above, 1e-6);
    EXPECT_NEAR(c.b1, 2 * (K2 - 1) / above, 1e-6);
    EXPECT_NEAR(c.b2, (1 - r * K + K2) / above, 1e-6);
    const double t = r * K / sV, w = K2 / V;
    EXPECT_NEAR(c.a1, -2 * (w - 1) / (t + V + w), 1e-6);
    EXPECT_NEAR(c.a2, -(V - t + w) / (t + V + w), 1e-6);
}

TEST(Eq, ShelvesOfNoGainPassEverything) {
    for (int32_t type : {kLowShelf, kHighShelf}) {
        const EqCoefficients c = DesignEq(type, 0.1f, 0.0f, 1.0f);
        for (double tone : kTones) {
            EXPECT_LT(std::abs(Response(c, tone) - 1.0), kGainTolerance) << type;
        }
    }
}

TEST(Eq, OnePoleLosesThreeDecibelsAtItsFrequency) {
    for (float frequency : {0.01f, 0.05f, 0.2f}) {
        const EqCoefficients c = DesignEq(kOnePole, frequency, 0.0f, 1.0f);
        EXPECT_EQ(c.b1, 0.0f);
        EXPECT_EQ(c.b2, 0.0f);
        EXPECT_EQ(c.a2, 0.0f);
        EXPECT_NEAR(std::abs(Response(c, 0.0)), 1.0, 1e-5);
        EXPECT_NEAR(std::norm(Response(c, static_cast<double>(frequency))), 0.5, 1e-3) << frequency;
    }
}

TEST(Eq, AboveItsLimitALowPassIsBypassed) {
    auto eq = MakeEq(kLowPass, 1000);
    eq->SetParameters(460.0f, 0.0f, 1.0f);
    const std::vector<float> noise = Noise(100);
    EXPECT_EQ(Filtered(*eq, noise), noise);
    eq->SetParameters(450.0f, 0.0f, 1.0f);  // exactly on the limit
    EXPECT_NE(Filtered(*eq, noise), noise);
}

TEST(Eq, BelowItsLimitAHighPassIsBypassed) {
    auto eq = MakeEq(kHighPass, 1000);
    eq->SetParameters(9.99f, 0.0f, 1.0f);
    const std::vector<float> noise = Noise(100);
    EXPECT_EQ(Filtered(*eq, noise), noise);
    eq->SetParameters(10.0f, 0.0f, 1.0f);  // exactly on the limit
    EXPECT_NE(Filtered(*eq, noise), noise);
}

TEST(Eq, ShelvesAndTheOnePoleNeverLeaveTheirBypass) {
    const std::vector<float> noise = Noise(100);
    for (int32_t type : {kLowShelf, kHighShelf, kOnePole}) {
        auto eq = MakeEq(type, 1000);
        eq->SetParameters(100.0f, 12.0f, 1.0f);
        EXPECT_EQ(Filtered(*eq, noise), noise) << type;
    }
}

TEST(Eq, PeaksLeaveTheirBypassAtTheFirstCall) {
    const std::vector<float> noise = Noise(100);
    for (int32_t type : {kPeak, kPeakNoDirect}) {
        auto eq = MakeEq(type, 1000);
        eq->SetParameters(100.0f, 12.0f, 1.0f);
        EXPECT_NE(Filtered(*eq, noise), noise) << type;
    }
}

TEST(Eq, AnUntouchedPassFilterPassesEverything) {
    const std::vector<float> noise = Noise(100);
    for (int32_t type : {kLowPass, kHighPass}) {
        EXPECT_EQ(Filtered(*MakeEq(type), noise), noise) << type;
    }
}

TEST(Eq, BypassLeavesTheDelayLinesAlone) {
    const std::vector<float> noise = Noise(400);
    const std::vector<float> first(noise.begin(), noise.begin() + 200),
        second(noise.begin() + 200, noise.end());
    auto straight = MakeEq(kLowPass, 1000);
    straight->SetParameters(100.0f, 0.0f, 1.0f);
    Filtered(*straight, first);
    const std::vector<float> expected = Filtered(*straight, second);

    auto interrupted = MakeEq(kLowPass, 1000);
    interrupted->SetParameters(100.0f, 0.0f, 1.0f);
    Filtered(*interrupted, first);
    interrupted->SetParameters(499.0f, 0.0f, 1.0f);
    std::vector<float> inPlace = Noise(50, 8);
    interrupted->ProcessInterleaved(inPlace.data(), inPlace.data(), 50);
    EXPECT_EQ(inPlace, Noise(50, 8));
    Filtered(*interrupted, Noise(50, 9));
    interrupted->SetParameters(100.0f, 0.0f, 1.0f);
    EXPECT_EQ(Filtered(*interrupted, second), expected);
}

TEST(Eq, ParametersAreReportedOnceTheyAreInUse) {
    auto eq = MakeEq(kPeak, 1000);
    float frequency = 0, gain = -1, q = -1;
    eq->SetParameters(100.0f, 6.0f, 3.0f);
    eq->GetParameters(&frequency, &gain, &q);
    EXPECT_EQ(frequency, 500.0f);
    EXPECT_EQ(gain, 0.0f);
    EXPECT_EQ(q, 1.0f);
    eq->ProcessInterleaved(nullptr, nullptr, 0);
    eq->GetParameters(&frequency, &gain, &q);
    EXPECT_FLOAT_EQ(frequency, 100.0f);
    EXPECT_EQ(gain, 6.0f);
    EXPECT_EQ(q, 3.0f);
    eq->SetParameters(200.0f, 1.0f, 2.0f);
    eq->GetParameters(&frequency, nullptr, nullptr);
    eq->GetParameters(nullptr, &gain, nullptr);
    eq->GetParameters(nullptr, nullptr, &q);
    EXPECT_FLOAT_EQ(frequency, 100.0f);
    EXPECT_EQ(gain, 6.0f);
    EXPECT_EQ(q, 3.0f);
}

TEST(Eq, StartValuesStandForAnOpenFilter) {
    const float expected[] = {500.0f, 500.0f, 500.0f, 500.0f, 0.0f, 500.0f, 500.0f};
    for (int32_t type = 0; type <= 6; ++type) {
        float frequency = -1;
        MakeEq(type, 1000)->GetParameters(&frequency, nullptr, nullptr);
        EXPECT_EQ(frequency, expected[type]) << type;
    }
}

TEST(Eq, ABypassedPassFilterReportsTheEdgeOfTheBand) {
    auto low = MakeEq(kLowPass, 1000);
    low->SetParameters(470.0f, 0.0f, 1.0f);
    low->ProcessInterleaved(nullptr, nullptr, 0);
    float frequency = -1;
    low->GetParameters(&frequency, nullptr, nullptr);
    EXPECT_EQ(frequency, 500.0f);
    low->SetParameters(200.0f, 0.0f, 1.0f);
    low->ProcessInterleaved(nullptr, nullptr, 0);
    low->GetParameters(&frequency, nullptr, nullptr);
    EXPECT_FLOAT_EQ(frequency, 200.0f);

    auto high = MakeEq(kHighPass, 1000);
    high->SetParameters(5.0f, 0.0f, 1.0f);
    high->ProcessInterleaved(nullptr, nullptr, 0);
    high->GetParameters(&frequency, nullptr, nullptr);
    EXPECT_EQ(frequency, 0.0f);
}

TEST(Eq, PlanarAndInterleavedGiveTheSameBits) {
    const int32_t channels = 3, frames = 257;
    const std::vector<float> interleaved = Noise(channels * frames);
    for (int32_t type = 0; type <= 6; ++type) {
        auto a = MakeEq(type, 11025, channels);
        auto b = MakeEq(type, 11025, channels);
        a->SetParameters(1234.0f, 4.0f, 2.0f);
        b->SetParameters(1234.0f, 4.0f, 2.0f);
        std::vector<float> expected(interleaved.size());
        a->ProcessInterleaved(interleaved.data(), expected.data(), frames);

        std::vector<std::vector<float>> planar(channels, std::vector<float>(frames));
        std::vector<std::vector<float>> out = planar;
        const float* in[channels];
        float* outPointers[channels];
        for (int32_t c = 0; c < channels; ++c) {
            for (int32_t i = 0; i < frames; ++i) {
                planar[c][i] = interleaved[i * channels + c];
            }
            in[c] = planar[c].data();
            outPointers[c] = out[c].data();
        }
        b->Process(in, outPointers, frames);
        for (int32_t c = 0; c < channels; ++c) {
            for (int32_t i = 0; i < frames; ++i) {
                EXPECT_EQ(out[c][i], expected[i * channels + c]) << type;
            }
        }
    }
}

TEST(Eq, ChannelsDoNotLeakIntoEachOther) {
    const int32_t frames = 200;
    const std::vector<float> noise = Noise(frames);
    auto mono = MakeEq(kLowPass);
    auto stereo = MakeEq(kLowPass, 11025, 2);
    mono->SetParameters(900.0f, 0.0f, 1.0f);
    stereo->SetParameters(900.0f, 0.0f, 1.0f);
    const std::vector<float> expected = Filtered(*mono, noise);
    std::vector<float> both(2 * frames, 0.0f);
    for (int32_t i = 0; i < frames; ++i) {
        both[2 * i + 1] = noise[i];
    }
    stereo->ProcessInterleaved(both.data(), both.data(), frames);
    for (int32_t i = 0; i < frames; ++i) {
        EXPECT_EQ(both[2 * i], 0.0f);
        EXPECT_EQ(both[2 * i + 1], expected[i]);
    }
}

TEST(Eq, BlocksAndPlacesDoNotMatter) {
    const std::vector<float> noise = Noise(1000);
    for (int32_t type : {kPeak, kLowPass, kHighPass, kPeakNoDirect}) {
        auto whole = MakeEq(type);
        whole->SetParameters(700.0f, 5.0f, 2.0f);
        const std::vector<float> expected = Filtered(*whole, noise);
        auto cut = MakeEq(type);
        cut->SetParameters(700.0f, 5.0f, 2.0f);
        std::vector<float> out = noise;
        NoiseSource source(3);
        for (int32_t at = 0; at < 1000;) {
            const int32_t count = std::min(source.Next(0, 70), 1000 - at);
            float* place = out.data() + at;
            cut->Process(&place, &place, count);  // in place
            at += count;
        }
        EXPECT_EQ(out, expected) << type;
    }
}

TEST(Eq, ResetForgetsTheSignalButNotTheParameters) {
    const std::vector<float> noise = Noise(300);
    auto eq = MakeEq(kLowPass, 11025, 1);
    eq->SetParameters(300.0f, 0.0f, 1.0f);
    const std::vector<float> first = Filtered(*eq, noise);
    EXPECT_NE(Filtered(*eq, noise), first);
    eq->Reset();
    EXPECT_EQ(Filtered(*eq, noise), first);
    float frequency = 0;
    eq->GetParameters(&frequency, nullptr, nullptr);
    EXPECT_FLOAT_EQ(frequency, 300.0f);
}

TEST(Eq, NewParametersKeepTheSignalInTheDelayLines) {
    auto eq = MakeEq(kLowPass, 1000);
    eq->SetParameters(20.0f, 0.0f, 1.0f);
    Filtered(*eq, std::vector<float>(500, 1.0f));
    eq->SetParameters(40.0f, 0.0f, 1.0f);
    const std::vector<float> out = Filtered(*eq, std::vector<float>(10, 1.0f));
    for (float y : out) {
        EXPECT_NEAR(y, 1.0f, 1e-3f);
    }
}

TEST(Eq, NegativeFrameCountsDoNothing) {
    auto eq = MakeEq(kLowPass);
    eq->SetParameters(300.0f, 0.0f, 1.0f);
    float x = 0.5f;
    eq->ProcessInterleaved(&x, &x, -3);
    EXPECT_EQ(x, 0.5f);
    const float* in = &x;
    float y = 7.0f;
    float* out = &y;
    for (int32_t frames : {0, -3}) {
        eq->Process(&in, &out, frames);
    }
    EXPECT_EQ(y, 7.0f);
}

TEST(Eq, ABypassedFilterLeavesWhatItWorksOnInPlace) {
    auto eq = MakeEq(kLowPass, 1000);
    eq->SetParameters(460.0f, 0.0f, 1.0f);
    std::vector<float> samples = Noise(100);
    float* row = samples.data();
    eq->Process(&row, &row, 100);
    EXPECT_EQ(samples, Noise(100));
}

TEST(Eq, EveryTypeSaysWhichItIs) {
    for (int32_t type = 0; type <= 6; ++type) {
        EXPECT_EQ(MakeEq(type)->GetType(), type);
    }
}

TEST(Eq, CreationRefusesWhatItCannotMake) {
    CEqIf* eq = reinterpret_cast<CEqIf*>(8);
    EXPECT_EQ(CreateEq(&eq, 11025, 1, 7), kBadArgument);
    EXPECT_EQ(eq, nullptr);
    EXPECT_EQ(CreateEq(&eq, 11025, 1, -1), kBadArgument);
    EXPECT_EQ(CreateEq(&eq, 11025, 0, 3), kBadArgument);
    EXPECT_EQ(CreateEq(&eq, 0, 1, 3), kBadArgument);
    EXPECT_EQ(CreateEq(nullptr, 11025, 1, 3), kBadArgument);
}

}  // namespace mlh
