// Pitch and pitch marks against a tracker of other make and against the truth, from a bass at 70 Hz to a
// soprano at 1000 Hz.
//
// Periods are stored in whole samples and chosen by a correlation that falls with the distance, so they lie
// up to a sample short: at 44.1 kHz a note of 70 Hz is read right within 3 cents, one of 500 Hz up to 20
// cents sharp. What must hold to 5 cents is the tracker, which steers the marks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

#include "analysis/PitchTrack.h"
#include "validation/Performance.h"
#include "validation/PitchMeter.h"

namespace mlh {

namespace {

constexpr double kEdge = 0.15;      // [s] of a vowel at either end that is not looked at
constexpr double kTolerance = 5.0;  // [cents]
constexpr double kOctave = 600.0;   // [cents] and more is an octave error

double Cents(double hertz, double reference) { return 1200.0 * std::log2(hertz / reference); }
double HertzOf(double pitch) { return 440.0 * std::exp2((pitch - 69.0) / 12.0); }
double PitchOf(double hertz) { return 69.0 + 12.0 * std::log2(hertz / 440.0); }

struct Vowel {
    double hertz;
    SungRecording song;
    double first;  // [samples] of the steady part
    double last;
};

Vowel SingVowel(double hertz, char vowel, double rate) {
    SingerSettings settings;
    settings.sampleRate = rate;
    settings.formantScale = hertz > 300.0 ? 1.17 : 1.0;
    // After the vowel comes as much silence as the marks may end before the recording below 32 kHz.
    Vowel sung{hertz, Sing({{0.0, 0.2, kRest}, {PitchOf(hertz), 0.9, vowel}, {0.0, 0.5, kRest}}, settings), 0,
               0};
    sung.first = sung.song.notes[0].startPosition + kEdge * rate;
    sung.last = sung.song.notes[0].endPosition - kEdge * rate;
    return sung;
}

// Every semitone from 70 to 1000 Hz, each some cents off the grid, with the vowels in turn.
std::vector<Vowel> SingAll(double rate, int vowelsEach) {
    std::vector<Vowel> sung;
    NoiseSource noise(7);
    int turn = 0;
    for (double base = 70.0; base <= 1000.0; base *= std::exp2(1.0 / 12.0)) {
        for (int i = 0; i < vowelsEach; ++i) {
            const double hertz = std::clamp(base * std::exp2(0.04 * noise.Next()), 70.0, 1000.0);
            sung.push_back(SingVowel(hertz, "aeiou"[turn++ % 5], rate));
        }
    }
    return sung;
}

struct Tracked {
    double time;  // [s] of the middle of the frame
    float hertz;
    bool voiced;
};

// What the pitch tracker says of each of its frames.
std::vector<Tracked> Track(const SungRecording& song) {
    constexpr double kHalfFrame = 512.0 / 11025.0;  // [s]
    CPitchTrack* tracker = nullptr;
    std::vector<Tracked> frames;
    if (CPitchTrack::Create(&tracker, song.sampleRate, 1, 1) != 0) {
        return frames;
    }
    PitchTrackResult result;
    for (int32_t at = 0;;) {
        const int32_t hop = tracker->GetHopInInputSamples();
        if (at + hop > static_cast<int32_t>(song.samples.size())) {
            break;
        }
        tracker->Process(song.samples.data() + at, hop, &result);
        at += hop;
        frames.push_back({static_cast<double>(at) / song.sampleRate - kHalfFrame, result.pitchHz,
                          result.harmonicityDb != 0.0f});
    }
    CPitchTrack::Destroy(&tracker);
    return frames;
}

// The metered pitch [Hz] at a time, 0 outside.
double MeteredAt(const std::vector<MeteredFrame>& frames, double time) {
    const auto later = std::lower_bound(frames.begin(), frames.end(), time,
                                        [](const MeteredFrame& frame, double t) { return frame.time < t; });
    if (later == frames.end() || later->pitch <= 0.0f) {
        return 0.0;
    }
    return HertzOf(later->pitch);
}

class PitchTracking : public ::testing::TestWithParam<int32_t> {};

TEST(PitchMeter, IsRightOnSteadyVowels) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    double worst = 0.0;
    for (const Vowel& vowel : SingAll(44100.0, 2)) {
        for (const MeteredFrame& frame : PitchMeter(44100).Measure(vowel.song.samples)) {
            if (frame.time * 44100.0 < vowel.first || frame.time * 44100.0 > vowel.last) {
                continue;
            }
            worst = std::max(worst, std::fabs(Cents(HertzOf(frame.pitch), vowel.hertz)));
        }
    }
    std::printf("the meter errs by at most %.2f cents\n", worst);
    EXPECT_LE(worst, 0.6);
}

TEST_P(PitchTracking, IsWithinFiveCentsOfAnotherTrackerWithoutOctaveErrors) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    const PitchMeter meter(GetParam());
    int32_t all = 0, good = 0, octaves = 0;
    double worst = 0.0;
    for (const Vowel& vowel : SingAll(GetParam(), GetParam() == 44100 ? 2 : 1)) {
        const auto metered = meter.Measure(vowel.song.samples);
        int32_t frames = 0, near = 0;
        for (const Tracked& frame : Track(vowel.song)) {
            const double at = frame.time * GetParam();
            if (at < vowel.first || at > vowel.last) {
                continue;
            }
            const double hertz = MeteredAt(metered, frame.time);
            ASSERT_GT(hertz, 0.0);
            const double cents = std::fabs(Cents(frame.hertz, hertz));
            ++frames;
            near += frame.voiced && cents <= kTolerance;
            octaves += cents > kOctave;
            worst = std::max(worst, cents);
        }
        ASSERT_GT(frames, 30);
        EXPECT_GE(near, 0.99 * frames) << vowel.hertz << " Hz";
        all += frames;
        good += near;
    }
    std::printf("%d Hz: %.2f %% of %d frames within %.0f cents, worst %.2f cents, %d octave errors\n",
                GetParam(), 100.0 * good / all, all, kTolerance, worst, octaves);
    EXPECT_EQ(octaves, 0);
}

