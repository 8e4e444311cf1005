#include "analysis/NoteSegmentation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "support/LiteralSegmentation.h"
#include "support/RandomFrames.h"

namespace mlh {

namespace {

constexpr float kRate = 44100.0f;
// In samples at that rate.
constexpr int32_t kMinNoteLength = 1852;
constexpr int32_t kMergeGap = 4057;

using Frames = std::vector<AnalysisFrame>;
using Notes = std::vector<AnalysisNote>;

bool Same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b)); }

testing::AssertionResult SameFrames(const Frames& a, const Frames& b) {
    if (a.size() != b.size()) {
        return testing::AssertionFailure() << a.size() << " and " << b.size() << " frames";
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (Same(a[i].pitch, b[i].pitch) && Same(a[i].energy, b[i].energy) && a[i].voiced == b[i].voiced &&
            a[i].position == b[i].position) {
            continue;
        }
        return testing::AssertionFailure() << "frame " << i << ": " << a[i].pitch << ", " << a[i].voiced
                                           << " and " << b[i].pitch << ", " << b[i].voiced;
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult SameNotes(const Notes& a, const Notes& b) {
    if (a.size() != b.size()) {
        return testing::AssertionFailure() << a.size() << " and " << b.size() << " notes";
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (Same(a[i].pitch, b[i].pitch) && Same(a[i].energy, b[i].energy) && a[i].length == b[i].length &&
            a[i].startPosition == b[i].startPosition && a[i].endPosition == b[i].endPosition &&
            a[i].firstFrame == b[i].firstFrame && a[i].lastFrame == b[i].lastFrame) {
            continue;
        }
        return testing::AssertionFailure()
               << "note " << i << ": " << a[i].firstFrame << " to " << a[i].lastFrame << " at " << a[i].pitch
               << " and " << b[i].firstFrame << " to " << b[i].lastFrame << " at " << b[i].pitch;
    }
    return testing::AssertionSuccess();
}

struct Step {
    const char* name;
    void (NoteSegmentation::*run)();
    void (LiteralSegmentation::*literal)();
};
constexpr Step kSteps[] = {
    {"NormalizeFrames", &NoteSegmentation::NormalizeFrames, &LiteralSegmentation::NormalizeFrames},
    {"RejectJumps", &NoteSegmentation::RejectJumps, &LiteralSegmentation::RejectJumps},
    {"FlattenVibrato", &NoteSegmentation::FlattenVibrato, &LiteralSegmentation::FlattenVibrato},
    {"RepairOutliers", &NoteSegmentation::RepairOutliers, &LiteralSegmentation::RepairOutliers},
    {"LevelPlateaus", &NoteSegmentation::LevelPlateaus, &LiteralSegmentation::LevelPlateaus},
    {"MarkSteps", &NoteSegmentation::MarkSteps, &LiteralSegmentation::MarkSteps},
    {"CutNotes", &NoteSegmentation::CutNotes, &LiteralSegmentation::CutNotes},
    {"RefineNotes", &NoteSegmentation::RefineNotes, &LiteralSegmentation::RefineNotes},
};

// Runs both chains and compares everything after every step. `positionsRise` says that each step must
// come to its end by itself.
void ExpectLikeLiteral(const Frames& frames, float sampleRate, bool positionsRise) {
    NoteSegmentation chain(sampleRate);
    chain.SetFrames(frames);
    LiteralSegmentation literal(frames, SegmentationSettings(sampleRate));
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        (chain.*step.run)();
        (literal.*step.literal)();
        ASSERT_TRUE(SameFrames(chain.RawFrames(), literal.raw));
        ASSERT_TRUE(SameFrames(chain.SmoothedFrames(), literal.smoothed));
        ASSERT_TRUE(SameFrames(chain.CleanFrames(), literal.clean));
        ASSERT_TRUE(SameNotes(chain.Notes(), literal.notes));
        if (positionsRise) {
            ASSERT_LT(literal.mostRounds, literal.RoundLimit());
        }
    }
}

TEST(NoteSegmentationChain, EqualsThePlainChainOnVoices) {
    for (uint32_t seed = 0; seed < 400; ++seed) {
        SCOPED_TRACE(seed);
        FrameMaker make(seed);
        const float sampleRate = seed % 3 == 0 ? 22050.0f : seed % 3 == 1 ? 44100.0f : 96000.0f;
        ExpectLikeLiteral(make.Voice(make.Whole(1, 1500), sampleRate), sampleRate, true);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(NoteSegmentationChain, EqualsThePlainChainOnNoise) {
    for (uint32_t seed = 0; seed < 1500; ++seed) {
        SCOPED_TRACE(seed);
        FrameMaker make(seed);
        ExpectLikeLiteral(make.Noise(make.Whole(1, 200), false), kRate, true);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(NoteSegmentationChain, EqualsThePlainChainWhereWhatIsComparedIsOftenEqual) {
    for (uint32_t seed = 0; seed < 1500; ++seed) {
        SCOPED_TRACE(seed);
        FrameMaker make(seed);
        ExpectLikeLiteral(make.Grid(make.Whole(33, 400)), 40000.0f, true);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(RefineNotes, EqualsThePlainRefinementOnNotesOfAnyKind) {
    for (uint32_t seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE(seed);
        FrameMaker make(seed);
        const Frames frames = make.Grid(make.Whole(1, 100));
        NoteSegmentation chain(kRate);
        chain.SetFrames(frames);
        chain.SetNotes(make.Notes(make.Whole(0, 20), frames));
        chain.settings.minNoteLength = make.Whole(0, 3000);
        chain.settings.mergeGap = make.Whole(-1000, 3000);
        LiteralSegmentation literal(frames, chain.settings);
        literal.notes = chain.Notes();
        chain.RefineNotes();
        literal.RefineNotes();
        ASSERT_TRUE(SameNotes(chain.Notes(), literal.notes));
    }
}

TEST(NoteSegmentationChain, EqualsThePlainChainWherePositionsRepeat) {
    for (uint32_t seed = 0; seed < 1000; ++seed) {
        SCOPED_TRACE(seed);
        FrameMaker make(seed);
        ExpectLikeLiteral(make.Noise(make.Whole(1, 200), true), kRate, false);
        if (HasFatalFailure()) {
            return;
        }
    }
    Frames together = FrameMaker(1).Noise(100, false);
    for (AnalysisFrame& frame : together) {
        frame.position = 700;
    }
    ExpectLikeLiteral(together, kRate, false);
}

TEST(NoteSegmentationChain, EqualsThePlainChainWherePositionsFall) {
    for (uint32_t seed = 0; seed < 500; ++seed) {
        SCOPED_TRACE(seed);
        FrameMaker make(seed);
        Frames frames = make.Voice(make.Whole(2, 300), kRate);
        make.Shuffle(frames, make.Whole(1, 40));
        ExpectLikeLiteral(frames, kRate, false);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(NoteSegmentationChain, EqualsThePlainChainOnOneTwoAndThreeFrames) {
    for (uint32_t seed = 0; seed < 1000; ++seed) {
        SCOPED_TRACE(seed);
        FrameMaker make(seed);
        ExpectLikeLiteral(make.Noise(make.Whole(1, 3), make.Chance(0.5f)), kRate, false);
        if (HasFatalFailure()) {
            return;
        }
    }
}

// `count` frames 100 samples apart, all voiced, of pitch 60 and energy 1.
Frames Steady(int32_t count, int32_t period = 100) {
    Frames frames;
    for (int32_t i = 0; i < count; ++i) {
        frames.push_back({60.0f, 1.0f, 1, i * period});
    }
    return frames;
}

NoteSegmentation With(const Frames& frames) {
    NoteSegmentation chain(kRate);
    chain.SetFrames(frames);
    return chain;
}

void RunAll(NoteSegmentation& chain) {
    for (const Step& step : kSteps) {
        (chain.*step.run)();
    }
}

TEST(NoteSegmentationChain, AHeldVibratoOfManyMinutesBecomesOneNoteInALineOfWork) {
    // Twenty minutes at 200 Hz. Work that grew with the square of the window would not come to an end.
    Frames frames;
    for (int32_t i = 0; i < 240000; ++i) {
        // 10 Hz: a cycle is 20 frames.
        const float pitch = 55.0f + 0.4f * std::sin(6.2831853f * static_cast<float>(i % 20) / 20.0f);
        frames.push_back({pitch, 1.0f, 1, i * 220});
    }
    NoteSegmentation chain = With(frames);
    RunAll(chain);
    ASSERT_EQ(chain.Notes().size(), 1u);
    EXPECT_NEAR(chain.Notes()[0].pitch, 55.0f, 0.05f);  // semitones; the middle half of the vibrato
    EXPECT_EQ(chain.Notes()[0].firstFrame, 1);
    EXPECT_EQ(chain.Notes()[0].lastFrame, 239998);
}

TEST(NoteSegmentationChain, ManyMinutesOfSilenceBetweenTwoNotesAreSkipped) {
    Frames frames = Steady(300, 220);
    for (int32_t i = 0; i < 300000; ++i) {
        frames.push_back({50.0f, 0.0f, 0, frames.back().position + 256});
    }
    for (int32_t i = 0; i < 300; ++i) {
        frames.push_back({64.0f, 1.0f, 1, frames.back().position + 220});
    }
    NoteSegmentation chain = With(frames);
    RunAll(chain);
    ASSERT_EQ(chain.Notes().size(), 2u);
    EXPECT_EQ(chain.Notes()[0].pitch, 60.0f);
    EXPECT_EQ(chain.Notes()[1].pitch, 64.0f);
}

TEST(NoteSegmentationChain, AnOnsetTenTimesASecondForAnHourIsMergedInALineOfWork) {
    Frames frames = Steady(360000, 441);
    for (size_t i = 0; i < frames.size(); ++i) {
        frames[i].energy = i % 10 == 0 ? 0.25f : 0.2f;
    }
    for (size_t i = 0; i < frames.size(); i += 10) {
        frames[i].voiced = 0;
    }
    NoteSegmentation chain = With(frames);
    RunAll(chain);
    EXPECT_LE(chain.Notes().size(), 3u);  // the outermost notes do not take in
}

TEST(NoteSegmentationChain, FewerThanTwoFramesAreOnlyCopied) {
    for (const int32_t count : {0, 1}) {
        NoteSegmentation chain = With(Steady(count));
        for (const Step& step : kSteps) {
            (chain.*step.run)();
            EXPECT_TRUE(SameFrames(chain.RawFrames(), Steady(count))) << step.name;
            EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), Steady(count))) << step.name;
            EXPECT_TRUE(SameFrames(chain.CleanFrames(), Steady(count))) << step.name;
        }
        ASSERT_EQ(chain.Notes().size(), 1u);
        EXPECT_EQ(chain.Notes()[0].pitch, 60.0f);
        EXPECT_EQ(chain.Notes()[0].energy, 0.5f);
        EXPECT_EQ(chain.Notes()[0].lastFrame, 0);
    }
}

TEST(NoteSegmentationChain, NothingVoicedGivesOneNoteOfNoLengthAcrossTheRecording) {
    Frames frames = Steady(500);
    for (AnalysisFrame& frame : frames) {
        frame.voiced = 0;
    }
    NoteSegmentation chain = With(frames);
    RunAll(chain);
    ASSERT_EQ(chain.Notes().size(), 1u);
    const AnalysisNote& note = chain.Notes()[0];
    EXPECT_EQ(note.pitch, 60.0f);
    EXPECT_EQ(note.energy, 0.5f);
    EXPECT_EQ(note.length, 0);
    EXPECT_EQ(note.firstFrame, 0);
    EXPECT_EQ(note.lastFrame, 499);
    EXPECT_EQ(note.startPosition, 0);
    EXPECT_EQ(note.endPosition, 49900);
}

TEST(NoteSegmentationChain, WhatIsNotANumberHarmsNothing) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    for (uint32_t seed = 0; seed < 200; ++seed) {
        FrameMaker make(seed);
        Frames frames = make.Voice(make.Whole(1, 300), kRate);
        for (AnalysisFrame& frame : frames) {
            if (make.Chance(0.05f)) {
                frame.pitch = make.Chance(0.5f) ? nan : -infinity;
            }
            if (make.Chance(0.05f)) {
                frame.energy = make.Chance(0.5f) ? nan : infinity;
            }
        }
        NoteSegmentation chain = With(frames);
        RunAll(chain);
        EXPECT_GE(chain.Notes().size(), 1u);
    }
}

TEST(NoteSegmentationChain, ExtremePositionsHarmNothing) {
    Frames frames = Steady(100);
    for (size_t i = 0; i < frames.size(); ++i) {
        frames[i].position =
            i % 2 ? std::numeric_limits<int32_t>::max() : std::numeric_limits<int32_t>::min();
    }
    NoteSegmentation chain = With(frames);
    RunAll(chain);
    EXPECT_GE(chain.Notes().size(), 1u);
}

TEST(Settings, DurationsAreThoseOfTheRate) {
    const SegmentationSettings settings(44100.0f);
    EXPECT_EQ(settings.vibratoWindow, 8820);
    EXPECT_EQ(settings.minWindow, 1102);
    EXPECT_EQ(settings.medianWindow, 4410);
    EXPECT_EQ(settings.stepWindow, 2205);
    EXPECT_EQ(settings.minNoteLength, kMinNoteLength);
    EXPECT_EQ(settings.mergeGap, kMergeGap);
    EXPECT_EQ(settings.mergeThreshold, 0.75f);
}

TEST(NormalizeFrames, MakesTheLoudestFrameOne) {
    Frames frames = Steady(3);
    frames[0].energy = 0.02f;
    frames[1].energy = 0.04f;
    frames[2].energy = 0.01f;
    NoteSegmentation chain = With(frames);
    chain.NormalizeFrames();
    EXPECT_EQ(chain.RawFrames()[0].energy, 0.02f * (1.0f / 0.04f));
    EXPECT_EQ(chain.RawFrames()[1].energy, 0.04f * (1.0f / 0.04f));
    EXPECT_EQ(chain.RawFrames()[2].energy, 0.01f * (1.0f / 0.04f));
}

TEST(NormalizeFrames, WithoutEnergyAllBecomesZeroAndUnvoiced) {
    Frames frames = Steady(3);
    for (AnalysisFrame& frame : frames) {
        frame.energy = -1.0f;
    }
    NoteSegmentation chain = With(frames);
    chain.NormalizeFrames();
    for (const AnalysisFrame& frame : chain.RawFrames()) {
        EXPECT_EQ(frame.energy, 0.0f);
        EXPECT_EQ(frame.voiced, 0);
    }
}

TEST(NormalizeFrames, UnvoicesFramesBelowTheFloor) {
    Frames frames = Steady(4);
    frames[2].energy = 0.0005f;
    frames[3].energy = std::nextafter(0.0005f, 0.0f);
    NoteSegmentation chain = With(frames);
    chain.NormalizeFrames();
    EXPECT_EQ(chain.RawFrames()[2].voiced, 1);
    EXPECT_EQ(chain.RawFrames()[3].voiced, 0);
}

TEST(NormalizeFrames, UnvoicesTheFrameBeforeAnOnset) {
    Frames frames = Steady(5);
    const float energies[] = {0.25f, 0.48f, 1.0f, 0.5f, 0.97f};  // 0.92, 1.08, falls, 0.94 up
    for (int i = 0; i < 5; ++i) {
        frames[i].energy = energies[i];
    }
    NoteSegmentation chain = With(frames);
    chain.NormalizeFrames();
    const int expected[] = {1, 0, 1, 1, 1};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(chain.RawFrames()[i].voiced, expected[i]) << i;
    }
}

TEST(NormalizeFrames, NeedsBothFramesVoicedForAnOnset) {
    Frames frames = Steady(3);
    frames[0].energy = 0.0001f;  // loses its own flag first, so the rise to frame 1 has no predecessor
    frames[1].energy = 0.3f;
    frames[1].voiced = 0;
    NoteSegmentation chain = With(frames);
    chain.NormalizeFrames();
    EXPECT_EQ(chain.RawFrames()[0].voiced, 0);
    EXPECT_EQ(chain.RawFrames()[2].voiced, 1);
}

TEST(RejectJumps, UnvoicesAtTheJump) {
    Frames frames = Steady(200);
    for (int i = 80; i < 200; ++i) {
        frames[i].pitch = 72.0f;
    }
    NoteSegmentation chain = With(frames);
    chain.RejectJumps();
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(chain.RawFrames()[i].voiced, i == 80 ? 0 : 1) << i;
    }
    EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), chain.RawFrames()));
}

