// The segment list of a voice and its editing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/ScriptedVoice.h"

namespace mlh {

namespace {

constexpr double kRate = kScriptedRate;
constexpr float kFormantTolerance = 2e-6f;  // semitones: the shift is held as a 32-bit ratio near 1

// A stretch is a ratio of lengths cut to whole samples: each may be one sample short of what its times say.
void ExpectStretch(const SynthSegment& segment, double sourceSeconds, double targetSeconds) {
    const double samples = targetSeconds * kRate;
    const double ratio = sourceSeconds / targetSeconds;
    EXPECT_NEAR(segment.stretch, ratio, std::max(ratio, 1.0) * 1.001 / samples);
}

class PitchSynthesizerSegments : public testing::Test {
  protected:
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    VoiceOwner voice = recording.MakeVoice();

    SegmentInfo Info(int32_t index) const {
        SegmentInfo info;
        EXPECT_EQ(voice->GetSegmentInfo(index, &info), 0);
        return info;
    }
    const SynthSegment& Segment(int32_t index) const { return Inside(voice).GetSegment(index); }
    std::vector<double> Borders() const {
        std::vector<double> borders;
        for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
            borders.push_back(Info(i).targetStart);
            borders.push_back(Info(i).targetEnd);
        }
        return borders;
    }
};

TEST_F(PitchSynthesizerSegments, AreALeadInAndOnePerNoteReachingToTheNext) {
    ASSERT_EQ(voice->GetSegmentCount(), 4);
    const double starts[] = {0.0, 0.2, 0.7, 1.2}, ends[] = {0.2, 0.7, 1.2, 2.0},
                 noteEnds[] = {0.0, 0.6, 1.1, 1.8};
    const float pitches[] = {60.25f, 60.25f, 64.0f, 67.5f};
    const int32_t firstMarks[] = {0, 20, 70, 120}, lastMarks[] = {20, 70, 120, 200};
    for (int32_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const SegmentInfo info = Info(i);
        EXPECT_EQ(info.sourceStart, starts[i]);
        EXPECT_EQ(info.sourceEnd, ends[i]);
        EXPECT_EQ(info.targetStart, starts[i]);
        EXPECT_EQ(info.targetEnd, ends[i]);
        EXPECT_EQ(info.noteEnd, noteEnds[i]);
        EXPECT_EQ(info.detectedPitch, pitches[i]);
        EXPECT_EQ(info.targetPitch, pitches[i]);
        EXPECT_EQ(Segment(i).firstMark, firstMarks[i]);
        EXPECT_EQ(Segment(i).lastMark, lastMarks[i]);
        EXPECT_EQ(Segment(i).pitchOffset, 0.0f);
        EXPECT_EQ(Segment(i).stretch, 1.0f);
        EXPECT_EQ(Segment(i).positioned, 0);
    }
}

TEST_F(PitchSynthesizerSegments, AreLinkedInOrder) {
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(Segment(i).previous, i > 0 ? &Segment(i - 1) : nullptr);
        EXPECT_EQ(Segment(i).next, i < 3 ? &Segment(i + 1) : nullptr);
    }
}

TEST_F(PitchSynthesizerSegments, StartNeutral) {
    for (int32_t i = 0; i < 4; ++i) {
        const SegmentInfo info = Info(i);
        EXPECT_EQ(info.modulationKeep, 1.0f);
        EXPECT_EQ(info.formantShift, 0.0f);
        EXPECT_EQ(info.gain, 1.0f);
        EXPECT_EQ(info.glideInExtra, 0.0f);
        EXPECT_EQ(info.glideOutExtra, 0.0f);
        EXPECT_EQ(info.fadeInShare, 0.0f);
        EXPECT_EQ(info.fadeOutShare, 0.0f);
        EXPECT_EQ(info.fadeInLevel, 1.0f);
        EXPECT_EQ(info.fadeOutLevel, 1.0f);
        EXPECT_EQ(info.level, 0.5f);
    }
}

TEST(PitchSynthesizerWithoutNotes, IsOneSegmentOfTheWholeRecordingAtPitch60) {
    ScriptedRecording recording = RecordingOfNotes({});
    const VoiceOwner voice = recording.MakeVoice();
    ASSERT_EQ(voice->GetSegmentCount(), 1);
    SegmentInfo info;
    voice->GetSegmentInfo(0, &info);
    EXPECT_EQ(info.detectedPitch, 60.0f);
    EXPECT_EQ(info.targetPitch, 60.0f);
    EXPECT_EQ(info.sourceStart, 0.0);
    EXPECT_EQ(info.sourceEnd, 2.0);
    EXPECT_EQ(info.targetEnd, 2.0);
    EXPECT_EQ(info.noteEnd, 2.0);
    EXPECT_EQ(Inside(voice).GetSegment(0).firstMark, 0);
    EXPECT_EQ(Inside(voice).GetSegment(0).lastMark, 201);
}

