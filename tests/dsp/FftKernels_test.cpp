#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "PlainFft.h"
#include "dsp/Dispatch.h"
#include "dsp/FftPlan.h"
#include "dsp/kernels/Kernels.h"
#include "support/SyntheticSinger.h"

namespace mlh {

// The kernels that the dispatch would not pick on this machine, and the plan that all of them share. What
// callers see is tested level by level in Fft_test.
namespace {

// A plan with guards after each of its buffers.
class PlanBuffers {
  public:
    PlanBuffers(int32_t size, int32_t lanes)
        : sizes_(GetFftPlanSizes(size, lanes)),
          tables_(Guarded(sizes_.tables)),
          init_(Guarded(sizes_.init)),
          work_(Guarded(sizes_.work)),
          plan_(BuildFftPlan(size, lanes, tables_.data(), init_.data())) {}

    const FftPlan& Plan() const { return plan_; }
    float* Work() { return work_.data(); }
    void ExpectGuards() const {
        EXPECT_EQ(tables_.back(), kGuard);
        EXPECT_EQ(init_.back(), kGuard);
        EXPECT_EQ(work_.back(), kGuard);
    }

  private:
    static constexpr float kGuard = 77.5f;
    static std::vector<float> Guarded(int32_t count) {
        return std::vector<float>(static_cast<size_t>(count) + 1, kGuard);
    }
    FftPlanSizes sizes_;
    std::vector<float> tables_, init_, work_;
    FftPlan plan_;
};

TEST(FftPlanTest, RadicesMakeUpTheColumnsAndEveryColumnHasItsPlace) {
    for (int32_t lanes : {4, 8}) {
        for (int32_t size = ShortestFft(lanes); size <= 1 << 17; size *= 2) {
            PlanBuffers buffers(size, lanes);
            const FftPlan& plan = buffers.Plan();
            EXPECT_EQ(plan.columns, size / (2 * lanes));
            int32_t product = 1;
            for (int32_t pass = 0; pass < plan.passes; ++pass) {
                EXPECT_TRUE(plan.radix[pass] == 4 || plan.radix[pass] == 8);
                product *= plan.radix[pass];
            }
            EXPECT_EQ(product, plan.columns);
            EXPECT_EQ(plan.places[0], 0);
            EXPECT_EQ(plan.places[plan.columns], 0);
            std::vector<int32_t> places(plan.places, plan.places + plan.columns);
            std::sort(places.begin(), places.end());
            for (size_t i = 1; i < places.size(); ++i) {
                EXPECT_GE(places[i] - places[i - 1], 2 * lanes);
            }
            EXPECT_LE(places.back() + 2 * lanes, GetFftPlanSizes(size, lanes).work);
            buffers.ExpectGuards();
        }
    }
}

#ifdef MLH_KERNELS

struct Kernel {
    const char* name;
    uint32_t feature;
    bool fma;
    int32_t widestLanes;
    void (*forward)(const FftPlan&, const float*, float*, float*);
    void (*inverse)(const FftPlan&, const float*, float*, float*);
};

template <int32_t level, bool fma>
Kernel KernelOf(const char* name, uint32_t feature, int32_t widestLanes) {
    return {
        name, feature, fma, widestLanes, FftKernels<level, fma>::Forward, FftKernels<level, fma>::Inverse};
}

class FftKernelsTest : public ::testing::TestWithParam<Kernel> {
  protected:
    void SetUp() override {
        const bool has = (QueryProcessorFeatures() & GetParam().feature) != 0;
        if (!has || (GetParam().fma && !ProcessorHasFusedMultiplyAdd())) {
            GTEST_SKIP() << "this machine lacks " << GetParam().name;
        }
    }
};

TEST_P(FftKernelsTest, BothDirectionsAtEveryLengthAndWidth) {
    const Kernel& kernel = GetParam();
    for (int32_t lanes = 4; lanes <= kernel.widestLanes; lanes *= 2) {
        for (int32_t size = ShortestFft(lanes); size <= 4096; size *= 2) {
            SCOPED_TRACE(size);
            PlanBuffers buffers(size, lanes);
            const std::vector<float> x = Noise(size, static_cast<unsigned>(size));
            std::vector<float> spectrum(x.size()), back(x.size());
            kernel.forward(buffers.Plan(), x.data(), spectrum.data(), buffers.Work());
            EXPECT_LT(ErrorDb(spectrum, PlainSpectrum(x)), kRoundingDb);
            kernel.inverse(buffers.Plan(), spectrum.data(), back.data(), buffers.Work());
            EXPECT_LT(ErrorDb(back, x, size), kRoundingDb);

            std::vector<float> inPlace = x;
            kernel.forward(buffers.Plan(), inPlace.data(), inPlace.data(), buffers.Work());
            EXPECT_EQ(inPlace, spectrum);
            kernel.inverse(buffers.Plan(), inPlace.data(), inPlace.data(), buffers.Work());
            EXPECT_EQ(inPlace, back);
            buffers.ExpectGuards();
        }
    }
}

// Noise would hide a wrong bin among many; a lone bin shows it.
TEST_P(FftKernelsTest, InverseOfEachLoneBinIsItsWave) {
    const Kernel& kernel = GetParam();
    for (int32_t lanes = 4; lanes <= kernel.widestLanes; lanes *= 2) {
        const int32_t n = ShortestFft(lanes);
        PlanBuffers buffers(n, lanes);
        for (int32_t place = 0; place < n; ++place) {
            std::vector<float> spectrum(static_cast<size_t>(n)), wave(spectrum.size());
            spectrum[static_cast<size_t>(place)] = 1.0f;
            kernel.inverse(buffers.Plan(), spectrum.data(), wave.data(), buffers.Work());
            for (int32_t j = 0; j < n; ++j) {
                const double angle = 2.0 * kPi * (place / 2) * j / n;
                const double lone = place == 0   ? 1.0
                                    : place == 1 ? (j % 2 == 0 ? 1.0 : -1.0)
                                    : place % 2  ? -2.0 * std::sin(angle)
                                                 : 2.0 * std::cos(angle);
                ASSERT_NEAR(wave[static_cast<size_t>(j)], lone, 1e-6) << place << " " << j;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, FftKernelsTest,
                         ::testing::Values(KernelOf<3, false>("SSE2", kFeatureSSE2, 4),
                                           KernelOf<4, false>("SSE3", kFeatureSSE3, 4),
                                           KernelOf<5, false>("SSE4", kFeatureSSE42, 4),
                                           KernelOf<6, false>("AVX", kFeatureAVX, 8),
                                           KernelOf<6, true>("AVXwithFMA", kFeatureAVX, 8)),
                         [](const auto& info) { return info.param.name; });

#endif

}  // namespace

}  // namespace mlh
