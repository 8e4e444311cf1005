// Whole voices over analysed singing: the synthetic singer, whose pitch is known, and real recordings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/AnalysedRecording.h"
#include "support/AudioMeasures.h"
#include "support/Paths.h"
#include "support/Recordings.h"
#include "support/SungTunes.h"

namespace mlh {

namespace {

constexpr double kRoundingDecibels = -130.0;  // a few roundings of 32-bit numbers

void ExpectIdentity(AnalysedRecording& recording) {
    ASSERT_EQ(recording.marks.GetPosition(0), 0);
    const int32_t channels = recording.reader.GetNumChannels();
    const VoiceOwner voice = recording.MakeVoice();
    const auto rendered = Render(*voice, channels, recording.reader.GetLength());
    const int32_t end = recording.marks.GetPosition(recording.marks.GetCount() - 2);
    ASSERT_GT(end, recording.reader.GetLength() / 2);
    for (int32_t c = 0; c < channels; ++c) {
        EXPECT_LT(DifferenceDecibels(rendered[c], recording.reader.GetRows()[c], 0, end), kRoundingDecibels);
    }
}

double Cents(double ratio) { return 1200.0 * std::log2(ratio); }

void ShiftAllSegments(CMELODORPitchSynthesizerIf& voice, float semitones) {
    for (int32_t i = 0; i < voice.GetSegmentCount(); ++i) {
        const float target = voice.GetSegmentParameter(i, SegmentTargetPitch);
        voice.SetSegmentParameter(i, SegmentTargetPitch, target + semitones);
    }
}

TEST(SungVoice, IsTheRecordingWhenNothingIsChanged) {
    const SungRecording song = SingPhrase();
    AnalysedRecording recording({song.samples, song.samples}, song.sampleRate);
    ExpectIdentity(recording);
}

class ShiftedSungVoice : public testing::TestWithParam<float> {};

TEST_P(ShiftedSungVoice, SingsEachNoteAtItsTarget) {
    const SungRecording song = SingPhrase();
    AnalysedRecording recording({song.samples}, song.sampleRate);
    const VoiceOwner voice = recording.MakeVoice();
    ShiftAllSegments(*voice, GetParam());
    const std::vector<float> rendered = Render(*voice, 1, recording.reader.GetLength())[0];
    for (const TrueNote& note : song.notes) {
        SCOPED_TRACE(note.pitch);
        const int32_t middle = (note.startPosition + note.endPosition) / 2;
        const double hertz = 440.0 * std::pow(2.0, (note.pitch + GetParam() - 69.0) / 12.0);
        const double expected = song.sampleRate / hertz;
        const double period = TrackPeriod(rendered, middle - 2048, 4096, 30, 700);
        ASSERT_GT(period, 0.0);
        // Grains stand on whole samples, half a sample off at most; the marks may hold 5 cents themselves.
        EXPECT_LT(std::abs(Cents(expected / period)), Cents(1.0 + 0.5 / expected) + 5.0);
    }
}

TEST_P(ShiftedSungVoice, FlattensVibratoWhenItIsNotKept) {
    SingerSettings settings;
    settings.vibratoDepth = 0.5;
    const SungRecording song = Sing({{57.0, 2.0, 'a'}, {60.0, 2.0, 'o'}}, settings);
    AnalysedRecording recording({song.samples}, song.sampleRate);
    const auto spread = [&](float keep) {  // [cents] of the periods in the middle of the first note
        const VoiceOwner voice = recording.MakeVoice();
        ShiftAllSegments(*voice, GetParam());
        voice->SetGlobalParameter(GlobalModulationKeepScale, keep);
        const std::vector<float> rendered = Render(*voice, 1, recording.reader.GetLength())[0];
        double low = 1e9, high = 0.0;
        for (double t = 0.6; t < 1.4; t += 0.02) {
            const double period =
                TrackPeriod(rendered, static_cast<int32_t>(t * song.sampleRate), 800, 30, 700);
            EXPECT_GT(period, 0.0);
            low = std::min(low, period);
            high = std::max(high, period);
        }
        return Cents(high / low);
    };
    const double half = spread(0.5f);
    EXPECT_NEAR(spread(1.0f), 100.0, 25.0);  // half a semitone to each side, less what a window smooths
    EXPECT_NEAR(half, 50.0, 25.0);
    EXPECT_LT(spread(0.0f), 25.0);
}

INSTANTIATE_TEST_SUITE_P(Semitones, ShiftedSungVoice,
                         testing::Values(-12.0f, -5.0f, -3.0f, 0.0f, 4.0f, 7.0f, 12.0f));

TEST(RealVoices, AreTheRecordingWhenNothingIsChanged) {
    std::string why;
    const std::vector<std::string> names = ListRecordings(VoicesDir(), why);
    if (names.empty()) {
        GTEST_SKIP() << why;
    }
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        Recording file;
        ASSERT_TRUE(LoadRecording(VoicesDir(), name, file, why)) << why;
        std::vector<std::vector<float>> rows;
        for (int32_t c = 0; c < file.channels; ++c) {
            rows.push_back(file.Channel(c));
        }
        AnalysedRecording recording(std::move(rows), file.sampleRate);
        ExpectIdentity(recording);
    }
}

TEST(RealVoices, AreShiftedByTheSemitonesAsked) {
    std::string why;
    for (const char* name : {"sms_singing-female.wav", "vocadito_10.wav", "gtsinger_zh10_Vibrato.wav"}) {
        Recording file;
        if (!LoadRecording(VoicesDir(), name, file, why)) {
            GTEST_SKIP() << why;
        }
        AnalysedRecording recording({file.Mono()}, file.sampleRate);
        const std::vector<float>& source = recording.reader.GetRows()[0];
        const int32_t rate = file.sampleRate, window = rate / 25;
        for (const float shift : {-5.0f, 4.0f}) {
            SCOPED_TRACE(std::string(name) + " by " + std::to_string(shift));
            const VoiceOwner voice = recording.MakeVoice();
            ShiftAllSegments(*voice, shift);
            const std::vector<float> rendered = Render(*voice, 1, recording.reader.GetLength())[0];
            int32_t places = 0, good = 0;
            for (int32_t at = rate / 10; at + window + rate / 20 < recording.reader.GetLength();
                 at += rate / 20) {
                double power = 0.0;
                for (int32_t i = at; i < at + window; ++i) {
                    power += static_cast<double>(source[i]) * source[i];
                }
                const double period = TrackPeriod(source, at, window, rate / 900, rate / 60, 0.9);
                if (power < 1e-4 * window || period <= 0.0) {
                    continue;
                }
                const double expected = period * std::pow(2.0, -shift / 12.0);
                const double shifted = TrackPeriod(rendered, at, window, rate / 1200, rate / 45);
                // Grains on whole samples, jitter of the marks and the movement within the tracker's window
                // together stay below what an ear notices in passing.
                ++places;
                good += shifted > 0.0 && std::abs(Cents(expected / shifted)) < 20.0;
            }
            EXPECT_GT(places, 40);
            EXPECT_GT(good, 0.9 * places) << good << " of " << places;
        }
    }
}

}  // namespace

}  // namespace mlh
