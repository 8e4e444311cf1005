#include "base/PitchUnits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <tuple>

namespace mlh {

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();

TEST(PitchUnits, TurnsSemitonesIntoRatiosAndBack) {
    EXPECT_EQ(SemitonesToRatio32(0.0), 1.0f);
    EXPECT_EQ(SemitonesToRatio32(12.0), 2.0f);
    EXPECT_EQ(SemitonesToRatio32(-24.0), 0.25f);
    EXPECT_EQ(RatioToSemitones(2.0), 12.0);
    EXPECT_EQ(RatioToSemitones(0.5), -12.0);
    for (double semitones = -36.0; semitones <= 36.0; semitones += 0.37) {
        const float ratio = SemitonesToRatio32(semitones);
        EXPECT_EQ(ratio, static_cast<float>(std::pow(2.0, semitones / 12.0)));
        EXPECT_NEAR(RatioToSemitones(static_cast<double>(ratio)), semitones, 2e-6);
    }
}

TEST(PitchUnits, TurnsFrequenciesIntoPitchesAndBack) {
    EXPECT_EQ(HertzToPitch32(440.0f), 69.0f);
    EXPECT_EQ(PitchToHertz32(69.0f), 440.0f);
    EXPECT_EQ(PitchToHertz(57.0), 220.0);
    EXPECT_EQ(HertzToPitch(220.0), 57.0);
    EXPECT_NEAR(HertzToPitch(PitchToHertz(60.3)), 60.3, 1e-12);
    EXPECT_NEAR(HertzToPitch32(880.0f), 81.0f, 1e-5f);
    EXPECT_NEAR(PitchToHertz32(57.0f), 220.0f, 1e-3f);
    for (float pitch = 20.0f; pitch <= 110.0f; pitch += 0.31f) {
        EXPECT_NEAR(HertzToPitch32(PitchToHertz32(pitch)), pitch, 2e-5f);
        EXPECT_NEAR(PitchToHertz32(pitch) / (440.0 * std::pow(2.0, (pitch - 69.0) / 12.0)), 1.0, 3e-6);
    }
}

// The bits of today, since notes and marks depend on them.
TEST(PitchUnits, KeepsTheWidthsAndConstantsOfBothDirections) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> hertz(30.0f, 2000.0f), pitch(20.0f, 110.0f);
    for (int i = 0; i < 1000; ++i) {
        const float h = hertz(random), p = pitch(random);
        const float log = static_cast<float>(std::log(static_cast<double>(h / 440.0f)));
        EXPECT_EQ(HertzToPitch32(h), log * 12.0f * 1.442695f + 69.0f);
        const float exp = static_cast<float>(std::exp(static_cast<double>((p - 69.0f) / 17.31234f)));
        EXPECT_EQ(PitchToHertz32(p), 440.0f * exp);
    }
}

TEST(PitchUnits, TurnsPeriodsIntoPitches) {
    EXPECT_EQ(PeriodToPitch32(100, 44000.0f), 69.0f);
    EXPECT_NEAR(PeriodToPitch32(200, 44000.0f), 57.0f, 1e-5f);
    EXPECT_EQ(PeriodToPitch32(0, 44100.0f), 0.0f);
    EXPECT_EQ(PeriodToPitch32(-7, 44100.0f), 0.0f);
}

TEST(PitchUnits, RoundsHalvesUp) {
    EXPECT_EQ(NearestSemitone32(60.5f), 61.0f);
    EXPECT_EQ(NearestSemitone32(60.49f), 60.0f);
    EXPECT_EQ(NearestSemitone32(-0.5f), 0.0f);
    EXPECT_EQ(NearestSemitone32(-1.5f), -1.0f);
    EXPECT_EQ(NearestPeriod32(100.5f), 101.0f);
    EXPECT_EQ(NearestPeriod32(0.4f), 0.0f);
    EXPECT_EQ(NearestTunedSemitone32(60.4f, -0.2f, 0), 61.0f);
    EXPECT_EQ(NearestTunedSemitone32(60.4f, 0.2f, 3), 63.0f);
}

TEST(PitchUnits, RoundsIntervalsAwayFromZero) {
    EXPECT_EQ(NearestInterval32(1.5f), 2.0f);
    EXPECT_EQ(NearestInterval32(-1.5f), -2.0f);
    EXPECT_EQ(NearestInterval32(-0.4f), 0.0f);
    EXPECT_TRUE(std::signbit(NearestInterval32(-0.4f)));
}

TEST(PitchUnits, RoundsNotesInTwoWays) {
    for (const auto& [pitch, towards, away] : {std::tuple{60.5f, 61, 61},
                                               {60.4f, 60, 60},
                                               {0.4f, 0, 0},
                                               {-0.4f, 0, 0},
                                               {-0.5f, 0, -1},
                                               {-1.0f, 0, -1},
                                               {-1.5f, -1, -2},
                                               {-1.6f, -1, -2},
                                               {0.49999997f, 0, 0}}) {
        EXPECT_EQ(NoteTowardsZero(pitch), towards) << pitch;
        EXPECT_EQ(NoteAwayFromZero(pitch), away) << pitch;
    }
}

TEST(PitchUnits, HoldsNotesInTheRangeOfIntegers) {
    for (const auto note : {NoteTowardsZero, NoteAwayFromZero}) {
        EXPECT_EQ(note(kNan), kLowest);
        EXPECT_EQ(note(-kInfinity), kLowest);
        EXPECT_EQ(note(-3e9f), kLowest);
        EXPECT_EQ(note(kInfinity), kHighest);
        EXPECT_EQ(note(2147483648.0f), kHighest);
    }
    EXPECT_EQ(NoteTowardsZero(-2147483648.0f), kLowest + 1);
    EXPECT_EQ(NoteAwayFromZero(-2147483648.0f), kLowest);
    EXPECT_EQ(NoteTowardsZero(2147483520.0f), 2147483520);
    EXPECT_EQ(NoteAwayFromZero(-2147483520.0f), -2147483520);
}

}  // namespace

}  // namespace mlh