TEST(RejectJumps, LeavesAJumpOfExactlySixSemitones) {
    Frames frames = Steady(200);
    for (int i = 80; i < 200; ++i) {
        frames[i].pitch = 66.0f;
    }
    NoteSegmentation chain = With(frames);
    chain.RejectJumps();
    EXPECT_TRUE(SameFrames(chain.RawFrames(), frames));
}

TEST(RejectJumps, AJumpOnTheLastFrameOfAWindowMarksTheFirstSmallestFrame) {
    // One window of two voiced frames and no frame between them.
    Frames frames = Steady(2, 2000);
    frames[1].pitch = 50.0f;
    NoteSegmentation chain = With(frames);
    chain.RejectJumps();
    EXPECT_EQ(chain.RawFrames()[0].voiced, 1);
    EXPECT_EQ(chain.RawFrames()[1].voiced, 0);
}

// A vibrato of `rate` Hz and `depth` semitones to each side around `centre`, marks at 220 samples.
Frames Vibrato(int32_t count, float rate, float depth, float drift = 0.0f) {
    Frames frames;
    for (int32_t i = 0; i < count; ++i) {
        const float time = static_cast<float>(i) * 220.0f / kRate;
        frames.push_back(
            {60.0f + drift * time + depth * std::sin(6.2831853f * rate * time), 1.0f, 1, i * 220});
    }
    return frames;
}

