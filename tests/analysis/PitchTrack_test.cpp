#include "analysis/PitchTrack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <memory>
#include <new>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "base/Codes.h"
#include "support/Paths.h"
#include "support/Recordings.h"
#include "support/SyntheticSinger.h"

// Counts what the program allocates, for the promise that a frame allocates nothing.
static size_t allocationCount = 0;
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept {
    ++allocationCount;
    return std::malloc(size == 0 ? 1 : size);
}
[[gnu::noinline]] void* operator new(size_t size) {
    if (void* memory = operator new(size, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept { std::free(memory); }

namespace mlh {

namespace {

constexpr double kPi = std::numbers::pi;
constexpr int32_t kFftSize = 8192;
constexpr int32_t kHop = 128;
constexpr int32_t kFrameSize = 1024;
constexpr double kBinHz = 11025.0 / kFftSize;

std::unique_ptr<CPitchTrack> MakeTracker(int32_t sampleRate = 44100, int32_t channels = 1, int32_t mode = 1) {
    CPitchTrack* tracker = nullptr;
    EXPECT_EQ(CPitchTrack::Create(&tracker, sampleRate, channels, mode), 0);
    return std::unique_ptr<CPitchTrack>(tracker);
}

// Every frame's result: pieces below one hop complete one frame at most.
std::vector<PitchTrackResult> TrackAll(CPitchTrack& tracker, const std::vector<float>& samples,
                                       int32_t piece = 32) {
    std::vector<PitchTrackResult> results;
    for (size_t at = 0; at < samples.size(); at += piece) {
        PitchTrackResult result;
        result.level = -1.0f;
        const auto count = static_cast<int32_t>(std::min<size_t>(piece, samples.size() - at));
        EXPECT_EQ(tracker.Process(samples.data() + at, count, &result), 0);
        if (result.level >= 0.0f) {
            results.push_back(result);
        }
    }
    return results;
}

// Where the middle of frame `index` stands [s].
double FrameTime(size_t index, int32_t hop = kHop, int32_t frameSize = kFrameSize) {
    return (static_cast<double>(index + 1) * hop - frameSize * 0.5) / 11025;
}

double Cents(double hertz, double reference) { return 1200 * std::log2(hertz / reference); }

// The worst distance [cents] of a tracked steady tone, start and end apart; an unvoiced frame counts as
// 10000.
double WorstError(const std::vector<float>& tone, double hertz, int32_t sampleRate, int32_t mode = 1) {
    const auto tracker = MakeTracker(sampleRate, 1, mode);
    const auto results = TrackAll(*tracker, tone);
    const int32_t hop = mode == 0 ? 256 : 128, frameSize = mode == 0 ? 512 : 1024;
    const double duration = static_cast<double>(tone.size()) / sampleRate;
    double worst = 0;
    int seen = 0;
    for (size_t i = 0; i < results.size(); ++i) {
        const double time = FrameTime(i, hop, frameSize);
        if (time < 0.15 || time > duration - 0.1) {
            continue;
        }
        ++seen;
        const bool voiced = results[i].harmonicityDb != 0.0f && results[i].pitchHz > 0.0f;
        worst = std::max(worst, voiced ? std::fabs(Cents(results[i].pitchHz, hertz)) : 10000.0);
    }
    EXPECT_GT(seen, 5);
    return worst;
}

std::vector<float> Sine(double hertz, double sampleRate, double seconds, double peak = 0.5) {
    std::vector<float> tone(static_cast<size_t>(sampleRate * seconds));
    for (size_t i = 0; i < tone.size(); ++i) {
        tone[i] = static_cast<float>(peak * std::sin(2 * kPi * hertz / sampleRate * static_cast<double>(i)));
    }
    return tone;
}

}  // namespace

// ---------------------------------------------------------------- tones

TEST(PitchTrack, FindsSinesWithinACentAndAHalf) {
    for (double hertz = 70; hertz < 1050; hertz *= 1.059) {
        EXPECT_LT(WorstError(Sine(hertz, 44100, 0.5), hertz, 44100), 1.5) << hertz;
    }
}

TEST(PitchTrack, FindsHarmonicTonesWithinACentAndAHalf) {
    for (double tilt : {0.5, 1.0, 2.0}) {
        for (double hertz = 70; hertz < 1050; hertz *= 1.083) {
            EXPECT_LT(WorstError(HarmonicTone(hertz, 44100, 0.5, tilt), hertz, 44100), 1.5)
                << hertz << " " << tilt;
        }
    }
}

TEST(PitchTrack, FindsSungVowelsWithinTwoCents) {
    for (char vowel : {'a', 'e', 'i', 'o', 'u'}) {
        for (double pitch = 38; pitch < 84; pitch += 3.7) {
            SingerSettings settings;
            settings.formantScale = pitch < 57 ? 1.0 : 1.17;
            const SungRecording song = Sing({{pitch, 0.5, vowel}}, settings);
            const double hertz = 440 * std::exp2((pitch - 69) / 12);
            EXPECT_LT(WorstError(song.samples, hertz, 44100), 2.0) << vowel << " " << pitch;
        }
    }
}

TEST(PitchTrack, FindsTonesAtEverySampleRate) {
    for (int32_t rate :
         {8000, 11025, 12000, 16000, 22050, 32000, 44100, 48000, 88200, 96000, 192000, 255999}) {
        for (double hertz : {80.0, 196.0, 440.0, 900.0}) {
            EXPECT_LT(WorstError(HarmonicTone(hertz, rate, 0.5), hertz, rate), 1.5) << rate << " " << hertz;
        }
    }
}

TEST(PitchTrack, FindsAToneWithoutItsFundamental) {
    for (double hertz : {110.0, 220.0, 330.0}) {
        std::vector<float> tone = HarmonicTone(hertz, 44100, 0.5, 0.5);
        const std::vector<float> full = tone;
        // Takes the fundamental out by projection.
        std::complex<double> gain = 0;
        for (size_t i = 0; i < tone.size(); ++i) {
            gain += static_cast<double>(full[i]) *
                    std::polar(1.0, -2 * kPi * hertz / 44100 * static_cast<double>(i));
        }
        gain *= 2.0 / static_cast<double>(tone.size());
        for (size_t i = 0; i < tone.size(); ++i) {
            const auto turn = std::polar(1.0, 2 * kPi * hertz / 44100 * static_cast<double>(i));
            tone[i] -= static_cast<float>((gain * turn).real());
        }
        const auto tracker = MakeTracker();
        const auto results = TrackAll(*tracker, tone);
        for (size_t i = 15; i + 10 < results.size(); ++i) {
            EXPECT_LT(std::fabs(Cents(results[i].pitchHz, hertz)), 40.0) << hertz << " " << i;
        }
    }
}

TEST(PitchTrack, LevelOfTheRecordingDoesNotMatterToThePitch) {
    for (double peak : {0.003, 0.03, 1.0, 30.0}) {
        EXPECT_LT(WorstError(HarmonicTone(150, 44100, 0.5, 1.0, peak), 150, 44100), 1.5) << peak;
    }
}

TEST(PitchTrack, FollowsAMelodyInItsTime) {
    const SungRecording song =
        Sing({{48, 0.4, 'a'}, {60, 0.4, 'o'}, {55, 0.4, 'i'}, {67, 0.4, 'e'}, {52, 0.4, 'u'}}, {});
    const auto tracker = MakeTracker();
    const auto results = TrackAll(*tracker, song.samples);
    int seen = 0;
    for (size_t i = 0; i < results.size(); ++i) {
        const auto position = static_cast<int64_t>(FrameTime(i) * 44100);
        // Frames whose pitch stands still from end to end
        const int64_t half = 44100 * kFrameSize / 11025 / 2 + 2205;
        if (position < half || position + half >= static_cast<int64_t>(song.pitch.size())) {
            continue;
        }
        const auto [low, high] =
            std::minmax_element(song.pitch.begin() + position - half, song.pitch.begin() + position + half);
        if (*low < *high - 0.01f) {
            continue;
        }
        ++seen;
        EXPECT_NEAR(69 + 12 * std::log2(results[i].pitchHz / 440), *low, 0.03) << FrameTime(i);
        EXPECT_NE(results[i].harmonicityDb, 0.0f) << FrameTime(i);
    }
    EXPECT_GT(seen, 40);
}

TEST(PitchTrack, TheShortModeFindsTonesFromOneHundredAndSixtyHertzUp) {
    for (double hertz = 160; hertz < 1050; hertz *= 1.12) {
        EXPECT_LT(WorstError(HarmonicTone(hertz, 44100, 0.5), hertz, 44100, 0), 10.0) << hertz;
    }
}

// ---------------------------------------------------------------- silence and edges

TEST(PitchTrack, DigitalSilenceIsUnvoicedAndHasNoPitch) {
    const auto tracker = MakeTracker();
    for (const PitchTrackResult& result : TrackAll(*tracker, std::vector<float>(20000, 0.0f))) {
        EXPECT_EQ(result.pitchHz, 0.0f);
        EXPECT_EQ(result.harmonicityDb, 0.0f);
        EXPECT_FLOAT_EQ(result.level, 1e-12f);
        EXPECT_TRUE(std::isnan(result.peakWidth));
    }
    EXPECT_EQ(tracker->GetAnalysis().GetHarmonicRatio(), 1.0f);
    EXPECT_FLOAT_EQ(tracker->GetPeakLevel(), 1e-12f);
}

TEST(PitchTrack, SilenceAfterSingingKeepsThePitch) {
    std::vector<float> samples = HarmonicTone(220, 44100, 1.0);
    samples.resize(2 * samples.size(), 0.0f);
    const auto tracker = MakeTracker();
    const auto results = TrackAll(*tracker, samples);
    int unvoiced = 0;
    for (size_t i = 100; i < results.size(); ++i) {
        if (results[i].harmonicityDb != 0.0f) {
            continue;
        }
        ++unvoiced;
        // A remembered candidate refined in an empty spectrum lands a bin to the left.
        EXPECT_NEAR(results[i].pitchHz, 220.0, 2.5 * kBinHz) << i;
    }
    EXPECT_GT(unvoiced, 50);
}

TEST(PitchTrack, APitchAboveAQuarterOfTheSpectrumIsUnvoiced) {
    const auto tracker = MakeTracker();
    const auto results = TrackAll(*tracker, Sine(3200, 44100, 0.5));
    EXPECT_EQ(tracker->GetAnalysis().GetHarmonicRatio(), 0.0f);
    for (size_t i = 15; i < results.size(); ++i) {
        EXPECT_EQ(results[i].harmonicityDb, 0.0f) << i;
    }
}

TEST(PitchTrack, VeryQuietTonesAreUnvoicedBelow160Hz) {
    // A ratio of 1 is taken below a level of about 3e-4: 0 dB, which only a high voice clears.
    const auto tracker = MakeTracker();
    const auto results = TrackAll(*tracker, HarmonicTone(120, 44100, 0.5, 1.0, 3e-4));
    for (size_t i = 15; i < results.size(); ++i) {
        EXPECT_EQ(results[i].harmonicityDb, 0.0f);
    }
    EXPECT_EQ(tracker->GetAnalysis().GetHarmonicRatio(), 1.0f);
    // Not moved by more than a fifth, an unvoiced candidate stays; from nothing it never gets anywhere.
    EXPECT_EQ(results.back().pitchHz, 0.0f);
}

TEST(PitchTrack, AHighVoicedFrameCanComeOutAtZeroDecibels) {
    const auto tracker = MakeTracker();
    const auto results = TrackAll(*tracker, HarmonicTone(300, 44100, 0.5, 1.0, 3e-4));
    EXPECT_EQ(results.back().harmonicityDb, 0.0f);
    EXPECT_NEAR(results.back().pitchHz, 300, 0.5);  // with no past pitch, only a voiced frame can have one
}

TEST(PitchTrack, NotANumberPassesThroughAndResetRecovers) {
    std::vector<float> samples = HarmonicTone(220, 44100, 0.3);
    samples[5000] = std::nanf("");
    samples[6000] = HUGE_VALF;
    const auto tracker = MakeTracker();
    TrackAll(*tracker, samples);
    TrackAll(*tracker, Noise(20000, 3, 1e30f));
    tracker->Reset();
    const auto fresh = MakeTracker();
    const std::vector<float> tone = HarmonicTone(330, 44100, 0.3);
    const auto a = TrackAll(*tracker, tone), b = TrackAll(*fresh, tone);
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].pitchHz, b[i].pitchHz);
    }
}

// ---------------------------------------------------------------- framing

TEST(PitchTrack, TheFirstHopCompletesAFrame) {
    for (int32_t mode : {0, 1}) {
        const auto tracker = MakeTracker(44100, 1, mode);
        const int32_t hop = mode == 0 ? 256 : 128;
        const std::vector<float> samples = Noise(30000);
        const int32_t first = tracker->GetHopInInputSamples();
        EXPECT_EQ(first, hop * 4 + 17);
        PitchTrackResult result;
        result.level = -1.0f;
        ASSERT_EQ(tracker->Process(samples.data(), first - 4, &result), 0);
        EXPECT_EQ(result.level, -1.0f);  // kept: no frame completed
        ASSERT_EQ(tracker->Process(samples.data() + first - 4, 4, &result), 0);
        EXPECT_GT(result.level, 0.0f);
        for (int32_t at = first; at + 4 * hop <= 30000; at += 4 * hop) {
            ASSERT_EQ(tracker->GetHopInInputSamples(), 4 * hop);
            result.level = -1.0f;
            ASSERT_EQ(tracker->Process(samples.data() + at, 4 * hop, &result), 0);
            ASSERT_GT(result.level, 0.0f);
        }
    }
}

TEST(PitchTrack, HopsAt48000AskForAWholeFrameEach) {
    const auto tracker = MakeTracker(48000);
    EXPECT_EQ(tracker->GetHopInInputSamples(), 576);
    const std::vector<float> samples = Noise(600);
    for (int i = 0; i < 200; ++i) {
        const int32_t hop = tracker->GetHopInInputSamples();
        EXPECT_TRUE(i == 0 || (hop >= 557 && hop <= 563)) << hop;
        PitchTrackResult result;
        result.level = -1.0f;
        ASSERT_EQ(tracker->Process(samples.data(), hop, &result), 0);
        EXPECT_GT(result.level, 0.0f) << i;
    }
}

TEST(PitchTrack, CuttingTheInputChangesNothing) {
    const SungRecording song = Sing({{50, 0.4, 'a', 's'}, {57, 0.4, 'o', 't'}, {53, 0.4, 'i', 'm'}}, {});
    const auto whole = MakeTracker();
    const auto expected = TrackAll(*whole, song.samples);
    for (int32_t piece : {1, 100, 511}) {
        const auto cut = MakeTracker();
        const auto results = TrackAll(*cut, song.samples, piece);
        ASSERT_NEAR(static_cast<double>(results.size()), static_cast<double>(expected.size()), 1.0) << piece;
        for (size_t i = 0; i < std::min(results.size(), expected.size()); ++i) {
            ASSERT_EQ(results[i].pitchHz, expected[i].pitchHz) << piece << " " << i;
            ASSERT_EQ(results[i].harmonicityDb, expected[i].harmonicityDb);
            ASSERT_EQ(results[i].level, expected[i].level);
            ASSERT_EQ(results[i].peakWidth, expected[i].peakWidth);
        }
    }
}

// A full call at a low rate brings more than the ring buffer holds.
TEST(PitchTrack, TheLargestCallLosesNoFrame) {
    for (int32_t rate : {8000, 11025, 44100}) {
        SingerSettings settings;
        settings.sampleRate = rate;
        const SungRecording song = Sing({{50, 1.5, 'a'}, {57, 1.5, 'o'}, {53, 3.0, 'i'}}, settings);
        const auto large = MakeTracker(rate);
        const auto small = MakeTracker(rate);
        PitchTrackResult largeResult, smallResult;
        for (size_t at = 0; at + CPitchTrack::kMaxInput <= song.samples.size();
             at += CPitchTrack::kMaxInput) {
            ASSERT_EQ(large->Process(song.samples.data() + at, CPitchTrack::kMaxInput, &largeResult), 0);
            for (int32_t i = 0; i < CPitchTrack::kMaxInput; i += 64) {
                ASSERT_EQ(small->Process(song.samples.data() + at + i, 64, &smallResult), 0);
            }
            EXPECT_NEAR(largeResult.pitchHz, smallResult.pitchHz, 1e-3) << rate;
            EXPECT_NEAR(largeResult.level, smallResult.level, 1e-5) << rate;
            const auto past = large->GetAnalysis().GetPitchHistory();
            for (int k = 0; k < 11; ++k) {
                EXPECT_NEAR(past[k], small->GetAnalysis().GetPitchHistory()[k], 1e-3) << k;
            }
        }
        EXPECT_NEAR(large->GetPeakLevel(), small->GetPeakLevel(), 1e-6);
    }
}

TEST(PitchTrack, ChannelsAreAveraged) {
    const std::vector<float> mono = HarmonicTone(220, 44100, 0.3);
    std::vector<float> stereo(2 * mono.size());
    for (size_t i = 0; i < mono.size(); ++i) {
        stereo[2 * i] = mono[i] * 0.5f;
        stereo[2 * i + 1] = mono[i] * 1.5f;
    }
    const auto one = MakeTracker();
    const auto two = MakeTracker(44100, 2);
    PitchTrackResult a, b;
    const int32_t frames = static_cast<int32_t>(mono.size());
    ASSERT_EQ(one->Process(mono.data(), frames, &a), 0);
    ASSERT_EQ(two->Process(stereo.data(), frames, &b), 0);
    EXPECT_NEAR(a.pitchHz, b.pitchHz, 1e-3);
    EXPECT_NEAR(a.level, b.level, 1e-6);
    // Opposite channels cancel to the 1e-15 that each extra channel adds.
    for (size_t i = 0; i < mono.size(); ++i) {
        stereo[2 * i + 1] = -stereo[2 * i];
    }
    two->Reset();
    ASSERT_EQ(two->Process(stereo.data(), frames, &b), 0);
    EXPECT_LT(b.level, 1e-11f);
}

TEST(PitchTrack, ResetGivesAFreshTrackerButKeepsTheThreshold) {
    const std::vector<float> tone = HarmonicTone(220, 48000, 0.4);
    const auto tracker = MakeTracker(48000);
    tracker->SetVoicingThreshold(1.0f);
    const auto first = TrackAll(*tracker, tone);
    TrackAll(*tracker, Noise(10000));
    tracker->Reset();
    EXPECT_EQ(tracker->GetPeakLevel(), 0.0f);
    EXPECT_EQ(tracker->GetHopInInputSamples(), 576);
    EXPECT_EQ(tracker->GetVoicingThreshold(), 1.0f);
    const auto second = TrackAll(*tracker, tone);
    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].pitchHz, second[i].pitchHz);
        EXPECT_EQ(first[i].harmonicityDb, second[i].harmonicityDb);
        EXPECT_EQ(first[i].levelChange, second[i].levelChange);
    }
}

