#include "choir/melody/PulseFinder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "choir/Melodies.h"

namespace mlh::choir {
namespace {

// Share of true lines that have a line of the pulse within 0.15 of a half bar.
double Found(const HalfBarClock& clock, const std::vector<double>& lines) {
    int found = 0;
    for (const double line : lines) {
        const double halves = clock.HalvesAt(line);
        found += std::abs(halves - std::floor(halves + 0.5)) < 0.15 ? 1 : 0;
    }
    return static_cast<double>(found) / static_cast<double>(lines.size());
}

std::vector<double> Lines(int count, double half) {
    std::vector<double> lines;
    for (int k = 0; k < count; ++k) {
        lines.push_back(k * half);
    }
    return lines;
}

TEST(HalfBarClock, CountsSteadilyBeforeAndAfterItsKnots) {
    const HalfBarClock clock(3.0, 2.0);
    EXPECT_DOUBLE_EQ(clock.HalvesAt(3.0), 0.0);
    EXPECT_DOUBLE_EQ(clock.HalvesAt(4.0), 0.5);
    EXPECT_DOUBLE_EQ(clock.HalvesAt(-1.0), -2.0);
    EXPECT_DOUBLE_EQ(clock.HalvesAt(103.0), 50.0);
    EXPECT_DOUBLE_EQ(clock.Half(), 2.0);
}

TEST(HalfBarClock, LeadsBackToTheSameTime) {
    const HalfBarClock clock({0.0, 0.5, 1.1, 1.6, 2.0}, -1.0, 1.5, 0.25);
    for (double time = -3.0; time < 6.0; time += 0.1) {
        EXPECT_NEAR(clock.TimeAt(clock.HalvesAt(time)), time, 1e-9);
    }
}

TEST(HalfBarClock, CanBeCountedFromAnotherHalfBar) {
    const HalfBarClock clock({0.0, 0.5, 1.1, 1.6, 2.0}, -1.0, 1.5, 0.25);
    EXPECT_NEAR(clock.From(3.0).HalvesAt(clock.TimeAt(3.0)), 0.0, 1e-9);
    EXPECT_NEAR(clock.From(3.0).HalvesAt(clock.TimeAt(4.5)), 1.5, 1e-9);
}

TEST(PulseFinder, FindsHalfBarsOfASteadyTune) {
    const auto notes = Sung(Line(MajorTune()), 0.0, 0.0);
    const MelodyPulse pulse = FindPulse(notes);
    EXPECT_NEAR(pulse.clock.Half(), 1.0, 0.02);
    EXPECT_GT(Found(pulse.clock, Lines(32, 1.0)), 0.95);
    EXPECT_GT(pulse.clock.HalvesAt(notes[0].start), -1.0);
}

TEST(PulseFinder, FindsThemWhenOnsetsAreOff) {
    const MelodyPulse pulse = FindPulse(Sung(Line(MajorTune()), 0.03, 0.0));
    EXPECT_NEAR(pulse.clock.Half(), 1.0, 0.03);
    EXPECT_GT(Found(pulse.clock, Lines(32, 1.0)), 0.9);
}

TEST(PulseFinder, FollowsATempoThatDrifts) {
    std::vector<std::pair<int, double>> tune = MajorTune();
    const std::vector<std::pair<int, double>> once = tune;
    tune.insert(tune.end(), once.begin(), once.end());
    const double drift = 0.05;
    const double wave = 30.0;
    const MelodyPulse pulse = FindPulse(Sung(Line(tune), 0.01, drift, wave));
    std::vector<double> lines;
    for (double t = 0.0; t < 62.0; t += 1.0) {
        lines.push_back(t -
                        drift * wave / 6.283185307179586 * (std::cos(6.283185307179586 * t / wave) - 1.0));
    }
    EXPECT_GT(Found(pulse.clock, lines), 0.85);
}

TEST(PulseFinder, KeepsToAGivenTempo) {
    for (const double beat : {0.4, 0.5, 0.7}) {
        const auto notes = Line(MajorTune(), beat);
        PulseOptions options;
        options.beat = beat;
        const double halves = FindPulse(notes, options).clock.Half() / beat;
        EXPECT_TRUE(std::abs(halves - 1.0) < 0.1 || std::abs(halves - 1.5) < 0.15 ||
                    std::abs(halves - 2.0) < 0.2 || std::abs(halves - 3.0) < 0.3)
            << halves;
    }
}

TEST(PulseFinder, FindsThePhaseOfKnownHalfBars) {
    for (const double upbeat : {0.0, 1.0}) {
        std::vector<MelodyNote> notes;
        if (upbeat > 0.0) {
            notes.push_back({0.0, upbeat, 67.0});
        }
        for (MelodyNote note : Line(MajorTune())) {
            notes.push_back({note.start + upbeat, note.end + upbeat, note.pitch});
        }
        PulseOptions options;
        options.half = 2.0;
        const HalfBarClock clock = FindPulse(notes, options).clock;
        EXPECT_NEAR(clock.Half(), 2.0, 1e-9);
        const double halves = clock.HalvesAt(upbeat);
        EXPECT_NEAR(halves, std::floor(halves + 0.5), 0.01) << upbeat;
        EXPECT_GT(clock.HalvesAt(0.0), -3.0) << "at most a bar before the first bar line";
    }
}

TEST(PulseFinder, FindsBarLinesAndTheMetreToWrite) {
    const auto notes = Sung(Line(MajorTune()), 0.0, 0.0);
    const MelodyPulse pulse = FindPulse(notes);
    EXPECT_EQ(pulse.metre.halves, 2);
    EXPECT_EQ(pulse.metre.beats, 2);
    const double halves = pulse.clock.HalvesAt(8.0);  // a bar line
    EXPECT_NEAR(halves / 2.0, std::floor(halves / 2.0 + 0.5), 0.1);
    const WrittenMetre written = WrittenMetreOf(pulse.metre, pulse.clock.Half());
    EXPECT_EQ(written.upper, 4);
    EXPECT_EQ(written.lower, 4);
    EXPECT_NEAR(written.bpm, 120.0, 3.0);
    EXPECT_NEAR(written.quarter, 0.5, 0.02);
}

TEST(PulseFinder, WritesMetresAsPeopleCountThem) {
    const auto expect = [](HalfBarMetre metre, double half, int upper, int lower, double bpm) {
        const WrittenMetre written = WrittenMetreOf(metre, half);
        EXPECT_EQ(written.upper, upper);
        EXPECT_EQ(written.lower, lower);
        EXPECT_NEAR(written.bpm, bpm, 1e-9);
    };
    expect({2, 2}, 1.0, 4, 4, 120.0);
    expect({2, 2}, 0.5, 2, 4, 120.0);
    expect({3, 1}, 1.5, 3, 4, 120.0);
    expect({3, 2}, 0.75, 6, 8, 80.0);  // as found
    expect({1, 2}, 0.75, 6, 8, 80.0);  // as written
    expect({1, 3}, 0.75, 9, 8, 80.0);
}

TEST(PulseFinder, CountsBeatsAroundAStretch) {
    MelodyPulse pulse = {HalfBarClock(1.0, 1.0)};
    pulse.metre = {2, 2};
    const std::vector<Beat> beats = BeatsOf(pulse, 0.8, 3.2);
    ASSERT_EQ(beats.size(), 7u);
    EXPECT_DOUBLE_EQ(beats.front().time, 0.5);
    EXPECT_DOUBLE_EQ(beats.back().time, 3.5);
    for (const Beat& beat : beats) {
        EXPECT_EQ(beat.barLine, beat.time == 1.0 || beat.time == 3.0) << beat.time;
    }
    pulse.metre = {3, 1};
    EXPECT_EQ(BeatsOf(pulse, 1.0, 2.0).size(), 4u);
}

TEST(PulseFinder, IsSureBetweenZeroAndOne) {
    const MelodyPulse pulse = FindPulse(Sung(Line(MajorTune()), 0.02, 0.0));
    EXPECT_GT(pulse.confidence, 0.0);
    EXPECT_LE(pulse.confidence, 1.0);
}

TEST(PulseFinder, HasAPulseForNoNotesAndForOne) {
    EXPECT_GT(FindPulse({}).clock.Half(), 0.0);
    const MelodyPulse one = FindPulse({{5.0, 6.0, 60.0}});
    EXPECT_EQ(one.clock.HalvesAt(5.0), 0.0);
    PulseOptions options;
    options.beat = 0.6;
    EXPECT_DOUBLE_EQ(FindPulse({{5.0, 6.0, 60.0}}, options).clock.Half(), 1.2);
}

TEST(PulseFinder, StaysFiniteOnAnything) {
    std::mt19937 random(11);
    for (int round = 0; round < 40; ++round) {
        std::vector<MelodyNote> notes;
        double at = 0.0;
        const double unit = round % 4 == 0 ? 0.001 : round % 4 == 1 ? 30.0 : 0.05;
        for (unsigned i = 2 + random() % 30; i-- > 0;) {
            const double length = static_cast<double>(random() % 40 + 1) * unit;
            notes.push_back({at, at + length, static_cast<double>(random() % 100)});
            at += length * (random() % 3 + 1);
        }
        const MelodyPulse pulse = FindPulse(OneLine(notes));
        EXPECT_TRUE(pulse.clock.Half() > 0.0 && std::isfinite(pulse.clock.Half()));
        for (const MelodyNote& note : notes) {
            EXPECT_TRUE(std::isfinite(pulse.clock.HalvesAt(note.start)));
        }
        for (size_t k = 1; k < pulse.clock.Knots().size(); ++k) {
            EXPECT_LT(pulse.clock.Knots()[k - 1], pulse.clock.Knots()[k]);
        }
    }
}

}  // namespace
}  // namespace mlh::choir