TEST(FlattenVibrato, ReplacesItByItsCentreAndLeavesTheRawFrames) {
    const Frames frames = Vibrato(600, 9.0f, 0.5f);
    NoteSegmentation chain = With(frames);
    chain.FlattenVibrato();
    EXPECT_TRUE(SameFrames(chain.RawFrames(), frames));
    // The pitch of an extremum is read half-way up to it, and by whole frames, of which a cycle has 22: the
    // centre is met within half a frame's move. The window that reaches the last frame ends the step.
    for (int i = 0; i < 580; ++i) {
        EXPECT_NEAR(chain.SmoothedFrames()[i].pitch, 60.0f, 0.08f) << i;
    }
}

TEST(FlattenVibrato, LeavesTooFewTurnsFlutterAndWideSwings) {
    for (const Frames& frames :
         {Vibrato(600, 6.0f, 0.5f), Vibrato(600, 25.0f, 0.5f), Vibrato(600, 9.0f, 3.1f)}) {
        NoteSegmentation chain = With(frames);
        chain.FlattenVibrato();
        EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), frames));
    }
}

TEST(FlattenVibrato, LeavesASwingOfExactlySixSemitones) {
    // 10 Hz, a triangle of whole steps: 20 frames a cycle.
    for (const float step : {0.59375f, 0.6f}) {
        Frames frames = Steady(600, 220);
        for (int i = 0; i < 600; ++i) {
            frames[i].pitch += step * static_cast<float>(5 - std::abs(i % 20 - 10));
        }
        NoteSegmentation chain = With(frames);
        chain.FlattenVibrato();
        EXPECT_EQ(static_cast<bool>(SameFrames(chain.SmoothedFrames(), frames)), step == 0.6f) << step;
    }
}