TEST(PitchTrack, ThePeakLevelIsTheLargestSeen) {
    std::vector<float> samples = Sine(200, 44100, 0.3, 0.8);
    const std::vector<float> quiet = Sine(200, 44100, 0.3, 0.1);
    samples.insert(samples.end(), quiet.begin(), quiet.end());
    const auto tracker = MakeTracker();
    float largest = 0;
    for (const PitchTrackResult& result : TrackAll(*tracker, samples)) {
        largest = std::max(largest, result.level);
    }
    EXPECT_EQ(tracker->GetPeakLevel(), largest);
    EXPECT_NEAR(largest, 0.99 * 0.8 * 0.5, 0.01);
}

TEST(PitchTrack, AFrameAllocatesNothing) {
    const std::vector<float> tone = HarmonicTone(220, 48000, 0.5);
    const auto tracker = MakeTracker(48000);
    PitchTrackResult result;
    const size_t before = allocationCount;
    tracker->Process(tone.data(), 16000, &result);
    EXPECT_EQ(allocationCount, before);
    EXPECT_GT(result.pitchHz, 0.0f);
}

TEST(PitchTrack, CallsOutOfRangeAreRefused) {
    const auto tracker = MakeTracker();
    const std::vector<float> samples = Noise(CPitchTrack::kMaxInput + 1);
    PitchTrackResult result;
    result.level = -1.0f;
    EXPECT_EQ(tracker->Process(samples.data(), CPitchTrack::kMaxInput + 1, &result), kBadArgument);
    EXPECT_EQ(tracker->Process(samples.data(), -1, &result), kBadArgument);
    EXPECT_EQ(tracker->Process(nullptr, 10, &result), kBadArgument);
    EXPECT_EQ(tracker->Process(samples.data(), 10, nullptr), kBadArgument);
    EXPECT_EQ(result.level, -1.0f);
    EXPECT_EQ(tracker->GetHopInInputSamples(), 529);  // nothing taken
    EXPECT_EQ(tracker->Process(nullptr, 0, &result), 0);
    EXPECT_EQ(result.level, -1.0f);
}

