#include "choir/tuning/Tuning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "choir/people/RandomSource.h"

namespace mlh::choir {

namespace {

// A tune of the major scale, sung with normal errors, its grid moved by a curve [semitones] over time.
struct Tune {
    std::vector<SungNote> notes;
    std::vector<int> written;
};

Tune SingTune(double seconds, double spread, uint64_t seed, const std::function<double(double)>& curve) {
    static constexpr int kScale[] = {55, 57, 59, 60, 62, 64, 65, 67, 69, 71, 72};
    RandomSource random(seed);
    Tune tune;
    int step = 4;
    for (double time = 0.3; time < seconds;) {
        const double length = 0.2 + 0.7 * random.Uniform();
        step = std::clamp(step + static_cast<int>(random.Uniform() * 5.0) - 2, 0, 10);
        const double pitch = kScale[step] + curve(time + 0.5 * length) + spread * random.Normal();
        tune.notes.push_back({time, time + length, pitch, 0.5});
        tune.written.push_back(kScale[step]);
        time += length + (random.Uniform() < 0.15 ? 0.6 : 0.0);
    }
    return tune;
}

// [cents] between the grid and the truth, on the circle of a semitone.
double Error(const Tuning& tuning, double time, double truth) {
    const double off = tuning.OffsetAt(time) - truth;
    return 100.0 * (off - std::floor(off + 0.5));
}

TEST(Tuning, FindsTheGridOfAShiftedLead) {
    for (int cents = -50; cents <= 50; cents += 5) {
        for (uint64_t seed = 1; seed <= 5; ++seed) {
            const auto tune = SingTune(20.0, 0.0, seed, [&](double) { return cents / 100.0; });
            const Tuning tuning = Tuning::OfSinger(tune.notes);
            EXPECT_NEAR(Error(tuning, 10.0, cents / 100.0), 0.0, 1e-6);
            EXPECT_TRUE(tuning.curve().empty());
            EXPECT_LE(std::fabs(tuning.offset()), 0.5);
        }
    }
}

TEST(Tuning, WhereTheNamesFlipTheSoundDoesNot) {
    for (const double cents : {-50.0, 50.0, 49.9, -49.9}) {
        const auto tune = SingTune(20.0, 0.0, 3, [&](double) { return cents / 100.0; });
        const Tuning tuning = Tuning::OfSinger(tune.notes);
        for (const SungNote& note : tune.notes) {
            const int name = tuning.NearestNote(note.pitch, note.start);
            EXPECT_NEAR(tuning.PitchOf(name, note.start), note.pitch, 1e-6);
        }
    }
}

TEST(Tuning, SteadySingersGetNoWobble) {
    int curves = 0;
    for (uint64_t seed = 1; seed <= 200; ++seed) {
        const double spread = 0.05 + 0.2 * static_cast<double>(seed % 5) / 4.0;
        const double seconds = seed % 2 == 0 ? 30.0 : 120.0;
        const auto tune = SingTune(seconds, spread, seed, [](double) { return 0.23; });
        const Tuning tuning = Tuning::OfSinger(tune.notes);
        curves += tuning.curve().empty() ? 0 : 1;
        // Four standard errors of a circular mean.
        const double length = std::exp(-2.0 * std::pow(3.14159 * spread, 2.0));
        const double error =
            std::sqrt((1.0 - std::pow(length, 4.0)) / (2.0 * 0.8 * tune.notes.size())) / length;
        const double bound = 4.0 * 100.0 * error / 6.28318 + 0.5;
        EXPECT_NEAR(Error(tuning, seconds / 2.0, 0.23), 0.0, bound) << seed;
    }
    EXPECT_LE(curves, 4);  // of 200
}

TEST(Tuning, FollowsALeadThatSags) {
    for (const double spread : {0.0, 0.08, 0.15}) {
        double worst = 0.0;
        for (uint64_t seed = 1; seed <= 40; ++seed) {
            const auto sag = [](double time) { return 0.31 - 0.6 * time / 30.0; };
            const auto tune = SingTune(30.0, spread, seed, sag);
            const Tuning tuning = Tuning::OfSinger(tune.notes);
            for (double time = 0.5; time < 30.0; time += 0.5) {
                worst = std::max(worst, std::fabs(Error(tuning, time, sag(time))));
            }
            EXPECT_NEAR(tuning.drift(), -0.58, 0.1 + 1.2 * spread);
        }
        std::printf("spread %.2f: worst %.1f cents\n", spread, worst);
        EXPECT_LE(worst, spread < 0.1 ? 8.0 : 16.0);
    }
}

TEST(Tuning, FollowsALeadThatSagsUnevenly) {
    const auto sag = [](double time) {  // steady, then sagging, then steady again
        return 0.2 - 0.6 * std::clamp((time - 20.0) / 30.0, 0.0, 1.0);
    };
    double worst = 0.0;
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        const auto tune = SingTune(80.0, 0.08, seed, sag);
        const Tuning tuning = Tuning::OfSinger(tune.notes);
        for (double time = 0.5; time < 80.0; time += 0.5) {
            worst = std::max(worst, std::fabs(Error(tuning, time, sag(time))));
        }
    }
    std::printf("worst %.1f cents\n", worst);
    EXPECT_LE(worst, 12.0);
}

TEST(Tuning, DriftsFurtherThanASemitoneWithoutAJump) {
    const auto sag = [](double time) { return 0.4 - 1.8 * time / 120.0; };
    const auto tune = SingTune(120.0, 0.08, 7, sag);
    const Tuning tuning = Tuning::OfSinger(tune.notes);
    EXPECT_NEAR(tuning.drift(), -1.8, 0.08);
    for (double time = 1.0; time < 119.0; time += 1.0) {
        EXPECT_NEAR(Error(tuning, time, sag(time)), 0.0, 8.0);
        EXPECT_LE(std::fabs(tuning.OffsetAt(time + 1.0) - tuning.OffsetAt(time)), 0.05 + 1e-9);
    }
}

TEST(Tuning, FewOrShortNotesKeepOneGrid) {
    EXPECT_EQ(Tuning::OfSinger({}).offset(), 0.0);
    const Tuning one = Tuning::OfSinger({{0.0, 1.0, 60.3, 1.0}});
    EXPECT_NEAR(one.offset(), 0.3, 1e-12);
    EXPECT_EQ(one.OffsetAt(-5.0), one.OffsetAt(500.0));
    const Tuning bad = Tuning::OfSinger({{1.0, 1.0, 60.3, 1.0}, {1.0, 2.0, NAN, 1.0}});
    EXPECT_EQ(bad.offset(), 0.0);
}

TEST(Tuning, ReferencesAreTheirGrid) {
    EXPECT_EQ(Tuning::OfReference(440.0).offset(), 0.0);
    EXPECT_NEAR(Tuning::OfReference(442.0).offset(), 0.0785, 1e-4);
    EXPECT_NEAR(Tuning::OfReference(415.3).PitchOf(69, 3.0), 69.0, 0.01);  // a semitone: the same grid
    EXPECT_EQ(Tuning::OfReference(0.0).offset(), 0.0);
    EXPECT_EQ(Tuning::OfReference(NAN).offset(), 0.0);
}

TEST(Tuning, PureIntervalsAreThoseOfSmallNumbers) {
    EXPECT_EQ(PureOffset(0), 0.0);
    EXPECT_NEAR(100.0 * PureOffset(4), -13.69, 0.01);
    EXPECT_NEAR(100.0 * PureOffset(3), 15.64, 0.01);
    EXPECT_NEAR(100.0 * PureOffset(7), 1.955, 0.001);
    EXPECT_NEAR(PureOffset(-5), PureOffset(7), 1e-12);
    EXPECT_NEAR(PureOffset(16), PureOffset(4), 1e-12);
}

TEST(Tuning, JustIntonationIsForLongNotesWithARoot) {
    const Tuning tuning = Tuning::OfReference(442.0);
    const double grid = tuning.PitchOf(64, 1.0);
    EXPECT_NEAR(PitchOfHarmony(tuning, Intonation::Just, 64, 0, 0.0, 2.0), grid + PureOffset(4), 1e-12);
    EXPECT_EQ(PitchOfHarmony(tuning, Intonation::Just, 64, 0, 0.0, 0.1), grid);
    EXPECT_EQ(PitchOfHarmony(tuning, Intonation::Just, 64, -1, 0.0, 2.0), grid);
    EXPECT_EQ(PitchOfHarmony(tuning, Intonation::Equal, 64, 0, 0.0, 2.0), grid);
    EXPECT_EQ(PitchOfHarmony(tuning, Intonation::Just, 60, 0, 0.0, 2.0), tuning.PitchOf(60, 1.0));
}

TEST(Tuning, CorrectionGoesFromSungToTheGrid) {
    const Tuning tuning = Tuning::OfReference(440.0);
    const SungNote note{0.0, 1.0, 60.3, 1.0};
    EXPECT_EQ(PitchOfDoubling(tuning, note, 0.0), 60.3);
    EXPECT_NEAR(PitchOfDoubling(tuning, note, 1.0), 60.0, 1e-12);
    EXPECT_NEAR(PitchOfDoubling(tuning, note, 0.5), 60.15, 1e-12);
}

}  // namespace

}  // namespace mlh::choir
