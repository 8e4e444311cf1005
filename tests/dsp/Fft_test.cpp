#include "dsp/Fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "LevelMain.h"
#include "PlainFft.h"
#include "base/Codes.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

FFTPointer MakeFFT(int32_t windowLength, int32_t zeroPadFactor = 1, int32_t windowType = 0) {
    CqrtfFFT_If* fft = nullptr;
    EXPECT_EQ(Ops().FFTCreate(&fft, windowLength, zeroPadFactor, windowType), 0);
    return FFTPointer(fft);
}

class FftSizes : public ::testing::TestWithParam<int32_t> {};

TEST_P(FftSizes, ForwardIsTheDefinition) {
    const int32_t n = GetParam();
    const std::vector<float> x = Noise(n, 1u + static_cast<unsigned>(n));
    std::vector<float> spectrum(x.size());
    MakeFFT(n)->Forward(spectrum.data(), x.data());
    EXPECT_LT(ErrorDb(spectrum, PlainSpectrum(x)), kRoundingDb);
}

TEST_P(FftSizes, InverseGivesTheBlockTimesItsSize) {
    const int32_t n = GetParam();
    const std::vector<float> x = Noise(n, 2u + static_cast<unsigned>(n));
    std::vector<float> spectrum(x.size()), back(x.size());
    const FFTPointer fft = MakeFFT(n);
    fft->Forward(spectrum.data(), x.data());
    fft->Inverse(back.data(), spectrum.data());
    EXPECT_LT(ErrorDb(back, x, n), kRoundingDb);
}

TEST_P(FftSizes, BothDirectionsWorkInPlaceWithTheSameBits) {
    const int32_t n = GetParam();
    const std::vector<float> x = Noise(n, 3u + static_cast<unsigned>(n));
    std::vector<float> spectrum(x.size()), back(x.size());
    const FFTPointer fft = MakeFFT(n);
    fft->Forward(spectrum.data(), x.data());
    fft->Inverse(back.data(), spectrum.data());
    std::vector<float> buffer = x;
    fft->Forward(buffer.data(), buffer.data());
    EXPECT_EQ(buffer, spectrum);
    fft->Inverse(buffer.data(), buffer.data());
    EXPECT_EQ(buffer, back);
}

TEST_P(FftSizes, InputsAreLeftAloneAndNothingIsWrittenBehindTheOutput) {
    const int32_t n = GetParam();
    const std::vector<float> x = Noise(n, 4u + static_cast<unsigned>(n));
    const std::vector<float> in = x;
    constexpr float guard = 123.0f;
    std::vector<float> out(x.size() + 16, guard);
    const FFTPointer fft = MakeFFT(n);
    fft->Forward(out.data() + 8, in.data());
    EXPECT_EQ(in, x);
    const std::vector<float> spectrum(out.begin() + 8, out.end() - 8), kept = spectrum;
    fft->Inverse(out.data() + 8, spectrum.data());
    EXPECT_EQ(spectrum, kept);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(out[static_cast<size_t>(i)], guard);
        EXPECT_EQ(out[out.size() - 1 - static_cast<size_t>(i)], guard);
    }
}

// Fills the memory in which the functions called next keep their variables.
[[gnu::noinline]] void FillStackWithNonNumbers() {
    volatile float stack[8192];
    for (volatile float& value : stack) {
        value = std::numeric_limits<float>::quiet_NaN();
    }
}

TEST_P(FftSizes, NothingThatTheStackHeldGetsIntoTheResult) {
    const int32_t n = GetParam();
    const std::vector<float> x = Noise(n, 6u + static_cast<unsigned>(n));
    const FFTPointer fft = MakeFFT(n);
    std::vector<float> spectrum(x.size()), back(x.size());
    FillStackWithNonNumbers();
    fft->Forward(spectrum.data(), x.data());
    FillStackWithNonNumbers();
    fft->Inverse(back.data(), spectrum.data());
    for (const float value : spectrum) {
        ASSERT_TRUE(std::isfinite(value));
    }
    EXPECT_LT(ErrorDb(back, x, n), kRoundingDb);
}

TEST_P(FftSizes, BuffersNeedNoAlignment) {
    const int32_t n = GetParam();
    const std::vector<float> x = Noise(n, 5u + static_cast<unsigned>(n));
    const FFTPointer fft = MakeFFT(n);
    std::vector<float> spectrum(x.size()), back(x.size());
    fft->Forward(spectrum.data(), x.data());
    fft->Inverse(back.data(), spectrum.data());
    for (size_t shift = 1; shift < 8; ++shift) {
        std::vector<float> in(x.size() + shift), out(x.size() + shift);
        std::copy(x.begin(), x.end(), in.begin() + static_cast<std::ptrdiff_t>(shift));
        fft->Forward(out.data() + shift, in.data() + shift);
        EXPECT_EQ(std::memcmp(out.data() + shift, spectrum.data(), x.size() * sizeof(float)), 0);
        fft->Inverse(in.data() + shift, out.data() + shift);
        EXPECT_EQ(std::memcmp(in.data() + shift, back.data(), x.size() * sizeof(float)), 0);
    }
}

