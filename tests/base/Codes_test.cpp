#include "base/Codes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "mlh/mlh.h"

namespace mlh {

namespace {

TEST(Codes, KeepTheNumbersThatCallersKnow) {
    EXPECT_EQ(kOutOfMemory, 1000001);
    EXPECT_EQ(kWrongState, 5000002);
    EXPECT_EQ(kBadArgument, 5000003);
    EXPECT_EQ(kRateTooLow, 5000004);
    EXPECT_EQ(kNullVector, -8);
    EXPECT_EQ(kBadCount, -6);
    EXPECT_EQ(kVoiceBadArgument, 1);
    EXPECT_EQ(kNoSuchSegment, 2);
}

TEST(Codes, OfTheAddOnAreThoseOfTheCInterface) {
    EXPECT_EQ(kAddOnCodes[0].value, MLH_OK);
    EXPECT_EQ(kAddOnFailed, MLH_FAILED);
    EXPECT_EQ(kAddOnBadArgument, MLH_BAD_ARGUMENT);
    EXPECT_EQ(kAddOnNotReady, MLH_NOT_READY);
    EXPECT_EQ(kAddOnVoiceRefused, MLH_VOICE_REFUSED);
}

template <int32_t count>
void ExpectATextForEach(const Code (&family)[count]) {
    std::set<int32_t> values;
    for (const Code& code : family) {
        EXPECT_TRUE(values.insert(code.value).second) << code.value << " is there twice";
        ASSERT_NE(TextOf(family, code.value), nullptr);
        EXPECT_STREQ(TextOf(family, code.value), code.text);
        EXPECT_GT(std::strlen(code.text), 0u);
    }
    EXPECT_STREQ(TextOf(family, 0), "success");
    EXPECT_EQ(TextOf(family, 12345), nullptr);
}

TEST(Codes, HaveATextEachInTheirFamily) {
    ExpectATextForEach(kComponentCodes);
    ExpectATextForEach(kOperationCodes);
    ExpectATextForEach(kVoiceCodes);
    ExpectATextForEach(kAddOnCodes);
}

TEST(Codes, OfOneFamilyAreUnknownToAnother) {
    EXPECT_EQ(TextOf(kAddOnCodes, kBadArgument), nullptr);
    EXPECT_STRNE(TextOf(kAddOnCodes, 1), TextOf(kVoiceCodes, 1));
}

}  // namespace

}  // namespace mlh