TEST(PitchSynthesizerLeadIn, HasNoLengthWhenTheFirstNoteStartsAtZero) {
    ScriptedRecording recording = RecordingOfNotes({{62.0f, 0, 150}});
    const VoiceOwner voice = recording.MakeVoice();
    ASSERT_EQ(voice->GetSegmentCount(), 2);
    SegmentInfo info;
    voice->GetSegmentInfo(0, &info);
    EXPECT_EQ(info.targetEnd, 0.0);
    EXPECT_EQ(info.targetNoteEnd, 0.0);
    EXPECT_EQ(Inside(voice).GetSegment(0).lastMark, 0);
}

TEST_F(PitchSynthesizerSegments, ShowWhereTheNoteEndsInTheTarget) {
    EXPECT_FLOAT_EQ(static_cast<float>(Info(1).targetNoteEnd), 0.6f);
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    EXPECT_FLOAT_EQ(static_cast<float>(Info(1).targetNoteEnd), 1.2f);
    // The ratio has 32 bits only.
    const float ratio = static_cast<float>(0.6 - 0.2) / static_cast<float>(0.7 - 0.2);
    EXPECT_EQ(Info(1).targetNoteEnd, static_cast<double>(ratio) * (1.4 - 0.4) + 0.4);
}

TEST_F(PitchSynthesizerSegments, RefuseIndicesOutOfRange) {
    SegmentInfo info;
    double start = 1.0, end = 2.0;
    for (int32_t index : {-1, 4, 1000, std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(voice->RemoveSegment(index), 2);
        EXPECT_EQ(voice->SplitSegment(index, 0.1), 2);
        EXPECT_EQ(voice->MergeSegments(index, 0), 2);
        EXPECT_EQ(voice->MergeSegments(0, index), 2);
        EXPECT_EQ(voice->GetSegmentInfo(index, &info), 2);
        EXPECT_EQ(voice->SetSegmentInfo(index, info, true), 2);
        EXPECT_EQ(voice->SetSegmentTimes(index, &start, &end, true), 2);
        EXPECT_EQ(voice->GetSegmentTimes(index, &start, &end), 2);
        EXPECT_EQ(voice->SetSegmentParameter(index, SegmentGain, 0.5f), 2);
        EXPECT_EQ(voice->GetSegmentParameter(index, SegmentGain), 0.0f);
    }
    EXPECT_EQ(start, 1.0);
    EXPECT_EQ(end, 2.0);
    EXPECT_THAT(Borders(), testing::ElementsAre(0.0, 0.2, 0.2, 0.7, 0.7, 1.2, 1.2, 2.0));
}

TEST_F(PitchSynthesizerSegments, RefuseUnknownParameters) {
    for (int32_t which : {-1, 12, 100}) {
        EXPECT_EQ(voice->SetSegmentParameter(1, which, 0.5f), 1);
        EXPECT_EQ(voice->GetSegmentParameter(1, which), 0.0f);
        EXPECT_EQ(voice->SetSegmentParameter(99, which, 0.5f), 2);
    }
}

TEST_F(PitchSynthesizerSegments, KeepEveryParameterInItsPlace) {
    for (int32_t which = 0; which < 12; ++which) {
        ASSERT_EQ(voice->SetSegmentParameter(1, which, 0.03125f * static_cast<float>(which + 1)), 0);
    }
    for (int32_t which = 0; which < 12; ++which) {
        const float value = 0.03125f * static_cast<float>(which + 1);
        const float tolerance = which == SegmentFormantShift ? kFormantTolerance : 0.0f;
        EXPECT_NEAR(voice->GetSegmentParameter(1, which), value, tolerance) << which;
    }
    const SegmentInfo info = Info(1);
    EXPECT_EQ(info.targetPitch, 0.03125f);
    EXPECT_EQ(info.glideInShare, 2 * 0.03125f);
    EXPECT_EQ(info.glideOutShare, 3 * 0.03125f);
    EXPECT_EQ(info.glideInExtra, 4 * 0.03125f);
    EXPECT_EQ(info.glideOutExtra, 5 * 0.03125f);
    EXPECT_EQ(info.fadeInShare, 6 * 0.03125f);
    EXPECT_EQ(info.fadeOutShare, 7 * 0.03125f);
    EXPECT_EQ(info.fadeInLevel, 8 * 0.03125f);
    EXPECT_EQ(info.fadeOutLevel, 9 * 0.03125f);
    EXPECT_NEAR(info.formantShift, 10 * 0.03125f, kFormantTolerance);
    EXPECT_EQ(info.modulationKeep, 11 * 0.03125f);
    EXPECT_EQ(info.gain, 12 * 0.03125f);
}

TEST_F(PitchSynthesizerSegments, HoldSharesAtOne) {
    for (int32_t which :
         {SegmentGlideInShare, SegmentGlideOutShare, SegmentFadeInShare, SegmentFadeOutShare}) {
        EXPECT_EQ(voice->SetSegmentParameter(1, which, 2.5f), 0);
        EXPECT_EQ(voice->GetSegmentParameter(1, which), 1.0f);
    }
    SegmentInfo info = Info(2);
    info.glideInShare = info.glideOutShare = info.fadeInShare = info.fadeOutShare = 7.0f;
    voice->SetSegmentInfo(2, info, false);
    info = Info(2);
    EXPECT_EQ(info.glideInShare, 1.0f);
    EXPECT_EQ(info.glideOutShare, 1.0f);
    EXPECT_EQ(info.fadeInShare, 1.0f);
    EXPECT_EQ(info.fadeOutShare, 1.0f);
}

TEST_F(PitchSynthesizerSegments, KeepTheOffsetWithTheTarget) {
    voice->SetSegmentParameter(1, SegmentTargetPitch, 65.0f);
    EXPECT_EQ(Segment(1).pitchOffset, 4.75f);
    EXPECT_EQ(Segment(2).pitchOffset, 0.0f);
}

TEST_F(PitchSynthesizerSegments, ShowTheTargetPulledByThePitchCorrection) {
    voice->SetGlobalParameter(GlobalPitchCorrection, 1.0f);
    EXPECT_EQ(voice->GetSegmentParameter(1, SegmentTargetPitch), 60.0f);  // 60.25 lies nearest to 60
    EXPECT_EQ(voice->GetSegmentParameter(3, SegmentTargetPitch), 68.0f);  // 67.5 goes up
    voice->SetSegmentParameter(1, SegmentTargetPitch, 64.0f);
    EXPECT_EQ(voice->GetSegmentParameter(1, SegmentTargetPitch), 63.75f);
    voice->SetGlobalParameter(GlobalPitchCorrection, 0.5f);
    EXPECT_EQ(voice->GetSegmentParameter(1, SegmentTargetPitch), 63.875f);
    EXPECT_EQ(Info(1).targetPitch, 63.875f);
    EXPECT_EQ(Segment(1).targetPitch, 64.0f);
}

TEST_F(PitchSynthesizerSegments, AreRemovedAndLinkedAgain) {
    EXPECT_EQ(voice->RemoveSegment(1), 0);
    ASSERT_EQ(voice->GetSegmentCount(), 3);
    EXPECT_THAT(Borders(), testing::ElementsAre(0.0, 0.2, 0.7, 1.2, 1.2, 2.0));
    EXPECT_EQ(Segment(0).next, &Segment(1));
    EXPECT_EQ(Segment(1).previous, &Segment(0));
    EXPECT_EQ(voice->RemoveSegment(2), 0);
    EXPECT_EQ(Segment(1).next, nullptr);
}

TEST_F(PitchSynthesizerSegments, StayGoneUntilOneIsInserted) {
    const SegmentInfo info = Info(1);
    voice->ClearSegments();
    EXPECT_EQ(voice->GetSegmentCount(), 0);
    EXPECT_EQ(voice->RemoveSegment(0), 2);
    voice->InsertSegment(info);
    ASSERT_EQ(voice->GetSegmentCount(), 1);
    EXPECT_THAT(Borders(), testing::ElementsAre(0.2, 0.7));
    EXPECT_EQ(voice->GetDuration(), 0.7);
}

TEST_F(PitchSynthesizerSegments, AreInsertedBeforeTheFirstThatStartsLater) {
    SegmentInfo info = Info(2);
    info.targetStart = 0.7;  // an equal start goes after it
    info.targetEnd = 0.9;
    voice->InsertSegment(info);
    EXPECT_THAT(Borders(), testing::ElementsAre(0.0, 0.2, 0.2, 0.7, 0.7, 1.2, 0.7, 0.9, 1.2, 2.0));
    EXPECT_EQ(Segment(3).previous, &Segment(2));
    EXPECT_EQ(Segment(4).previous, &Segment(3));
    EXPECT_EQ(Segment(3).stretch, 2.5f);
    info.targetStart = -3.0;
    info.targetEnd = 5.0;
    voice->InsertSegment(info);
    EXPECT_EQ(Segment(0).targetStart, 0.0);
    EXPECT_EQ(Segment(0).targetEnd, 5.0);
    EXPECT_EQ(info.targetStart, -3.0);
}

TEST_F(PitchSynthesizerSegments, AreInsertedInScaledTime) {
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    SegmentInfo info = Info(1);
    info.targetStart = 1.0;  // before segment 2, which now starts at 1.4
    info.targetEnd = 1.2;
    voice->InsertSegment(info);
    EXPECT_EQ(Info(2).targetStart, 1.0);
    EXPECT_EQ(Segment(2).targetStart, 0.5);
    EXPECT_EQ(Info(3).targetStart, 1.4);
}

TEST_F(PitchSynthesizerSegments, HaveTimesHeldWithinTheNeighbours) {
    double start = 0.1, end = 1.5;
    EXPECT_EQ(voice->SetSegmentTimes(2, &start, &end, false), 0);
    EXPECT_EQ(start, 0.2);
    EXPECT_EQ(end, 1.5);
    EXPECT_EQ(Info(2).targetStart, 0.2);
    EXPECT_EQ(Info(2).targetEnd, 1.5);
    EXPECT_EQ(Segment(2).stretch, static_cast<float>(5000.0 / 13000.0));
    EXPECT_EQ(Info(1).targetEnd, 0.7);
    EXPECT_EQ(Info(3).targetStart, 1.2);
    end = 7.0;
    voice->SetSegmentTimes(2, &start, &end, false);
    EXPECT_EQ(end, 2.0);
}

TEST_F(PitchSynthesizerSegments, HaveNoLimitAtTheEndsOfTheListButZero) {
    double start = -1.0, end = 0.3;
    EXPECT_EQ(voice->SetSegmentTimes(0, &start, &end, false), 0);
    EXPECT_EQ(start, -1.0);
    EXPECT_EQ(Info(0).targetStart, 0.0);
    start = 1.3;
    end = 9.0;
    EXPECT_EQ(voice->SetSegmentTimes(3, &start, &end, false), 0);
    EXPECT_EQ(end, 9.0);
    EXPECT_EQ(voice->GetDuration(), 9.0);
}

TEST_F(PitchSynthesizerSegments, TakeTheirNeighboursAlongWhenAsked) {
    double start = 0.6, end = 1.3;
    EXPECT_EQ(voice->SetSegmentTimes(2, &start, &end, true), 0);
    EXPECT_THAT(Borders(), testing::ElementsAre(0.0, 0.2, 0.2, 0.6, 0.6, 1.3, 1.3, 2.0));
    ExpectStretch(Segment(1), 0.5, 0.4);
    ExpectStretch(Segment(3), 0.8, 0.7);
}

TEST_F(PitchSynthesizerSegments, TakeTimesAsTheyAreAfterTheTimeScale) {
    voice->SetGlobalParameter(GlobalTimeScale, 0.5f);
    double start = 0.25, end = 0.5;
    EXPECT_EQ(voice->SetSegmentTimes(1, &start, &end, false), 0);
    EXPECT_EQ(Segment(1).targetStart, 0.5);
    EXPECT_EQ(Segment(1).targetEnd, 1.0);
    ExpectStretch(Segment(1), 0.5, 0.5);
    voice->GetSegmentTimes(1, &start, &end);
    EXPECT_EQ(start, 0.25);
    EXPECT_EQ(end, 0.5);
}

TEST_F(PitchSynthesizerSegments, HaveStretchOneAtATargetWithoutLength) {
    double start = 0.5, end = 0.5;
    voice->SetSegmentTimes(1, &start, &end, false);
    EXPECT_EQ(Segment(1).stretch, 1.0f);
    end = 0.50005;  // half a sample
    voice->SetSegmentTimes(1, &start, &end, false);
    EXPECT_EQ(Segment(1).stretch, 1.0f);
    end = 0.3;  // backwards
    voice->SetSegmentTimes(1, &start, &end, false);
    EXPECT_EQ(Segment(1).stretch, 1.0f);
}

TEST_F(PitchSynthesizerSegments, ShowTheTimesTakenInTheRecordOfTheCaller) {
    const SegmentInfo before = Info(2);
    SegmentInfo info = before;
    info.targetStart = 0.1;
    info.targetEnd = 5.0;
    const SegmentInfo& constant = info;
    EXPECT_EQ(voice->SetSegmentInfo(2, constant, false), 0);
    EXPECT_EQ(info.targetStart, 0.2);
    EXPECT_EQ(info.targetEnd, 2.0);
    EXPECT_EQ(Info(2).targetStart, 0.2);
    EXPECT_EQ(Info(2).targetEnd, 2.0);
}

TEST_F(PitchSynthesizerSegments, AreFilledFromARecord) {
    SegmentInfo info = Info(1);
    info.modulationKeep = 0.5f;
    info.formantShift = 3.0f;
    info.gain = 0.75f;
    info.glideInShare = 0.11f;
    info.glideOutShare = 0.12f;
    info.glideInExtra = 0.13f;
    info.glideOutExtra = 0.14f;
    info.fadeInShare = 0.15f;
    info.fadeOutShare = 0.16f;
    info.fadeInLevel = 0.17f;
    info.fadeOutLevel = 0.18f;
    info.targetPitch = 71.0f;
    info.targetStart = 0.25;
    info.targetEnd = 0.5;
    info.targetNoteEnd = 99.0;
    info.detectedPitch = 69.0f;
    info.level = 99.0f;
    info.sourceStart = 0.302;  // nearest to mark 30
    info.sourceEnd = 0.698;    // nearest to mark 70
    info.noteEnd = 99.0;
    ASSERT_EQ(voice->SetSegmentInfo(1, info, false), 0);

    const SegmentInfo now = Info(1);
    EXPECT_EQ(now.modulationKeep, 0.5f);
    EXPECT_NEAR(now.formantShift, 3.0f, kFormantTolerance);
    EXPECT_FLOAT_EQ(Segment(1).formantRatio, std::pow(2.0f, 0.25f));
    EXPECT_EQ(now.gain, 0.75f);
    EXPECT_EQ(now.glideInShare, 0.11f);
    EXPECT_EQ(now.glideOutShare, 0.12f);
    EXPECT_EQ(now.glideInExtra, 0.13f);
    EXPECT_EQ(now.glideOutExtra, 0.14f);
    EXPECT_EQ(now.fadeInShare, 0.15f);
    EXPECT_EQ(now.fadeOutShare, 0.16f);
    EXPECT_EQ(now.fadeInLevel, 0.17f);
    EXPECT_EQ(now.fadeOutLevel, 0.18f);
    EXPECT_EQ(now.targetPitch, 71.0f);
    EXPECT_EQ(Segment(1).pitchOffset, 2.0f);
    EXPECT_EQ(now.targetStart, 0.25);
    EXPECT_EQ(now.targetEnd, 0.5);
    EXPECT_EQ(now.detectedPitch, 69.0f);
    EXPECT_EQ(now.sourceStart, 0.302);
    EXPECT_EQ(now.sourceEnd, 0.698);
    EXPECT_EQ(Segment(1).firstMark, 30);
    EXPECT_EQ(Segment(1).lastMark, 70);
    ExpectStretch(Segment(1), 0.396, 0.25);
    EXPECT_EQ(now.level, 0.5f);    // measured
    EXPECT_EQ(now.noteEnd, 0.69);  // found: mark 70 is voiced, mark 69 is not
}

TEST_F(PitchSynthesizerSegments, EndTheirNoteAtTheFirstUnvoicedMarkBackFromTheirEnd) {
    SegmentInfo info = Info(1);
    info.sourceEnd = 0.65;  // unvoiced there
    voice->SetSegmentInfo(1, info, false);
    EXPECT_EQ(Info(1).noteEnd, 0.65);
    info.sourceStart = 0.3;
    info.sourceEnd = 0.5;  // voiced all the way back to the start
    voice->SetSegmentInfo(1, info, false);
    EXPECT_EQ(Info(1).noteEnd, 0.3);
}

TEST_F(PitchSynthesizerSegments, AreSplitInTwo) {
    voice->SetSegmentParameter(1, SegmentTargetPitch, 62.0f);
    voice->SetSegmentParameter(1, SegmentGain, 0.5f);
    ASSERT_EQ(voice->SplitSegment(1, 0.125), 0);
    ASSERT_EQ(voice->GetSegmentCount(), 5);
    const SegmentInfo first = Info(1), second = Info(2);
    EXPECT_EQ(first.targetStart, 0.2);
    EXPECT_EQ(first.targetEnd, 0.325);
    EXPECT_EQ(second.targetStart, 0.325);
    EXPECT_EQ(second.targetEnd, 0.7);
    EXPECT_EQ(first.sourceStart, 0.2);
    EXPECT_EQ(first.sourceEnd, 0.325);
    EXPECT_EQ(second.sourceStart, 0.325);
    EXPECT_EQ(second.sourceEnd, 0.7);
    EXPECT_EQ(Segment(1).stretch, 1.0f);
    EXPECT_EQ(Segment(2).stretch, 1.0f);
    for (const SegmentInfo& half : {first, second}) {
        EXPECT_EQ(half.targetPitch, 62.0f);
        EXPECT_EQ(half.detectedPitch, 60.25f);
        EXPECT_EQ(half.gain, 0.5f);
    }
    EXPECT_EQ(Info(3).targetStart, 0.7);
    EXPECT_EQ(Segment(1).next, &Segment(2));
    EXPECT_EQ(Segment(2).next, &Segment(3));
}

TEST_F(PitchSynthesizerSegments, AreNotSplitBehindTheirEnd) {
    EXPECT_EQ(voice->SplitSegment(1, 0.51), 1);
    EXPECT_EQ(voice->SplitSegment(1, std::numeric_limits<double>::infinity()), 1);
    EXPECT_EQ(voice->SplitSegment(1, std::numeric_limits<double>::quiet_NaN()), 1);
    EXPECT_EQ(voice->GetSegmentCount(), 4);
    EXPECT_EQ(voice->SplitSegment(0, 0.2), 0);  // right at the end
    EXPECT_EQ(voice->GetSegmentCount(), 5);
}

TEST_F(PitchSynthesizerSegments, LeaveAFirstHalfWithoutLengthWhenSplitAtTheirStart) {
    ASSERT_EQ(voice->SplitSegment(2, 0.0), 0);
    ASSERT_EQ(voice->GetSegmentCount(), 5);
    EXPECT_EQ(Info(2).targetStart, 0.7);
    EXPECT_EQ(Info(2).targetEnd, 0.7);
    EXPECT_EQ(Segment(2).stretch, 1.0f);
    EXPECT_EQ(Info(3).targetStart, 0.7);
    EXPECT_EQ(Info(3).targetEnd, 1.2);
    EXPECT_EQ(Segment(3).stretch, 1.0f);
}

TEST_F(PitchSynthesizerSegments, ReckonTheSplitInTheSourceFromTheTargetStart) {
    double start = 0.4, end = 0.65;  // half as long and moved
    voice->SetSegmentTimes(1, &start, &end, false);
    ExpectStretch(Segment(1), 0.5, 0.25);
    const float stretch = Segment(1).stretch;
    ASSERT_EQ(voice->SplitSegment(1, 0.1), 0);
    const double split = 0.4 + 0.1 / static_cast<double>(stretch);
    EXPECT_EQ(Info(1).sourceEnd, split);
    EXPECT_EQ(Info(2).sourceStart, split);
    EXPECT_EQ(Info(1).targetEnd, 0.5);
}

TEST_F(PitchSynthesizerSegments, SplitInScaledTime) {
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    ASSERT_EQ(voice->SplitSegment(1, 0.25), 0);
    EXPECT_EQ(Segment(2).targetStart, (0.4 + 0.25) / 2.0);
    EXPECT_EQ(Info(2).sourceStart, 0.4 + 0.25 / 0.5);
}

TEST_F(PitchSynthesizerSegments, AreMergedWithTheNext) {
    voice->SetSegmentParameter(1, SegmentTargetPitch, 62.0f);
    ASSERT_EQ(voice->MergeSegments(1, 2), 0);
    ASSERT_EQ(voice->GetSegmentCount(), 3);
    EXPECT_THAT(Borders(), testing::ElementsAre(0.0, 0.2, 0.2, 1.2, 1.2, 2.0));
    EXPECT_EQ(Info(1).sourceEnd, 1.2);
    EXPECT_EQ(Info(1).targetPitch, 62.0f);
    EXPECT_EQ(Info(1).noteEnd, 1.19);  // mark 120 belongs to the next note
    EXPECT_EQ(Segment(1).lastMark, 120);
    EXPECT_EQ(Segment(1).next, &Segment(2));
    EXPECT_EQ(Segment(2).previous, &Segment(1));
}

TEST_F(PitchSynthesizerSegments, UndoASplitWhenMerged) {
    const SegmentInfo before = Info(1);
    voice->SplitSegment(1, 0.2);
    ASSERT_EQ(voice->MergeSegments(1, 2), 0);
    EXPECT_EQ(voice->GetSegmentCount(), 4);
    EXPECT_EQ(Info(1).sourceStart, before.sourceStart);
    EXPECT_EQ(Info(1).sourceEnd, before.sourceEnd);
    EXPECT_EQ(Info(1).targetEnd, before.targetEnd);
    EXPECT_EQ(Segment(1).firstMark, 20);
    EXPECT_EQ(Segment(1).lastMark, 70);
}

TEST_F(PitchSynthesizerSegments, LoseTheMergedOneWhenTheHigherIndexIsPassedFirst) {
    ASSERT_EQ(voice->MergeSegments(2, 1), 0);
    EXPECT_THAT(Borders(), testing::ElementsAre(0.0, 0.2, 0.7, 1.2, 1.2, 2.0));
}

TEST_F(PitchSynthesizerSegments, AreMergedOnlyWithANeighbour) {
    EXPECT_EQ(voice->MergeSegments(0, 2), 1);
    EXPECT_EQ(voice->MergeSegments(3, 0), 1);
    EXPECT_EQ(voice->MergeSegments(1, 1), 1);
    EXPECT_EQ(voice->GetSegmentCount(), 4);
}

TEST_F(PitchSynthesizerSegments, MoveByWholeSemitonesOntoAScale) {
    voice->SetSegmentParameter(0, SegmentTargetPitch, 61.0f);
    voice->SetSegmentParameter(1, SegmentTargetPitch, 62.4f);
    voice->SetSegmentParameter(2, SegmentTargetPitch, 65.6f);
    voice->SetSegmentParameter(3, SegmentTargetPitch, 71.9f);
    ASSERT_EQ(voice->QuantizeToScale({0, 4, 7}), 0);
    EXPECT_FLOAT_EQ(Segment(0).targetPitch, 60.0f);
    EXPECT_FLOAT_EQ(Segment(1).targetPitch, 64.4f);  // 1.6 below E: two semitones
    EXPECT_FLOAT_EQ(Segment(2).targetPitch, 66.6f);  // 1.4 below G, 1.6 above E: one semitone
    EXPECT_FLOAT_EQ(Segment(3).targetPitch, 66.9f);  // G, not the C above
    EXPECT_FLOAT_EQ(Segment(1).pitchOffset, 64.4f - 60.25f);
}

TEST_F(PitchSynthesizerSegments, PreferTheFirstOfTwoEquallyNearClasses) {
    voice->SetSegmentParameter(1, SegmentTargetPitch, 62.0f);
    ASSERT_EQ(voice->QuantizeToScale({4, 0}), 0);
    EXPECT_EQ(Segment(1).targetPitch, 64.0f);
    voice->SetSegmentParameter(1, SegmentTargetPitch, 62.0f);
    ASSERT_EQ(voice->QuantizeToScale({0, 4}), 0);
    EXPECT_EQ(Segment(1).targetPitch, 60.0f);
}

TEST_F(PitchSynthesizerSegments, QuantiseTheCorrectedTarget) {
    voice->SetGlobalParameter(GlobalPitchCorrection, 1.0f);
    voice->SetSegmentParameter(1, SegmentTargetPitch, 62.25f);  // shown as 62
    ASSERT_EQ(voice->QuantizeToScale({1}), 0);
    EXPECT_EQ(Segment(1).targetPitch, 61.0f);
}

TEST_F(PitchSynthesizerSegments, QuantiseTargetsBelowPitchZeroInTheirOwnOctave) {
    voice->SetSegmentParameter(1, SegmentTargetPitch, -1.5f);
    ASSERT_EQ(voice->QuantizeToScale({0, 4, 7}), 0);
    EXPECT_EQ(Segment(1).targetPitch, -5.5f);  // 3.5 above G: four semitones
}

TEST_F(PitchSynthesizerSegments, RefuseScalesOfNoneOrAllClasses) {
    EXPECT_EQ(voice->QuantizeToScale({}), 1);
    EXPECT_EQ(voice->QuantizeToScale({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}), 1);
    EXPECT_EQ(voice->QuantizeToScale({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}), 0);
}

TEST_F(PitchSynthesizerSegments, StayWhereNoClassIsNear) {
    ASSERT_EQ(voice->QuantizeToScale({40, -30}), 0);
    EXPECT_EQ(Segment(1).targetPitch, 60.25f);
}

TEST_F(PitchSynthesizerSegments, AreSetTogetherOnlyWhereAllOfThemAre) {
    EXPECT_EQ(voice->SetSegmentParameters(-1, 4, SegmentGain, 0.5f), 2);
    EXPECT_EQ(voice->SetSegmentParameters(0, 5, SegmentGain, 0.5f), 2);
    EXPECT_EQ(voice->SetSegmentParameters(3, 2, SegmentGain, 0.5f), 2);
    EXPECT_EQ(voice->SetSegmentParameters(0, 4, -1, 0.5f), 1);
    EXPECT_EQ(voice->SetSegmentParameters(0, 4, kSegmentParameters, 0.5f), 1);
    EXPECT_EQ(voice->SetSegmentParameters(2, 2, SegmentGain, 0.5f), 0);
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(voice->GetSegmentParameter(i, SegmentGain), 1.0f);
    }
    EXPECT_EQ(voice->SetSegmentParameters(1, 3, SegmentGain, 0.5f), 0);
    const float gains[] = {1.0f, 0.5f, 0.5f, 1.0f};
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(voice->GetSegmentParameter(i, SegmentGain), gains[i]);
    }
}

