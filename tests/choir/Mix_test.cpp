#include "choir/mix/Mix.h"

#include <gtest/gtest.h>

#include <cmath>

#include "choir/Errors.h"

namespace mlh::choir {

namespace {

TEST(Gains, EntriesAreFactorsOrDecibelsForOneSideOrBoth) {
    const auto gains = ParseGains("1, 0.5:0.25, -6dB, , -6 dB:0");
    EXPECT_EQ(gains[0].left, 1.0);
    EXPECT_EQ(gains[0].right, 1.0);
    EXPECT_EQ(gains[1].right, 0.25);
    EXPECT_NEAR(gains[2].left, std::pow(10.0, -0.3), 1e-12);
    EXPECT_EQ(gains[3].left, DefaultGains()[3].left);  // left out
    EXPECT_EQ(gains[4].right, 0.0);
}

TEST(Gains, NothingGivenKeepsTheDefaults) { EXPECT_EQ(ParseGains("")[4].right, 0.3); }

TEST(Gains, WhatIsNotAGainIsRefused) {
    for (const char* bad : {"loud", "1:x", "0.5 db2", "inf", "1,1,1,1,1,1"}) {
        EXPECT_THROW(ParseGains(bad), UsageError) << bad;
    }
}

TEST(Mix, AMonoLeadGoesToBothSides) {
    const float lead[2] = {1.0f, -1.0f};
    const float voice[2] = {0.5f, 0.25f};
    const float* rows[2] = {lead, voice};
    float out[4];
    MixVoices(rows, 1, 1, 2, {{0.5, 0.25}, {1.0, 0.0}}, 2, out);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[1], 0.25f);
    EXPECT_EQ(out[2], -0.25f);
    EXPECT_EQ(out[3], -0.25f);
}

TEST(Mix, AStereoLeadKeepsItsSides) {
    const float left[1] = {1.0f};
    const float right[1] = {2.0f};
    const float* rows[2] = {left, right};
    float out[2];
    MixVoices(rows, 2, 0, 1, {{0.5, 0.5}}, 2, out);
    EXPECT_EQ(out[0], 0.5f);
    EXPECT_EQ(out[1], 1.0f);
}

}  // namespace

}  // namespace mlh::choir
