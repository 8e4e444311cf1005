#include "base/NarrowedMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace mlh {

namespace {

// The float nearest to what 80 bits give, for arguments from `from` to `to`.
template <class Function, class Wide>
void ExpectNearestFloats(Function function, Wide wide, float from, float to) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> argument(from, to);
    for (int i = 0; i < 100000; ++i) {
        const float x = argument(random);
        ASSERT_EQ(function(x), static_cast<float>(wide(static_cast<long double>(x)))) << x;
    }
}

TEST(NarrowedMath, GivesTheNearestFloats) {
    if (sizeof(long double) == sizeof(double)) {
        GTEST_SKIP() << "no wider numbers to compare with";
    }
    ExpectNearestFloats(
        Narrowed::Sin, [](long double x) { return std::sin(x); }, -7.0f, 7.0f);
    ExpectNearestFloats(
        Narrowed::Cos, [](long double x) { return std::cos(x); }, -7.0f, 7.0f);
    ExpectNearestFloats(
        Narrowed::Tan, [](long double x) { return std::tan(x); }, 0.0f, 1.5f);
    ExpectNearestFloats(
        Narrowed::Exp, [](long double x) { return std::exp(x); }, -20.0f, 20.0f);
    ExpectNearestFloats(
        Narrowed::Log, [](long double x) { return std::log(x); }, 1e-6f, 100.0f);
    ExpectNearestFloats([](float x) { return Narrowed::Power(x, 7); },
                        [](long double x) { return std::pow(x, 7.0L); }, 0.01f, 2.0f);
}

TEST(NarrowedMath, TakesExponentsThatNoFloatHolds) {
    EXPECT_EQ(Narrowed::Power(0.999999f, 16777217),
              static_cast<float>(std::pow(static_cast<double>(0.999999f), 16777217.0)));
    EXPECT_EQ(Narrowed::Power(0.95f, INT32_MAX), 0.0f);
    EXPECT_EQ(Narrowed::Power(3.0f, 0), 1.0f);
}

}  // namespace

}  // namespace mlh
