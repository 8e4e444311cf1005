#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

#include "mlh/voices.h"
#include "support/SyntheticSinger.h"
#include "validation/Performance.h"

namespace mlh {

namespace {

struct VoiceDeleter {
    void operator()(HarmonyVoiceIf* voice) const { HarmonyVoiceIf::DestroyInstance(&voice); }
};
using VoiceOwner = std::unique_ptr<HarmonyVoiceIf, VoiceDeleter>;

VoiceOwner MakeVoice(Performance& performance) {
    HarmonyVoiceIf* voice = nullptr;
    EXPECT_EQ(HarmonyVoiceIf::CreateInstance(&voice, &performance.addOn()), 0);
    return VoiceOwner(voice);
}

std::vector<float> Render(HarmonyVoiceIf& voice, int32_t first, int32_t frames) {
    std::vector<float> samples(static_cast<std::size_t>(frames));
    float* rows[] = {samples.data()};
    EXPECT_EQ(voice.Render(rows, first, frames), 0);
    return samples;
}

SungRecording Song() {
    SingerSettings settings;
    settings.vibratoDepth = 0.3;
    return Sing({{57, 0.7, 'a', 's'}, {59, 0.5, 'e'}, {0, 0.2, kRest}, {52, 0.8, 'o', 'm'}, {64, 0.6, 'i'}},
                settings);
}

std::vector<VoiceSegment> Moved(std::vector<VoiceSegment> segments, float semitones) {
    for (VoiceSegment& segment : segments) {
        segment.targetPitch += semitones;
    }
    return segments;
}

double RootMeanSquare(const std::vector<float>& samples) {
    double sum = 0.0;
    for (const float x : samples) {
        sum += static_cast<double>(x) * x;
    }
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

// The frequency of the partial near `guess` [Hz]: how far its phase turns between two windows, which lie
// further apart each time, so that no turn is missed.
double Frequency(const std::vector<float>& samples, double rate, double guess) {
    constexpr std::size_t kWindow = 4096;
    const auto phasor = [&](std::size_t first) {
        std::complex<double> sum = 0.0;
        for (std::size_t i = 0; i < kWindow; ++i) {
            const double window = 1.0 - std::cos(2.0 * std::numbers::pi * (i + 0.5) / kWindow);
            sum += window * samples[first + i] *
                   std::polar(1.0, -2.0 * std::numbers::pi * guess / rate * static_cast<double>(first + i));
        }
        return sum;
    };
    for (std::size_t apart = 256; apart + kWindow <= samples.size(); apart *= 2) {
        guess += std::arg(phasor(apart) / phasor(0)) / (2.0 * std::numbers::pi) * rate /
                 static_cast<double>(apart);
    }
    return guess;
}

TEST(HarmonyVoice, SingsACopyOfTheRecordingAtFirst) {
    Performance performance(Song());
    performance.SingMoved({0.0f});
    const auto addOns = performance.Render()[0];
    const VoiceOwner voice = MakeVoice(performance);
    EXPECT_EQ(Render(*voice, 0, performance.frames()), addOns);
    EXPECT_DOUBLE_EQ(voice->GetDuration(), performance.seconds());
}

TEST(HarmonyVoice, NaturalSegmentsFollowEachOtherFromTheStartToTheEnd) {
    Performance performance(Song());
    const auto segments = MakeVoice(performance)->GetSegments();
    ASSERT_EQ(segments.size(), performance.Notes().size() + 1);
    double end = 0.0;
    for (const VoiceSegment& segment : segments) {
        EXPECT_EQ(segment.targetStart, end);
        EXPECT_EQ(segment.sourceStart, segment.targetStart);
        EXPECT_EQ(segment.sourceEnd, segment.targetEnd);
        EXPECT_GE(segment.glideInShare, 0.0f);
        EXPECT_LE(segment.glideInShare, 1.0f);
        EXPECT_EQ(segment.gain, 1.0f);
        end = segment.targetEnd;
    }
    EXPECT_DOUBLE_EQ(end, performance.seconds());
}

TEST(HarmonyVoice, TheOwnSegmentsGivenBackChangeNothing) {
    Performance performance(Song());
    const VoiceOwner voice = MakeVoice(performance);
    const auto before = Render(*voice, 0, performance.frames());
    const auto segments = voice->GetSegments();
    ASSERT_EQ(voice->SetSegments(segments), 0);
    EXPECT_EQ(Render(*voice, 0, performance.frames()), before);

    auto measured = segments;
    for (VoiceSegment& segment : measured) {
        segment.glideInShare = segment.glideOutShare = VoiceSegment::kMeasured;
    }
    ASSERT_EQ(voice->SetSegments(measured), 0);
    const auto again = voice->GetSegments();
    for (std::size_t i = 1; i + 1 < segments.size(); ++i) {
        EXPECT_EQ(again[i].glideInShare, segments[i].glideInShare) << i;
        EXPECT_EQ(again[i].glideOutShare, segments[i].glideOutShare) << i;
    }
}

TEST(HarmonyVoice, SingsWhatTheAddOnSingsAtTheSamePitches) {
    Performance performance(Song());
    performance.SingMoved({4.0f, -5.0f});
    const auto addOns = performance.Render();
    const VoiceOwner voice = MakeVoice(performance);
    const auto natural = voice->GetSegments();
    ASSERT_EQ(voice->SetSegments(Moved(natural, 4.0f)), 0);
    EXPECT_EQ(Render(*voice, 0, performance.frames()), addOns[0]);
    ASSERT_EQ(voice->SetSegments(Moved(natural, -5.0f)), 0);
    EXPECT_EQ(Render(*voice, 0, performance.frames()), addOns[1]);
}

TEST(HarmonyVoice, AnyStretchHasTheBitsOfTheWhole) {
    Performance performance(Song());
    const VoiceOwner voice = MakeVoice(performance);
    NoiseSource random(11);
    for (const bool carry : {false, true}) {
        voice->CarryRounding(carry);
        ASSERT_EQ(voice->SetSegments(Moved(voice->GetSegments(), carry ? 7.3f : -9.2f)), 0);
        const auto whole = Render(*voice, 0, performance.frames() + 9000);
        EXPECT_GT(RootMeanSquare(whole), 0.01);
        for (int i = 0; i < 60; ++i) {
            const int32_t first = random.Next(0, performance.frames() + 8000);
            const int32_t count = random.Next(0, std::min(9000 + performance.frames() - first, 12000));
            const auto stretch = Render(*voice, first, count);
            ASSERT_TRUE(std::equal(stretch.begin(), stretch.end(), whole.begin() + first))
                << first << " + " << count;
        }
    }
}

TEST(HarmonyVoice, LowVoicesWithLongPeriodsKeepTheirBitsToo) {
    Performance performance(Song());
    const VoiceOwner voice = MakeVoice(performance);
    ASSERT_EQ(voice->SetSegments(Moved(voice->GetSegments(), -72.0f)), 0);  // a period is about a block
    const auto whole = Render(*voice, 0, performance.frames());
    for (int32_t first = 1000; first < performance.frames(); first += 9973) {
        const auto stretch = Render(*voice, first, 3000);
        const auto end = std::min<std::ptrdiff_t>(3000, performance.frames() - first);
        EXPECT_TRUE(std::equal(stretch.begin(), stretch.begin() + end, whole.begin() + first)) << first;
    }
}

TEST(HarmonyVoice, RefusesSegmentsThatDoNotFollowEachOther) {
    Performance performance(Song());
    const VoiceOwner voice = MakeVoice(performance);
    const auto good = voice->GetSegments();
    const auto before = Render(*voice, 0, performance.frames());
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<std::vector<VoiceSegment>> bad = [&] {
        std::vector<std::vector<VoiceSegment>> lists(8, good);
        lists[0][0].targetStart = 0.1;    // not at 0
        lists[1][1].targetStart += 0.01;  // a gap
        lists[2][1].targetStart -= 0.01;  // an overlap
        lists[3][1].targetPitch = nan;
        lists[4][2].sourceEnd = lists[4][2].sourceStart - 0.1;
        lists[5].erase(lists[5].begin() + 1);
        lists[6][1].gain = std::numeric_limits<float>::infinity();
        lists[7][0].sourceStart = -0.1;
        return lists;
    }();
    for (std::size_t i = 0; i < bad.size(); ++i) {
        EXPECT_EQ(voice->SetSegments(bad[i]), 2) << i;
    }
    EXPECT_EQ(Render(*voice, 0, performance.frames()), before);
}

TEST(HarmonyVoice, WithoutSegmentsThereIsSilence) {
    Performance performance(Song());
    const VoiceOwner voice = MakeVoice(performance);
    ASSERT_EQ(voice->SetSegments({}), 0);
    EXPECT_EQ(voice->GetDuration(), 0.0);
    EXPECT_EQ(Render(*voice, 0, 5000), std::vector<float>(5000));
}

TEST(HarmonyVoice, AMutedSegmentIsSilentAndAMovedOneSoundsWhereItWasMoved) {
    Performance performance(Sing({{57, 0.5, 'a'}, {0, 0.5, kRest}, {60, 0.5, 'o'}, {0, 1.0, kRest}}, {}));
    const VoiceOwner voice = MakeVoice(performance);
    auto segments = voice->GetSegments();
    ASSERT_EQ(segments.size(), 3u);
    segments[1].gain = 0.0f;
    segments[1].targetEnd += 0.5;
    segments[2].targetStart += 0.5;
    segments[2].targetEnd += 0.5;
    ASSERT_EQ(voice->SetSegments(segments), 0);
    const int32_t rate = performance.rate();
    EXPECT_LT(RootMeanSquare(Render(*voice, rate / 10, rate)), 1e-4);
    EXPECT_GT(RootMeanSquare(Render(*voice, rate * 16 / 10, rate * 3 / 10)), 0.02);
    EXPECT_DOUBLE_EQ(voice->GetDuration(), performance.seconds() + 0.5);
}

// Marks that stand evenly on whole samples slide past a waveform that does not: that difference in frequency
// reaches the output as it is, while the marks' own frequency is moved.
TEST(HarmonyVoice, CarriedRoundingKeepsHighNotesInTune) {
    constexpr double kRate = 48000.0;
    const double ratio = std::exp2(7.0 / 12.0);
    double worstWithout = 0.0;
    for (const double hertz : {311.0, 620.0, 880.0, 1046.5}) {
        Performance performance(Rows{HarmonicTone(hertz, kRate, 2.0)}, static_cast<int32_t>(kRate));
        const auto marks = performance.Marks();
        const std::size_t first = marks.size() / 4, last = 3 * marks.size() / 4;
        const double marked =
            kRate * static_cast<double>(last - first) / (marks[last].position - marks[first].position);
        const double wanted = marked * ratio + (hertz - marked);
        const VoiceOwner voice = MakeVoice(performance);
        ASSERT_EQ(voice->SetSegments(Moved(voice->GetSegments(), 7.0f)), 0);
        const auto cents = [&] {
            const double sung = Frequency(Render(*voice, 24000, 48000), kRate, wanted);
            return 1200.0 * std::log2(sung / wanted);
        };
        worstWithout = std::max(worstWithout, std::fabs(cents()));
        voice->CarryRounding(true);
        EXPECT_NEAR(cents(), 0.0, 0.5) << hertz;
    }
    EXPECT_GT(worstWithout, 10.0);
}

TEST(HarmonyVoice, DoesNotTouchTheAddOnsVoices) {
    Performance performance(Song());
    const auto before = performance.Render();
    performance.addOn().SetPosition(0.0);
    Performance other(Song());
    const VoiceOwner voice = MakeVoice(other);
    ASSERT_EQ(voice->SetSegments(Moved(voice->GetSegments(), 3.0f)), 0);
    Render(*voice, 0, 20000);
    EXPECT_EQ(other.Render(), before);
}

TEST(HarmonyVoice, ReadsFromAReaderOfItsOwnIfGivenOne) {
    Performance performance(Song());
    Performance same(Song());
    const VoiceOwner voice = MakeVoice(performance);
    HarmonyVoiceIf* made = nullptr;
    ASSERT_EQ(HarmonyVoiceIf::CreateInstance(&made, &performance.addOn(), &same.own().GetReader()), 0);
    const VoiceOwner second(made);
    EXPECT_EQ(Render(*second, 0, 30000), Render(*voice, 0, 30000));
}

TEST(HarmonyVoice, RefusesBadArguments) {
    Performance performance(Song());
    HarmonyVoiceIf* voice = nullptr;
    EXPECT_EQ(HarmonyVoiceIf::CreateInstance(nullptr, &performance.addOn()), 2);
    EXPECT_EQ(HarmonyVoiceIf::CreateInstance(&voice, nullptr), 2);
    EXPECT_EQ(voice, nullptr);
    EXPECT_EQ(HarmonyVoiceIf::DestroyInstance(&voice), 2);
    EXPECT_EQ(HarmonyVoiceIf::DestroyInstance(nullptr), 2);

    MalleoTuneHarmonyAddOnIf* unprepared = nullptr;
    ASSERT_EQ(MalleoTuneHarmonyAddOnIf::CreateInstance(&unprepared, &performance.own().GetReader()), 0);
    EXPECT_EQ(HarmonyVoiceIf::CreateInstance(&voice, unprepared), 3);
    MalleoTuneHarmonyAddOnIf::DestroyInstance(&unprepared);

    const VoiceOwner good = MakeVoice(performance);
    float sample = 0.0f;
    float* rows[] = {&sample};
    EXPECT_EQ(good->Render(nullptr, 0, 1), 2);
    EXPECT_EQ(good->Render(rows, -1, 1), 2);
    EXPECT_EQ(good->Render(rows, 0, -1), 2);
}

}  // namespace

}  // namespace mlh
