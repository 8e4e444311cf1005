#include "harmony/CommonPrefixes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using testing::ElementsAre;

std::vector<size_t> PrefixesOf(const std::string& text) {
    return CommonPrefixes(text.size(), [&](size_t a, size_t b) { return text[a] == text[b]; });
}

TEST(CommonPrefixes, CountsWhatComesAgain) {
    EXPECT_THAT(PrefixesOf(""), ElementsAre());
    EXPECT_THAT(PrefixesOf("a"), ElementsAre(1));
    EXPECT_THAT(PrefixesOf("aaaa"), ElementsAre(4, 3, 2, 1));
    EXPECT_THAT(PrefixesOf("abcabx"), ElementsAre(6, 0, 0, 2, 0, 0));
    EXPECT_THAT(PrefixesOf("aabcaabxaaz"), ElementsAre(11, 1, 0, 0, 3, 1, 0, 0, 2, 1, 0));
}

TEST(CommonPrefixes, AgreesWithComparingEveryPlace) {
    std::mt19937 random(5);
    for (int round = 0; round < 4000; ++round) {
        std::string text(1 + random() % 40, 'a');
        for (char& c : text) {
            c = static_cast<char>('a' + random() % (1 + round % 3));
        }
        const std::vector<size_t> prefixes = PrefixesOf(text);
        for (size_t i = 0; i < text.size(); ++i) {
            size_t n = 0;
            while (i + n < text.size() && text[n] == text[i + n]) {
                ++n;
            }
            ASSERT_EQ(prefixes[i], n) << text << " at " << i;
        }
    }
}

TEST(CommonPrefixes, AnEntryThatEqualsNothingEndsEveryPrefix) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> values = {1, 1, nan, 1, 1, nan, 1, 1};
    EXPECT_THAT(CommonPrefixes(values.size(), [&](size_t a, size_t b) { return values[a] == values[b]; }),
                ElementsAre(8, 1, 0, 2, 1, 0, 2, 1));
}

TEST(CommonPrefixes, AsksLessThanTwiceForEachEntry) {
    std::mt19937 random(6);
    for (size_t length : {1, 2, 100, 5000}) {
        const std::string ones(length, 'a');
        std::string nearly = ones, alternating = ones, blocks = ones, noise = ones;
        nearly[length / 2] = 'b';
        for (size_t i = 0; i < length; ++i) {
            alternating[i] = i % 2 == 0 ? 'a' : 'b';
            blocks[i] = i % 17 == 16 ? 'b' : 'a';
            noise[i] = static_cast<char>('a' + random() % 2);
        }
        for (const std::string& text : {ones, nearly, alternating, blocks, noise}) {
            size_t asked = 0;
            CommonPrefixes(text.size(), [&](size_t a, size_t b) {
                ++asked;
                return text[a] == text[b];
            });
            EXPECT_LT(asked, 2 * length) << text.substr(0, 40);
        }
    }
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
