#include "analysis/PitchAnalysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "analysis/PitchMarks.h"
#include "base/Codes.h"
#include "support/Paths.h"
#include "support/Recordings.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

// An analysis with its marks.
struct Analysed {
    explicit Analysed(float sampleRate = 44100.0f, int32_t channels = 1) {
        CPitchMarksIf* list = nullptr;
        CreatePitchMarks(&list);
        marks.reset(list);
        marks->Reserve(32768);
        EXPECT_EQ(CreatePitchAnalysis(&analysis, marks.get(), sampleRate, channels), 0);
    }
    ~Analysed() { DestroyPitchAnalysis(&analysis); }
    Analysed(const Analysed&) = delete;
    Analysed& operator=(const Analysed&) = delete;
    CMELODORPitchAnalysisIf* operator->() const { return analysis; }

    void Feed(const std::vector<float>& mono, int32_t block = 4096) {
        const int32_t length = static_cast<int32_t>(mono.size());
        for (int32_t at = 0; at <= length; at += block) {
            const float* channel = mono.data() + at;
            EXPECT_EQ(analysis->ProcessInput(&channel, std::min(block, length - at)), 0);
        }
        EXPECT_EQ(analysis->FinishInput(), 0);
    }
    // A list of `count` voiced marks 100 samples apart.
    void SetSteadyMarks(int32_t count, float period = 100.0f) {
        std::vector<PitchMark> records;
        for (int32_t i = 0; i < count; ++i) {
            records.push_back({100 * i, 0.01f, 0.0f, 12.0f, 0.5f, period});
        }
        EXPECT_EQ(marks->SetRecords(records.data(), count), 0);
    }
    std::vector<AnalysisFrame> Frames() const {
        const AnalysisFrame* frames = nullptr;
        const int32_t count = analysis->GetFrames(&frames);
        return {frames, frames + count};
    }
    std::vector<AnalysisNote> Notes() const {
        const AnalysisNote* notes = nullptr;
        const int32_t count = analysis->GetNotes(&notes);
        return {notes, notes + count};
    }
    std::vector<uint8_t> Serialized() const {
        std::vector<uint8_t> bytes(static_cast<size_t>(analysis->GetSerializedSize()));
        EXPECT_EQ(analysis->Serialize(bytes.data()), 0);
        return bytes;
    }
    int32_t Deserialize(const std::vector<uint8_t>& bytes) const {
        return analysis->Deserialize(bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    std::unique_ptr<CPitchMarksIf> marks;
    CMELODORPitchAnalysisIf* analysis = nullptr;
};

template <class Record>
bool SameBytes(const std::vector<Record>& a, const std::vector<Record>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Record)) == 0);
}

TEST(CreatePitchAnalysis, RefusesBadArgumentsAndLeavesTheOutPointerAlone) {
    CPitchMarksIf* marks = nullptr;
    CreatePitchMarks(&marks);
    const std::unique_ptr<CPitchMarksIf> owner(marks);
    CMELODORPitchAnalysisIf* const before = reinterpret_cast<CMELODORPitchAnalysisIf*>(&marks);
    CMELODORPitchAnalysisIf* out = before;
    EXPECT_EQ(CreatePitchAnalysis(&out, nullptr, 44100.0f, 1), kBadArgument);
    EXPECT_EQ(CreatePitchAnalysis(&out, marks, 7999.0f, 1), kBadArgument);
    EXPECT_EQ(CreatePitchAnalysis(&out, marks, 256000.0f, 1), kBadArgument);
    EXPECT_EQ(CreatePitchAnalysis(&out, marks, std::numeric_limits<float>::quiet_NaN(), 1), kBadArgument);
    EXPECT_EQ(CreatePitchAnalysis(&out, marks, 44100.0f, 0), kBadArgument);
    EXPECT_EQ(CreatePitchAnalysis(&out, marks, 44100.0f, 48), kBadArgument);
    EXPECT_EQ(CreatePitchAnalysis(nullptr, marks, 44100.0f, 1), kBadArgument);
    EXPECT_EQ(out, before);
    EXPECT_EQ(marks->GetCount(), 0);
}

TEST(CreatePitchAnalysis, TakesTheLimitsOfItsRanges) {
    for (const float rate : {8000.0f, 11025.0f, 255999.0f}) {
        for (const int32_t channels : {1, 47}) {
            const Analysed analysed(rate, channels);
            ASSERT_NE(analysed.analysis, nullptr);
            EXPECT_EQ(analysed.marks->GetCount(), 1);  // the one at position 0
            EXPECT_EQ(analysed->GetFrames(nullptr), 0);
            EXPECT_EQ(analysed->GetNotes(nullptr), 0);
        }
    }
}