TEST_P(FftSizes, ImpulseGivesOnesInBothRealBinsToo) {
    const int32_t n = GetParam();
    std::vector<float> x(static_cast<size_t>(n)), spectrum(x.size());
    x[0] = 1.0f;
    MakeFFT(n)->Forward(spectrum.data(), x.data());
    EXPECT_EQ(spectrum[0], 1.0f);
    EXPECT_EQ(spectrum[1], 1.0f);
    for (size_t k = 1; k < x.size() / 2; ++k) {
        EXPECT_EQ(spectrum[2 * k], 1.0f) << k;
        EXPECT_EQ(spectrum[2 * k + 1], 0.0f) << k;
    }
}

TEST_P(FftSizes, SecondTransformGivesTheSameBitsAsTheFirst) {
    const int32_t n = GetParam();
    const std::vector<float> x = Noise(n, 6u + static_cast<unsigned>(n));
    std::vector<float> first(x.size()), second(x.size());
    const FFTPointer fft = MakeFFT(n);
    fft->Forward(first.data(), x.data());
    fft->Inverse(second.data(), Noise(n, 7).data());
    fft->Forward(second.data(), x.data());
    EXPECT_EQ(first, second);
}

INSTANTIATE_TEST_SUITE_P(PowersOfTwo, FftSizes,
                         ::testing::Values(4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192),
                         ::testing::PrintToStringParamName());

TEST(FftTest, LargeTransformComesBack) {
    constexpr int32_t n = 1 << 18;
    const std::vector<float> x = Noise(n, 8);
    std::vector<float> spectrum(x.size()), back(x.size());
    const FFTPointer fft = MakeFFT(n);
    fft->Forward(spectrum.data(), x.data());
    fft->Inverse(back.data(), spectrum.data());
    EXPECT_LT(ErrorDb(back, x, n), kRoundingDb);
}

TEST(FftTest, ToneStandsInItsBinWithTheNegativeExponent) {
    constexpr int32_t n = 64;
    const FFTPointer fft = MakeFFT(n);
    for (int32_t bin = 1; bin < n / 2; ++bin) {
        std::vector<float> x(n), spectrum(n);
        for (int32_t i = 0; i < n; ++i) {
            x[static_cast<size_t>(i)] = static_cast<float>(std::sin(2.0 * kPi * bin * i / n));
        }
        fft->Forward(spectrum.data(), x.data());
        for (int32_t k = 0; k < n; ++k) {
            EXPECT_NEAR(spectrum[static_cast<size_t>(k)], k == 2 * bin + 1 ? -n / 2 : 0, 1e-5) << bin;
        }
    }
}

TEST(FftTest, RefusesWrongSizesAndLeavesNull) {
    const int32_t wrong[][2] = {
        {6, 1},  {0, 1},   {-4, 1},           {1, 1},         {2, 1},         {12, 1},      {4, 0},
        {4, 3},  {4, -1},  {4, -2},           {INT32_MIN, 1}, {4, INT32_MIN}, {1 << 30, 2}, {1 << 30, 4},
        {16, 6}, {100, 1}, {1 << 16, 1 << 16}};
    for (const auto& [windowLength, zeroPadFactor] : wrong) {
        CqrtfFFT_If* fft = reinterpret_cast<CqrtfFFT_If*>(1);
        EXPECT_EQ(Ops().FFTCreate(&fft, windowLength, zeroPadFactor, 0), kBadArgument)
            << windowLength << " " << zeroPadFactor;
        EXPECT_EQ(fft, nullptr);
    }
}

TEST(FftTest, DestroyClearsThePointer) {
    CqrtfFFT_If* fft = nullptr;
    ASSERT_EQ(Ops().FFTCreate(&fft, 16, 1, 0), 0);
    EXPECT_EQ(Ops().FFTDestroy(&fft), 0);
    EXPECT_EQ(fft, nullptr);
}

TEST(FftTest, DestroyRefusesNull) {
    CqrtfFFT_If* none = nullptr;
    EXPECT_EQ(Ops().FFTDestroy(&none), kBadArgument);
}

#ifdef MLH_KERNELS
TEST(FftTest, DestroyRefusesObjectsOfOtherLevels) {
    FFTPointer generic = std::make_unique<CqrtfFFTGen>(16, 1, 0);
    FFTPointer sse2 = std::make_unique<CqrtfFFTSSE2>(16, 1, 0);
    CqrtfFFT_If* foreign = CurrentLevel() == 0 ? sse2.get() : generic.get();
    CqrtfFFT_If* const before = foreign;
    EXPECT_EQ(Ops().FFTDestroy(&foreign), kBadArgument);
    EXPECT_EQ(foreign, before);
}

TEST(FftTest, ObjectIsOfTheLevelsClass) {
    const FFTPointer fft = MakeFFT(16);
    EXPECT_EQ(dynamic_cast<CqrtfFFTGen*>(fft.get()) != nullptr, CurrentLevel() == 0);
    EXPECT_EQ(dynamic_cast<CqrtfFFTSSE2*>(fft.get()) != nullptr, CurrentLevel() == 3);
    EXPECT_EQ(dynamic_cast<CqrtfFFTSSE3*>(fft.get()) != nullptr, CurrentLevel() == 4);
    EXPECT_EQ(dynamic_cast<CqrtfFFTSSE4*>(fft.get()) != nullptr, CurrentLevel() == 5);
    EXPECT_EQ(dynamic_cast<CqrtfFFTAVX*>(fft.get()) != nullptr, CurrentLevel() == 6);
}
#endif