TEST(FlattenVibrato, LeavesVibratoOnARisingPitch) {
    const Frames frames = Vibrato(600, 9.0f, 0.5f, 8.0f);
    NoteSegmentation chain = With(frames);
    chain.FlattenVibrato();
    EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), frames));
}

TEST(FlattenVibrato, ReadsRawFramesAndWritesPitchesOnly) {
    Frames frames = Vibrato(600, 9.0f, 0.5f);
    NoteSegmentation chain = With(frames);
    chain.FlattenVibrato();
    for (size_t i = 0; i < frames.size(); ++i) {
        frames[i].pitch = chain.SmoothedFrames()[i].pitch;
    }
    EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), frames));
}

TEST(RepairOutliers, NeedsMoreThanThirtyTwoFrames) {
    for (const int32_t count : {32, 33}) {
        Frames frames = Steady(count);
        frames[2].pitch = 67.0f;
        NoteSegmentation chain = With(frames);
        chain.RepairOutliers();
        EXPECT_EQ(chain.SmoothedFrames()[2].pitch, count == 32 ? 67.0f : 60.0f);
        EXPECT_EQ(chain.CleanFrames()[2].pitch, count == 32 ? 67.0f : 60.0f);
    }
}

TEST(RepairOutliers, StartsNoLaterThanThirtyThreeFramesBeforeTheEnd) {
    for (const int32_t at : {68, 69}) {
        Frames frames = Steady(100);  // frame 67 is the last one looked at
        frames[at].pitch = 67.0f;
        NoteSegmentation chain = With(frames);
        chain.RepairOutliers();
        EXPECT_EQ(chain.SmoothedFrames()[at].pitch, 60.0f);
    }
    Frames frames = Steady(100);
    for (int i = 67; i < 100; ++i) {
        frames[i].pitch = 50.0f;
    }
    frames[68].pitch = 67.0f;
    frames[69].pitch = 50.0f;
    frames[67].voiced = 0;
    NoteSegmentation chain = With(frames);
    chain.RepairOutliers();
    EXPECT_EQ(chain.SmoothedFrames()[68].pitch, 67.0f);
}

TEST(RepairOutliers, ReachesSeventyFiveMillisecondsAtTheLocalPeriod) {
    // 75 ms are 3307.5 samples: at a period of 600 round(5.5125) = 6 frames.
    for (const int32_t width : {5, 6}) {
        Frames frames = Steady(100, 600);
        for (int i = 0; i < width; ++i) {
            frames[20 + i].pitch = 62.0f;
        }
        NoteSegmentation chain = With(frames);
        chain.RepairOutliers();
        EXPECT_EQ(chain.SmoothedFrames()[20].pitch, width == 5 ? 60.0f : 62.0f);
    }
}

TEST(RepairOutliers, TakesOnlyFramesMoreThanASemitoneOff) {
    Frames frames = Steady(100);
    frames[20].pitch = 61.0f;
    frames[21].pitch = std::nextafter(61.0f, 62.0f);
    NoteSegmentation chain = With(frames);
    chain.RepairOutliers();
    EXPECT_EQ(chain.SmoothedFrames()[20].pitch, 61.0f);
    EXPECT_EQ(chain.SmoothedFrames()[21].pitch, 60.0f);
}

TEST(RepairOutliers, LeavesUnvoicedFramesAlone) {
    Frames frames = Steady(100);
    frames[20].pitch = 70.0f;
    frames[20].voiced = 0;
    NoteSegmentation chain = With(frames);
    chain.RepairOutliers();
    EXPECT_EQ(chain.SmoothedFrames()[20].pitch, 70.0f);
}

TEST(LevelPlateaus, GivesAStableStretchItsMedian) {
    Frames frames = Steady(200);
    for (int i = 0; i < 200; ++i) {
        frames[i].pitch += i % 3 == 0 ? 0.2f : i % 3 == 1 ? -0.2f : 0.0f;
    }
    NoteSegmentation chain = With(frames);
    chain.LevelPlateaus();
    EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), frames));
    // Four windows of 44 frames; the one that reaches the last frame ends the step and is not levelled.
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(chain.CleanFrames()[i].pitch, i < 176 ? 60.0f : frames[i].pitch) << i;
    }
}

