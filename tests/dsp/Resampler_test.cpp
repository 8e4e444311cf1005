#include "dsp/Resampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <memory>
#include <new>
#include <numbers>
#include <vector>

#include "base/Codes.h"
#include "support/SyntheticSinger.h"

namespace mlh {

using Complex = std::complex<double>;

namespace {

constexpr double kPi = std::numbers::pi;
constexpr int32_t kCapacity = 16384;

std::unique_ptr<CResampleBase> MakeResampler(int32_t quality = 3, int32_t channels = 1,
                                             int32_t kind = kResampleFloat, int32_t capacity = kCapacity) {
    CResampleBase* resampler = nullptr;
    EXPECT_EQ(CreateResampler(&resampler, quality, capacity, channels, kind, 0), 0);
    return std::unique_ptr<CResampleBase>(resampler);
}

std::vector<float> Tone(double hertz, double rate, size_t count) {
    std::vector<float> tone(count);
    for (size_t i = 0; i < count; ++i) {
        tone[i] = static_cast<float>(std::sin(2 * kPi * hertz / rate * static_cast<double>(i)));
    }
    return tone;
}

// One call; the result has what was written.
template <class Sample>
std::vector<Sample> Call(CResampleBase& resampler, const Sample* in, int32_t frames, float inRate,
                         float outRate, int32_t channels = 1) {
    const double most = std::ceil((frames + 2.0) * outRate / inRate) + 1;
    std::vector<Sample> out(static_cast<size_t>(most) * channels);
    const int32_t written = resampler.Process(in, out.data(), inRate, outRate, channels, frames);
    EXPECT_LE(written, most);
    out.resize(static_cast<size_t>(written) * channels);
    return out;
}

// Everything in calls of at most `piece` frames, drawn from 0 .. piece with a seed, or `piece` each without.
template <class Sample>
std::vector<Sample> Convert(CResampleBase& resampler, const std::vector<Sample>& in, float inRate,
                            float outRate, int32_t channels = 1, int32_t piece = 4096, uint64_t seed = 0) {
    std::vector<Sample> all;
    NoiseSource source(seed);
    const int32_t frames = static_cast<int32_t>(in.size()) / channels;
    for (int32_t at = 0; at < frames;) {
        const int32_t count = std::min(seed == 0 ? piece : source.Next(0, piece), frames - at);
        const auto part = Call(resampler, in.data() + at * channels, count, inRate, outRate, channels);
        all.insert(all.end(), part.begin(), part.end());
        at += count;
    }
    return all;
}

// The filter's wing at x zero crossings from its centre.
double Wing(double x, int32_t quality, double rolloff) {
    const double end = (quality * 256 - 1) / 256.0;
    if (x >= end) {
        return 0.0;
    }
    if (x == 0.0) {
        return rolloff;
    }
    static const double kWindowScale = std::cyl_bessel_i(0.0, 9.0);
    const double kaiser = std::cyl_bessel_i(0.0, 9.0 * std::sqrt(1 - x / end * (x / end))) / kWindowScale;
    return std::sin(kPi * x * rolloff) / (kPi * x) * kaiser;
}

double Rolloff(int32_t quality) { return 0.9 + quality * 0.025 * 0.03125; }

// The converter's output by its definition: every input frame weighted by the filter, in 64 bits.
double ExactOutput(const std::vector<float>& in, int32_t channels, int32_t channel, double position,
                   double factor, int32_t quality) {
    const double scale = std::min(factor, 1.0);
    const int64_t frames = static_cast<int64_t>(in.size()) / channels;
    const int64_t reach = static_cast<int64_t>(quality / scale) + 2;
    const int64_t centre = static_cast<int64_t>(position);
    double sum = 0;
    for (int64_t n = std::max<int64_t>(0, centre - reach); n <= std::min(frames - 1, centre + reach); ++n) {
        sum += in[n * channels + channel] * Wing(std::fabs(n - position) * scale, quality, Rolloff(quality));
    }
    return sum * 0.99 * scale;
}

// What the filter does to a tone [Hz at the input rate].
double ExactGain(double hertz, double inRate, double outRate, int32_t quality) {
    const double scale = std::min(outRate / inRate, 1.0);
    double sum = Wing(0, quality, Rolloff(quality));
    for (int n = 1; n * scale < quality; ++n) {
        sum += 2 * Wing(n * scale, quality, Rolloff(quality)) * std::cos(2 * kPi * hertz / inRate * n);
    }
    return sum * 0.99 * scale;
}

// Amplitude and phase against a sine of this frequency that starts with the signal.
Complex Measure(const std::vector<float>& signal, double hertz, double rate) {
    const size_t from = signal.size() / 4, count = signal.size() / 2;
    Complex sum = 0;
    double weight = 0;
    for (size_t i = 0; i < count; ++i) {
        const double hann = 1 - std::cos(2 * kPi * static_cast<double>(i) / static_cast<double>(count));
        sum += hann * signal[from + i] *
               std::polar(1.0, -2 * kPi * hertz / rate * static_cast<double>(from + i));
        weight += hann;
    }
    return 2.0 * sum / weight * Complex(0, 1);
}

double Decibels(double gain) { return 20 * std::log10(gain); }

// Interpolation between table entries, 15 bits of read time and 32-bit sums: about 1e-4 of full scale.
constexpr float kOutputTolerance = 2e-4f;

}  // namespace

TEST(Resampler, TheTableIsAKaiserWindowedSinc) {
    for (int32_t quality : {1, 3, 20, 120}) {
        const auto resampler = MakeResampler(quality);
        const auto& typed = dynamic_cast<CResampleFloat&>(*resampler);
        ASSERT_EQ(typed.GetTable().size(), static_cast<size_t>(quality * 256));
        EXPECT_EQ(typed.GetTable()[0], static_cast<float>(Rolloff(quality)));
        const double rolloff = static_cast<double>(static_cast<float>(Rolloff(quality)));
        for (int32_t i = 0; i < quality * 256 - 1; ++i) {
            EXPECT_NEAR(typed.GetTable()[i], Wing(i / 256.0, quality, rolloff), 1e-7) << quality << " " << i;
            EXPECT_EQ(typed.GetDelta()[i], typed.GetTable()[i + 1] - typed.GetTable()[i]);
        }
        EXPECT_EQ(typed.GetDelta().back(), 0.0f);
        EXPECT_EQ(resampler->GetHalfLength(), quality + 1);
        EXPECT_EQ(resampler->GetTableLength(), quality * 256);
    }
}

TEST(Resampler, TheIntegerTableIsTheRoundedOne) {
    const auto resampler = MakeResampler(3, 1, kResampleInt);
    const auto& typed = dynamic_cast<CResampleInt&>(*resampler);
    const double rolloff = static_cast<double>(static_cast<float>(Rolloff(3)));
    for (int32_t i = 0; i < 3 * 256 - 1; ++i) {
        EXPECT_NEAR(typed.GetTable()[i], 32767 * Wing(i / 256.0, 3, rolloff), 0.5001) << i;
        EXPECT_EQ(typed.GetDelta()[i], typed.GetTable()[i + 1] - typed.GetTable()[i]);
    }
    EXPECT_EQ(typed.GetDelta().back(), 0);
}

TEST(Resampler, AShorterFilterFillsTheFrontOfTheTable) {
    const auto resampler = MakeResampler(2);
    auto& typed = dynamic_cast<CResampleFloat&>(*resampler);
    const std::vector<float> before = typed.GetTable();
    resampler->BuildFilter(256);
    EXPECT_NEAR(typed.GetTable()[255], std::sin(kPi * 255 / 256 * Rolloff(2)) / (kPi * 255 / 256) / 1093.588,
                1e-6);
    EXPECT_EQ(typed.GetDelta()[255], 0.0f);
    EXPECT_EQ(typed.GetTable()[256], before[256]);
    resampler->BuildFilter(512);
    EXPECT_EQ(typed.GetTable(), before);
    for (int32_t length : {0, -1, 513}) {
        resampler->BuildFilter(length);
        EXPECT_EQ(typed.GetTable(), before) << length;
    }
}

struct Ratio {
    float inRate, outRate;
    int32_t quality;
};
class ResamplerRatio : public testing::TestWithParam<Ratio> {};

// Right values at the right places, however the input is cut: no read is past the data, no time gets
// lost.
TEST_P(ResamplerRatio, GivesTheWeightedSumOfTheInput) {
    const auto [inRate, outRate, quality] = GetParam();
    const double factor = static_cast<double>(outRate) / static_cast<double>(inRate);
    const int32_t frames = static_cast<int32_t>(3000 * std::max(1.0, 1 / factor) / std::max(1.0, factor));
    const std::vector<float> in = Noise(frames);
    for (int32_t piece : {1, 7, 300, kCapacity}) {
        if (piece == 1 && frames > 20000) {
            continue;
        }
        const auto resampler = MakeResampler(quality);
        const auto out = Convert(*resampler, in, inRate, outRate, 1, piece, piece == 300 ? 11 : 0);
        ASSERT_GT(out.size(), 10u);
        double worst = 0;
        for (size_t k = 0; k < out.size(); k += 1 + out.size() / 300) {
            const double exact = ExactOutput(in, 1, 0, static_cast<double>(k) / factor, factor, quality);
            worst = std::max(worst, std::fabs(out[k] - exact));
        }
        EXPECT_LT(worst, kOutputTolerance * std::max(1.0, std::sqrt(quality / 3.0))) << "pieces of " << piece;
        const double expected = (frames - resampler->GetMargin()) * factor;
        EXPECT_NEAR(static_cast<double>(out.size()), expected, std::max(2.0, 2 * factor))
            << "pieces of " << piece;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rates, ResamplerRatio,
    testing::Values(Ratio{44100, 11025, 3}, Ratio{48000, 11025, 3}, Ratio{22050, 11025, 3},
                    Ratio{16000, 11025, 3}, Ratio{11025, 11025, 3}, Ratio{8000, 11025, 3},
                    Ratio{32000, 11025, 3}, Ratio{96000, 11025, 3}, Ratio{192000, 11025, 3},
                    Ratio{255999, 11025, 3}, Ratio{44100, 48000, 20}, Ratio{48000, 44100, 20},
                    Ratio{1000, 999, 1}, Ratio{999, 1000, 1}, Ratio{1995, 1000, 1}, Ratio{2005, 1000, 1},
                    Ratio{100, 1, 3}, Ratio{3, 1000, 3}, Ratio{48000, 11025, 120}));

TEST(Resampler, CutsGiveTheSameBitsWhereTheRatioIsWhole) {
    for (float inRate : {11025.0f, 22050.0f, 44100.0f}) {
        const std::vector<float> in = Noise(20000);
        const auto whole = MakeResampler();
        const auto expected = Convert(*whole, in, inRate, 11025.0f, 1, kCapacity);
        for (uint64_t seed : {1, 2, 3}) {
            const auto cut = MakeResampler();
            auto out = Convert(*cut, in, inRate, 11025.0f, 1, 700, seed);
            const size_t common = std::min(out.size(), expected.size());
            EXPECT_LE(std::max(out.size(), expected.size()) - common, 1u);
            for (size_t i = 0; i < common; ++i) {
                ASSERT_EQ(out[i], expected[i]) << i;
            }
        }
    }
}

TEST(Resampler, ChannelsAreConvertedApart) {
    const int32_t channels = 3;
    const std::vector<float> in = Noise(3 * 4000);
    for (float rate : {48000.0f, 44100.0f}) {  // 44100 is a whole ratio
        const auto resampler = MakeResampler(3, channels);
        const auto out = Convert(*resampler, in, rate, 11025.0f, channels, 333);
        for (int32_t c = 0; c < channels; ++c) {
            std::vector<float> one(4000);
            for (size_t i = 0; i < one.size(); ++i) {
                one[i] = in[i * channels + c];
            }
            const auto alone = MakeResampler();
            const auto expected = Convert(*alone, one, rate, 11025.0f, 1, 333);
            ASSERT_EQ(out.size(), expected.size() * channels);
            for (size_t k = 0; k < expected.size(); ++k) {
                ASSERT_EQ(out[k * channels + c], expected[k]) << c << " " << k;
            }
        }
    }
}

TEST(Resampler, FewerChannelsThanAtCreationAreFine) {
    const std::vector<float> in = Noise(3000);
    EXPECT_EQ(Convert(*MakeResampler(3, 4), in, 44100.0f, 11025.0f),
              Convert(*MakeResampler(), in, 44100.0f, 11025.0f));
}

TEST(Resampler, ALowToneKeepsItsPhaseAndNearlyItsLevel) {
    for (float inRate : {8000.0f, 11025.0f, 16000.0f, 22050.0f, 44100.0f, 48000.0f, 96000.0f}) {
        const auto resampler = MakeResampler();
        const auto out =
            Convert(*resampler, Tone(200, inRate, static_cast<size_t>(inRate)), inRate, 11025.0f, 1, 512);
        const Complex gain = Measure(out, 200, 11025);
        EXPECT_NEAR(std::abs(gain), 0.99, 0.01) << inRate;
        EXPECT_NEAR(std::abs(gain), ExactGain(200, inRate, 11025, 3), 2e-4) << inRate;
        EXPECT_NEAR(std::arg(gain), 0.0, 1e-3) << inRate;
    }
}

TEST(Resampler, TheSameRatePassesThroughTheFilter) {
    const auto resampler = MakeResampler();
    std::vector<float> impulse(200, 0.0f);
    impulse[50] = 1.0f;
    const auto out = Convert(*resampler, impulse, 11025.0f, 11025.0f);
    for (int i = 30; i < 70; ++i) {
        EXPECT_NEAR(out[i], 0.99 * Wing(std::abs(i - 50), 3, Rolloff(3)), 1e-5) << i;
    }
    EXPECT_NEAR(out[50], 0.99 * 0.90234375, 1e-6);
}

TEST(Resampler, ToneLevelsFollowTheFilter) {
    for (double hertz : {1000.0, 3000.0, 5000.0, 7000.0, 9000.0}) {
        const auto resampler = MakeResampler();
        const auto out = Convert(*resampler, Tone(hertz, 44100, 44100), 44100.0f, 11025.0f);
        const double alias = std::fabs(hertz - 11025 * std::round(hertz / 11025));
        EXPECT_NEAR(std::abs(Measure(out, alias, 11025)), std::fabs(ExactGain(hertz, 44100, 11025, 3)), 2e-4)
            << hertz;
    }
}

// Kaiser with beta 9 stops at about 90 dB once its slope of three zero crossings is over.
TEST(Resampler, WhatWouldFoldOverIsRejected) {
    for (double hertz : {10800.0, 12000.0, 15000.0, 17000.0, 19800.0, 21000.0}) {
        const auto resampler = MakeResampler();
        const auto out = Convert(*resampler, Tone(hertz, 44100, 44100), 44100.0f, 11025.0f);
        double power = 0;
        for (size_t i = 100; i < out.size(); ++i) {
            power += static_cast<double>(out[i]) * out[i];
        }
        const double rms = std::sqrt(power / static_cast<double>(out.size() - 100) * 2);
        EXPECT_LT(Decibels(rms), -80.0) << hertz;
    }
}

TEST(Resampler, LongerFiltersHaveSteeperSlopes) {
    double last = 1;
    for (int32_t quality : {3, 10, 40, 120}) {
        const auto resampler = MakeResampler(quality);
        const auto out = Convert(*resampler, Tone(5800, 44100, 44100), 44100.0f, 11025.0f);
        const double image = std::abs(Measure(out, 11025 - 5800, 11025));
        EXPECT_LT(image, last);
        last = image;
    }
    EXPECT_LT(Decibels(last), -60.0);
}

TEST(Resampler, InputNeededForAHopAt44100) {
    const auto resampler = MakeResampler();
    EXPECT_EQ(GetRequiredInput(resampler.get(), 128, 44100.0f, 11025.0f), 529);
    const std::vector<float> in = Noise(529);
    EXPECT_EQ(Call(*resampler, in.data(), 529, 44100.0f, 11025.0f).size(), 128u);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(GetRequiredInput(resampler.get(), 128, 44100.0f, 11025.0f), 512);
        ASSERT_EQ(Call(*resampler, in.data(), 512, 44100.0f, 11025.0f).size(), 128u);
    }
    EXPECT_EQ(resampler->GetMargin(), 17);
}

TEST(Resampler, FramesPerCallVaryByOneAt48000) {
    const auto resampler = MakeResampler();
    EXPECT_EQ(GetRequiredInput(resampler.get(), 128, 48000.0f, 11025.0f), 576);
    const std::vector<float> in = Noise(600);
    Call(*resampler, in.data(), 576, 48000.0f, 11025.0f);
    int counts[2] = {};
    for (int i = 0; i < 500; ++i) {
        const size_t count = Call(*resampler, in.data(), 558, 48000.0f, 11025.0f).size();
        ASSERT_TRUE(count == 128 || count == 129) << count;
        ++counts[count - 128];
    }
    EXPECT_NEAR(counts[1], 500 * (558 * 11025.0 / 48000.0 - 128), 2.0);
}

TEST(Resampler, TheInputAskedForGivesTheOutputWanted) {
    NoiseSource source(1);
    const std::vector<float> in = Noise(kCapacity);
    for (int round = 0; round < 60; ++round) {
        const auto resampler = MakeResampler(source.Next(1, 10));
        const float inRate = static_cast<float>(source.Next(8000, 200000));
        const float outRate = static_cast<float>(source.Next(8000, 50000));
        const double factor = static_cast<double>(outRate) / inRate;
        for (int call = 0; call < 20; ++call) {
            const int32_t wanted = source.Next(0, 300);
            const int32_t required = GetRequiredInput(resampler.get(), wanted, inRate, outRate);
            ASSERT_LE(required, kCapacity);
            const auto out = Call(*resampler, in.data(), required, inRate, outRate);
            if (required == 0) {
                continue;  // time had run ahead further than this
            }
            ASSERT_GE(static_cast<int32_t>(out.size()), wanted) << inRate << " " << outRate;
            ASSERT_LE(out.size(), wanted + 1 + factor) << inRate << " " << outRate;
        }
    }
}

TEST(Resampler, RequiredInputIsNeverNegative) {
    const auto resampler = MakeResampler();
    EXPECT_EQ(GetRequiredInput(resampler.get(), -100, 44100.0f, 11025.0f), 0);
    const std::vector<float> in = Noise(2000);
    Call(*resampler, in.data(), 2000, 48000.0f, 11025.0f);
    EXPECT_EQ(GetRequiredInput(resampler.get(), -1, 48000.0f, 11025.0f), 0);
    EXPECT_EQ(GetRequiredInput(nullptr, 128, 44100.0f, 11025.0f), 0);
    EXPECT_EQ(GetRequiredInput(resampler.get(), 128, 0.0f, 11025.0f), 0);
    EXPECT_EQ(GetRequiredInput(resampler.get(), 128, 44100.0f, std::nanf("")), 0);
    EXPECT_EQ(GetRequiredInput(resampler.get(), 0x7fffffff, 1e30f, 1.0f), 0x7fffffff);
}

TEST(Resampler, AFirstCallShorterThanTheMarginGivesNothing) {
    const std::vector<float> in = Noise(5000);
    const auto whole = MakeResampler();
    const auto expected = Convert(*whole, in, 44100.0f, 11025.0f);
    for (int32_t first : {0, 1, 16, 17}) {
        const auto resampler = MakeResampler();
        EXPECT_TRUE(resampler->IsFirstCall());
        EXPECT_EQ(Call(*resampler, in.data(), first, 44100.0f, 11025.0f).size(), 0u);
        EXPECT_FALSE(resampler->IsFirstCall());
        EXPECT_EQ(GetRequiredInput(resampler.get(), 128, 44100.0f, 11025.0f), 529 - first);
        const std::vector<float> rest(in.begin() + first, in.end());
        EXPECT_EQ(Convert(*resampler, rest, 44100.0f, 11025.0f), expected) << first;
    }
}

TEST(Resampler, TheMarginGrowsAndNeverShrinks) {
    const auto resampler = MakeResampler();
    const std::vector<float> in = Noise(2000);
    EXPECT_EQ(resampler->GetMargin(), 8);
    int32_t margin = 8;
    for (float inRate : {11025.0f, 20000.0f, 22050.0f, 48000.0f, 96000.0f, 44100.0f, 8000.0f, 200000.0f}) {
        Call(*resampler, in.data(), 1000, inRate, 11025.0f);
        margin = std::max(margin, static_cast<int32_t>(4 * std::max(inRate / 11025.0, 1.0) + 1));
        EXPECT_EQ(resampler->GetMargin(), margin) << inRate;
    }
}

// Output times follow each other without a gap, and the wider filter finds the older input where it was.
TEST(Resampler, AChangingRatioIsSeamless) {
    NoiseSource source(9);
    const std::vector<float> in = Noise(60000);
    const float rates[] = {44100, 8000, 96000, 48000, 11025, 30000, 150000, 22050};
    const auto resampler = MakeResampler();
    double position = 0;
    int32_t at = 0, checked = 0;
    for (int call = 0; call < 100; ++call) {
        const float inRate = rates[call < 8 ? call : source.Next(0, 7)];
        const double factor = 11025.0 / inRate;
        const int32_t count = source.Next(0, 1100);
        const auto out = Call(*resampler, in.data() + at, count, inRate, 11025.0f);
        at += count;
        for (float y : out) {
            ASSERT_NEAR(y, ExactOutput(in, 1, 0, position, factor, 3), kOutputTolerance) << call;
            position += 1 / factor;
            ++checked;
        }
    }
    EXPECT_GT(checked, 3000);
}

TEST(Resampler, FramesAreCountedToAHundredth) {
    const std::vector<float> in = Noise(12);
    // 12 frames leave 4 with a full margin after them.
    EXPECT_EQ(Call(*MakeResampler(), in.data(), 12, 1999.0f, 1000.0f).size(),
              2u);  // the third would be at 3.998
    EXPECT_EQ(Call(*MakeResampler(), in.data(), 12, 1985.0f, 1000.0f).size(), 3u);  // at 3.97
    EXPECT_EQ(Call(*MakeResampler(), in.data(), 12, 1000.0f, 1001.0f).size(), 4u);  // 4.004 frames
    EXPECT_EQ(Call(*MakeResampler(), in.data(), 12, 1000.0f, 1002.0f).size(), 5u);  // 4.008 frames
}

// Rounding the count lets the read time lag by up to a frame before it is pulled up.
TEST(Resampler, TimeThatFallsBehindIsNotLost) {
    const std::vector<float> in = Noise(9000);
    const auto resampler = MakeResampler();
    double position = 0;
    int32_t at = 0;
    const auto convert = [&](int32_t frames, float inRate) {
        const auto out = Call(*resampler, in.data() + at, frames, inRate, 1000.0f);
        at += frames;
        for (float y : out) {
            ASSERT_NEAR(y, ExactOutput(in, 1, 0, position, 1000.0 / inRate, 3), kOutputTolerance) << at;
            position += inRate / 1000.0;
        }
    };
    for (int call = 0; call < 1300; ++call) {
        convert(4, 1999.0f);
    }
    EXPECT_LT(resampler->GetTime(), resampler->GetMargin());
    convert(0, 9000.0f);  // a margin that grows just then
    for (int call = 0; call < 30; ++call) {
        convert(100, 9000.0f);
    }
}

TEST(Resampler, ResetGivesTheStateAfterCreation) {
    const std::vector<float> in = Noise(5000);
    const auto resampler = MakeResampler();
    const auto first = Convert(*resampler, in, 48000.0f, 11025.0f, 1, 300);
    Convert(*resampler, in, 96000.0f, 11025.0f, 1, 300);
    resampler->Reset();
    EXPECT_EQ(resampler->GetMargin(), 8);
    EXPECT_EQ(resampler->GetTime(), 8.0);
    EXPECT_EQ(resampler->GetWriteIndex(), 0);
    EXPECT_TRUE(resampler->IsFirstCall());
    EXPECT_EQ(Convert(*resampler, in, 48000.0f, 11025.0f, 1, 300), first);
}

TEST(Resampler, WithoutBuffersNothingIsTaken) {
    const std::vector<float> in = Noise(1000);
    const auto resampler = MakeResampler();
    resampler->Release();
    float out[10] = {};
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, 11025.0f, 1, 30), 0);
    resampler->BuildFilter(10);
    resampler->Reset();
    EXPECT_EQ(resampler->Init(), 0);
    EXPECT_EQ(Convert(*resampler, in, 44100.0f, 11025.0f), Convert(*MakeResampler(), in, 44100.0f, 11025.0f));
}