TEST(DestroyPitchAnalysis, ClearsThePointerAndRefusesNull) {
    CPitchMarksIf* marks = nullptr;
    CreatePitchMarks(&marks);
    const std::unique_ptr<CPitchMarksIf> owner(marks);
    CMELODORPitchAnalysisIf* analysis = nullptr;
    EXPECT_EQ(DestroyPitchAnalysis(&analysis), kBadArgument);
    EXPECT_EQ(DestroyPitchAnalysis(nullptr), kBadArgument);
    ASSERT_EQ(CreatePitchAnalysis(&analysis, marks, 44100.0f, 1), 0);
    EXPECT_EQ(DestroyPitchAnalysis(&analysis), 0);
    EXPECT_EQ(analysis, nullptr);
}

TEST(PitchAnalysis, TheChainNeedsMarks) {
    Analysed analysed;
    analysed.marks->Clear();
    EXPECT_EQ(analysed->RunStep(0), kWrongState);
    EXPECT_EQ(analysed->RunAllSteps(), kWrongState);
    EXPECT_TRUE(analysed.Notes().empty());
}

TEST(PitchAnalysis, OneMarkGivesOneFrameAndTheNoteOfNoLength) {
    Analysed analysed;
    analysed.Feed({});
    EXPECT_EQ(analysed->RunAllSteps(), 0);
    EXPECT_EQ(analysed.Frames().size(), 1u);
    ASSERT_EQ(analysed.Notes().size(), 1u);
    EXPECT_EQ(analysed.Notes()[0].pitch, 60.0f);
    EXPECT_EQ(analysed.Notes()[0].length, 0);
    EXPECT_TRUE(std::isnan(analysed->EstimateTuning()));
    EXPECT_EQ(analysed->EstimateKey(0), -1);
}

TEST(PitchAnalysis, SilenceGivesOneNoteAcrossTheRecordingAndNoKey) {
    Analysed analysed;
    analysed.Feed(std::vector<float>(30000, 0.0f));
    EXPECT_EQ(analysed->RunAllSteps(), 0);
    ASSERT_EQ(analysed.Notes().size(), 1u);
    EXPECT_EQ(analysed.Notes()[0].pitch, 60.0f);
    EXPECT_EQ(analysed.Notes()[0].energy, 0.5f);
    EXPECT_EQ(analysed.Notes()[0].endPosition, 30000);
    EXPECT_EQ(analysed->EstimateKey(0), -1);
}

TEST(PitchAnalysis, StepsOutsideTheChainDoNothing) {
    Analysed analysed;
    analysed.SetSteadyMarks(500);
    analysed->RunAllSteps();
    const auto frames = analysed.Frames();
    const auto notes = analysed.Notes();
    for (const int32_t step : {9, 10, 1000000, -1}) {
        EXPECT_EQ(analysed->RunStep(step), 0);
    }
    EXPECT_TRUE(SameBytes(analysed.Frames(), frames));
    EXPECT_TRUE(SameBytes(analysed.Notes(), notes));
}

TEST(PitchAnalysis, SingleStepsInOrderAreTheWholeChain) {
    Analysed whole;
    Analysed single;
    for (Analysed* analysed : {&whole, &single}) {
        analysed->Feed(Sing({{60.0, 0.4, 'a'}, {62.0, 0.4, 'e'}, {64.0, 0.4, 'o', 's'}}, {}).samples);
    }
    EXPECT_EQ(whole->RunAllSteps(), 0);
    for (int32_t step = 0; step <= 8; ++step) {
        EXPECT_EQ(single->RunStep(step), 0);
    }
    EXPECT_TRUE(SameBytes(whole.Frames(), single.Frames()));
    EXPECT_TRUE(SameBytes(whole.Notes(), single.Notes()));
}

TEST(BuildFrames, ReadsPitchFromTheWholePeriodAndTheFlagFromTheHarmonicity) {
    Analysed analysed;
    const std::vector<PitchMark> records = {{0, 0.5f, 0.1f, 0.0f, 0.2f, 100.9f},
                                            {7, 0.25f, 0.0f, -3.0f, 0.0f, 0.99f},
                                            {90, 0.125f, 0.0f, 1e-30f, 0.0f, -5.0f},
                                            {190, 0.0f, 0.0f, 10.0f, 0.0f, 1.0f}};
    analysed.marks->SetRecords(records.data(), 4);
    analysed->BuildFrames();
    const auto frames = analysed.Frames();
    ASSERT_EQ(frames.size(), 4u);
    EXPECT_NEAR(frames[0].pitch, 69.0 + 12.0 * std::log2(441.0 / 440.0),
                1e-4);  // ten-thousandths of a semitone
    EXPECT_EQ(frames[0].voiced, 0);
    EXPECT_EQ(frames[0].energy, 0.5f);
    EXPECT_EQ(frames[0].position, 0);
    EXPECT_EQ(frames[1].pitch, 0.0f);
    EXPECT_EQ(frames[1].voiced, 1);
    EXPECT_EQ(frames[1].position, 7);
    EXPECT_EQ(frames[2].pitch, 0.0f);
    EXPECT_EQ(frames[2].voiced, 1);
    EXPECT_EQ(frames[3].pitch, std::log((44100.0f / 1.0f) / 440.0f) * 12.0f * 1.442695f + 69.0f);
}