TEST(LevelPlateaus, LeavesAMovingStretch) {
    Frames frames = Steady(400);
    for (int i = 0; i < 400; ++i) {
        frames[i].pitch = 40.0f + 0.1f * static_cast<float>(i);
    }
    NoteSegmentation chain = With(frames);
    chain.LevelPlateaus();
    for (int i = 0; i < 350; ++i) {
        EXPECT_EQ(chain.CleanFrames()[i].pitch, frames[i].pitch) << i;
    }
}

TEST(MarkSteps, UnvoicesOneFrameAtAStepAboveHalfASemitone) {
    for (const float step : {0.5f, 1.0f}) {
        Frames frames = Steady(200);
        for (int i = 100; i < 200; ++i) {
            frames[i].pitch += step;
        }
        NoteSegmentation chain = With(frames);
        chain.MarkSteps();
        int32_t cleared = 0;
        for (int i = 0; i < 200; ++i) {
            cleared += !chain.CleanFrames()[i].voiced;
        }
        EXPECT_EQ(cleared, step == 0.5f ? 0 : 1) << step;
        EXPECT_EQ(chain.CleanFrames()[100].voiced, step == 0.5f ? 1 : 0);
        EXPECT_TRUE(SameFrames(chain.RawFrames(), frames));
        EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), frames));
    }
}

TEST(CutNotes, MakesANoteOfEachVoicedRunUpToItsUnvoicedFrame) {
    Frames frames = Steady(12);
    frames[0].voiced = frames[5].voiced = frames[6].voiced = 0;
    for (int i = 7; i < 12; ++i) {
        frames[i].pitch = 64.0f;
        frames[i].energy = 0.5f;
    }
    NoteSegmentation chain = With(frames);
    chain.CutNotes();
    ASSERT_EQ(chain.Notes().size(), 2u);
    EXPECT_EQ(chain.Notes()[0].firstFrame, 1);
    EXPECT_EQ(chain.Notes()[0].lastFrame, 5);
    EXPECT_EQ(chain.Notes()[0].startPosition, 100);
    EXPECT_EQ(chain.Notes()[0].endPosition, 500);
    EXPECT_EQ(chain.Notes()[0].length, 400);
    EXPECT_EQ(chain.Notes()[0].pitch, 60.0f);
    EXPECT_EQ(chain.Notes()[0].energy, 1.0f);
    EXPECT_EQ(chain.Notes()[1].firstFrame, 7);
    EXPECT_EQ(chain.Notes()[1].lastFrame, 11);  // never after the last frame
    EXPECT_EQ(chain.Notes()[1].pitch, 64.0f);
    EXPECT_EQ(chain.Notes()[1].energy, 0.5f);
}

TEST(CutNotes, TakesTheEnergyOfCleanFramesAndThePitchOfRawOnes) {
    Frames frames = Steady(100);
    for (AnalysisFrame& frame : frames) {
        frame.energy = 2.0f;
    }
    frames[50].voiced = 0;
    frames[20].pitch = 90.0f;
    NoteSegmentation chain = With(frames);
    chain.NormalizeFrames();
    chain.CutNotes();
    ASSERT_EQ(chain.Notes().size(), 2u);
    EXPECT_EQ(chain.RawFrames()[0].energy, 1.0f);
    EXPECT_EQ(chain.Notes()[0].energy, 2.0f);
}

TEST(CutNotes, AVoicedLastFrameAloneIsNoNote) {
    Frames frames = Steady(5);
    for (int i = 0; i < 4; ++i) {
        frames[i].voiced = 0;
    }
    NoteSegmentation chain = With(frames);
    chain.CutNotes();
    EXPECT_TRUE(chain.Notes().empty());
}

TEST(CutNotes, ReplacesTheNotesOfBefore) {
    NoteSegmentation chain = With(Steady(50));
    chain.CutNotes();
    chain.CutNotes();
    EXPECT_EQ(chain.Notes().size(), 1u);
}

TEST(EstimatePitch, IsTheMeanOfAllBelowEightVoicedFramesAndOfTheMiddleHalfFromThereOn) {
    Frames frames = Steady(10);
    for (int i = 0; i < 10; ++i) {
        frames[i].pitch = static_cast<float>(10 * i * i);
    }
    NoteSegmentation chain = With(frames);
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 7, false), 130.0f);
    // 0 to 490: entries 2 to 5 of eight.
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 8, false), 135.0f);
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 0, false), 0.0f);
    frames[0].voiced = 0;
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 1, false), 0.0f);
    // Nine left of ten: entries 2 to 5 again, of 10, 40, 90, 160, 250, 360, ...
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 10, false), 215.0f);
}

TEST(EstimatePitch, WithTheSpreadCheckedANarrowHalfGivesWayToTheMeanOfAll) {
    Frames frames = Steady(8);
    frames[7].pitch = 68.0f;
    NoteSegmentation chain = With(frames);
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 8, false), 60.0f);
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 8, true), 61.0f);
    frames[0].pitch = frames[1].pitch = 59.5f;
    frames[2].pitch = frames[3].pitch = 59.75f;  // a spread of 0.125
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 8, true), 59.875f);
    // A spread of exactly a tenth is not narrow.
    const float pitches[] = {0.0f, 0.0f, 0.0f, 0.0f, 0.2f, 0.2f, 0.2f, 0.2f};
    for (int i = 0; i < 8; ++i) {
        frames[i].pitch = pitches[i];
    }
    frames[7].pitch = 8.0f;
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 8, true), 0.1f);
    frames[2].pitch = 0.01f;
    EXPECT_GT(chain.EstimatePitch(frames.data(), 0, 8, true), 1.0f);
}

TEST(EstimatePitch, TakesMoreVoicedFramesThanItsScratchStartsWith) {
    const Frames frames = Steady(70000, 1);
    NoteSegmentation chain = With(frames);
    EXPECT_EQ(chain.EstimatePitch(frames.data(), 0, 70000, false), 60.0f);
}

// Notes on frames of 100 samples, given by first and last frame, over frames whose energy outside them is
// 0, so that widening adds exactly one frame at each end.
struct Written {
    int32_t first, last;
    float pitch;
    float energy = 0.5f;
};