// Whenever the segments get what they were given, and whatever else is done to them.
TEST(PitchSynthesizerSegmentsTogether, AreSegmentsSetOneByOne) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        std::mt19937 random(seed);
        const auto below = [&](int32_t n) {
            return static_cast<int32_t>(random() % static_cast<uint32_t>(n));
        };
        ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
        const VoiceOwner together = recording.MakeVoice();
        const VoiceOwner single = recording.MakeVoice();
        const auto both = [&](auto edit) {
            edit(*together);
            edit(*single);
        };
        for (int step = 0; step < 80; ++step) {
            SCOPED_TRACE(testing::Message() << seed << " " << step);
            const int32_t count = single->GetSegmentCount();
            const int32_t index = count > 0 ? below(count) : 0;
            const int32_t which = below(kSegmentParameters);
            const float value = which == SegmentTargetPitch ? 55.0f + static_cast<float>(below(20))
                                                            : 0.25f * static_cast<float>(below(5));
            const double seconds = 0.01 * below(220);
            switch (below(14)) {
                case 0:
                    both([&](auto& voice) { voice.SplitSegment(index, 0.05); });
                    break;
                case 1:
                    if (count > 2) {
                        both([&](auto& voice) { voice.MergeSegments(index, index + 1); });
                    }
                    break;
                case 2:
                    if (below(4) == 0) {
                        both([&](auto& voice) { voice.Reset(); });
                    }
                    break;
                case 3:
                    if (below(3) == 0) {
                        both([&](auto& voice) { voice.QuantizeToScale({0, 4, 7}); });
                    }
                    break;
                case 4:
                    both([&](auto& voice) { voice.SetSegmentParameter(index, which, value); });
                    break;
                case 5:
                    both([&](auto& voice) {
                        SegmentInfo info;
                        if (voice.GetSegmentInfo(index, &info) != 0) {
                            return;
                        }
                        info.gain *= 0.5f;
                        voice.SetSegmentInfo(index, info, true);
                    });
                    break;
                case 6:
                    if (count > 2 && below(4) == 0) {
                        both([&](auto& voice) { voice.RemoveSegment(index); });
                    }
                    break;
                case 7:
                    both([&](auto& voice) { voice.SetPosition(seconds); });
                    break;
                case 8:
                    ASSERT_EQ(together->GetOutputPitchAt(seconds), single->GetOutputPitchAt(seconds));
                    ASSERT_EQ(together->GetOutputGainAt(seconds), single->GetOutputGainAt(seconds));
                    break;
                case 9:
                case 10: {
                    const int32_t frames = 1 + below(4000);
                    ASSERT_EQ(Render(*together, 1, frames), Render(*single, 1, frames));
                    break;
                }
                default: {
                    const int32_t end = below(4) == 0 ? below(count + 1) : count;
                    const int32_t first = below(end + 1);
                    ASSERT_EQ(together->SetSegmentParameters(first, end, which, value), 0);
                    for (int32_t i = first; i < end; ++i) {
                        single->SetSegmentParameter(i, which, value);
                    }
                }
            }
        }
        for (int32_t i = 0; i < single->GetSegmentCount(); ++i) {
            for (int32_t which = 0; which < kSegmentParameters; ++which) {
                ASSERT_EQ(together->GetSegmentParameter(i, which), single->GetSegmentParameter(i, which));
            }
        }
    }
}

}  // namespace

}  // namespace mlh
