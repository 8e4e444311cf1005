#include "choir/melody/KeyFinder.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "choir/Melodies.h"

namespace mlh::choir {
namespace {

void ExpectPosterior(const KeyEstimate& key) {
    double sum = 0.0;
    for (const double p : key.posterior) {
        EXPECT_GE(p, 0.0);
        sum += p;
    }
    EXPECT_NEAR(sum, 1.0, 1e-9);
    EXPECT_NE(key.best, key.second);
    for (int k = 0; k < 24; ++k) {
        EXPECT_LE(key.posterior[static_cast<size_t>(k)], key.posterior[static_cast<size_t>(key.best)]);
    }
}

TEST(KeyFinder, FindsMajorAndMinorInEveryTransposition) {
    for (int tonic = 0; tonic < 12; ++tonic) {
        const KeyEstimate major = FindKey(Transposed(Line(MajorTune()), tonic));
        EXPECT_EQ(major.best, tonic);
        EXPECT_TRUE(major.Sure());
        EXPECT_FALSE(major.Minor());
        const KeyEstimate minor = FindKey(Transposed(Line(MinorTune()), tonic));
        EXPECT_EQ(minor.best, 12 + (9 + tonic) % 12);
        EXPECT_EQ(minor.Tonic(), (9 + tonic) % 12);
        EXPECT_TRUE(minor.Minor());
    }
}

TEST(KeyFinder, GivesEachTranspositionTheSameConfidence) {
    const double confidence = FindKey(Line(MajorTune())).confidence;
    for (int tonic = 1; tonic < 12; ++tonic) {
        EXPECT_NEAR(FindKey(Transposed(Line(MajorTune()), tonic)).confidence, confidence, 1e-9);
    }
}

TEST(KeyFinder, FreesTheNotesOfTheSingersTuning) {
    for (const double tuning : {-0.4, -0.2, 0.3, 0.45}) {
        const KeyEstimate key = FindKey(Transposed(Line(MajorTune()), tuning));
        EXPECT_EQ(key.best, 0) << tuning;
        EXPECT_NEAR(key.tuning, tuning, 1e-9);
    }
    EXPECT_EQ(FindKey(Transposed(Line(MajorTune()), 1.2), 0.2).best, 1) << "a tuning that the caller knows";
}

TEST(KeyFinder, TakesOffTheTuningWithoutAFurtherTrace) {
    EXPECT_NEAR(FindKey(Transposed(Line(MajorTune()), 0.3)).confidence, FindKey(Line(MajorTune())).confidence,
                1e-9);
}

TEST(KeyFinder, GivesNoKeyWithoutNotes) {
    const KeyEstimate key = FindKey({});
    EXPECT_EQ(key.confidence, 0.0);
    EXPECT_FALSE(key.Sure());
    ExpectPosterior(key);
}

TEST(KeyFinder, IsNotSureOfASingleNoteOrOfAllTwelve) {
    const KeyEstimate one = FindKey(Line({{60, 1}}));
    ExpectPosterior(one);
    EXPECT_LT(one.confidence, 0.9);
    std::vector<std::pair<int, double>> all;
    for (int pitch = 60; pitch < 72; ++pitch) {
        all.emplace_back(pitch, 1.0);
    }
    const KeyEstimate chromatic = FindKey(Line(all));
    ExpectPosterior(chromatic);
    EXPECT_LT(chromatic.confidence, 0.9);
}

TEST(KeyFinder, NamesARelatedKeyAsRunnerUp) {
    const KeyEstimate key = FindKey(Line(MajorTune()));
    EXPECT_TRUE(key.second == 7 || key.second == 5 || key.second == 21 || key.second == 12) << key.second;
}

TEST(KeyFinder, StaysFiniteOnAnything) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        std::vector<MelodyNote> notes;
        double at = 0.0;
        for (unsigned i = random() % 40; i-- > 0;) {
            const double length = static_cast<double>(random() % 100 + 1) / 50.0;
            notes.push_back({at, at + length, static_cast<double>(random() % 20000) / 100.0 - 50.0});
            at += length;
        }
        ExpectPosterior(FindKey(OneLine(notes)));
    }
}

}  // namespace
}  // namespace mlh::choir