TEST(FftTest, PaddingIsZeroWhateverTheOutputHeld) {
    constexpr int32_t length = 32;
    for (int32_t factor : {2, 4, 8}) {
        const std::vector<float> x = Noise(length, 9);
        std::vector<float> padded = x;
        padded.resize(static_cast<size_t>(length * factor));
        std::vector<float> spectrum(padded.size(), 55.0f);
        const FFTPointer fft = MakeFFT(length, factor);
        fft->Forward(spectrum.data(), x.data());
        EXPECT_LT(ErrorDb(spectrum, PlainSpectrum(padded)), kRoundingDb);
        // Once more in place, where the rest of the buffer holds the old spectrum.
        std::copy(x.begin(), x.end(), spectrum.begin());
        fft->Forward(spectrum.data(), spectrum.data());
        EXPECT_LT(ErrorDb(spectrum, PlainSpectrum(padded)), kRoundingDb);
    }
}

TEST(FftTest, InverseWritesTheWindowLengthOnly) {
    constexpr int32_t length = 16, factor = 4;
    const std::vector<float> spectrum = Noise(length * factor, 10);
    std::vector<float> whole(spectrum.size());
    MakeFFT(length * factor)->Inverse(whole.data(), spectrum.data());
    std::vector<float> out(spectrum.size(), 77.0f);
    MakeFFT(length, factor)->Inverse(out.data(), spectrum.data());
    for (size_t i = 0; i < out.size(); ++i) {
        EXPECT_EQ(out[i], i < length ? whole[i] : 77.0f) << i;
    }
}

TEST(FftTest, InverseDoesNotApplyTheWindow) {
    constexpr int32_t n = 64;
    const std::vector<float> spectrum = Noise(n, 11);
    std::vector<float> plain(n), windowed(n);
    MakeFFT(n)->Inverse(plain.data(), spectrum.data());
    MakeFFT(n, 1, 2)->Inverse(windowed.data(), spectrum.data());
    EXPECT_EQ(plain, windowed);
}

double WindowByDefinition(int32_t type, int32_t i, int32_t n) {
    switch (type) {
        case 1:
            return std::sin(kPi * (i + 1) / (n + 1));
        case 2:
            return 0.5 - 0.5 * std::cos(2.0 * kPi * (i + 1) / (n + 1));
        case 3:
            return 0.54 - 0.46 * std::cos(2.0 * kPi * i / (n - 1));
        case 4:
            return 0.42 - 0.5 * std::cos(2.0 * kPi * i / (n - 1)) + 0.08 * std::cos(4.0 * kPi * i / (n - 1));
        case 5:
            return std::min(i, n - 1 - i) / ((n - 1) / 2.0);
        case 6:
            return std::pow(std::min(i, n - 1 - i) / ((n - 1) / 2.0), 2.0);
        default:
            return type == 0 ? 1.0 : 0.0;
    }
}

class FftWindows : public ::testing::TestWithParam<int32_t> {};

TEST_P(FftWindows, BlockIsWindowedBeforeItIsPadded) {
    const int32_t type = GetParam();
    for (int32_t n : {4, 8, 64, 256}) {
        for (int32_t factor : {1, 2}) {
            const std::vector<float> ones(static_cast<size_t>(n), 1.0f);
            std::vector<float> spectrum(static_cast<size_t>(n * factor)), window(spectrum.size());
            MakeFFT(n, factor, type)->Forward(spectrum.data(), ones.data());
            MakeFFT(n * factor)->Inverse(window.data(), spectrum.data());
            for (int32_t i = 0; i < n * factor; ++i) {
                const double wanted = i < n ? WindowByDefinition(type, i, n) : 0.0;
                EXPECT_NEAR(window[static_cast<size_t>(i)] / (n * factor), wanted, 1e-6) << n << " " << i;
            }
        }
    }
}

// 8 and -1 are no windows: all 0 instead of whatever the memory held.
INSTANTIATE_TEST_SUITE_P(Types, FftWindows, ::testing::Values(0, 1, 2, 3, 4, 5, 6, 7, 8, 1000));
INSTANTIATE_TEST_SUITE_P(NegativeType, FftWindows, ::testing::Values(-1, INT32_MIN));

TEST(FftTest, KernelCanBeReleasedAndPreparedAgain) {
    constexpr int32_t n = 128;
    const std::vector<float> x = Noise(n, 12);
    std::vector<float> before(n), after(n);
    const FFTPointer fft = MakeFFT(n);
    fft->Forward(before.data(), x.data());
    fft->ReleaseKernel();
    EXPECT_EQ(fft->PrepareKernel(), 0);
    fft->Forward(after.data(), x.data());
    EXPECT_EQ(before, after);
}

}  // namespace

}  // namespace mlh
