#include "base/Numbering.h"

#include <gtest/gtest.h>

namespace mlh {

namespace {

TEST(Numbering, KeepsTheNumbersOfTheModes) {
    EXPECT_EQ(NumberOf(HarmonyMode::ThreeVoices), 0);
    EXPECT_EQ(NumberOf(HarmonyMode::TwoVoices), 1);
    EXPECT_EQ(NumberOf(HarmonyMode::OneVoice), 2);
    EXPECT_EQ(NumberOf(HarmonyMode::Intervals), 3);
    EXPECT_EQ(NumberOf(HarmonyMode::Block), 4);
    EXPECT_EQ(NumberOf(HarmonyMode::OpenFourths), 5);
    EXPECT_EQ(NumberOf(HarmonyMode::FixedInterval), 6);
    EXPECT_EQ(NumberOf(HarmonyMode::FourPart), 7);
    EXPECT_EQ(NumberOf(HarmonyMode::Double), 8);
    EXPECT_EQ(NumberOf(AddOnMode::OneVoice), 2);
    EXPECT_EQ(NumberOf(AddOnMode::Manual), 3);
}

TEST(Numbering, CountsTheLeadAmongTheVoicesOfAMode) {
    EXPECT_EQ(ModeOfVoices(4), HarmonyMode::ThreeVoices);
    EXPECT_EQ(ModeOfVoices(3), HarmonyMode::TwoVoices);
    EXPECT_EQ(ModeOfVoices(2), HarmonyMode::OneVoice);
}

TEST(Numbering, PutsTheHostsVoicesAfterTheLead) {
    EXPECT_FALSE(IsHostVoice(kHostLead));
    EXPECT_TRUE(IsHostVoice(1));
    EXPECT_TRUE(IsHostVoice(4));
    EXPECT_FALSE(IsHostVoice(5));
    EXPECT_FALSE(IsHostVoice(-1));
    EXPECT_EQ(AddOnVoice(1), 0);
    EXPECT_EQ(AddOnVoice(4), kVoiceCount - 1);
    EXPECT_EQ(kMixRows, 5);
    EXPECT_EQ(kLeadRow, 3);
}

}  // namespace

}  // namespace mlh
