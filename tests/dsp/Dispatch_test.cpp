#include "dsp/Dispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "base/Codes.h"
#include "dsp/CrossCorrelation.h"
#include "dsp/Fft.h"
#include "support/FreshProcess.h"

namespace mlh {

namespace {

int32_t BestLevel() {
    const uint32_t features = QueryProcessorFeatures();
    if (features & kFeatureAVX) {
        return 6;
    }
    if (features & kFeatureSSE42) {
        return 5;
    }
    if (features & kFeatureSSE3) {
        return 4;
    }
    if (features & kFeatureSSE2) {
        return 3;
    }
    return 0;
}

int32_t LevelAfter(std::initializer_list<int32_t> bounds) {
    for (int32_t bound : bounds) {
        InitDispatch(bound);
    }
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

// The place of an entry in the table.
template <class Entry>
std::size_t Place(Entry OperationTable::*entry) {
    const OperationTable table{};
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&(table.*entry)) -
                                    reinterpret_cast<const char*>(&table)) /
           sizeof(Entry);
}

// Who serves an entry at levels 0, 3, 4, 5, 6: equal letters, equal code.
std::string SharingOf(std::size_t place) {
    using T = OperationTable;
    for (const std::size_t shared :
         {Place(&T::VecFree), Place(&T::SpectrumPack), Place(&T::SpectrumUnpack), Place(&T::SpectrumAdd),
          Place(&T::NoOperation), Place(&T::SpectrumConjugate), Place(&T::SpectrumReIndex),
          Place(&T::SpectrumImIndex), Place(&T::CcfCreate), Place(&T::CcfDestroy)}) {
        if (place == shared) {
            return "aaaaa";
        }
    }
    // Plain loops at every level, which from 3 on check what they are given.
    for (const std::size_t checked :
         {Place(&T::VecExp), Place(&T::VecThresholdLog), Place(&T::SpectrumPhase), Place(&T::VecSinCos)}) {
        if (place == checked) {
            return "abbbb";
        }
    }
    if (place == Place(&T::SpectrumMulAcc)) {
        return "abbbb";
    }
    if (place == Place(&T::VecAlloc)) {
        return "abbbc";  // by alignment
    }
    if (place == Place(&T::FFTCreate) || place == Place(&T::FFTDestroy)) {
        return "abcde";  // a class each
    }
    return "abbcd";
}

TEST(DispatchTest, EachLevelFillsTheKernelsOfItsOwn) {
    if (BestLevel() < 6) {
        GTEST_SKIP() << "this machine has level " << BestLevel() << " at most";
    }
    InFreshProcess([] {
        constexpr int kLevels = 5;
        std::vector<std::vector<void (*)()>> tables;
        for (int32_t level : {6, 5, 4, 3, 0}) {
            InitDispatch(level);
            tables.insert(tables.begin(), std::vector<void (*)()>(kOperationCount));
            std::memcpy(tables[0].data(), &Ops(), sizeof(OperationTable));
        }
        bool right = true;
        for (std::size_t place = 0; place < kOperationCount; ++place) {
            const std::string sharing = SharingOf(place);
            for (int a = 0; a < kLevels; ++a) {
                for (int b = 0; b < a; ++b) {
                    const bool same = tables[a][place] == tables[b][place];
                    if (same == (sharing[a] == sharing[b])) {
                        continue;
                    }
                    std::fprintf(stderr, "entry %zu at table %d and %d\n", place, b, a);
                    right = false;
                }
            }
        }
        return right;
    });
}

TEST(DispatchTest, ObjectsOfAHigherLevelAreRefusedAfterTheLevelWentDown) {
    if (BestLevel() == 0) {
        GTEST_SKIP() << "this machine has level 0 only";
    }
    InFreshProcess([] {
        InitDispatch(-1);
        CqrtfFFT_If* fft = nullptr;
        if (Ops().FFTCreate(&fft, 16, 1, 0) != 0) {
            return false;
        }
        InitDispatch(0);
        const bool refused = Ops().FFTDestroy(&fft) == kBadArgument && fft != nullptr;
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

// Runs in builds with the thread sanitizer too, which fails at any race.
TEST(DispatchTest, ThreadsThatFillTheTableAtOnceFindTheSameLevelAndTheSameBits) {
    InFreshProcess([] {
        constexpr int kThreads = 8;
        std::latch start(kThreads);
        std::vector<float> peaks(kThreads);
        std::vector<int32_t> levels(kThreads);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                std::vector<float> a(100);
                for (int k = 0; k < 100; ++k) {
                    a[k] = std::sin(0.7f * static_cast<float>(k));
                }
                const int32_t lengths[2] = {100, 100};
                start.arrive_and_wait();
                InitDispatch(-1);
                levels[i] = CurrentLevel();
                CqrtfCcf_If* ccf = nullptr;
                Ops().CcfCreate(&ccf, 100, 0);
                CcfCompute(ccf, nullptr, a.data(), a.data(), lengths);
                peaks[i] = ccf->PeakValue();
                Ops().CcfDestroy(&ccf);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        return levels == std::vector<int32_t>(kThreads, BestLevel()) &&
               peaks == std::vector<float>(kThreads, peaks[0]) && std::abs(peaks[0] - 50.0f) < 1.0f;
    });
}

TEST(DispatchTest, TheLowestOfBoundsThatComeAtOnceStays) {
    for (int round = 0; round < 20; ++round) {
        InFreshProcess([] {
            const std::vector<int32_t> bounds = {-1, 5, 4, 3, 0, 3, 6, -1};
            std::latch start(static_cast<std::ptrdiff_t>(bounds.size()));
            std::atomic<bool> whole{true};
            std::vector<std::thread> threads;
            for (const int32_t bound : bounds) {
                threads.emplace_back([&, bound] {
                    start.arrive_and_wait();
                    InitDispatch(bound);
                    if (bound >= 0 && CurrentLevel() > bound) {
                        whole = false;
                    }
                    if (!IsWhole(Ops())) {
                        whole = false;
                    }
                });
            }
            for (std::thread& thread : threads) {
                thread.join();
            }
            return whole && CurrentLevel() == 0;
        });
    }
}

}  // namespace

}  // namespace mlh
