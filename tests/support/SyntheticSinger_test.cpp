#include "support/SyntheticSinger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace mlh {

namespace {

double Level(const std::vector<float>& x, double hertz, double rate, size_t from, size_t to) {
    double re = 0.0, im = 0.0;
    for (size_t i = from; i < to; ++i) {
        // A Hann window, so that a loud harmonic does not leak into the place that is looked at.
        const double w = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i - from) /
                                              static_cast<double>(to - from));
        const double phase = 2.0 * std::numbers::pi * hertz / rate * static_cast<double>(i);
        re += w * x[i] * std::cos(phase);
        im += w * x[i] * std::sin(phase);
    }
    return 20.0 * std::log10(4.0 * std::hypot(re, im) / static_cast<double>(to - from) + 1e-12);
}

const std::vector<SungNote> kSong = {{0.0, 0.2, kRest},     {57.0, 0.5, 'a'},  {60.0, 0.4, 'e', 'm'},
                                     {62.0, 0.4, 'i', 's'}, {0.0, 0.2, kRest}, {64.0, 0.5, 'o', 't'},
                                     {52.0, 0.5, 'u', 'h'}, {52.5, 0.3, 'a'}};

TEST(SyntheticSinger, SingsTheSameTwice) {
    SingerSettings settings;
    settings.breath = 0.05;
    settings.roomNoise = 0.001;
    EXPECT_EQ(Sing(kSong, settings).samples, Sing(kSong, settings).samples);
    SingerSettings other = settings;
    other.seed = 2;
    EXPECT_NE(Sing(kSong, settings).samples, Sing(kSong, other).samples);
}

TEST(SyntheticSinger, ClosuresAreOnePeriodApartAsThePitchCurveTells) {
    SingerSettings settings;
    settings.vibratoDepth = 0.5;
    const SungRecording song = Sing(kSong, settings);
    int32_t checked = 0;
    for (size_t i = 1; i < song.closures.size(); ++i) {
        const auto middle = static_cast<size_t>((song.closures[i - 1] + song.closures[i]) / 2.0);
        const auto first = static_cast<size_t>(song.closures[i - 1]);
        const auto last = static_cast<size_t>(song.closures[i]);
        if (song.pitch[first] == 0.0f || song.pitch[last] == 0.0f || song.pitch[middle] == 0.0f) {
            continue;
        }
        const double period = 44100.0 / (440.0 * std::exp2((song.pitch[middle] - 69.0) / 12.0));
        if (song.closures[i] - song.closures[i - 1] > 1.5 * period) {
            continue;  // across a gap
        }
        // The curve moves within a period by up to about a quarter of a semitone.
        EXPECT_NEAR(song.closures[i] - song.closures[i - 1], period, 0.015 * period);
        ++checked;
    }
    EXPECT_GT(checked, 400);
}

TEST(SyntheticSinger, LengthAndNotesFollowTheScoreAtAnyRate) {
    for (const double rate : {16000.0, 44100.0, 192000.0}) {
        SingerSettings settings;
        settings.sampleRate = rate;
        const SungRecording song = Sing(kSong, settings);
        EXPECT_EQ(song.sampleRate, static_cast<int32_t>(rate));
        EXPECT_NEAR(static_cast<double>(song.samples.size()), 3.0 * rate, 1.0);
        EXPECT_EQ(song.pitch.size(), song.samples.size());
        ASSERT_EQ(song.notes.size(), 6u);
        EXPECT_NEAR(song.notes[0].startPosition, 0.2 * rate, 1.0);
        EXPECT_NEAR(song.notes[0].endPosition, 0.7 * rate, 1.0);
        EXPECT_NEAR(song.notes[2].startPosition, 1.19 * rate, 1.0) << "behind its hiss";
        EXPECT_EQ(song.notes[5].pitch, 52.5);
        EXPECT_EQ(song.pitch[static_cast<size_t>(0.5 * rate)], 57.0f);
        EXPECT_EQ(song.pitch[static_cast<size_t>(1.6 * rate)], 0.0f) << "a rest";
        const float loudest = *std::max_element(song.samples.begin(), song.samples.end(),
                                                [](float a, float b) { return std::abs(a) < std::abs(b); });
        EXPECT_NEAR(std::abs(loudest), 0.5f, 1e-6f);
    }
}

TEST(SyntheticSinger, VowelsHaveTheirFormants) {
    // 100 Hz, so that harmonics sample the spectrum densely: the first formant of a lies near 730 Hz, of i
    // near 290.
    const double pitch = 69.0 + 12.0 * std::log2(100.0 / 440.0);
    SingerSettings settings;
    const SungRecording a = Sing({{pitch, 0.6, 'a'}}, settings);
    const SungRecording i = Sing({{pitch, 0.6, 'i'}}, settings);
    EXPECT_GT(Level(a.samples, 700.0, 44100.0, 8820, 22050),
              Level(a.samples, 400.0, 44100.0, 8820, 22050) + 6.0);
    EXPECT_GT(Level(i.samples, 300.0, 44100.0, 8820, 22050),
              Level(i.samples, 700.0, 44100.0, 8820, 22050) + 20.0);
    EXPECT_GT(Level(i.samples, 2200.0, 44100.0, 8820, 22050),
              Level(i.samples, 1500.0, 44100.0, 8820, 22050) + 12.0);
}

TEST(SyntheticSinger, ATonesHarmonicsAreWhereTheyBelongAndNothingFoldsBack) {
    for (const double rate : {16000.0, 48000.0}) {
        const std::vector<float> tone = HarmonicTone(900.0, rate, 0.5);
        const size_t n = tone.size();
        const double first = Level(tone, 900.0, rate, 0, n);
        EXPECT_NEAR(Level(tone, 1800.0, rate, 0, n), first - 6.02, 0.1);
        EXPECT_NEAR(Level(tone, 4500.0, rate, 0, n), first - 13.98, 0.1);
        // 900 Hz divides none of the rates: what folds back lands between harmonics, here at 100 and 1000 Hz.
        for (const double between : {100.0, 450.0, 1000.0, 1400.0, 7000.0}) {
            EXPECT_LT(Level(tone, between, rate, 0, n), first - 70.0) << between << " Hz at " << rate;
        }
    }
}

TEST(SyntheticSinger, NoiseIsUniformAndWithinItsLimits) {
    NoiseSource noise(0);
    double sum = 0.0, square = 0.0;
    for (int i = 0; i < 100000; ++i) {
        const float x = noise.Next();
        ASSERT_GE(x, -1.0f);
        ASSERT_LT(x, 1.0f);
        sum += x;
        square += static_cast<double>(x) * x;
    }
    EXPECT_NEAR(sum / 100000, 0.0, 0.01);  // about five standard errors
    EXPECT_NEAR(square / 100000, 1.0 / 3.0, 0.005);
    int32_t counts[5] = {};
    for (int i = 0; i < 50000; ++i) {
        ++counts[noise.Next(-2, 2) + 2];
    }
    for (const int32_t count : counts) {
        EXPECT_NEAR(count, 10000, 500);
    }
}

}  // namespace

}  // namespace mlh