TEST(BuildFrames, BringsBackTheFlagsThatTheChainTookAndKeepsTheNotes) {
    Analysed analysed;
    std::vector<PitchMark> records;
    for (int32_t i = 0; i < 400; ++i) {
        const float period = i < 200 ? 100.0f : 50.0f;  // an octave: jump rejection unvoices a frame
        records.push_back({100 * i, 0.01f, 0.0f, 12.0f, 0.5f, period});
    }
    analysed.marks->SetRecords(records.data(), 400);
    analysed->RunAllSteps();
    const auto voiced = [&] {
        const auto frames = analysed.Frames();
        return std::count_if(frames.begin(), frames.end(), [](const AnalysisFrame& f) { return f.voiced; });
    };
    EXPECT_EQ(voiced(), 399);
    const auto notes = analysed.Notes();
    // What a synthesizer asks for at its creation.
    analysed->BuildFrames();
    analysed->NormalizeFrames();
    EXPECT_EQ(voiced(), 400);
    EXPECT_EQ(analysed.Frames()[0].energy, 0.01f * (1.0f / 0.01f));
    EXPECT_TRUE(SameBytes(analysed.Notes(), notes));
}

TEST(BuildFrames, LeavesTheArrayInItsPlaceWhileTheNumberOfMarksStays) {
    Analysed analysed;
    analysed.SetSteadyMarks(300);
    analysed->RunAllSteps();
    const AnalysisFrame* before = nullptr;
    const AnalysisFrame* after = nullptr;
    analysed->GetFrames(&before);
    analysed.SetSteadyMarks(300, 50.0f);
    analysed->BuildFrames();
    EXPECT_EQ(analysed->GetFrames(&after), 300);
    EXPECT_EQ(after, before);
    EXPECT_NEAR(after[0].pitch, 81.04f, 0.01f);
}

TEST(GetFrameRangeStats, MeasuresFramesWithoutTheLast) {
    Analysed analysed;
    std::vector<AnalysisFrame> frames;
    for (int32_t i = 0; i < 6; ++i) {
        frames.push_back({60.0f + static_cast<float>(i), 1.0f + static_cast<float>(i), 1, i});
    }
    ASSERT_EQ(analysed->SetFrames(frames.data(), 6), 0);
    float pitch = 0.0f;
    float energy = 0.0f;
    EXPECT_EQ(analysed->GetFrameRangeStats(&pitch, &energy, 1, 4), 0);
    EXPECT_EQ(pitch, 62.0f);
    EXPECT_EQ(energy, 3.0f);
    EXPECT_EQ(analysed->GetFrameRangeStats(&pitch, &energy, 3, 3), 0);
    EXPECT_EQ(pitch, 0.0f);
    EXPECT_FALSE(std::isfinite(energy));
    EXPECT_EQ(analysed->GetFrameRangeStats(&pitch, &energy, 0, 5), 0);
    EXPECT_EQ(analysed->GetFrameRangeStats(&pitch, &energy, 0, 6), kBadArgument);
    EXPECT_EQ(analysed->GetFrameRangeStats(&pitch, &energy, -1, 3), kBadArgument);
    EXPECT_EQ(analysed->GetFrameRangeStats(&pitch, &energy, 4, 3), kBadArgument);
    EXPECT_EQ(analysed->GetFrameRangeStats(nullptr, &energy, 1, 3), kBadArgument);
    EXPECT_EQ(analysed->GetFrameRangeStats(&pitch, nullptr, 1, 3), kBadArgument);
}

TEST(PitchAnalysis, EstimatePitchReadsTheCallersArrayWithinBounds) {
    Analysed analysed;
    std::vector<AnalysisFrame> frames(4, {60.0f, 1.0f, 1, 0});
    analysed->SetFrames(frames.data(), 4);
    frames[1].pitch = 64.0f;
    EXPECT_EQ(analysed->EstimatePitch(frames.data(), 0, 2), 62.0f);
    EXPECT_EQ(analysed->EstimatePitch(frames.data(), -100, 100), 61.0f);
    EXPECT_EQ(analysed->EstimatePitch(frames.data(), 3, 1), 0.0f);
    EXPECT_EQ(analysed->EstimatePitch(nullptr, 0, 2), 0.0f);
}