TEST(PitchTrack, CreationRefusesWhatItCannotMake) {
    CPitchTrack* tracker = reinterpret_cast<CPitchTrack*>(8);
    EXPECT_EQ(CPitchTrack::Create(&tracker, 7999, 1, 1), kRateTooLow);
    EXPECT_EQ(tracker, nullptr);
    EXPECT_EQ(CPitchTrack::Create(&tracker, 44100, 0, 1), kBadArgument);
    EXPECT_EQ(CPitchTrack::Create(&tracker, 44100, 1, 2), kBadArgument);
    EXPECT_EQ(CPitchTrack::Create(&tracker, 44100, 1, -1), kBadArgument);
    EXPECT_EQ(CPitchTrack::Create(nullptr, 44100, 1, 1), kBadArgument);
    EXPECT_EQ(CPitchTrack::Create(&tracker, 8000, 1, 1), 0);
    EXPECT_EQ(CPitchTrack::Destroy(&tracker), 0);
    EXPECT_EQ(tracker, nullptr);
    EXPECT_EQ(CPitchTrack::Destroy(&tracker), kBadArgument);
    EXPECT_EQ(CPitchTrack::Destroy(nullptr), kBadArgument);
}

TEST(PitchTrack, TheThresholdRejectsHighVoicesOnly) {
    for (double hertz : {120.0, 300.0}) {
        const auto tracker = MakeTracker();
        EXPECT_EQ(tracker->GetVoicingThreshold(), 0.0f);
        tracker->SetVoicingThreshold(100.0f);
        const auto results = TrackAll(*tracker, HarmonicTone(hertz, 44100, 0.4));
        EXPECT_EQ(results[20].harmonicityDb == 0.0f, hertz > 160) << hertz;
    }
}