TEST(Resampler, UnusableCallsTakeNothing) {
    const auto resampler = MakeResampler(3, 2, kResampleFloat, 500);
    const std::vector<float> in = Noise(1000);
    const std::vector<float> mono(in.begin(), in.begin() + 500);
    float out[8];
    const float nan = std::nanf("");
    EXPECT_EQ(resampler->Process(in.data(), out, 0.0f, 11025.0f, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, -1.0f, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, nan, 11025.0f, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, nan, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, HUGE_VALF, 11025.0f, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, HUGE_VALF, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 1e30f, 1.0f, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 1.0f, 1e30f, 1, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, 11025.0f, 0, 400), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, 11025.0f, 3, 300), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, 11025.0f, 1, -1), 0);
    EXPECT_EQ(resampler->Process(in.data(), out, 44100.0f, 11025.0f, 1, 501), 0);
    EXPECT_TRUE(resampler->IsFirstCall());
    EXPECT_EQ(Convert(*resampler, mono, 44100.0f, 11025.0f, 1, 500),
              Convert(*MakeResampler(), mono, 44100.0f, 11025.0f));
}

TEST(Resampler, TheSteepestConversionDownStaysWithinTheBuffers) {
    for (int32_t quality : {1, 60, 120}) {
        const float steps = quality == 120 ? 500.0f : 1000.0f;
        const auto resampler = MakeResampler(quality, 2, kResampleFloat, 9000);
        const std::vector<float> in(2 * 9000, 1.0f);
        float out[2 * 40];
        float last = 0;
        for (int call = 0; call < 40; ++call) {
            const int32_t count = resampler->Process(in.data(), out, steps, 1.0f, 2, 9000);
            if (count > 0) {
                last = out[2 * count - 1];
            }
        }
        EXPECT_NEAR(last, ExactGain(0, steps, 1, quality), 0.02) << quality;
        EXPECT_EQ(resampler->Process(in.data(), out, steps * 1.01f, 1.0f, 2, 9000), 0);
    }
}