TEST(PitchAnalysis, SetFramesAndSetNotesTakeCopiesAndRefuseNonsense) {
    Analysed analysed;
    std::vector<AnalysisFrame> frames(3, {60.0f, 1.0f, 1, 0});
    std::vector<AnalysisNote> notes = {{61.0f, 1.0f, 10, 0, 10, -7, 99}};
    EXPECT_EQ(analysed->SetFrames(frames.data(), 3), 0);
    EXPECT_EQ(analysed->SetNotes(notes.data(), 1), 0);
    frames[0].pitch = notes[0].pitch = 0.0f;
    EXPECT_EQ(analysed.Frames()[0].pitch, 60.0f);
    EXPECT_EQ(analysed.Notes()[0].pitch, 61.0f);
    EXPECT_EQ(analysed.Notes()[0].firstFrame, 0);
    EXPECT_EQ(analysed.Notes()[0].lastFrame, 2);
    EXPECT_EQ(analysed->SetFrames(frames.data(), -1), kBadArgument);
    EXPECT_EQ(analysed->SetFrames(nullptr, 3), kBadArgument);
    EXPECT_EQ(analysed->SetNotes(notes.data(), -1), kBadArgument);
    EXPECT_EQ(analysed->SetNotes(nullptr, 3), kBadArgument);
    EXPECT_EQ(analysed.Frames().size(), 3u);
    EXPECT_EQ(analysed.Notes().size(), 1u);
    EXPECT_EQ(analysed->SetFrames(nullptr, 0), 0);
    EXPECT_EQ(analysed->SetNotes(nullptr, 0), 0);
    EXPECT_TRUE(analysed.Frames().empty());
    EXPECT_TRUE(analysed.Notes().empty());
    for (int32_t step = 1; step <= 8; ++step) {
        EXPECT_EQ(analysed->RunStep(step), 0);
    }
}

TEST(PitchAnalysis, DurationsAreHeldInWholeSamples) {
    Analysed analysed;
    EXPECT_EQ(analysed->GetMinNoteLength(), 1852.0f / 44100.0f);
    EXPECT_EQ(analysed->GetMergeGap(), 4057.0f / 44100.0f);
    EXPECT_EQ(analysed->GetReserveGap(), 8114.0f / 44100.0f);
    EXPECT_EQ(analysed->GetMergeThreshold(), 0.75f);
    analysed->SetMinNoteLength(0.1000001f);
    analysed->SetMergeGap(0.2f);
    analysed->SetReserveGap(1.5f / 44100.0f);
    analysed->SetMergeThreshold(0.3f);
    EXPECT_EQ(analysed->GetMinNoteLength(), 4410.0f / 44100.0f);
    EXPECT_EQ(analysed->GetMergeGap(), 8820.0f / 44100.0f);
    EXPECT_EQ(analysed->GetReserveGap(), 1.0f / 44100.0f);
    EXPECT_EQ(analysed->GetMergeThreshold(), 0.3f);
    analysed->SetReserveGap(-0.5f / 44100.0f);
    EXPECT_EQ(analysed->GetReserveGap(), -1.0f / 44100.0f);
}

