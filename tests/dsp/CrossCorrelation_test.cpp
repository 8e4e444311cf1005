#include "dsp/CrossCorrelation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "LevelMain.h"
#include "base/Codes.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

CcfPointer MakeCcf(int32_t size, int32_t mode = 0) {
    CqrtfCcf_If* ccf = nullptr;
    EXPECT_EQ(Ops().CcfCreate(&ccf, size, mode), 0);
    return CcfPointer(ccf);
}

int32_t Length(const std::vector<float>& x) { return static_cast<int32_t>(x.size()); }

// Sum of a[j + lag] * b[j], by its definition.
double PlainLag(const std::vector<float>& a, const std::vector<float>& b, int32_t lag) {
    double sum = 0.0;
    for (int32_t j = 0; j < Length(b); ++j) {
        if (j + lag < 0 || j + lag >= Length(a)) {
            continue;
        }
        sum += static_cast<double>(a[static_cast<size_t>(j + lag)]) *
               static_cast<double>(b[static_cast<size_t>(j)]);
    }
    return sum;
}

double Deviation(const std::vector<float>& x) {
    double mean = 0.0, sum = 0.0;
    for (float v : x) {
        mean += static_cast<double>(v) / static_cast<double>(x.size());
    }
    for (float v : x) {
        sum += std::pow(static_cast<double>(v) - mean, 2.0);
    }
    return std::sqrt(sum / static_cast<double>(x.size() - 1));
}

std::vector<float> Correlate(CqrtfCcf_If& ccf, const std::vector<float>& a, const std::vector<float>& b) {
    const int32_t lengths[2] = {Length(a), Length(b)};
    constexpr float guard = 9.0f;
    std::vector<float> out(a.size() + b.size() - 1 + 4, guard);
    EXPECT_EQ(CcfCompute(&ccf, out.data(), a.data(), b.data(), lengths), 0);
    for (int i = 0; i < 4; ++i, out.pop_back()) {
        EXPECT_EQ(out.back(), guard);
    }
    return out;
}

TEST(CrossCorrelationTest, TransformLengthIsTheNextPowerOfTwoOfTwiceTheRequest) {
    const int32_t sizes[][2] = {{2, 4}, {3, 8}, {4, 8}, {100, 256}, {128, 256}, {129, 512}, {1000, 2048}};
    for (const auto& [request, size] : sizes) {
        EXPECT_EQ(MakeCcf(request)->Size(), size) << request;
    }
}

TEST(CrossCorrelationTest, RefusesSizesWithoutATransformAndLeavesNull) {
    for (int32_t size : {1, 0, -1, INT32_MIN, (1 << 26) + 1, INT32_MAX}) {
        CqrtfCcf_If* ccf = reinterpret_cast<CqrtfCcf_If*>(1);
        EXPECT_EQ(Ops().CcfCreate(&ccf, size, 0), kBadArgument) << size;
        EXPECT_EQ(ccf, nullptr);
    }
}

TEST(CrossCorrelationTest, DestroyClearsThePointerAndRefusesNull) {
    CqrtfCcf_If* ccf = nullptr;
    EXPECT_EQ(Ops().CcfDestroy(&ccf), kBadArgument);
    ASSERT_EQ(Ops().CcfCreate(&ccf, 10, 0), 0);
    EXPECT_EQ(Ops().CcfDestroy(&ccf), 0);
    EXPECT_EQ(ccf, nullptr);
}

TEST(CrossCorrelationTest, EqualLengthsGiveTheLinearCorrelation) {
    for (int32_t m : {1, 2, 3, 50, 127, 128}) {
        const std::vector<float> a = Noise(m, 1), b = Noise(m, 2);
        const CcfPointer ccf = MakeCcf(128);
        const std::vector<float> out = Correlate(*ccf, a, b);
        ASSERT_EQ(Length(out), 2 * m - 1);
        for (int32_t i = 0; i < Length(out); ++i) {
            // Sums of up to 128 products near 1 in 32 bits.
            EXPECT_NEAR(out[static_cast<size_t>(i)], PlainLag(a, b, i - (m - 1)), 2e-5) << m << " " << i;
        }
    }
}

TEST(CrossCorrelationTest, ShorterSignalSetsTheNegativeLags) {
    const int32_t pairs[][2] = {{100, 30}, {30, 100}, {1, 64}, {64, 1}, {128, 127}};
    for (const auto& [lengthA, lengthB] : pairs) {
        const std::vector<float> a = Noise(lengthA, 3), b = Noise(lengthB, 4);
        const CcfPointer ccf = MakeCcf(128);
        const std::vector<float> out = Correlate(*ccf, a, b);
        const int32_t m = std::min(lengthA, lengthB);
        for (int32_t i = 0; i < Length(out); ++i) {
            EXPECT_NEAR(out[static_cast<size_t>(i)], PlainLag(a, b, i - (m - 1)), 2e-5)
                << lengthA << " " << i;
        }
    }
}

TEST(CrossCorrelationTest, PeakIsSearchedAmongTheNonNegativeLags) {
    std::vector<float> a(64), b(64);
    a[40] = 2.0f;
    b[17] = 3.0f;
    const int32_t lengths[2] = {64, 64};
    const CcfPointer ccf = MakeCcf(64);
    CcfCompute(ccf.get(), nullptr, a.data(), b.data(), lengths);
    EXPECT_NEAR(ccf->PeakValue(), 6.0f, 1e-5);
    EXPECT_EQ(ccf->PeakIndex(), (23 - 63 + 128) % 128);
    // The other way round the lag is -23, out of sight.
    CcfCompute(ccf.get(), nullptr, b.data(), a.data(), lengths);
    EXPECT_NEAR(ccf->PeakValue(), 0.0f, 1e-5);
}