NoteSegmentation Refined(int32_t frameCount, const std::vector<Written>& written, int32_t period = 100,
                         const std::function<void(NoteSegmentation&, Frames&)>& adjust = {}) {
    Frames frames = Steady(frameCount, period);
    for (AnalysisFrame& frame : frames) {
        frame.energy = 0.0f;
        frame.voiced = 0;
    }
    Notes notes;
    for (const Written& w : written) {
        for (int32_t i = w.first; i <= w.last; ++i) {
            frames[i] = {w.pitch, w.energy, 1, frames[i].position};
        }
        notes.push_back({w.pitch, w.energy, (w.last - w.first) * period, w.first * period, w.last * period,
                         w.first, w.last});
    }
    NoteSegmentation chain(kRate);
    if (adjust) {
        adjust(chain, frames);
    }
    chain.SetFrames(frames);
    chain.SetNotes(notes);
    chain.RefineNotes();
    return chain;
}

TEST(RefineNotes, EachWideningMovesBothEndsByAtLeastAFrame) {
    const NoteSegmentation chain = Refined(200, {{50, 100, 60.0f}});
    ASSERT_EQ(chain.Notes().size(), 1u);
    // Loud enough for the first widening, then twice more: three frames into the silence at each end.
    EXPECT_EQ(chain.Notes()[0].firstFrame, 47);
    EXPECT_EQ(chain.Notes()[0].lastFrame, 103);
    EXPECT_EQ(chain.Notes()[0].startPosition, 4700);
    EXPECT_EQ(chain.Notes()[0].endPosition, 10300);
    EXPECT_EQ(chain.Notes()[0].length, 5600);
}

TEST(RefineNotes, FaintNotesAreNotWidenedBeforeTheMerge) {
    const NoteSegmentation chain = Refined(200, {{50, 100, 60.0f, 0.05f}});
    EXPECT_EQ(chain.Notes()[0].firstFrame, 48);
    EXPECT_EQ(chain.Notes()[0].lastFrame, 102);
}

TEST(RefineNotes, WidensWhileTheEnergyStaysAboveAnEighth) {
    const NoteSegmentation chain =
        Refined(200, {{50, 100, 60.0f}}, 100, [](NoteSegmentation&, Frames& frames) {
            for (int i = 101; i < 120; ++i) {
                frames[i].energy = 0.0626f;
            }
            for (int i = 30; i < 50; ++i) {
                frames[i].energy = 0.0625f;
            }
        });
    EXPECT_EQ(chain.Notes()[0].firstFrame, 47);
    // To the first frame that fails, 120, and one more by each later widening.
    EXPECT_EQ(chain.Notes()[0].lastFrame, 122);
}

TEST(RefineNotes, TheLaterWideningsStopAtAHundredfoldEnergy) {
    // Faint, so only the two bounded widenings act; 0.04 * 100 = 4 stops them at once.
    const NoteSegmentation chain =
        Refined(200, {{50, 100, 60.0f, 0.04f}}, 100, [](NoteSegmentation&, Frames& frames) {
            for (int i = 101; i < 120; ++i) {
                frames[i].energy = 4.0f;
            }
            for (int i = 30; i < 50; ++i) {
                frames[i].energy = 3.9f;
            }
        });
    EXPECT_EQ(chain.Notes()[0].firstFrame, 28);
    EXPECT_EQ(chain.Notes()[0].lastFrame, 102);
}

TEST(RefineNotes, WideningStaysBetweenTheNeighboursAndOffTheOutermostFrames) {
    const NoteSegmentation chain = Refined(100, {{0, 40, 60.0f}, {42, 99, 64.0f}});
    ASSERT_EQ(chain.Notes().size(), 2u);
    EXPECT_EQ(chain.Notes()[0].firstFrame, 1);
    EXPECT_EQ(chain.Notes()[0].lastFrame, 41);
    EXPECT_EQ(chain.Notes()[1].firstFrame, 42);
    EXPECT_EQ(chain.Notes()[1].lastFrame, 98);
}

TEST(RefineNotes, ANoteOfExactlyTheMinimumLengthSurvives) {
    for (const int32_t missing : {0, 1}) {
        NoteSegmentation chain = Refined(400, {{50, 100, 60.0f}, {250, 270, 64.0f}}, 100,
                                         [missing](NoteSegmentation& chain, Frames&) {
                                             // The second note is four frames longer when lengths are judged:
                                             // 24 frames.
                                             chain.settings.minNoteLength = 2400 + missing;
                                         });
        EXPECT_EQ(chain.Notes().size(), missing == 0 ? 2u : 1u);
    }
}

// Four notes, of which the middle two may be merged.
std::vector<Written> MiddlePair(float pitch, int32_t gapFrames) {
    const int32_t next = 300 + gapFrames;
    return {{10, 60, 40.0f, 0.05f},
            {200, 300, 60.0f, 0.05f},
            {next, next + 100, pitch, 0.05f},
            {900, 950, 80.0f, 0.05f}};
}

TEST(RefineNotes, MergesNeighboursThatAreNear) {
    const NoteSegmentation chain = Refined(1000, MiddlePair(60.5f, 10));
    ASSERT_EQ(chain.Notes().size(), 3u);
    EXPECT_EQ(chain.Notes()[1].firstFrame, 198);
    EXPECT_EQ(chain.Notes()[1].lastFrame, 412);
}

TEST(RefineNotes, AGapOfExactlyTheLimitIsNotMerged) {
    for (const int32_t longer : {0, 1}) {
        const NoteSegmentation chain =
            Refined(1000, MiddlePair(60.5f, 10), 100,
                    [longer](NoteSegmentation& chain, Frames&) { chain.settings.mergeGap = 1000 + longer; });
        EXPECT_EQ(chain.Notes().size(), longer ? 3u : 4u);
    }
}