// The most that the buffer ever holds: the widest margin twice, a whole call, and the frame by which the read
// time has just come to lag, all of it where samples don't move to the front yet. The address sanitizer
// sees a frame too many.
TEST(Resampler, TheLongestCallFitsWhereTheBufferEnds) {
    constexpr int32_t margin = 2 * 1000 + 1, capacity = margin;
    constexpr int32_t mostDropped = 2 * margin + 4 + capacity + 1;
    const std::vector<float> in = Noise(capacity);
    for (int32_t wanted = mostDropped - 3; wanted <= mostDropped; ++wanted) {
        const auto resampler = MakeResampler(1, 1, kResampleFloat, capacity);
        int32_t dropped = 0;
        const auto convert = [&](int32_t frames, float inRate) {
            const int32_t before = resampler->GetWriteIndex();
            Call(*resampler, in.data(), frames, inRate, 1000.0f);
            dropped += before + frames - resampler->GetWriteIndex();
            if (dropped > mostDropped) {
                dropped = 0;
            }
        };
        convert(margin, 1e6f);
        dropped = 0;  // these frames are the margin
        ASSERT_EQ(resampler->GetMargin(), margin);
        for (int call = 0; call < 202; ++call) {
            convert(200, 199995.0625f);
        }
        while (dropped != wanted - 199) {
            convert(1, 1000.0f);
        }
        ASSERT_EQ(resampler->GetWriteIndex(), 0);
        convert(200, 199995.0625f);
        ASSERT_EQ(resampler->GetWriteIndex(), 1);
        ASSERT_EQ(dropped, wanted);
        EXPECT_EQ(Call(*resampler, in.data(), capacity, 1000.0f, 1000.0f).size(), capacity + 1u);
    }
}

