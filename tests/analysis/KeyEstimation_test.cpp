#include "analysis/KeyEstimation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "analysis/KeyProfiles.h"

namespace mlh {

namespace {

using Notes = std::vector<AnalysisNote>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

AnalysisNote Note(float pitch, int32_t length = 10000) { return {pitch, 0.1f, length, 0, 0, 0, 0}; }

int32_t KeyOf(const Notes& notes, int32_t transpose = 0) {
    return ChooseKey(WeighPitchClasses(notes, EstimateTuning(notes), transpose));
}

TEST(KeyProfiles, ScalesHoldSevenAndEightTonesAndTheTonicFitsBest) {
    int32_t major = 0;
    int32_t minor = 0;
    for (int i = 0; i < 12; ++i) {
        major += kMajorTemplate[i] == 1.0f;
        minor += kMinorTemplate[i] == 1.0f;
        if (i > 0) {
            EXPECT_LT(kMajorProfile[i], kMajorProfile[0]);
            EXPECT_LT(kMinorProfile[i], kMinorProfile[0]);
        }
    }
    EXPECT_EQ(major, 7);
    EXPECT_EQ(minor, 8);
    EXPECT_EQ(kMinorTemplate[10], 1.0f);
    EXPECT_EQ(kMinorTemplate[11], 1.0f);
}

TEST(KeyProfiles, SumAsPublished) {
    double major = 0.0;
    double minor = 0.0;
    for (int i = 0; i < 12; ++i) {
        major += kMajorProfile[i] * (i + 1);  // weighted, so that an exchange of two shows
        minor += kMinorProfile[i] * (i + 1);
    }
    EXPECT_NEAR(major, 254.03, 1e-4);  // the inputs have two decimals; 1e-4 is their 32-bit rounding
    EXPECT_NEAR(minor, 271.23, 1e-4);
}

TEST(EstimateTuning, IsZeroOnTheGridAndAHalfBetween) {
    EXPECT_EQ(EstimateTuning({Note(60.0f), Note(64.0f), Note(67.0f)}), 0.0f);
    EXPECT_EQ(EstimateTuning({Note(60.5f), Note(64.5f), Note(67.5f)}), 0.5f);
}

TEST(EstimateTuning, FollowsAWholeMelodyThatLiesSharpOrFlat) {
    const float melody[] = {60, 62, 64, 65, 67, 69, 71, 72};
    for (int cents = -49; cents <= 49; ++cents) {
        Notes notes;
        for (const float pitch : melody) {
            notes.push_back(Note(pitch + static_cast<float>(cents) * 0.01f));
        }
        // A semitone at pitch 72 has a rounding error of 2^-18.
        EXPECT_NEAR(EstimateTuning(notes), cents * 0.01f, 1e-5f) << cents << " cents";
    }
}

TEST(EstimateTuning, WeighsNotesByTheirLength) {
    EXPECT_FLOAT_EQ(EstimateTuning({Note(60.0f, 3000), Note(62.25f, 1000)}), 0.0625f);
}

TEST(EstimateTuning, ComparesTheTwoGridsInHundredthsAndThenTakesTheSmallerDeviation) {
    // Mean distances 0.25 and 0.25: 0 is nearer than 0.5.
    EXPECT_EQ(EstimateTuning({Note(60.25f), Note(61.75f)}), 0.0f);
    // 0.2539 and 0.2461 are 25 hundredths both.
    EXPECT_EQ(EstimateTuning({Note(60.25390625f), Note(61.74609375f)}), 0.0f);
    // 0.2656 and 0.2344 are not: the points between the semitones win.
    EXPECT_EQ(EstimateTuning({Note(60.265625f), Note(61.734375f)}), 0.5f);
}

TEST(EstimateTuning, WithoutAnyLengthIsNotANumber) {
    EXPECT_TRUE(std::isnan(EstimateTuning({})));
    EXPECT_TRUE(std::isnan(EstimateTuning({Note(60.0f, 0)})));
}

TEST(WeighPitchClasses, SumsLengthsOnTheClassOfTheRetunedAndTransposedPitch) {
    const Notes notes = {Note(60.0f, 100), Note(72.4f, 10), Note(61.0f, 1)};
    std::array<float, 12> expected{};
    expected[0] = 110.0f;
    expected[1] = 1.0f;
    EXPECT_EQ(WeighPitchClasses(notes, 0.0f, 0), expected);
    expected = {};
    expected[11] = 110.0f;
    expected[0] = 1.0f;
    EXPECT_EQ(WeighPitchClasses(notes, 0.0f, -1), expected);
    expected = {};
    expected[1] = 11.0f;  // 72.4 + 0.2 is nearer to 73
    expected[0] = 100.0f;
    EXPECT_EQ(WeighPitchClasses(notes, -0.2f, 0), expected);
}

TEST(WeighPitchClasses, WrapsPitchesBelowZero) {
    EXPECT_EQ(WeighPitchClasses({Note(-1.0f, 7)}, 0.0f, 0)[11], 7.0f);
    EXPECT_EQ(WeighPitchClasses({Note(60.0f, 7)}, 0.0f, -120)[0], 7.0f);
}

TEST(WeighPitchClasses, LeavesOutNotesWithoutAFinitePitch) {
    const float infinity = std::numeric_limits<float>::infinity();
    const Notes notes = {Note(kNaN), Note(infinity), Note(-infinity), Note(64.0f, 5)};
    std::array<float, 12> expected{};
    expected[4] = 5.0f;
    EXPECT_EQ(WeighPitchClasses(notes, 0.0f, 0), expected);
    EXPECT_EQ(WeighPitchClasses(notes, kNaN, 0), (std::array<float, 12>{}));
    WeighPitchClasses({Note(3e38f)}, 0.0f, std::numeric_limits<int32_t>::max());
}

TEST(WeighPitchClasses, KeepsLongRecordingsExact) {
    const Notes notes(1000, Note(60.0f, 100001));
    EXPECT_EQ(WeighPitchClasses(notes, 0.0f, 0)[0], 100001000.0f);
}

TEST(ChooseKey, ASingleNoteIsTheTonicOfItsMajorKey) {
    for (int32_t pitch = 60; pitch < 72; ++pitch) {
        EXPECT_EQ(KeyOf({Note(static_cast<float>(pitch))}), pitch % 12);
    }
}

TEST(ChooseKey, KnowsScalesThatEndOnTheirTonic) {
    Notes major;
    for (const float pitch : {60, 62, 64, 65, 67, 69, 71, 72}) {
        major.push_back(Note(pitch));
    }
    EXPECT_EQ(KeyOf(major), 0);
    Notes minor;  // harmonic, on A
    for (const float pitch : {57, 59, 60, 62, 64, 65, 68, 69}) {
        minor.push_back(Note(pitch));
    }
    EXPECT_EQ(KeyOf(minor), 21);
}

TEST(ChooseKey, HearsThroughTheSingersTuning) {
    for (const float off : {-0.45f, -0.2f, 0.2f, 0.45f}) {
        Notes notes;
        for (const float pitch : {60, 62, 64, 65, 67, 69, 71, 72}) {
            notes.push_back(Note(pitch + off));
        }
        EXPECT_EQ(KeyOf(notes), 0) << off;
    }
}

TEST(ChooseKey, TransposingTurnsTheKey) {
    std::mt19937 bits(1);
    for (int trial = 0; trial < 200; ++trial) {
        Notes notes;
        for (int i = 0; i < 10; ++i) {
            notes.push_back(
                Note(static_cast<float>(48 + bits() % 24), static_cast<int32_t>(1 + bits() % 50000)));
        }
        const int32_t key = KeyOf(notes);
        for (int32_t transpose = -13; transpose <= 13; ++transpose) {
            const int32_t turned = (key % 12 + transpose + 24) % 12 + (key < 12 ? 0 : 12);
            EXPECT_EQ(KeyOf(notes, transpose), turned);
        }
    }
}

TEST(ChooseKey, WithoutWeightThereIsNone) {
    EXPECT_EQ(ChooseKey({}), -1);
    EXPECT_EQ(KeyOf({}), -1);
    EXPECT_EQ(KeyOf({Note(60.0f, 0)}), -1);  // what a recording without any voice gives
    EXPECT_EQ(KeyOf({Note(kNaN)}), -1);
}

TEST(ChooseKey, TakesOnlyScalesThatHoldMoreThanNineteenTwentiethsOfTheBest) {
    // C 19, D flat 1: the scales with both hold 20, those with C alone 19, which is not more than 0.95 of
    // it. C major would win by far; F minor is the best of those that are left.
    std::array<float, 12> weights{};
    weights[0] = 19.0f;
    weights[1] = 1.0f;
    EXPECT_EQ(ChooseKey(weights), 17);
    weights[0] = 19.5f;
    weights[1] = 1.0f;
    EXPECT_EQ(ChooseKey(weights), 0);
}

TEST(ChooseKey, TheEarlierOfEqualCandidatesWins) {
    std::array<float, 12> weights;
    weights.fill(1.0f);
    // All minor scales hold 8 of 12, all major ones 7, and every minor profile sums to the same.
    EXPECT_EQ(ChooseKey(weights), 12);
}

TEST(ChooseKey, ProfilesAreDividedByTheirSums) {
    // The minor ratings sum to more; undivided they would turn this to A minor.
    std::array<float, 12> weights{};
    weights[9] = 1.0f;
    weights[0] = 1.85f;
    weights[4] = 1.0f;
    const double major = 3.66 + 1.85 * 6.35 + 4.38;
    const double minor = 6.33 + 1.85 * 5.38 + 4.75;
    ASSERT_LT(major, minor);
    ASSERT_GT(major / 41.79, minor / 44.51);
    EXPECT_EQ(ChooseKey(weights), 0);
}

}  // namespace

}  // namespace mlh