TEST(CrossCorrelationTest, PeakNeedsNoOutputVector) {
    const std::vector<float> a = Noise(90, 5), b = Noise(70, 6);
    const CcfPointer with = MakeCcf(100), without = MakeCcf(100);
    Correlate(*with, a, b);
    const int32_t lengths[2] = {90, 70};
    EXPECT_EQ(CcfCompute(without.get(), nullptr, a.data(), b.data(), lengths), 0);
    EXPECT_EQ(with->PeakIndex(), without->PeakIndex());
    EXPECT_EQ(with->PeakValue(), without->PeakValue());
}

TEST(CrossCorrelationTest, SignalAgainstItselfPeaksAtLagZero) {
    const int32_t m = 100;
    const std::vector<float> a = Noise(m, 7);
    const CcfPointer ccf = MakeCcf(m);
    Correlate(*ccf, a, a);
    EXPECT_EQ(ccf->PeakIndex(), (0 - m + 1 + 256) % 256);
    EXPECT_NEAR(ccf->PeakValue(), PlainLag(a, a, 0), 2e-5);
}

TEST(CrossCorrelationTest, NormalisedPeakOfAZeroMeanSignalDoesNotDependOnItsScale) {
    for (int32_t m : {16, 100, 128}) {
        std::vector<float> a = Noise(m, 8);
        for (int32_t i = 0; i < m / 2; ++i) {
            a[static_cast<size_t>(m - 1 - i)] = -a[static_cast<size_t>(i)];
        }
        for (float scale : {1e-3f, 1.0f, 4000.0f}) {
            std::vector<float> scaled = a;
            for (float& v : scaled) {
                v *= scale;
            }
            const CcfPointer ccf = MakeCcf(m, 1);
            Correlate(*ccf, scaled, scaled);
            EXPECT_NEAR(ccf->PeakValue(), static_cast<float>(m - 1) / static_cast<float>(m), 2e-6)
                << m << " " << scale;
            EXPECT_EQ(ccf->PeakIndex(), (ccf->Size() - m + 1) % ccf->Size());
        }
    }
}

TEST(CrossCorrelationTest, NormalisationDividesByTheShorterLengthAndBothDeviations) {
    const std::vector<float> a = Noise(100, 9), b = Noise(37, 10);
    const double factor = 1.0 / (37.0 * Deviation(a) * Deviation(b));
    for (int32_t mode : {1, 2, -1}) {
        const std::vector<float> out = Correlate(*MakeCcf(100, mode), a, b);
        for (int32_t i = 0; i < Length(out); ++i) {
            EXPECT_NEAR(out[static_cast<size_t>(i)], factor * PlainLag(a, b, i - 36), 2e-6);
        }
    }
}

TEST(CrossCorrelationTest, EarlierCallsLeaveNoTrace) {
    const std::vector<float> a = Noise(20, 11), b = Noise(30, 12);
    const CcfPointer used = MakeCcf(100), fresh = MakeCcf(100);
    Correlate(*used, Noise(200, 13), Noise(256, 14));
    EXPECT_EQ(Correlate(*used, a, b), Correlate(*fresh, a, b));
}

TEST(CrossCorrelationTest, ArgumentsOutOfRangeAreRefusedAndWriteNothing) {
    const CcfPointer ccf = MakeCcf(100);
    const std::vector<float> a(300, 1.0f);
    std::vector<float> out(600, 5.0f);
    const int32_t wrong[][2] = {{0, 10}, {10, 0}, {-1, 10}, {257, 10}, {10, 257}, {INT32_MAX, INT32_MAX}};
    for (const auto& lengths : wrong) {
        EXPECT_EQ(CcfCompute(ccf.get(), out.data(), a.data(), a.data(), lengths), kBadArgument);
    }
    const int32_t lengths[2] = {10, 10};
    EXPECT_EQ(CcfCompute(nullptr, out.data(), a.data(), a.data(), lengths), kBadArgument);
    EXPECT_EQ(CcfCompute(ccf.get(), out.data(), nullptr, a.data(), lengths), kBadArgument);
    EXPECT_EQ(CcfCompute(ccf.get(), out.data(), a.data(), nullptr, lengths), kBadArgument);
    EXPECT_EQ(CcfCompute(ccf.get(), out.data(), a.data(), a.data(), nullptr), kBadArgument);
    EXPECT_EQ(out, std::vector<float>(600, 5.0f));
}

TEST(CrossCorrelationTest, LengthsUpToTheTransformLengthWrapAroundInsideTheBuffers) {
    const std::vector<float> a = Noise(256, 15), b = Noise(256, 16);
    const CcfPointer ccf = MakeCcf(100);
    const std::vector<float> out = Correlate(*ccf, a, b);
    for (int32_t lag = 0; lag < 256; ++lag) {
        const double circular = PlainLag(a, b, lag) + PlainLag(a, b, lag - 256);
        EXPECT_NEAR(out[static_cast<size_t>(255 + lag)], circular, 4e-5) << lag;
    }
}

}  // namespace

}  // namespace mlh