TEST_P(PitchTracking, PutsOneMarkIntoEachPeriod) {
    int32_t distances = 0, single = 0, stored = 0, periodsRight = 0;
    double mostSurplus = 0.0, surplusAt = 0.0;
    std::vector<double> cents;
    for (const Vowel& vowel : SingAll(GetParam(), GetParam() == 44100 ? 2 : 1)) {
        Performance performance(vowel.song);
        const auto marks = performance.Marks();
        const double period = GetParam() / vowel.hertz;
        int32_t inside = 0, right = 0, from = 0, to = 0;
        for (std::size_t i = 1; i < marks.size(); ++i) {
            if (marks[i - 1].position < vowel.first || marks[i].position > vowel.last) {
                continue;
            }
            if (inside == 0) {
                from = marks[i - 1].position;
            }
            to = marks[i].position;
            const int32_t distance = to - marks[i - 1].position;
            ++inside;
            right += std::fabs(distance - period) <= std::max(1.0, 0.05 * period);
            ++stored;
            periodsRight += std::fabs(marks[i].period - period) <= 1.0;
            cents.push_back(Cents(GetParam() / static_cast<double>(marks[i].period), vowel.hertz));
            EXPECT_NE(marks[i].harmonicity, 0.0f) << vowel.hertz << " Hz";
        }
        ASSERT_GT(inside, 30) << vowel.hertz << " Hz";
        EXPECT_GE(right, 0.99 * inside) << vowel.hertz << " Hz";
        distances += inside;
        single += right;
        // Where periods are too short for marks to be moved to the waveform's peaks, a rest of up to half a
        // sample is left over in each: the marks slide through the period, slowly.
        const double surplus = std::fabs(inside * period / (to - from) - 1.0);
        EXPECT_LE(surplus, std::max(0.01, 0.6 / period)) << vowel.hertz << " Hz";
        if (surplus > mostSurplus) {
            mostSurplus = surplus, surplusAt = vowel.hertz;
        }
    }
    std::sort(cents.begin(), cents.end());
    const auto within =
        std::count_if(cents.begin(), cents.end(), [](double c) { return std::fabs(c) <= kTolerance; });
    std::printf(
        "%d Hz: %.2f %% of %d distances are one period, marks per period at most %.2f %% off (at %.0f Hz); "
        "stored periods: %.2f %% within a sample, %.1f %% within 5 cents, median %+.1f cents\n",
        GetParam(), 100.0 * single / distances, distances, 100.0 * mostSurplus, surplusAt,
        100.0 * periodsRight / stored,
        100.0 * static_cast<double>(within) / static_cast<double>(cents.size()), cents[cents.size() / 2]);
    EXPECT_GE(periodsRight, 0.99 * stored);
}

INSTANTIATE_TEST_SUITE_P(Rates, PitchTracking, ::testing::Values(22050, 44100, 48000, 96000),
                         [](const auto& tested) { return std::to_string(tested.param) + "Hz"; });

}  // namespace

}  // namespace mlh