TEST(Resampler, IntegerSamplesFollowTheIntegerRule) {
    NoiseSource source(3);
    std::vector<int16_t> in(1500);
    for (int16_t& x : in) {
        x = static_cast<int16_t>(source.Next(-32768, 32767));
    }
    for (float inRate : {44100.0f, 8000.0f, 48000.0f}) {
        const auto resampler = MakeResampler(3, 1, kResampleInt);
        const auto& typed = dynamic_cast<CResampleInt&>(*resampler);
        const auto out = Convert(*resampler, in, inRate, 11025.0f, 1, 200);
        ASSERT_GT(out.size(), 300u);
        const double factor = 11025.0 / inRate;
        const int64_t increment = static_cast<int64_t>(std::min(1.0, factor) * 32768 + 0.5);
        const int64_t gain = static_cast<int64_t>(static_cast<float>(0.99 * std::min(1.0, factor)) * 32768);
        int differing = 0;
        for (size_t k = 0; k < out.size(); ++k) {
            const int64_t time = static_cast<int64_t>(static_cast<double>(k) / factor * 32768 + 1e-6);
            int64_t sum = 0;
            for (int64_t n = std::max<int64_t>(0, (time >> 15) - 30);
                 n < std::min<int64_t>(1500, (time >> 15) + 30); ++n) {
                const bool right = (n << 15) > time;
                const int64_t first = right ? -time & 0x7fff : time & 0x7fff;
                int64_t taps = right ? n - (time >> 15) - 1 : (time >> 15) - n;
                if (right && first == 0) {
                    ++taps;
                }
                const int64_t h = ((first * increment) >> 15) + taps * increment;
                if (h >= 768 * 128 - (right ? 128 : 0)) {
                    continue;
                }
                const int64_t entry =
                    typed.GetTable()[h >> 7] + ((typed.GetDelta()[h >> 7] * (h & 127)) >> 7);
                sum += entry * in[n];
            }
            const auto expected = static_cast<int16_t>(((sum >> 7) * gain) >> 15);
            if (out[k] != expected) {
                ++differing;
            }
        }
        // Read times on the border of a 32768th may fall to either side.
        EXPECT_LE(differing, static_cast<int>(out.size() / 50)) << inRate;
    }
}

