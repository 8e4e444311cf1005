#include "base/StandardLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <compare>
#include <limits>
#include <random>
#include <vector>

namespace mlh {

namespace {

// Those where orders differ most easily, and random bits, NaNs of every kind among them.
std::vector<float> FloatsOfAllKinds() {
    using Limits = std::numeric_limits<float>;
    std::vector<float> floats = {
        0.0f,  -0.0f,         Limits::denorm_min(), -Limits::denorm_min(), 1.0f,
        -1.0f, Limits::max(), Limits::lowest(),     Limits::infinity(),    -Limits::infinity()};
    for (const uint32_t nan :
         {0x7fc00000u, 0xffc00000u, 0x7fc00001u, 0xffc00001u, 0x7fffffffu, 0xffffffffu}) {
        floats.push_back(BitCast<float>(nan));
    }
    std::mt19937 random(5);
    for (int i = 0; i < 300; ++i) {
        floats.push_back(BitCast<float>(static_cast<uint32_t>(random())));
    }
    return floats;
}

TEST(StandardLibrary, CastsBitsThereAndBack) {
    EXPECT_EQ(BitCast<int32_t>(0.5f), 0x3f000000);
    EXPECT_EQ(BitCast<float>(0x3f000000), 0.5f);
    EXPECT_TRUE(std::signbit(BitCast<float>(INT32_MIN)));
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        const auto bits = static_cast<uint32_t>(random());
        EXPECT_EQ(BitCast<uint32_t>(BitCast<float>(bits)), bits);
    }
}

TEST(StandardLibrary, OrdersAllFloats) {
    const std::vector<float> floats = FloatsOfAllKinds();
    EXPECT_TRUE(IsBeforeInTotalOrder(-0.0f, 0.0f));
    EXPECT_FALSE(IsBeforeInTotalOrder(0.0f, -0.0f));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_TRUE(IsBeforeInTotalOrder(infinity, nan));
    EXPECT_TRUE(IsBeforeInTotalOrder(-nan, -infinity));
    for (const float a : floats) {
        for (const float b : floats) {
            const uint32_t bitsA = BitCast<uint32_t>(a), bitsB = BitCast<uint32_t>(b);
            EXPECT_EQ(IsBeforeInTotalOrder(a, b) || IsBeforeInTotalOrder(b, a), bitsA != bitsB);
            EXPECT_FALSE(IsBeforeInTotalOrder(a, b) && IsBeforeInTotalOrder(b, a));
            EXPECT_TRUE(!(a < b) || IsBeforeInTotalOrder(a, b)) << a << " " << b;
        }
    }
}

#ifdef __GLIBCXX__
TEST(StandardLibrary, OrdersFloatsAsTheStandardDoes) {
    const std::vector<float> floats = FloatsOfAllKinds();
    for (const float a : floats) {
        for (const float b : floats) {
            EXPECT_EQ(IsBeforeInTotalOrder(a, b), std::strong_order(a, b) < 0)
                << std::hex << BitCast<uint32_t>(a) << " " << BitCast<uint32_t>(b);
        }
    }
}
#endif

TEST(StandardLibrary, MakesArraysToBeOverwritten) {
    const auto floats = MakeUniqueForOverwrite<float[]>(1000);
    std::fill_n(floats.get(), 1000, 1.5f);
    EXPECT_EQ(floats[999], 1.5f);
    EXPECT_NE(MakeUniqueForOverwrite<float[]>(0), nullptr);
}

}  // namespace

}  // namespace mlh