TEST(PitchAnalysis, DurationsBeyondAllSamplesAreHeldAtTheLimit) {
    Analysed analysed;
    const float most = 2147483647.0f / 44100.0f;
    analysed->SetMergeGap(1e30f);
    EXPECT_EQ(analysed->GetMergeGap(), most);
    analysed->SetMergeGap(-std::numeric_limits<float>::infinity());
    EXPECT_EQ(analysed->GetMergeGap(), -most);
    analysed->SetMergeGap(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(analysed->GetMergeGap(), -most);
}

TEST(PitchAnalysis, SettingsReachTheSteps) {
    Analysed analysed;
    analysed.SetSteadyMarks(500);
    analysed->SetMinNoteLength(100.0f);  // everything is too short
    analysed->RunAllSteps();
    EXPECT_EQ(analysed.Notes()[0].length, 0);
    analysed->SetMinNoteLength(0.042f);
    analysed->RunAllSteps();
    EXPECT_GT(analysed.Notes()[0].length, 40000);
}

TEST(PitchAnalysis, PassesTheVoicingThresholdThrough) {
    Analysed analysed;
    EXPECT_EQ(analysed->GetVoicingThreshold(), 0.0f);
    analysed->SetVoicingThreshold(6.5f);
    EXPECT_EQ(analysed->GetVoicingThreshold(), 6.5f);
}

TEST(PitchAnalysis, AnUnreachableVoicingThresholdUnvoicesAHighVoice) {
    const SungRecording song = Sing({{67.0, 1.0, 'a'}}, {});
    const auto notes = [&](float threshold) {
        Analysed analysed;
        analysed->SetVoicingThreshold(threshold);
        analysed.Feed(song.samples);
        analysed->RunAllSteps();
        return analysed.Notes();
    };
    EXPECT_GT(notes(0.0f)[0].length, 30000);
    EXPECT_EQ(notes(200.0f)[0].length, 0);
}

TEST(PitchAnalysis, ResetForgetsTheRecordingAndTakesAnother) {
    const SungRecording first = Sing({{64.0, 0.5, 'o'}, {60.0, 0.5, 'a'}}, {});
    const SungRecording second = Sing({{57.0, 0.5, 'i'}, {62.0, 0.5, 'e'}}, {});
    Analysed fresh;
    fresh.Feed(second.samples);
    fresh->RunAllSteps();

    Analysed again;
    again.Feed(first.samples);
    again->RunAllSteps();
    again->SetMergeThreshold(0.5f);
    EXPECT_EQ(again->Reset(), 0);
    EXPECT_TRUE(again.Frames().empty());
    EXPECT_TRUE(again.Notes().empty());
    EXPECT_EQ(again.marks->GetCount(), 1);
    EXPECT_EQ(again->GetMergeThreshold(), 0.5f);
    again->SetMergeThreshold(0.75f);
    again.Feed(second.samples);
    again->RunAllSteps();
    // The placer keeps its last period over a reset, so the very first marks may differ; notes must not.
    const auto expected = fresh.Notes();
    const auto notes = again.Notes();
    ASSERT_EQ(notes.size(), expected.size());
    for (size_t i = 0; i < notes.size(); ++i) {
        EXPECT_NEAR(notes[i].pitch, expected[i].pitch, 0.05f);                // semitones
        EXPECT_NEAR(notes[i].startPosition, expected[i].startPosition, 441);  // 10 ms
    }
}

TEST(PitchAnalysis, HowTheInputIsCutDoesNotMatter) {
    const SungRecording song = Sing({{60.0, 0.4, 'a', 's'}, {64.0, 0.4, 'e'}, {67.0, 0.4, 'o', 'm'}}, {});
    Analysed whole;
    whole.Feed(song.samples, 4096);
    whole->RunAllSteps();
    for (const int32_t block : {1000, 77}) {
        Analysed cut;
        cut.Feed(song.samples, block);
        cut->RunAllSteps();
        EXPECT_TRUE(SameBytes(cut.Serialized(), whole.Serialized())) << block;
    }
}

TEST(PitchAnalysis, TheSameInputGivesTheSameBits) {
    const SungRecording song = Sing({{60.0, 0.4, 'a', 's'}, {64.0, 0.4, 'e'}}, {});
    Analysed one;
    Analysed two;
    for (Analysed* analysed : {&one, &two}) {
        analysed->Feed(song.samples);
        (*analysed)->RunAllSteps();
    }
    EXPECT_TRUE(SameBytes(one.Serialized(), two.Serialized()));
}

// Every written note must be among those found.
void ExpectSung(const Analysed& analysed, const SungRecording& song) {
    const auto notes = analysed.Notes();
    for (const TrueNote& truth : song.notes) {
        const bool found = std::any_of(notes.begin(), notes.end(), [&](const AnalysisNote& note) {
            return std::fabs(note.pitch - truth.pitch) < 0.3 &&
                   std::abs(note.startPosition - truth.startPosition) < song.sampleRate / 10;
        });
        EXPECT_TRUE(found) << "pitch " << truth.pitch << " at " << truth.startPosition;
    }
    EXPECT_LE(notes.size(), song.notes.size() + 1);
}

TEST(PitchAnalysis, FindsTheNotesOfASungScaleAtAllRates) {
    for (const double rate : {11025.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        SCOPED_TRACE(rate);
        SingerSettings settings;
        settings.sampleRate = rate;
        std::vector<SungNote> tune;
        for (const double pitch : {55.0, 57.0, 59.0, 60.0, 62.0, 64.0, 66.0, 67.0}) {
            tune.push_back({pitch, 0.5, 'a', 0, 1.0});
            tune.push_back({0.0, 0.15, kRest, 0, 1.0});
        }
        const SungRecording song = Sing(tune, settings);
        Analysed analysed(static_cast<float>(rate));
        analysed.Feed(song.samples);
        ASSERT_EQ(analysed->RunAllSteps(), 0);
        ExpectSung(analysed, song);
        EXPECT_EQ(analysed->EstimateKey(0), 7);
        EXPECT_EQ(analysed->EstimateKey(5), 0);
    }
}

TEST(PitchAnalysis, SumsItsChannels) {
    const SungRecording song = Sing({{60.0, 0.5, 'a'}, {64.0, 0.5, 'e'}}, {});
    Analysed mono;
    mono.Feed(song.samples);
    mono->RunAllSteps();

    Analysed stereo(44100.0f, 2);
    std::vector<float> half(song.samples);
    for (float& sample : half) {
        sample *= 0.5f;
    }
    for (size_t at = 0; at < half.size(); at += 4096) {
        const float* channels[2] = {half.data() + at, half.data() + at};
        const size_t count = std::min<size_t>(4096, half.size() - at);
        ASSERT_EQ(stereo->ProcessInput(channels, static_cast<int32_t>(count)), 0);
    }
    stereo->FinishInput();
    stereo->RunAllSteps();
    EXPECT_TRUE(SameBytes(mono.Serialized(), stereo.Serialized()));
}

TEST(PitchAnalysis, PlacesTheMarksOfAStretchAgain) {
    const SungRecording song = Sing({{60.0, 0.8, 'a'}}, {});
    Analysed analysed;
    analysed.Feed(song.samples);
    analysed->RunAllSteps();
    EXPECT_EQ(analysed->ReanalyzeSegment(nullptr, 100, -1, 60.0f), kBadArgument);
    const int32_t before = analysed.marks->GetCount();
    const int32_t mark = 40;
    const int32_t start = analysed.marks->GetPosition(mark);
    const float* channel = song.samples.data() + start;
    EXPECT_EQ(analysed->ReanalyzeSegment(&channel, 10000, mark, 60.0f), 0);
    EXPECT_NEAR(analysed.marks->GetCount(), before, before / 4);
    EXPECT_EQ(analysed->RunStep(0), 0);
    EXPECT_EQ(static_cast<int32_t>(analysed.Frames().size()), analysed.marks->GetCount());
}

TEST(Serialize, WritesEveryWordInNetworkOrder) {
    Analysed analysed;
    const std::vector<PitchMark> marks = {{0x01020304, 1.0f, -2.0f, 0.5f, 0.25f, 100.0f},
                                          {-1, 0, 0, 0, 0, 0}};
    const std::vector<AnalysisNote> notes = {{60.0f, 0.5f, 7, 8, 15, 0, 1}};
    analysed.marks->SetRecords(marks.data(), 2);
    analysed->BuildFrames();
    analysed->SetNotes(notes.data(), 1);
    ASSERT_EQ(analysed->GetSerializedSize(), 16 + 2 * 24 + 28);
    const std::vector<uint8_t> expected = {
        0x00, 0x74, 0x72, 0x71, 0x00, 0x00, 0x4e, 0xeb, 0, 0, 0, 2, 0, 0, 0, 1,
        // position, energy, transient, harmonicity, peak width, period
        0x01, 0x02, 0x03, 0x04, 0x3f, 0x80, 0, 0, 0xc0, 0, 0, 0, 0x3f, 0, 0, 0, 0x3e, 0x80, 0, 0, 0x42, 0xc8,
        0, 0, 0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
        // pitch, energy, length, start, end, first frame, last frame
        0x42, 0x70, 0, 0, 0x3f, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 8, 0, 0, 0, 15, 0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(analysed.Serialized(), expected);
    EXPECT_EQ(analysed->Serialize(nullptr), kBadArgument);
}

std::vector<uint8_t> SungBytes() {
    Analysed analysed;
    analysed.Feed(Sing({{60.0, 0.4, 'a', 's'}, {64.0, 0.4, 'e'}, {67.0, 0.4, 'o'}}, {}).samples);
    analysed->RunAllSteps();
    return analysed.Serialized();
}

TEST(Deserialize, BringsBackMarksNotesAndFrames) {
    Analysed written;
    written.Feed(Sing({{60.0, 0.4, 'a', 's'}, {64.0, 0.4, 'e'}, {67.0, 0.4, 'o'}}, {}).samples);
    written->RunAllSteps();
    const std::vector<uint8_t> bytes = written.Serialized();
    Analysed read;
    EXPECT_EQ(read.Deserialize(bytes), 1);
    EXPECT_EQ(read.Serialized(), bytes);
    EXPECT_TRUE(SameBytes(read.Notes(), written.Notes()));
    written->BuildFrames();
    written->NormalizeFrames();
    EXPECT_TRUE(SameBytes(read.Frames(), written.Frames()));
    EXPECT_EQ(read->EstimateKey(0), written->EstimateKey(0));
}

TEST(Deserialize, TakesAListThatWasNeverReserved) {
    CPitchMarksIf* marks = nullptr;
    CreatePitchMarks(&marks);
    const std::unique_ptr<CPitchMarksIf> owner(marks);
    CMELODORPitchAnalysisIf* analysis = nullptr;
    ASSERT_EQ(CreatePitchAnalysis(&analysis, marks, 44100.0f, 1), 0);
    const std::vector<uint8_t> bytes = SungBytes();
    EXPECT_EQ(analysis->Deserialize(bytes.data(), static_cast<int32_t>(bytes.size())), 1);
    EXPECT_EQ(analysis->GetSerializedSize(), static_cast<int32_t>(bytes.size()));
    DestroyPitchAnalysis(&analysis);
}

TEST(Deserialize, TakesAnyFormatNumber) {
    std::vector<uint8_t> bytes = SungBytes();
    const std::vector<uint8_t> original = bytes;
    bytes[4] = 0xff;
    bytes[7] = 0x01;
    Analysed read;
    EXPECT_EQ(read.Deserialize(bytes), 1);
    EXPECT_EQ(read.Serialized(), original);
}

TEST(Deserialize, RefusesAWrongMagicOrSizeAndChangesNothing) {
    const std::vector<uint8_t> bytes = SungBytes();
    Analysed read;
    ASSERT_EQ(read.Deserialize(bytes), 1);
    const auto frames = read.Frames();
    const auto refuses = [&](std::vector<uint8_t> block) {
        EXPECT_EQ(read.Deserialize(block), 0);
        EXPECT_EQ(read.Serialized(), bytes);
        EXPECT_TRUE(SameBytes(read.Frames(), frames));
    };
    std::vector<uint8_t> block = bytes;
    block[0] = 1;
    refuses(block);
    block = bytes;
    block.push_back(0);
    refuses(block);
    block = bytes;
    block.pop_back();
    refuses(block);
    refuses({});
    refuses({bytes.begin(), bytes.begin() + 15});
    refuses({bytes.begin(), bytes.begin() + 16});
    EXPECT_EQ(read->Deserialize(nullptr, 16), 0);
    EXPECT_EQ(read->Deserialize(bytes.data(), -1), 0);
}

TEST(Deserialize, CountsThatWrapAroundDoNotFit) {
    Analysed read;
    // M, N, and the size that 32-bit arithmetic would find.
    const auto block = [](uint32_t marks, uint32_t notes, size_t size) {
        std::vector<uint8_t> bytes(size);
        const uint32_t words[] = {0x00747271, 20203, marks, notes};
        for (int i = 0; i < 16; ++i) {
            bytes[i] = static_cast<uint8_t>(words[i / 4] >> (24 - 8 * (i % 4)));
        }
        return bytes;
    };
    EXPECT_EQ(read.Deserialize(block(0x20000000, 0, 16)), 0);            // 24 * 2^29 = 3 * 2^32
    EXPECT_EQ(read.Deserialize(block(0, 0x40000000, 16)), 0);            // 28 * 2^30 = 7 * 2^32
    EXPECT_EQ(read.Deserialize(block(0xffffffff, 0, 16 - 24 + 28)), 0);  // -1 mark
    EXPECT_EQ(read.Deserialize(block(0xffffffff, 1, 16 - 24 + 28)), 0);  // -1 mark, 1 note
    EXPECT_EQ(read.Deserialize(block(7, 0xfffffffa, 16)), 0);            // 7 marks, -6 notes
    EXPECT_EQ(read.Deserialize(block(0x7fffffff, 0x7fffffff, 1000)), 0);
    EXPECT_EQ(read.marks->GetCount(), 1);
    EXPECT_EQ(read.Deserialize(block(0, 0, 16)), 1);
    EXPECT_EQ(read.marks->GetCount(), 0);
    EXPECT_EQ(read->RunAllSteps(), kWrongState);
}

TEST(Deserialize, RecordsOfAnyContentHarmNothing) {
    std::mt19937 bits(7);
    for (int trial = 0; trial < 300; ++trial) {
        const uint32_t marks = bits() % 60;
        const uint32_t notes = bits() % 20;
        std::vector<uint8_t> bytes(16 + 24 * marks + 28 * notes);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(bits());
        }
        const uint32_t words[] = {0x00747271, 20203, marks, notes};
        for (int i = 0; i < 16; ++i) {
            bytes[i] = static_cast<uint8_t>(words[i / 4] >> (24 - 8 * (i % 4)));
        }
        Analysed read;
        ASSERT_EQ(read.Deserialize(bytes), 1);
        const int32_t lastFrame = marks == 0 ? 0 : static_cast<int32_t>(marks) - 1;
        for (const AnalysisNote& note : read.Notes()) {
            EXPECT_TRUE(0 <= note.firstFrame && note.firstFrame <= lastFrame);
            EXPECT_TRUE(0 <= note.lastFrame && note.lastFrame <= lastFrame);
        }
        read->EstimateKey(0);
        for (int32_t step = 1; step <= 6; ++step) {
            EXPECT_EQ(read->RunStep(step), 0);
        }
        EXPECT_EQ(read->RunStep(8), 0);  // on the notes of the stream
        read->RunAllSteps();
        if (marks > 0) {
            EXPECT_GE(read.Notes().size(), 1u);
        }
    }
}

TEST(ReanalyzeSegment, AtTheEndOfWhatPositionsCanSayNoneWrapsAround) {
    Analysed analysed;
    constexpr int32_t kLast = std::numeric_limits<int32_t>::max();
    const std::vector<PitchMark> records = {{0, 0.5f, 0.0f, 9.0f, 0.0f, 100.0f},
                                            {kLast - 150, 0.5f, 0.0f, 9.0f, 0.0f, 100.0f}};
    ASSERT_EQ(analysed.marks->SetRecords(records.data(), 2), 0);
    const std::vector<float> source = HarmonicTone(441.0, 44100.0, 0.1);
    const float* row = source.data();
    EXPECT_EQ(analysed->ReanalyzeSegment(&row, static_cast<int32_t>(source.size()), 1, 69.0f), 0);
    const PitchMark* marks = nullptr;
    const int32_t count = analysed.marks->GetRecords(&marks);
    EXPECT_GT(count, 10);
    for (int32_t i = 1; i < count; ++i) {
        EXPECT_GE(marks[i].position, marks[i - 1].position) << i;
    }
}

struct AnnotatedNote {
    double onset;     // seconds
    double pitch;     // MIDI
    double duration;  // seconds
};

std::vector<AnnotatedNote> ReadAnnotation(const std::string& path) {
    std::vector<AnnotatedNote> notes;
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        double onset, hertz, duration;
        if (std::sscanf(line.c_str(), "%lf,%lf,%lf", &onset, &hertz, &duration) != 3) {
            continue;
        }
        notes.push_back({onset, 69.0 + 12.0 * std::log2(hertz / 440.0), duration});
    }
    return notes;
}

TEST(PitchAnalysis, FindsTheNotesThatTwoListenersWroteDown) {
    Recording voice;
    std::string why;
    if (!LoadRecording(VoicesDir(), "vocadito_1.wav", voice, why)) {
        GTEST_SKIP() << why;
    }
    const double rate = voice.sampleRate;
    Analysed analysed(static_cast<float>(rate));
    analysed.Feed(voice.Mono());
    ASSERT_EQ(analysed->RunAllSteps(), 0);
    const auto notes = analysed.Notes();
    for (const char* listener : {"A1", "A2"}) {
        const auto annotation =
            ReadAnnotation(VoicesDir() + "/vocadito_1.notes" + std::string(listener) + ".csv");
        if (annotation.empty()) {
            GTEST_SKIP() << "no annotation " << listener;
        }
        size_t sung = 0;
        size_t begun = 0;
        for (const AnnotatedNote& written : annotation) {
            bool isSung = false;
            bool isBegun = false;
            for (const AnalysisNote& note : notes) {
                if (std::fabs(note.pitch - written.pitch) > 0.5) {
                    continue;
                }
                const double start = note.startPosition / rate;
                const double end = std::min(note.endPosition / rate, written.onset + written.duration);
                isSung |= end - std::max(start, written.onset) > 0.5 * written.duration;
                isBegun |= std::fabs(start - written.onset) <= 0.1;
            }
            sung += isSung;
            begun += isBegun;
        }
        // The listeners share 55 onsets, of 59 and 64; the pitch leaves no doubt.
        EXPECT_GE(begun, annotation.size() * 4 / 5) << listener;
        EXPECT_EQ(sung, annotation.size()) << listener;
    }
}

TEST(PitchAnalysis, HearsTheKeyThatTheWrittenNotesHave) {
    Recording voice;
    std::string why;
    if (!LoadRecording(VoicesDir(), "vocadito_1.wav", voice, why)) {
        GTEST_SKIP() << why;
    }
    const float rate = static_cast<float>(voice.sampleRate);
    Analysed sung(rate);
    sung.Feed(voice.Mono());
    ASSERT_EQ(sung->RunAllSteps(), 0);
    std::vector<AnalysisNote> notes;
    for (const AnnotatedNote& note : ReadAnnotation(VoicesDir() + "/vocadito_1.notesA1.csv")) {
        const int32_t length = static_cast<int32_t>(note.duration * rate);
        notes.push_back({static_cast<float>(note.pitch), 0.1f, length, 0, length, 0, 0});
    }
    if (notes.empty()) {
        GTEST_SKIP() << "no annotation";
    }
    Analysed written(rate);
    written->SetNotes(notes.data(), static_cast<int32_t>(notes.size()));
    EXPECT_EQ(sung->EstimateKey(0), written->EstimateKey(0));
}

}  // namespace

}  // namespace mlh