TEST(Resampler, CreationRefusesWhatItCannotMake) {
    CResampleBase* resampler = reinterpret_cast<CResampleBase*>(8);
    EXPECT_EQ(CreateResampler(&resampler, 0, 100, 1, 0, 0), kBadArgument);
    EXPECT_EQ(resampler, nullptr);
    EXPECT_EQ(CreateResampler(&resampler, 121, 100, 1, 0, 0), kBadArgument);
    EXPECT_EQ(CreateResampler(&resampler, 3, 100, 1, 2, 0), kBadArgument);
    EXPECT_EQ(CreateResampler(&resampler, 3, 100, 1, -1, 0), kBadArgument);
    EXPECT_EQ(CreateResampler(&resampler, 3, -1, 1, 0, 0), kBadArgument);
    EXPECT_EQ(CreateResampler(&resampler, 3, 100, 0, 0, 0), kBadArgument);
    EXPECT_EQ(CreateResampler(nullptr, 3, 100, 1, 0, 0), kBadArgument);
    for (int32_t quality : {1, 120}) {
        for (int32_t kind : {0, 1}) {
            ASSERT_EQ(CreateResampler(&resampler, quality, 100, 1, kind, 1), 0);
            EXPECT_EQ(DestroyResampler(&resampler), 0);
            EXPECT_EQ(resampler, nullptr);
        }
    }
    EXPECT_EQ(DestroyResampler(&resampler), kBadArgument);
    EXPECT_EQ(DestroyResampler(nullptr), kBadArgument);
}

}  // namespace mlh