TEST(RefineNotes, ADifferenceOfExactlyTheThresholdIsNotMerged) {
    EXPECT_EQ(Refined(1000, MiddlePair(60.75f, 10)).Notes().size(), 4u);
    EXPECT_EQ(Refined(1000, MiddlePair(std::nextafter(60.75f, 60.0f), 10)).Notes().size(), 3u);
    EXPECT_EQ(Refined(1000, MiddlePair(59.25f, 10)).Notes().size(), 4u);
}

TEST(RefineNotes, TheAbsorbedNoteCountsFourTimesAsMuchBySample) {
    // The second note takes in the first: L 10000, p 60, M 21000, q 60.5. Whether the third is near the
    // result shows its pitch; the pitch handed out is measured again on the frames.
    const float merged =
        (2.0f * 10000.0f * 60.0f + 0.5f * 21000.0f * 60.5f) / (2.0f * 10000.0f + 0.5f * 21000.0f);
    ASSERT_NEAR(merged, 60.172f, 0.001f);
    const auto notes = [](float third) {
        return Refined(1000, {{200, 300, 60.0f, 0.05f},
                              {310, 410, 60.5f, 0.05f},
                              {420, 520, third, 0.05f},
                              {900, 950, 80.0f, 0.05f}})
            .Notes()
            .size();
    };
    EXPECT_EQ(notes(merged + 0.7499f), 2u);
    EXPECT_EQ(notes(merged + 0.7501f), 3u);
    EXPECT_EQ(notes(merged - 0.7499f), 2u);
    EXPECT_EQ(notes(merged - 0.7501f), 3u);
}

TEST(RefineNotes, AnEnergyRiseKeepsNotesApartUnlessTheNoteIsShort) {
    // Faint enough not to be widened into the silence between them.
    const auto notes = [](float rise, int32_t minNoteLength) {
        std::vector<Written> written = MiddlePair(60.5f, 10);
        written[1].energy = 0.02f;
        written[2].energy = 0.02f * (1.0f + rise);
        return Refined(1000, written, 100,
                       [minNoteLength](NoteSegmentation& chain, Frames&) {
                           chain.settings.minNoteLength = minNoteLength;
                       })
            .Notes()
            .size();
    };
    EXPECT_EQ(notes(0.94f, 1852), 3u);
    EXPECT_EQ(notes(0.96f, 1852), 4u);
    // Shorter than the limit they are merged in spite of the rise; the outer two are dropped in the end.
    EXPECT_EQ(notes(0.96f, 10401), 1u);
}

TEST(RefineNotes, ANearPredecessorThatDoesNotJoinHidesTheSuccessor) {
    // The third note rises too much from the second to take it in; the fourth could be joined, but is near
    // the third only, and the last, which does not take in. So nothing is merged.
    const std::vector<Written> written = {
        {10, 60, 40.0f, 0.01f}, {100, 200, 60.0f, 0.01f}, {205, 305, 60.5f, 0.03f}, {310, 410, 60.6f, 0.03f}};
    EXPECT_EQ(Refined(1000, written).Notes().size(), 4u);
    // Not near the second, the third looks at the fourth.
    std::vector<Written> apart = written;
    apart[1].pitch = 50.0f;
    EXPECT_EQ(Refined(1000, apart).Notes().size(), 3u);
}

TEST(RefineNotes, TheFirstAndTheLastNoteAreAbsorbedButDoNotAbsorb) {
    EXPECT_EQ(Refined(1000, {{10, 100, 60.0f, 0.05f}, {105, 200, 60.2f, 0.05f}}).Notes().size(), 2u);
    EXPECT_EQ(Refined(1000, {{10, 100, 60.0f, 0.05f}, {105, 200, 60.2f, 0.05f}, {600, 700, 70.0f, 0.05f}})
                  .Notes()
                  .size(),
              2u);
    EXPECT_EQ(Refined(1000, {{10, 100, 50.0f, 0.05f}, {505, 600, 60.2f, 0.05f}, {605, 700, 60.3f, 0.05f}})
                  .Notes()
                  .size(),
              2u);
}

TEST(RefineNotes, AfterTakingInItsSuccessorThePassGoesOnBeforeTheNote) {
    // 60 and 60.8 are not near; 60.8 takes in 60.3 and falls to about 60.4, which 60 then takes in.
    const NoteSegmentation chain = Refined(1000, {{10, 60, 40.0f, 0.05f},
                                                  {100, 200, 60.0f, 0.05f},
                                                  {205, 255, 60.8f, 0.05f},
                                                  {260, 400, 60.3f, 0.05f},
                                                  {900, 950, 80.0f, 0.05f}});
    ASSERT_EQ(chain.Notes().size(), 3u);
    EXPECT_EQ(chain.Notes()[1].firstFrame, 98);
    EXPECT_EQ(chain.Notes()[1].lastFrame, 402);
}

TEST(RefineNotes, ShortFaintNotesGoFirst) {
    // Between two notes that are near each other lies a faint speck of another pitch.
    const std::vector<Written> written = {{10, 60, 40.0f, 0.05f},
                                          {100, 200, 60.0f, 0.05f},
                                          {203, 206, 50.0f, 0.0004f},
                                          {209, 300, 60.2f, 0.05f},
                                          {900, 950, 80.0f, 0.05f}};
    EXPECT_EQ(Refined(1000, written).Notes().size(), 3u);
}

TEST(RefineNotes, ShortFaintNotesMustBeBelowBothLimits) {
    // A speck between two notes that would be merged if it were not there.
    const auto notes = [](int32_t speckFrames, float speckEnergy) {
        return Refined(1000,
                       {{10, 60, 40.0f, 0.05f},
                        {100, 200, 60.0f, 0.05f},
                        {203, 203 + speckFrames, 50.0f, speckEnergy},
                        {235, 300, 60.2f, 0.05f},
                        {900, 950, 80.0f, 0.05f}},
                       100, [](NoteSegmentation& chain, Frames&) { chain.settings.minNoteLength = 2000; })
            .Notes()
            .size();
    };
    const float below = std::nextafter(0.0005f, 0.0f);
    EXPECT_EQ(notes(19, below), 3u);
    EXPECT_EQ(notes(20, below), 5u);
    EXPECT_EQ(notes(19, 0.0005f), 5u);
}

