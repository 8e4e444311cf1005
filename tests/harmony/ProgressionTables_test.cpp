#include "harmony/ProgressionTables.h"

#include <gtest/gtest.h>

#include "support/Checksum.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

TEST(ProgressionTable, IsAsSetDown) { EXPECT_EQ(Checksum(ProgressionTable), 7382096782642180038u); }

TEST(ProgressionTable, OnlyNoneFollowsNone) {
    for (const auto& before : ProgressionTable) {
        for (int32_t c = 0; c < kFunctionCount; ++c) {
            EXPECT_EQ(before[FunctionNone][c], c == FunctionNone ? 1.0f : 0.0f);
            EXPECT_EQ(before[c][FunctionNone], c == FunctionNone ? 1.0f : 0.0f);
        }
    }
}

TEST(ProgressionTable, EveryFunctionMayFollowAnyOther) {
    for (const auto& before : ProgressionTable) {
        for (int32_t b = 1; b < kFunctionCount; ++b) {
            float sum = 0.0f;
            for (int32_t c = 1; c < kFunctionCount; ++c) {
                EXPECT_GT(before[b][c], 0.0f);
                sum += before[b][c];
            }
            // Shares of one; some rows are set down a little above it.
            EXPECT_GE(sum, 0.99f);
            EXPECT_LE(sum, 1.21f);
        }
    }
}

TEST(DegreeFitTable, IsAsSetDown) { EXPECT_EQ(Checksum(DegreeFitTable), 17288298813524706981u); }

TEST(DegreeFitTable, WeightsAreAboveZeroAndAtMostOne) {
    for (const auto& table : DegreeFitTable) {
        for (const auto& before : table) {
            for (const auto& row : before) {
                for (float weight : row) {
                    EXPECT_GT(weight, 0.0f);
                    EXPECT_LE(weight, 1.0f);
                }
            }
        }
    }
}

TEST(DegreeFitTable, TheScalesDifferInThirteenRows) {
    int32_t differing = 0;
    for (int32_t b = 0; b < kFunctionCount; ++b) {
        for (int32_t c = 0; c < kFunctionCount; ++c) {
            differing += Checksum(DegreeFitTable[0][b][c]) != Checksum(DegreeFitTable[1][b][c]) ? 1 : 0;
        }
    }
    EXPECT_EQ(differing, 13);
}

TEST(DegreeFitTable, TheTonesOfTheMainTriadsFitTheirFunctionBest) {
    const int32_t triads[kFunctionCount][3] = {{}, {0, 4, 7}, {0, 5, 9}, {2, 7, 11}, {0, 4, 9}};
    for (int32_t b = 1; b < kFunctionCount; ++b) {
        for (int32_t c = 1; c < kFunctionCount; ++c) {
            for (int32_t tone : triads[c]) {
                EXPECT_GE(DegreeFitTable[0][b][c][tone], 0.8f) << b << " " << c;
            }
            EXPECT_LE(DegreeFitTable[0][b][c][c == 3 ? 9 : 11], 0.2f) << b << " " << c;
        }
    }
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
