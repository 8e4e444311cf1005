#include "base/Pi.h"

#include <gtest/gtest.h>

#include <numbers>

#include "base/StandardLibrary.h"

namespace mlh {

namespace {

TEST(Pi, IsTheNearestNumberOfEachWidth) {
    EXPECT_EQ(kPi, std::numbers::pi);
    EXPECT_EQ(kPi32, std::numbers::pi_v<float>);
    EXPECT_EQ(BitCast<uint32_t>(kPi32), 0x40490fdbu);
}

// What is written as 2 pi or half a pi has the bits of that number.
TEST(Pi, IsExactInItsDoubleAndItsHalf) {
    EXPECT_EQ(BitCast<uint32_t>(2.0f * kPi32), BitCast<uint32_t>(6.28318530717959f));
    EXPECT_EQ(BitCast<uint32_t>(0.5f * kPi32), BitCast<uint32_t>(1.57079632679490f));
}

}  // namespace

}  // namespace mlh
