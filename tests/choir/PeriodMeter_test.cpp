#include "choir/take/PeriodMeter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "choir/take/Take.h"
#include "support/SyntheticSinger.h"

namespace mlh::choir {

namespace {

AudioView ViewOf(const std::vector<float>& samples, double rate) {
    return {samples.data(), static_cast<int32_t>(samples.size()), 1, static_cast<int32_t>(rate)};
}

// The mean pitch that the singer really sang between two times [s].
double TruePitch(const SungRecording& song, double start, double end) {
    double sum = 0.0;
    int count = 0;
    for (auto i = static_cast<std::size_t>(start * song.sampleRate);
         i < std::min(song.pitch.size(), static_cast<std::size_t>(end * song.sampleRate)); ++i) {
        if (song.pitch[i] <= 0.0f) {
            continue;
        }
        sum += song.pitch[i];
        ++count;
    }
    return count > 0 ? sum / count : 0.0;
}

TEST(PeriodMeter, FindsTheTruePitchOfHeldNotes) {
    double worst = 0.0;
    for (const double rate : {16000.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        for (const double pitch : {40.3, 52.1, 60.0, 67.77, 72.4, 79.2, 84.0}) {
            SingerSettings settings;
            settings.sampleRate = rate;
            settings.formantScale = pitch > 58.0 ? 1.17 : 1.0;
            const auto song = Sing({{0, 0.2, kRest}, {pitch, 1.5, 'a'}, {0, 0.4, kRest}}, settings);
            const Take take(ViewOf(song.samples, rate));
            const auto periods = MeasurePeriods(take.audio(), take.curve());
            const double found = PitchOfStretch(periods, 0.5, 1.4, 0.0);
            worst = std::max(worst, std::fabs(found - pitch));
            EXPECT_NEAR(100.0 * (found - pitch), 0.0, 0.5) << pitch << " at " << rate;
        }
    }
    std::printf("worst %.2f cents\n", 100.0 * worst);
}

TEST(PeriodMeter, RefinesNotesWithVibrato) {
    SingerSettings settings;
    settings.vibratoDepth = 0.4;
    const auto song = Sing(
        {{57.2, 1.2, 'a'}, {0, 0.2, kRest}, {64.3, 1.2, 'o'}, {0, 0.2, kRest}, {69.1, 1.2, 'e'}}, settings);
    const Take take(ViewOf(song.samples, 44100.0));
    auto notes = take.notes();
    const auto before = notes;
    RefinePitches(notes, MeasurePeriods(take.audio(), take.curve()));
    ASSERT_EQ(notes.size(), 3u);
    const double written[] = {57.2, 64.3, 69.1};
    for (std::size_t i = 0; i < notes.size(); ++i) {
        std::printf("written %.2f, analysed %.3f, refined %.3f, truly %.3f\n", written[i], before[i].pitch,
                    notes[i].pitch, TruePitch(song, notes[i].start + 0.2, notes[i].end - 0.1));
        EXPECT_NEAR(notes[i].pitch, written[i], 0.03);
    }
}

TEST(PeriodMeter, NoiseDoesNotAgreeWithItself) {
    const auto noise = mlh::Noise(44100, 5, 0.3f);
    const Take take(ViewOf(noise, 44100.0));
    double sum = 0.0;
    const auto periods = MeasurePeriods(take.audio(), take.curve());
    for (const MeasuredPeriod& period : periods) {
        sum += period.agreement;
    }
    EXPECT_LT(sum / static_cast<double>(std::max<std::size_t>(periods.size(), 1)), 0.35);
}

TEST(PeriodMeter, SilenceAndNothingHaveNoPitch) {
    const std::vector<float> silence(20000);
    std::vector<CurvePoint> marks;
    for (int i = 0; i < 100; ++i) {
        marks.push_back({0.004 * i, 60.0, true});
    }
    const auto periods = MeasurePeriods(ViewOf(silence, 44100.0), marks);
    EXPECT_EQ(PitchOfStretch(periods, 0.0, 1.0, -1.0), -1.0);
    EXPECT_TRUE(MeasurePeriods(ViewOf(silence, 44100.0), {}).empty());
}

TEST(PeriodMeter, GlidesAreFoundAndVibratoIsNone) {
    const auto pitchAt = [](int kind, double time) {
        return kind == 0 ? 60.0 : kind == 1 ? 60.0 + 8.0 * time : 60.0 + 0.5 * std::sin(35.0 * time);
    };
    std::vector<MeasuredPeriod> periods;
    std::vector<SungNote> notes;
    for (int kind = 0; kind < 3; ++kind) {
        notes.push_back({1.0 * kind, kind + 0.9, 60.0, 1.0});
        for (double time = 0.0; time < 0.9; time += 0.008) {
            const double period = 1.0 / (440.0 * std::exp2((pitchAt(kind, time) - 69.0) / 12.0));
            periods.push_back({kind + time, period, period, 0.99});
        }
    }
    notes.push_back({5.0, 6.0, 60.0, 1.0});  // nothing was measured there
    const auto glides = GlidesOf(notes, periods);
    EXPECT_NEAR(glides[0], 0.0, 1e-9);
    EXPECT_NEAR(glides[1], 8.0, 1e-6);
    EXPECT_NEAR(glides[2], 0.0, 0.6);
    EXPECT_EQ(glides[3], 0.0);
}

TEST(PeriodMeter, NotesThatDoNotRepeatAreNotSung) {
    std::vector<MeasuredPeriod> periods;
    const auto measure = [&](double start, int agreeing, int others) {
        for (int i = 0; i < agreeing + others; ++i) {
            periods.push_back(
                {start + 0.01 * i, 0.005, 0.005, i % 3 == 0 || i >= 3 * others / 2 ? 0.9 : 0.1});
        }
    };
    measure(0.0, 40, 0);
    measure(1.0, 20, 40);  // a third agrees
    measure(2.0, 30, 20);
    std::vector<SungNote> notes = {
        {0.0, 0.5, 60.0, 1.0}, {1.0, 1.6, 20.0, 0.1}, {2.0, 2.5, 62.0, 1.0}, {4.0, 4.1, 64.0, 1.0}};
    DropUnsungNotes(notes, periods);
    ASSERT_EQ(notes.size(), 3u);
    EXPECT_EQ(notes[0].pitch, 60.0);
    EXPECT_EQ(notes[1].pitch, 62.0);
    EXPECT_EQ(notes[2].pitch, 64.0) << "nothing was measured there";
}

TEST(PeriodMeter, NotesFoundInNoiseBetweenSungOnesAreDropped) {
    SingerSettings settings;
    settings.sampleRate = 44100.0;
    const SungRecording song =
        Sing({{60.0, 0.8, 'a', 0, 1.0}, {0.0, 1.5, kRest, 0, 1.0}, {64.0, 0.8, 'o', 0, 1.0}}, settings);
    std::vector<float> samples = song.samples;
    uint32_t state = 7;
    for (float& sample : samples) {
        state = state * 1664525u + 1013904223u;
        sample += 0.01f * (static_cast<float>(state >> 8) / 8388608.0f - 1.0f);
    }
    const Take take(ViewOf(samples, 44100.0));
    ASSERT_TRUE(take.hasVoice());
    EXPECT_GT(take.coreNotes().size(), 2u) << "the analysis finds pitches in noise";
    ASSERT_GE(take.measuredNotes().size(), 2u);
    for (const SungNote& note : take.measuredNotes()) {
        EXPECT_GT(note.pitch, 59.0);
        EXPECT_LT(note.pitch, 65.0);
    }
}

}  // namespace

}  // namespace mlh::choir
