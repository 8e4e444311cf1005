#include "base/Truncate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace mlh {

namespace {

constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();

// At run time, where the processor would answer otherwise than the compiler.
int32_t Truncated(double value) {
    volatile double unknown = value;
    return TruncateToInt32(unknown);
}

TEST(TruncateTest, TheFractionIsCutOffTowardsZero) {
    EXPECT_EQ(Truncated(2.999), 2);
    EXPECT_EQ(Truncated(-2.999), -2);
    EXPECT_EQ(Truncated(-0.5), 0);
    EXPECT_EQ(Truncated(2147483646.5), kHighest - 1);
    EXPECT_EQ(Truncated(-2147483647.5), kLowest + 1);
}

TEST(TruncateTest, TheEndsOfTheRangeAreStillInIt) {
    EXPECT_EQ(Truncated(2147483647.0), kHighest);
    EXPECT_EQ(Truncated(std::nextafter(2147483648.0, 0.0)), kHighest);
    EXPECT_EQ(Truncated(-2147483648.0), kLowest);
    EXPECT_EQ(Truncated(std::nextafter(-2147483649.0, 0.0)), kLowest);
}

TEST(TruncateTest, BeyondTheRangeTheNearestIsTaken) {
    for (const double value : {2147483648.0, 2147483649.0, 1e300, std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(Truncated(value), kHighest) << value;
        EXPECT_EQ(Truncated(-value), kLowest) << -value;
    }
}

TEST(TruncateTest, NotANumberGivesTheSmallest) {
    EXPECT_EQ(Truncated(std::numeric_limits<double>::quiet_NaN()), kLowest);
    EXPECT_EQ(Truncated(-std::numeric_limits<double>::quiet_NaN()), kLowest);
}

TEST(TruncateOrZero, GivesZeroOutOfRange) {
    EXPECT_EQ(TruncateToInt32OrZero(2.9f), 2);
    EXPECT_EQ(TruncateToInt32OrZero(-2.9f), -2);
    EXPECT_EQ(TruncateToInt32OrZero(2147483520.0f), 2147483520);
    EXPECT_EQ(TruncateToInt32OrZero(2147483648.0f), 0);
    EXPECT_EQ(TruncateToInt32OrZero(-2147483648.0f), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(TruncateToInt32OrZero(-2147483904.0f), 0);
    EXPECT_EQ(TruncateToInt32OrZero(std::numeric_limits<float>::infinity()), 0);
    EXPECT_EQ(TruncateToInt32OrZero(std::numeric_limits<float>::quiet_NaN()), 0);
}

}  // namespace

}  // namespace mlh