// ---------------------------------------------------------------- front end

TEST(CPTPreProcess, PassesTheVoiceBandAndStopsWhatLiesAbove) {
    struct {
        double hertz, gain, tolerance;
    } const cases[] = {{20, 0.99, 0.01}, {200, 0.99, 0.01}, {1000, 0.985, 0.02}};
    for (const auto& [hertz, gain, tolerance] : cases) {
        CPTPreProcess front(44100, 1);
        const std::vector<float> tone = Sine(hertz, 44100, 0.36, 1.0);
        const auto out = front.Process(tone.data(), static_cast<int32_t>(tone.size()));
        double power = 0;
        const size_t from = out.size() - 2205;  // whole periods of all of them
        for (size_t i = from; i < out.size(); ++i) {
            power += static_cast<double>(out[i]) * out[i];
        }
        EXPECT_NEAR(std::sqrt(2 * power / 2205), gain, tolerance) << hertz;
    }
    CPTPreProcess front(44100, 1);
    const std::vector<float> tone = Sine(12000, 44100, 0.3, 1.0);
    for (float x : front.Process(tone.data(), static_cast<int32_t>(tone.size())).subspan(100)) {
        EXPECT_LT(std::fabs(x), 1e-4f);
    }
}

TEST(CPTPreProcess, TheHighPassIsBypassedAndTheLowPassIsNot) {
    CPTPreProcess front(11025, 1);
    const std::vector<float> steady(4000, 1.0f);
    const auto out = front.Process(steady.data(), 4000);
    EXPECT_NEAR(out[3000], 0.99, 0.01);  // a constant passes
    front.Reset();
    std::vector<float> fast(4000);
    for (size_t i = 0; i < fast.size(); ++i) {
        fast[i] = i % 2 == 0 ? 1.0f : -1.0f;
    }
    EXPECT_NEAR(front.Process(fast.data(), 4000)[3000], 0.0, 1e-4);
}

// ---------------------------------------------------------------- what a frame shows by itself

namespace {

// The same measures in 64 bits by definition: plain transform and plain correlation.
struct ReferenceFrame {
    std::vector<double> spectrum, combined, product, comb;
    double level = 0;
    int32_t floorBin = 0;

    ReferenceFrame(const std::vector<float>& samples, int32_t fftSize) {
        const int32_t half = fftSize / 2, frameSize = static_cast<int32_t>(samples.size());
        double sum = 0;
        for (float x : samples) {
            sum += std::max(1e-24, x > 0 ? static_cast<double>(x) * x : 0.0);
        }
        level = std::sqrt(sum / frameSize);

        spectrum = Magnitudes(samples, fftSize);
        std::vector<double> pruned(half, 0.0);
        const int32_t low = std::max(fftSize * 25 / 11025, 6), high = fftSize * 200 / 11025;
        for (int32_t k = low; k < high; ++k) {
            if (spectrum[k] > spectrum[k - 1] && spectrum[k] >= spectrum[k + 1]) {
                for (int32_t j = k - 4; j <= k + 4; ++j) {
                    pruned[j] = spectrum[j];
                }
            }
        }
        for (int32_t k = high - 4; k < half; ++k) {
            pruned[k] = spectrum[k];
        }

        // The transform's middle bin is left out of the power spectrum.
        double middle = 0;
        for (int32_t k = 0; k < half; ++k) {
            middle += k % 2 == 0 ? pruned[k] : -pruned[k];
        }
        combined.resize(half);
        for (int32_t lag = 0; lag < half; ++lag) {
            double correlation = 0;
            for (int32_t k = 0; k + lag < half; ++k) {
                correlation += pruned[k] * pruned[k + lag];
            }
            combined[lag] = correlation - (lag % 2 == 0 ? 1 : -1) * middle * middle / fftSize;
        }
        Normalize(spectrum);
        Normalize(combined);
        for (int32_t k = 0; k < half; ++k) {
            combined[k] += 0.25 * spectrum[k];
        }

        int32_t minimum = 1;
        while (!(combined[minimum] < combined[minimum - 1] && combined[minimum] <= combined[minimum + 1])) {
            ++minimum;
        }
        floorBin = std::max(minimum, fftSize * 25 / 11025);
        std::fill_n(combined.begin(), floorBin, 0.0);

        product.resize(half);
        comb.assign(half, 0.0);
        for (int32_t i = 0; i < half; ++i) {
            product[i] = 2 * combined[i] * ((2 * i < half ? combined[2 * i] : 0) + 0.15) / 2 *
                         ((i < half / 3 ? combined[3 * i] : 0) + 0.15) / 3;
        }
        const int32_t first = fftSize * 28 / 8192, last = static_cast<int32_t>(fftSize * 4000.0 / 11025);
        for (int32_t i = first; i < last; ++i) {
            const int32_t count = std::min(9, (fftSize - 1) / i);
            double sumOfHarmonics = 0;
            for (int32_t h = 1; h <= count; ++h) {
                if (i * h < half) {
                    sumOfHarmonics += combined[i * h] * 31 / (30 + h);
                }
            }
            sumOfHarmonics -=
                0.25 * combined[i / 2] + 0.1 * combined[i * 6666 / 10000] + 0.1 * combined[i * 3333 / 10000];
            comb[i] = sumOfHarmonics / count;
        }
    }

    static void Normalize(std::vector<double>& bins) {
        const double largest = *std::max_element(bins.begin() + 1, bins.end());
        for (double& bin : bins) {
            bin /= largest;
        }
    }