TEST(RefineNotes, WithoutAVoicedFrameANoteKeepsItsPitch) {
    // Such a note passes only where no glide is looked for.
    const NoteSegmentation chain =
        Refined(200, {{50, 100, 60.0f}}, 100, [](NoteSegmentation& chain, Frames& frames) {
            chain.settings.mergeGap = -1;
            for (AnalysisFrame& frame : frames) {
                frame.voiced = 0;
            }
        });
    EXPECT_EQ(chain.Notes()[0].pitch, 60.0f);
    EXPECT_EQ(chain.Notes()[0].firstFrame, 47);
}

// One note of `count` voiced frames of 100 samples, sliding by `step` semitones a frame, between silence.
size_t NotesOfSlide(int32_t count, float step, const std::function<void(Frames&)>& adjust = {},
                    int32_t mergeGap = kMergeGap) {
    Frames frames = Steady(count + 400);
    for (AnalysisFrame& frame : frames) {
        frame.energy = 0.0f;
        frame.voiced = 0;
    }
    Notes notes = {{60.0f, 0.04f, 5000, 1000, 6000, 10, 60}};
    for (int i = 10; i <= 60; ++i) {
        frames[i] = {60.0f, 0.04f, 1, 100 * i};
    }
    for (int32_t k = 0; k < count; ++k) {
        const int32_t i = 200 + k;
        frames[i] = {65.0f + step * static_cast<float>(k), 0.04f, 1, 100 * i};
    }
    const int32_t last = 200 + count - 1;
    notes.push_back({65.0f, 0.04f, 100 * (count - 1), 20000, 100 * last, 200, last});
    if (adjust) {
        adjust(frames);
    }
    NoteSegmentation chain(kRate);
    chain.settings.mergeGap = mergeGap;
    chain.SetFrames(frames);
    chain.SetNotes(notes);
    chain.RefineNotes();
    return chain.Notes().size() - 1;
}

TEST(Glide, AShortEvenSlideIsNoNote) { EXPECT_EQ(NotesOfSlide(31, 0.1f), 0u); }

TEST(Glide, ALongSlideIsANote) {
    EXPECT_EQ(NotesOfSlide(41, 0.1f), 0u);  // 4000 samples
    EXPECT_EQ(NotesOfSlide(42, 0.1f), 1u);  // 4100, above 4057
    EXPECT_EQ(NotesOfSlide(41, 0.1f, {}, 4000), 0u);
    EXPECT_EQ(NotesOfSlide(41, 0.1f, {}, 3999), 1u);
}

TEST(Glide, ASlideOfLessThanASemitoneOrOfLittleByFrameIsANote) {
    EXPECT_EQ(NotesOfSlide(33, 0.03125f), 0u);  // exactly one semitone over 32 frames
    EXPECT_EQ(NotesOfSlide(32, 0.03125f), 1u);
    EXPECT_EQ(NotesOfSlide(38, 0.0275f), 1u);  // above a semitone, below 0.03 a frame
    const auto upTo = [](float pitch) { return [=](Frames& frames) { frames[250].pitch = pitch; }; };
    EXPECT_EQ(NotesOfSlide(51, 0.03f, upTo(66.5f), 6000), 0u);  // exactly 0.03 a frame
    EXPECT_EQ(NotesOfSlide(51, 0.03f, upTo(66.49f), 6000), 1u);
}

TEST(Glide, AStretchThatIsHeldBeforeItSlidesIsANote) {
    EXPECT_EQ(NotesOfSlide(31, 0.1f,
                           [](Frames& frames) {
                               for (int i = 200; i < 220; ++i) {
                                   frames[i].pitch = 65.0f;
                               }
                           }),
              1u);
}

TEST(Glide, ASlideThroughItsMeanMoreThanOnceIsANote) {
    EXPECT_EQ(NotesOfSlide(31, 0.1f,
                           [](Frames& frames) {
                               frames[210].pitch = 67.0f;
                               frames[220].pitch = 66.0f;
                           }),
              1u);
}

TEST(Glide, ASlideMostlyUnvoicedIsANote) {
    const auto unvoiced = [](int32_t count) {
        return [count](Frames& frames) {
            for (int k = 0; k < count; ++k) {
                frames[k % 2 ? 201 + k / 2 : 229 - k / 2].voiced = 0;
            }
        };
    };
    EXPECT_EQ(NotesOfSlide(31, 0.1f, unvoiced(14)), 0u);  // 16 of 30 left
    EXPECT_EQ(NotesOfSlide(31, 0.1f, unvoiced(16)), 1u);
}

TEST(Glide, ANoteOfOneVoicedFrameIsNoNote) {
    EXPECT_EQ(NotesOfSlide(31, 0.0f,
                           [](Frames& frames) {
                               for (int i = 200; i < 231; ++i) {
                                   frames[i].voiced = i == 215;
                               }
                           }),
              0u);
}

TEST(SetNotes, HoldsFrameNumbersWithinTheFrames) {
    NoteSegmentation chain = With(Steady(10));
    chain.SetNotes({{60.0f, 1.0f, 0, 0, 0, -5, 1 << 30}});
    EXPECT_EQ(chain.Notes()[0].firstFrame, 0);
    EXPECT_EQ(chain.Notes()[0].lastFrame, 9);
    chain.SetFrames(Steady(3));
    chain.RefineNotes();
    EXPECT_LE(chain.Notes()[0].lastFrame, 2);
}

TEST(SetFrames, RefreshesAllThreeArrays) {
    NoteSegmentation chain = With(Steady(40));
    RunAll(chain);
    const Frames frames = Vibrato(40, 6.0f, 1.0f);
    chain.SetFrames(frames);
    EXPECT_TRUE(SameFrames(chain.RawFrames(), frames));
    EXPECT_TRUE(SameFrames(chain.SmoothedFrames(), frames));
    EXPECT_TRUE(SameFrames(chain.CleanFrames(), frames));
}

}  // namespace

}  // namespace mlh
