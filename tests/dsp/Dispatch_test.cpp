#include "dsp/Dispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "dsp/CrossCorrelation.h"
#include "dsp/Fft.h"

namespace {

// Each test runs in a forked child, since within one process the level only goes down.
template <class Check>
void InFreshProcess(Check check) {
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(std::exit(check() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

int32_t BestLevel() {
    const uint32_t features = QueryProcessorFeatures();
    if (features & kFeatureAVX) return 6;
    if (features & kFeatureSSE42) return 5;
    if (features & kFeatureSSE3) return 4;
    if (features & kFeatureSSE2) return 3;
    return 0;
}

int32_t LevelAfter(std::initializer_list<int32_t> bounds) {
    for (int32_t bound : bounds) InitDispatch(bound);
    return CurrentLevel();
}

bool IsWhole(const OperationTable& table) {
    std::vector<void (*)()> entries(kOperationCount);
    std::memcpy(entries.data(), &table, sizeof(table));
    return std::find(entries.begin(), entries.end(), nullptr) == entries.end();
}

TEST(DispatchTest, BeforeTheFirstFillTheGenericOperationsServe) {
    InFreshProcess([] { return CurrentLevel() == 0 && IsWhole(Ops()); });
}

TEST(DispatchTest, NegativeBoundTakesTheBestLevelOfTheMachine) {
    InFreshProcess([] { return LevelAfter({-1}) == BestLevel(); });
    InFreshProcess([] { return LevelAfter({-7}) == BestLevel(); });
}

TEST(DispatchTest, HugeBoundTakesTheBestLevelOfTheMachine) {
    InFreshProcess([] { return LevelAfter({INT32_MAX}) == BestLevel(); });
}

TEST(DispatchTest, EachBoundFillsThatLevelOrTheNextLower) {
    const int32_t best = BestLevel();
    InFreshProcess([=] { return LevelAfter({6}) == std::min(best, 6); });
    InFreshProcess([=] { return LevelAfter({5}) == std::min(best, 5); });
    InFreshProcess([=] { return LevelAfter({4}) == std::min(best, 4); });
    InFreshProcess([=] { return LevelAfter({3}) == std::min(best, 3); });
}

TEST(DispatchTest, LevelsOneAndTwoDoNotExist) {
    InFreshProcess([] { return LevelAfter({2}) == 0; });
    InFreshProcess([] { return LevelAfter({1}) == 0; });
    InFreshProcess([] { return LevelAfter({0}) == 0; });
}

TEST(DispatchTest, SecondCallLeavesTheTableUnchanged) {
    InFreshProcess([] {
        InitDispatch(-1);
        const OperationTable before = Ops();
        InitDispatch(-1);
        return std::memcmp(&before, &Ops(), sizeof(before)) == 0;
    });
}

TEST(DispatchTest, LowerBoundForcesTheLevelDownAndItStaysThere) {
    InFreshProcess([] { return LevelAfter({-1, 0}) == 0; });
    InFreshProcess([] { return LevelAfter({-1, 0, -1}) == 0; });
    InFreshProcess([] { return LevelAfter({-1, 3, 4}) == std::min(BestLevel(), 3); });
}

TEST(DispatchTest, EveryLevelFillsAllEntries) {
    for (int32_t bound : {0, 3, 4, 5, 6}) {
        InFreshProcess([=] {
            InitDispatch(bound);
            return IsWhole(Ops());
        });
    }
}

TEST(DispatchTest, ObjectsOfAHigherLevelAreRefusedAfterTheLevelWentDown) {
    if (BestLevel() == 0) GTEST_SKIP() << "this machine has level 0 only";
    InFreshProcess([] {
        InitDispatch(-1);
        CqrtfFFT_If* fft = nullptr;
        if (Ops().FFTCreate(&fft, 16, 1, 0) != 0) return false;
        InitDispatch(0);
        const bool refused = Ops().FFTDestroy(&fft) == 5000003 && fft != nullptr;
        delete fft;
        return refused;
    });
}

TEST(DispatchTest, VectorsOfAHigherLevelCanBeFreedAfterTheLevelWentDown) {
    InFreshProcess([] {
        InitDispatch(-1);
        float* vec = Ops().VecAlloc(100);
        InitDispatch(0);
        Ops().VecFree(&vec);
        return vec == nullptr;
    });
}

TEST(DispatchTest, ThreadsThatStartAtOnceAllFindAWorkingTable) {
    InFreshProcess([] {
        std::vector<std::thread> threads;
        std::atomic<int> good{0};
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&good] {
                InitDispatch(-1);
                CqrtfCcf_If* ccf = nullptr;
                Ops().CcfCreate(&ccf, 100, 0);
                const std::vector<float> a(100, 1.0f);
                const int32_t lengths[2] = {100, 100};
                CcfCompute(ccf, nullptr, a.data(), a.data(), lengths);
                if (std::abs(ccf->PeakValue() - 100.0f) < 1e-3f) ++good;
                Ops().CcfDestroy(&ccf);
            });
        }
        for (std::thread& thread : threads) thread.join();
        return good == 8 && CurrentLevel() == BestLevel();
    });
}

}  // namespace