    static std::vector<double> Magnitudes(const std::vector<float>& samples, int32_t fftSize) {
        const int32_t n = static_cast<int32_t>(samples.size());
        std::vector<double> windowed(n), bins(fftSize / 2);
        for (int32_t i = 0; i < n; ++i) {
            windowed[i] = samples[i] * (1 - std::cos(2 * kPi * i / (n - 1))) / 2;
        }
        std::vector<std::complex<double>> turns(fftSize);
        for (int32_t i = 0; i < fftSize; ++i) {
            turns[i] = std::polar(1.0, -2 * kPi * i / fftSize);
        }
        for (int32_t k = 0; k < fftSize / 2; ++k) {
            std::complex<double> sum = 0;
            for (int32_t i = 0; i < n; ++i) {
                sum += windowed[i] * turns[(static_cast<int64_t>(i) * k) % fftSize];
            }
            bins[k] = std::abs(sum);
        }
        return bins;
    }
};

double WorstDistance(const std::vector<float>& values, const std::vector<double>& reference) {
    double worst = 0;
    for (size_t i = 0; i < reference.size(); ++i) {
        worst = std::max(worst, std::fabs(values[i] - reference[i]));
    }
    return worst;
}

// A candidate bin must be as good as the best one, up to rounding.
void ExpectLargest(int32_t index, const std::vector<double>& values, const char* what) {
    EXPECT_GE(values[index], *std::max_element(values.begin(), values.end()) - 2e-5) << what;
}

void ExpectReference(CPTAnalysisNew& analysis, const std::vector<float>& samples, int32_t fftSize) {
    analysis.Measure(samples.data());
    analysis.MeasureRivals();
    const PitchFrame& frame = analysis.GetFrame();
    const ReferenceFrame reference(samples, fftSize);
    EXPECT_NEAR(frame.level, reference.level, 1e-6 * reference.level);
    // Values are normalised to 1; two 32-bit transforms lie between.
    EXPECT_LT(WorstDistance(frame.spectrum, reference.spectrum), 1e-5);
    EXPECT_LT(WorstDistance(frame.combined, reference.combined), 1e-5);
    EXPECT_LT(WorstDistance(frame.product, reference.product), 1e-5);
    EXPECT_LT(WorstDistance(frame.scratch, reference.comb), 1e-5);
    for (int32_t k = fftSize / 2; k < fftSize; ++k) {
        ASSERT_EQ(frame.spectrum[k], 0.0f);
        ASSERT_EQ(frame.combined[k], 0.0f);
    }
    ExpectLargest(frame.productPeak, reference.product, "product");
    ExpectLargest(frame.combPeak, reference.comb, "comb");
    const std::vector<double> low(reference.combined.begin(), reference.combined.begin() + fftSize / 4);
    ExpectLargest(frame.lowPeak, low, "low");
}

}  // namespace

TEST(CPTAnalysisNew, MeasuresWhatItsDefinitionGives) {
    CPTAnalysisNew analysis(11025, kFftSize, kFrameSize);
    for (double hertz : {66.0, 121.0, 262.3, 780.0}) {
        std::vector<float> tone = HarmonicTone(hertz, 11025, 0.1, 1.0);
        tone.resize(kFrameSize);
        ExpectReference(analysis, tone, kFftSize);
    }
    ExpectReference(analysis, Noise(kFrameSize), kFftSize);
    std::vector<float> both = HarmonicTone(180, 11025, 0.1, 0.5);
    both.resize(kFrameSize);
    const std::vector<float> noise = Noise(kFrameSize, 2, 0.3f);
    for (int32_t i = 0; i < kFrameSize; ++i) {
        both[i] += noise[i];
    }
    ExpectReference(analysis, both, kFftSize);
}

// Two pulses 500 samples apart: the first minimum lies below the lowest pitch.
TEST(CPTAnalysisNew, NothingBelowTheLowestPitchIsLookedAt) {
    CPTAnalysisNew analysis(11025, kFftSize, kFrameSize);
    std::vector<float> pulses(kFrameSize, 0.0f);
    pulses[260] = pulses[760] = 1.0f;
    ExpectReference(analysis, pulses, kFftSize);
    EXPECT_GE(analysis.GetFrame().lowPeak, 18);
}

TEST(CPTAnalysisNew, MeasuresTheSameInTheShortMode) {
    CPTAnalysisNew analysis(11025, 2048, 512);
    for (double hertz : {150.0, 262.3, 780.0}) {
        std::vector<float> tone = HarmonicTone(hertz, 11025, 0.1, 1.0);
        tone.resize(512);
        ExpectReference(analysis, tone, 2048);
    }
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        ExpectReference(analysis, Noise(512, seed), 2048);
    }
}

TEST(CPTAnalysisNew, MeasuringKnowsNoPast) {
    CPTAnalysisNew used(11025, kFftSize, kFrameSize), fresh(11025, kFftSize, kFrameSize);
    PitchTrackResult result;
    for (uint64_t seed = 1; seed < 6; ++seed) {
        used.Analyze(Noise(kFrameSize, seed).data(), &result);
    }
    std::vector<float> tone = HarmonicTone(200, 11025, 0.1);
    used.Measure(tone.data());
    used.MeasureRivals();
    fresh.Measure(tone.data());
    fresh.MeasureRivals();
    EXPECT_EQ(used.GetFrame().spectrum, fresh.GetFrame().spectrum);
    EXPECT_EQ(used.GetFrame().combined, fresh.GetFrame().combined);
    EXPECT_EQ(used.GetFrame().product, fresh.GetFrame().product);
    EXPECT_EQ(used.GetFrame().combPeak, fresh.GetFrame().combPeak);
}

TEST(CPTAnalysisNew, TheLevelCountsThePositiveHalf) {
    CPTAnalysisNew analysis(11025, kFftSize, kFrameSize);
    std::vector<float> samples(kFrameSize, -0.5f);
    analysis.Measure(samples.data());
    analysis.MeasureRivals();
    EXPECT_FLOAT_EQ(analysis.GetFrame().level, 1e-12f);
    for (int32_t i = 0; i < kFrameSize; i += 4) {
        samples[i] = 0.5f;
    }
    analysis.Measure(samples.data());
    analysis.MeasureRivals();
    EXPECT_FLOAT_EQ(analysis.GetFrame().level, 0.25f);
}

// ---------------------------------------------------------------- the decision

namespace {

// Frames built by hand: a narrow peak of the product at `bin` and harmonics of it in the spectrum.
class Decision : public testing::Test {
  protected:
    CPTAnalysisNew analysis{11025, kFftSize, kFrameSize};
    PitchTrackResult result;

    static PitchFrame Empty(float spectrumFloor = 0.01f) {
        PitchFrame frame;
        frame.spectrum.assign(kFftSize, 0.0f);
        std::fill_n(frame.spectrum.begin(), kFftSize / 2, spectrumFloor);
        frame.combined.assign(kFftSize, 0.0f);
        frame.product.assign(kFftSize / 2, 0.001f);
        frame.level = 0.1f;
        return frame;
    }
    static void AddHarmonics(PitchFrame& frame, int32_t bin) {
        for (int32_t k = bin; k < kFftSize / 2 - 1; k += bin) {
            frame.spectrum[k] = 1.0f;
            frame.spectrum[k - 1] = frame.spectrum[k + 1] = 0.5f;
        }
    }
    static void AddPeak(PitchFrame& frame, int32_t bin) {
        frame.product[bin] = 1.0f;
        frame.product[bin - 1] = frame.product[bin + 1] = 0.5f;
    }
    static PitchFrame Voice(int32_t bin, int32_t combBin = 0) {
        PitchFrame frame = Empty();
        AddHarmonics(frame, bin);
        AddPeak(frame, bin);
        frame.productPeak = bin;
        frame.combPeak = combBin == 0 ? bin : combBin;
        if (frame.combPeak != bin) {
            AddPeak(frame, frame.combPeak);
            AddHarmonics(frame, frame.combPeak);
        }
        return frame;
    }
    // The same, too quiet to have a harmonic ratio: 0 dB.
    static PitchFrame Quiet(int32_t bin, int32_t combBin = 0) {
        PitchFrame frame = Voice(bin, combBin);
        frame.level = 1e-4f;
        return frame;
    }
    void Decide(const PitchFrame& frame) { analysis.Decide(frame, &result); }
    void Decide(const PitchFrame& frame, int times) {
        for (int i = 0; i < times; ++i) {
            Decide(frame);
        }
    }
    double Bin() const { return result.pitchHz / kBinHz; }
};

}  // namespace

TEST_F(Decision, TakesTheProductPeakAtFirst) {
    Decide(Voice(200, 100));  // an octave check needs a past
    EXPECT_FLOAT_EQ(Bin(), 200.0f);
    EXPECT_GT(result.harmonicityDb, 3.5f);
    EXPECT_EQ(result.level, 0.1f);
    EXPECT_EQ(analysis.GetLastPitchHz(), 0.0f);
    EXPECT_FALSE(analysis.IsOctaveDown());
}

TEST_F(Decision, HistoryHoldsThePitchesBeforeThePresentOne) {
    for (int i = 0; i < 14; ++i) {
        Decide(Voice(200 + i));
    }
    EXPECT_FLOAT_EQ(Bin(), 213.0f);
    EXPECT_FLOAT_EQ(analysis.GetLastPitchHz() / kBinHz, 212.0f);
    for (int k = 0; k < 11; ++k) {
        EXPECT_FLOAT_EQ(analysis.GetPitchHistory()[k] / kBinHz, 212.0f - k) << k;
    }
}

TEST_F(Decision, UnvoicedFramesSetTheLastPitchButDoNotMoveTheHistory) {
    for (int i = 0; i < 5; ++i) {
        Decide(Voice(90 + i));
    }
    const std::vector<float> before(analysis.GetPitchHistory().begin(), analysis.GetPitchHistory().end());
    Decide(Quiet(95));
    EXPECT_EQ(result.harmonicityDb, 0.0f);
    EXPECT_FLOAT_EQ(Bin(), 95.0f);
    EXPECT_FLOAT_EQ(analysis.GetLastPitchHz() / kBinHz, 94.0f);
    EXPECT_EQ(std::vector<float>(analysis.GetPitchHistory().begin(), analysis.GetPitchHistory().end()),
              before);
    Decide(Voice(96));  // what moves in is the unvoiced frame's pitch
    EXPECT_FLOAT_EQ(analysis.GetPitchHistory()[0] / kBinHz, 95.0f);
    EXPECT_FLOAT_EQ(analysis.GetPitchHistory()[1] / kBinHz, 93.0f);
}

TEST_F(Decision, AnUnvoicedFrameFarOffTakesTheRememberedPitch) {
    for (int i = 0; i < 10; ++i) {
        Decide(Voice(80 + i));  // history 88, 87, ... : entry 6 is 82
    }
    PitchFrame frame = Quiet(108);
    frame.spectrum[83] = 2.0f;  // what the refinement finds there
    frame.spectrum[82] = 1.0f;
    frame.spectrum[81] = 0.1f;
    Decide(frame);
    EXPECT_EQ(result.harmonicityDb, 0.0f);
    EXPECT_FLOAT_EQ(Bin(), 81.0f);  // rising through its three bins: the left one
    Decide(Voice(90), 10);
    Decide(Quiet(107));  // a move of less than a fifth stays
    EXPECT_FLOAT_EQ(Bin(), 107.0f);
}

TEST_F(Decision, AnUnvoicedFrameWithoutMemoryHasNoPitch) {
    Decide(Quiet(100));
    EXPECT_EQ(result.pitchHz, 0.0f);
    Decide(Voice(80), 3);
    Decide(Quiet(110));
    EXPECT_EQ(result.pitchHz, 0.0f);
}

TEST_F(Decision, LowVoicesMustClearThreeAndAHalfDecibels) {
    // Harmonics of 1 over a floor: the ratio falls as the floor rises.
    for (float floor : {0.30f, 0.35f, 0.40f, 0.50f, 0.9f}) {
        PitchFrame frame = Empty(floor);
        for (int32_t k = 118; k < kFftSize / 4; k += 118) {
            frame.spectrum[k] = 1.0f;  // 158.8 Hz
        }
        AddPeak(frame, 118);
        frame.productPeak = 118;
        double mean = 0;
        for (int32_t k = 118; k < kFftSize / 2; ++k) {
            mean += frame.spectrum[k] / (kFftSize / 2.0 - 118);
        }
        const double decibels = 10 * std::log10(1.0 / mean);
        analysis.Reset();
        result = {};
        Decide(frame);
        EXPECT_NEAR(analysis.GetHarmonicRatio(), 1.0 / mean, 1e-3);
        if (decibels < 3.5) {
            EXPECT_EQ(result.harmonicityDb, 0.0f) << decibels;
            EXPECT_EQ(result.pitchHz, 0.0f);
        } else {
            EXPECT_NEAR(result.harmonicityDb, decibels, 1e-3);
        }
    }
}

TEST_F(Decision, HighVoicesMustClearTheThreshold) {
    PitchFrame frame = Empty(0.5f);
    for (int32_t k = 119; k < kFftSize / 4; k += 119) {
        frame.spectrum[k] = 1.0f;  // 160.2 Hz, about 3 dB
    }
    AddPeak(frame, 119);
    frame.productPeak = 119;
    for (float threshold : {-1.0f, 0.0f, 2.9f, 3.1f, 20.0f}) {
        analysis.Reset();
        analysis.SetVoicingThreshold(threshold);
        result = {};
        Decide(frame);
        EXPECT_EQ(result.harmonicityDb > 0.0f, threshold < 3.0f) << threshold;
    }
}

TEST_F(Decision, ALeapOfAnOctaveIsTakenDownWhenTheCombAgrees) {
    Decide(Voice(100), 3);
    EXPECT_FALSE(analysis.IsOctaveDown());
    Decide(Voice(200, 100));
    EXPECT_TRUE(analysis.IsOctaveDown());
    EXPECT_FLOAT_EQ(Bin(), 100.0f);
    Decide(Voice(200, 69));  // 2 * 69 is further off than 0.3 of 200
    EXPECT_FALSE(analysis.IsOctaveDown());
    EXPECT_FLOAT_EQ(Bin(), 200.0f);
}

TEST_F(Decision, TheCombMayBeOffByThreeTenths) {
    for (int32_t comb : {70, 130}) {
        analysis.Reset();
        result = {};
        Decide(Voice(100), 3);
        Decide(Voice(200, comb));
        EXPECT_TRUE(analysis.IsOctaveDown()) << comb;
        EXPECT_FLOAT_EQ(Bin(), static_cast<float>(comb));
    }
    analysis.Reset();
    result = {};
    Decide(Voice(80), 3);
    Decide(Voice(160, 56));  // off by exactly 48
    EXPECT_TRUE(analysis.IsOctaveDown());
    for (int32_t comb : {69, 131}) {
        analysis.Reset();
        result = {};
        Decide(Voice(100), 3);
        Decide(Voice(200, comb));
        EXPECT_FALSE(analysis.IsOctaveDown()) << comb;
        EXPECT_FLOAT_EQ(Bin(), 200.0f);
    }
}

TEST_F(Decision, TheLeapIsMeasuredAgainstTheMeanOfTwoPitches) {
    Decide(Voice(100), 4);
    Decide(Voice(180, 90));  // exactly 1.8 times: no leap
    EXPECT_FLOAT_EQ(Bin(), 180.0f);
    analysis.Reset();
    result = {};
    Decide(Voice(100), 4);
    Decide(Voice(181, 90));
    EXPECT_FLOAT_EQ(Bin(), 90.0f);
    EXPECT_TRUE(analysis.IsOctaveDown());
}

TEST_F(Decision, OnceDownTheNextFrameIsAskedAgain) {
    Decide(Voice(100), 3);
    Decide(Voice(150, 75));
    EXPECT_FLOAT_EQ(Bin(), 150.0f);  // no leap
    analysis.Reset();
    result = {};
    Decide(Voice(100), 3);
    Decide(Voice(200, 100));
    Decide(Voice(150, 75));  // no leap either, but the frame before was taken down
    EXPECT_FLOAT_EQ(Bin(), 75.0f);
    EXPECT_TRUE(analysis.IsOctaveDown());
    Decide(Voice(100, 100));
    EXPECT_FALSE(analysis.IsOctaveDown());
    Decide(Voice(150, 75));
    EXPECT_FLOAT_EQ(Bin(), 150.0f);
}

TEST_F(Decision, ACombPeakInTheBassIsNotTaken) {
    Decide(Voice(44), 3);
    Decide(Voice(88, 44));
    EXPECT_FLOAT_EQ(Bin(), 88.0f);
    analysis.Reset();
    result = {};
    Decide(Voice(45), 3);
    Decide(Voice(90, 45));
    EXPECT_FLOAT_EQ(Bin(), 45.0f);
}

TEST_F(Decision, TheOctaveCheckNeedsTwoPitchesOfThePast) {
    Decide(Voice(100));
    Decide(Voice(100));  // history: 100, 0
    Decide(Voice(200, 100));
    EXPECT_FLOAT_EQ(Bin(), 200.0f);
    EXPECT_FALSE(analysis.IsOctaveDown());
}

TEST_F(Decision, WithoutALastPitchTheFlagIsLeftAlone) {
    Decide(Voice(100), 3);
    Decide(Voice(200, 100));
    // Down, far from the last pitch, too quiet, nothing remembered: no pitch.
    PitchFrame quiet = Quiet(230, 115);
    result.pitchHz = 30.0f;
    Decide(quiet);
    EXPECT_EQ(result.pitchHz, 0.0f);
    EXPECT_TRUE(analysis.IsOctaveDown());
    Decide(quiet);
    EXPECT_EQ(analysis.GetLastPitchHz(), 0.0f);
    EXPECT_TRUE(analysis.IsOctaveDown());
    Decide(Voice(100));
    EXPECT_FLOAT_EQ(Bin(), 100.0f);
    EXPECT_TRUE(analysis.IsOctaveDown());
}

TEST_F(Decision, PeakWidthIsTheWidthAtAQuarterPlusTheFlatness) {
    PitchFrame frame = Empty();
    std::fill(frame.product.begin(), frame.product.end(), 0.2f);
    std::fill_n(frame.product.begin() + 390, 21, 1.0f);
    frame.product[389] = frame.product[411] = 0.25f;  // not below a quarter
    frame.productPeak = 400;
    Decide(frame);
    const double width = (412 - 388) / 50.0;
    const double mean = std::pow(std::pow(0.2, 36 - 23) * 0.25 * 0.25, 1.0 / 36);
    EXPECT_NEAR(result.peakWidth, width + 2 - 1 / mean, 1e-5);
}

TEST_F(Decision, AHighPeakIsNotFlat) {
    PitchFrame frame = Empty();
    std::fill(frame.product.begin(), frame.product.end(), 0.2f);
    frame.product[400] = 1.0f;
    frame.productPeak = 400;
    Decide(frame);
    EXPECT_NEAR(result.peakWidth, 2 / 50.0, 1e-6);
    frame.product[100] = 1.0f;  // low peaks are measured against 25 Hz
    frame.productPeak = 100;
    Decide(frame);
    EXPECT_NEAR(result.peakWidth, 2 / 18.0, 1e-6);
}

TEST_F(Decision, TheFlatnessRootCountsTheBinsMultiplied) {
    // Near the upper end the surroundings are cut off; a flat product gives a height of peak^(1 / bins).
    for (int32_t candidate : {4090, 400, 5}) {
        PitchFrame frame = Empty();
        std::fill(frame.product.begin(), frame.product.end(), 0.5f);
        frame.productPeak = candidate;
        Decide(frame);
        const int32_t bins = std::min(4096, candidate + 18) - std::max(candidate - 18, 1);
        // (1 / 0.5 * 0.5^bins)^(1 / bins)
        const double height = 0.5 / std::pow(0.5, (bins - 1.0) / bins);
        EXPECT_NEAR(result.peakWidth, 4096.0 / std::max(candidate / 8, 18) + 2 - height, 1e-4) << candidate;
    }
}

TEST_F(Decision, ALeapFromAWidePeakHasTheRatioOne) {
    Decide(Voice(400), 2);
    for (int32_t bin : {298, 538}) {  // moved by more than a quarter
        PitchFrame wide = Voice(bin);
        std::fill(wide.product.begin(), wide.product.end(), 0.9f);
        Decide(wide);
        EXPECT_EQ(analysis.GetHarmonicRatio(), 1.0f) << bin;
        EXPECT_GT(result.peakWidth, 1.0f);
        Decide(Voice(400), 2);
        Decide(Voice(bin));  // narrow: judged by its harmonics
        EXPECT_GT(analysis.GetHarmonicRatio(), 2.0f) << bin;
        Decide(Voice(400), 2);
    }
    for (int32_t bin : {300, 310}) {  // moved by exactly a quarter, or less
        PitchFrame wide = Voice(bin);
        std::fill(wide.product.begin(), wide.product.end(), 0.9f);
        Decide(wide);
        EXPECT_GT(analysis.GetHarmonicRatio(), 2.0f) << bin;
        Decide(Voice(400), 2);
    }
}

TEST_F(Decision, AWidePeakWithoutAPastIsJudgedByItsHarmonics) {
    PitchFrame wide = Voice(400);
    std::fill(wide.product.begin(), wide.product.end(), 0.9f);
    Decide(wide);
    EXPECT_GT(result.peakWidth, 1.0f);
    EXPECT_GT(analysis.GetHarmonicRatio(), 2.0f);
}

TEST_F(Decision, HarmonicsAreSummedBelowAQuarterOfTheTransform) {
    PitchFrame frame = Empty(0.1f);
    AddPeak(frame, 512);
    frame.productPeak = 512;
    frame.spectrum[512] = 1.0f;
    frame.spectrum[1024] = 0.8f;
    frame.spectrum[1536] = 0.6f;
    frame.spectrum[2048] = 50.0f;  // already outside the sum, inside the mean
    Decide(frame);
    const double mean = (0.1 * (4096 - 512 - 4) + 1.0 + 0.8 + 0.6 + 50.0) / (4096 - 512);
    EXPECT_NEAR(analysis.GetHarmonicRatio(), (1.0 + 0.8 + 0.6) / (3 * mean), 1e-3);
}

TEST_F(Decision, WithNothingToSumTheRatioIsZeroAndTheFrameUnvoiced) {
    for (int32_t bin : {2047, 2048, 3000}) {
        analysis.Reset();
        result = {};
        Decide(Voice(bin));
        EXPECT_EQ(analysis.GetHarmonicRatio() == 0.0f, bin >= 2048) << bin;
        EXPECT_EQ(result.harmonicityDb == 0.0f, bin >= 2048) << bin;
    }
}

TEST_F(Decision, AQuietFrameHasTheRatioOne) {
    PitchFrame frame = Voice(400);
    frame.level = 3.16e-4f;
    Decide(frame);
    EXPECT_EQ(analysis.GetHarmonicRatio(), 1.0f);
    frame.level = 3.17e-4f;
    Decide(frame);
    EXPECT_GT(analysis.GetHarmonicRatio(), 2.0f);
}

TEST_F(Decision, TheLevelChangeIsRelativeToTheLevel) {
    PitchFrame frame = Voice(400);
    Decide(frame);
    EXPECT_FLOAT_EQ(result.levelChange, 1.0f);
    frame.level = 0.4f;
    Decide(frame);
    EXPECT_FLOAT_EQ(result.levelChange, 0.75f);
    frame.level = 0.2f;
    Decide(frame);
    EXPECT_FLOAT_EQ(result.levelChange, -1.0f);
}

TEST_F(Decision, TheRefinementWalksTheParabolaInThirtiethsOfABin) {
    NoiseSource source(4);
    for (int round = 0; round < 200; ++round) {
        PitchFrame frame = Voice(400);
        const double vertex = 400 + 0.9 * static_cast<double>(source.Next());
        for (int32_t k = 399; k <= 401; ++k) {
            frame.spectrum[k] = static_cast<float>(1 - 0.2 * (k - vertex) * (k - vertex));
        }
        analysis.Reset();
        result = {};
        Decide(frame);
        EXPECT_NEAR(Bin(), vertex, 0.5 / 30 + 1e-3) << vertex;
    }
}

TEST_F(Decision, WithoutAMaximumTheLeftBinWins) {
    const float falling[3] = {0.9f, 0.8f, 0.7f}, rising[3] = {0.5f, 0.6f, 0.8f}, flat[3] = {0.5f, 0.5f, 0.5f};
    for (const float* shape : {falling, rising, flat}) {
        PitchFrame frame = Voice(400);
        std::copy_n(shape, 3, frame.spectrum.begin() + 399);
        analysis.Reset();
        result = {};
        Decide(frame);
        EXPECT_FLOAT_EQ(Bin(), 399.0f) << shape[0];
    }
}

TEST_F(Decision, AParabolaThatTurnsBeforeItsEndIsFound) {
    // The maximum right of the right bin's neighbour still lies within the walk.
    PitchFrame frame = Voice(400);
    frame.spectrum[399] = 0.0f;
    frame.spectrum[400] = 0.75f;
    frame.spectrum[401] = 1.0f;  // 1 - 0.25 (x - 2)^2 ends right at its vertex
    Decide(frame);
    EXPECT_FLOAT_EQ(Bin(), 399.0f);
    frame.spectrum[401] = 0.98f;
    analysis.Reset();
    Decide(frame);
    EXPECT_NEAR(Bin(), 399 + 1.92, 0.02);
}

TEST_F(Decision, ResetForgetsThePast) {
    Decide(Voice(100), 5);
    Decide(Voice(200, 100));
    analysis.Reset();
    EXPECT_FALSE(analysis.IsOctaveDown());
    EXPECT_EQ(analysis.GetLastPitchHz(), 0.0f);
    for (float pitch : analysis.GetPitchHistory()) {
        EXPECT_EQ(pitch, 0.0f);
    }
    result = {};
    Decide(Voice(200, 100));
    EXPECT_FLOAT_EQ(Bin(), 200.0f);
    EXPECT_FLOAT_EQ(result.levelChange, 1.0f);
}

// ---------------------------------------------------------------- real voices

namespace {

struct Annotation {
    std::vector<double> time, hertz;

    // The pitch at `time` if it is voiced for 40 ms to each side, 0 if unvoiced for as long, else -1.
    double SteadyAt(double at) const {
        const auto first = std::lower_bound(time.begin(), time.end(), at - 0.04) - time.begin();
        const auto last = std::upper_bound(time.begin(), time.end(), at + 0.04) - time.begin();
        if (last - first < 10) {
            return -1;
        }
        const bool voiced = hertz[first] > 0;
        for (auto i = first; i < last; ++i) {
            if ((hertz[i] > 0) != voiced) {
                return -1;
            }
        }
        const auto here = std::lower_bound(time.begin(), time.end(), at - 0.003) - time.begin();
        return voiced ? hertz[here] : 0;
    }
};

bool LoadAnnotation(const std::string& path, Annotation& annotation) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        double time, hertz;
        char comma;
        if (fields >> time >> comma >> hertz) {
            annotation.time.push_back(time);
            annotation.hertz.push_back(hertz);
        }
    }
    return !annotation.time.empty();
}

}  // namespace

TEST(PitchTrackRecording, AgreesWithAnAnnotatedSong) {
    Recording song;
    Annotation truth;
    std::string why;
    if (!LoadRecording(VoicesDir(), "vocadito_1.wav", song, why)) {
        GTEST_SKIP() << why;
    }
    if (!LoadAnnotation(VoicesDir() + "/vocadito_1.f0.csv", truth)) {
        GTEST_SKIP() << "no annotation";
    }
    const auto tracker = MakeTracker(song.sampleRate);
    const auto results = TrackAll(*tracker, song.Mono(), 100);
    std::vector<double> errors;
    int frames = 0, octaves = 0, near = 0;
    for (size_t i = 0; i < results.size(); ++i) {
        const double hertz = truth.SteadyAt(FrameTime(i));
        if (hertz <= 0) {
            continue;
        }
        ++frames;
        if (results[i].harmonicityDb == 0.0f) {
            continue;
        }
        const double error = std::fabs(Cents(results[i].pitchHz, hertz));
        errors.push_back(error);
        if (error < 50) {
            ++near;
        }
        if (std::fabs(error - 1200) < 100) {
            ++octaves;
        }
    }
    ASSERT_GT(frames, 1000);
    std::sort(errors.begin(), errors.end());
    EXPECT_GT(static_cast<double>(errors.size()), 0.99 * frames);
    EXPECT_LT(errors[errors.size() / 2], 5.0);
    EXPECT_GT(near, 0.985 * frames);
    EXPECT_LE(octaves, 5);
}

TEST(PitchTrackRecording, FindsTheLowestVoice) {
    Recording voice;
    std::string why;
    if (!LoadRecording(VoicesDir(), "vocobox_D2.wav", voice, why)) {
        GTEST_SKIP() << why;
    }
    const auto tracker = MakeTracker(voice.sampleRate);
    std::vector<double> pitches;
    for (const PitchTrackResult& result : TrackAll(*tracker, voice.Mono(), 100)) {
        if (result.harmonicityDb != 0.0f) {
            pitches.push_back(result.pitchHz);
        }
    }
    ASSERT_GT(pitches.size(), 50u);
    std::sort(pitches.begin(), pitches.end());
    EXPECT_NEAR(pitches[pitches.size() / 2], 72.5, 1.5);
    EXPECT_GT(pitches[pitches.size() / 20], 65.0);
    EXPECT_LT(pitches[pitches.size() - pitches.size() / 20], 80.0);
}

}  // namespace mlh
