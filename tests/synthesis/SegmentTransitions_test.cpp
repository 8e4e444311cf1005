// Measured glides, and how pitch and gain move inside a segment.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "support/ScriptedVoice.h"

namespace mlh {

namespace {

// Marks stand every 100 samples at 12.8 kHz, so that their times are exact in binary and a transition may
// last 9.6 marks. The note under test reaches from mark 20 to mark 70, where the next one starts.
constexpr int32_t kRate = 12800;
constexpr int32_t kFirst = 20;
constexpr int32_t kNext = 70;
constexpr double kMarkSeconds = 1.0 / 128.0;
constexpr double kSemitones = 2e-5;  // sums of pitches near 60, whose steps are 4e-6
constexpr double kGain = 1e-6;       // products of a few 32-bit numbers up to 1

struct Contour {
    float pitch = 60.0f;
    bool voiced = true;
    float energy = 0.25f;
};

// `shape` gives the marks; notes of 60 from mark 20 on and of 64 from mark 70 on.
ScriptedRecording RecordingOf(const std::function<Contour(int32_t)>& shape) {
    std::vector<ScriptedMark> marks;
    for (int32_t i = 0; i <= 200; ++i) {
        const Contour contour = shape(i);
        marks.push_back({100 * i, contour.pitch, contour.voiced, contour.energy});
    }
    return {{std::vector<float>(20000, 0.5f)}, kRate, marks, {{60.0f, kFirst, kNext}, {64.0f, kNext, 150}}};
}

// The shares, in marks, of the note under test.
float MeasuredIn(const std::function<Contour(int32_t)>& shape) {
    ScriptedRecording recording = RecordingOf(shape);
    return recording.MakeVoice()->GetSegmentParameter(1, SegmentGlideInShare) *
           static_cast<float>(kNext - kFirst);
}
float MeasuredOut(const std::function<Contour(int32_t)>& shape) {
    ScriptedRecording recording = RecordingOf(shape);
    return recording.MakeVoice()->GetSegmentParameter(1, SegmentGlideOutShare) *
           static_cast<float>(kNext - kFirst);
}

// 60 but for some marks from `first` on.
std::function<Contour(int32_t)> Pitches(int32_t first, std::vector<Contour> contour,
                                        float elsewhere = 60.0f) {
    return [=](int32_t i) {
        const bool inside = i >= first && i < first + static_cast<int32_t>(contour.size());
        return inside ? contour[i - first] : Contour{elsewhere};
    };
}

TEST(MeasuredGlideIn, EndsAtTheFarEndOfTheFirstOvershoot) {
    // Crosses 60 between marks 22 and 23, is farthest above at 24, comes back.
    EXPECT_FLOAT_EQ(MeasuredIn(Pitches(kFirst, {{58}, {59}, {59.6f}, {60.2f}, {60.4f}, {60.1f}})), 3.0f);
}

TEST(MeasuredGlideIn, EndsBeforeTheCrossingWhenThereIsNoOvershoot) {
    EXPECT_FLOAT_EQ(MeasuredIn(Pitches(kFirst, {{61}, {60.5f}, {59.9f}, {59.95f}})), 1.0f);
}

TEST(MeasuredGlideIn, CountsTheExactPitchAsAbove) {
    // Touching 60 from above is no crossing, so only the longest time ends it, at mark 30.
    EXPECT_FLOAT_EQ(MeasuredIn(Pitches(kFirst, {{62}, {61}, {60}, {60.5f}, {60.2f}})), 9.0f);
    // Touching it from below is one, and 60.5 the overshoot.
    EXPECT_FLOAT_EQ(MeasuredIn(Pitches(kFirst, {{58}, {59}, {60}, {60.5f}, {60.2f}})), 2.0f);
}

TEST(MeasuredGlideIn, IsNoLongerThan75Milliseconds) {
    EXPECT_FLOAT_EQ(MeasuredIn(Pitches(kFirst, {}, 59.5f)), 9.0f);
}

TEST(MeasuredGlideIn, IsNoLongerThanAQuarterOfAShortNote) {
    ScriptedRecording recording({std::vector<float>(20000)}, kRate,
                                [] {
                                    std::vector<ScriptedMark> marks;
                                    for (int32_t i = 0; i <= 200; ++i) {
                                        marks.push_back({100 * i, 59.5f});
                                    }
                                    return marks;
                                }(),
                                {{60.0f, 20, 36}, {60.0f, 36, 180}});
    const float share = recording.MakeVoice()->GetSegmentParameter(1, SegmentGlideInShare);
    EXPECT_FLOAT_EQ(share * 16.0f, 3.0f);  // 4 marks are not below a quarter of 16
}

TEST(MeasuredGlideIn, WalksOverUnvoicedMarksHoweverMany) {
    const Contour silent{0.0f, false};
    std::vector<Contour> contour(12, silent);
    contour.push_back({60.3f});
    contour.push_back({60.1f});
    EXPECT_FLOAT_EQ(MeasuredIn(Pitches(kFirst, contour)), 11.0f);
}

TEST(MeasuredGlideOut, StartsWhereThePitchTurnsAway) {
    // Back from the next note at 64: below 60 at mark 66, nearer at 65.
    EXPECT_FLOAT_EQ(MeasuredOut(Pitches(64, {{60}, {59.95f}, {59.9f}, {60.5f}, {61.5f}, {63}, {64}})), 3.0f);
    // One mark farther back when that lies farther off.
    EXPECT_FLOAT_EQ(MeasuredOut(Pitches(64, {{59.95f}, {59.8f}, {59.9f}, {60.5f}, {61.5f}, {63}, {64}})),
                    4.0f);
}

TEST(MeasuredGlideOut, IsNoLongerThan75Milliseconds) {
    EXPECT_FLOAT_EQ(MeasuredOut(Pitches(kFirst, {}, 60.5f)), 9.0f);
}

TEST(MeasuredGlideOut, WalksOverUnvoicedMarksHoweverMany) {
    std::vector<Contour> contour(14, Contour{0.0f, false});
    EXPECT_FLOAT_EQ(MeasuredOut(Pitches(56, contour, 60.1f)), 14.0f);
}

TEST(MeasuredGlideOut, IsZeroInARecordingWithoutNotesOrLength) {
    ScriptedRecording recording({std::vector<float>()}, kRate, {{0, 0.0f, false}}, {});
    const VoiceOwner voice = recording.MakeVoice();
    EXPECT_EQ(voice->GetSegmentParameter(0, SegmentGlideInShare), 0.0f);
    EXPECT_EQ(voice->GetSegmentParameter(0, SegmentGlideOutShare), 0.0f);
}

TEST(MeasuredGlides, AreSharesOfTheTargetLengthHeldAtOne) {
    ScriptedRecording recording = RecordingOf(Pitches(kFirst, {}, 59.5f));
    const VoiceOwner voice = recording.MakeVoice();
    for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
        EXPECT_GE(voice->GetSegmentParameter(i, SegmentGlideInShare), 0.0f);
        EXPECT_LE(voice->GetSegmentParameter(i, SegmentGlideInShare), 1.0f);
        EXPECT_GE(voice->GetSegmentParameter(i, SegmentGlideOutShare), 0.0f);
        EXPECT_LE(voice->GetSegmentParameter(i, SegmentGlideOutShare), 1.0f);
    }
}

TEST(MeasuredLevel, IsTheMeanRootOfTheEnergies) {
    ScriptedRecording recording = RecordingOf([](int32_t i) {
        return Contour{60.0f, true, i % 2 == 0 ? 0.04f : 0.16f};
    });
    SegmentInfo info;
    recording.MakeVoice()->GetSegmentInfo(1, &info);
    EXPECT_NEAR(info.level, 0.3f, 50 * 6e-8f);  // fifty roundings of the sum
}

// A voice over two touching notes of 60 and 64, the measured glides taken away.
class Transitions : public testing::Test {
  protected:
    static constexpr float kGlideShare = 0.2f;  // ten marks of the note under test

    // The pitch of each mark, its vibrato left alone.
    static float Sung(int32_t mark) {
        return (mark < kNext ? 60.0f : 64.0f) + 0.3f * std::sin(0.7f * static_cast<float>(mark));
    }
    Transitions() {
        for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
            voice->SetSegmentParameter(i, SegmentGlideInShare, 0.0f);
            voice->SetSegmentParameter(i, SegmentGlideOutShare, 0.0f);
        }
        voice->SetSegmentParameter(1, SegmentTargetPitch, 62.0f);  // 2 up
        voice->SetSegmentParameter(2, SegmentTargetPitch, 63.0f);  // 1 down
    }
    // Semitones between a mark and what is sung there, right on the mark.
    double Shift(int32_t mark, double timeScale = 1.0) {
        return voice->GetOutputPitchAt(mark * kMarkSeconds * timeScale) - Sung(mark);
    }

    float GainOn(int32_t mark, double timeScale = 1.0) {
        return voice->GetOutputGainAt(mark * kMarkSeconds * timeScale);
    }

    ScriptedRecording recording = RecordingOf([](int32_t i) { return Contour{Sung(i)}; });
    VoiceOwner voice = recording.MakeVoice();
};

TEST_F(Transitions, LeaveTheOffsetAloneWithoutGlides) {
    for (int32_t mark : {21, 40, 69}) {
        EXPECT_NEAR(Shift(mark), 2.0, kSemitones);
    }
    for (int32_t mark : {71, 100, 149}) {
        EXPECT_NEAR(Shift(mark), -1.0, kSemitones);
    }
}

TEST_F(Transitions, MeetHalfwayAtTheBorderOfVoicedNeighbours) {
    voice->SetSegmentParameter(1, SegmentGlideOutShare, kGlideShare);
    voice->SetSegmentParameter(2, SegmentGlideInShare, 5.0f / 130.0f);  // five of its marks
    EXPECT_NEAR(Shift(59), 2.0, kSemitones);
    EXPECT_NEAR(Shift(60), 2.0, kSemitones);
    EXPECT_NEAR(Shift(65), 2.0 - 0.75, kSemitones);
    EXPECT_NEAR(Shift(70), 0.5, kSemitones);
    EXPECT_NEAR(Shift(75), -1.0, kSemitones);
    // From the other side of the border, which both segments share.
    EXPECT_NEAR(PitchShiftAt(Inside(voice).GetSegment(2), Inside(voice).GetSettings(), 70, 0.0), 0.5,
                kSemitones);
    EXPECT_NEAR(PitchShiftAt(Inside(voice).GetSegment(2), Inside(voice).GetSettings(), 70, 250.0), -0.25,
                kSemitones);
}

TEST_F(Transitions, AddTheExtraAtTheOuterEndOfTheGlide) {
    voice->SetSegmentParameter(1, SegmentGlideInShare, kGlideShare);
    voice->SetSegmentParameter(1, SegmentGlideInExtra, -3.0f);
    // The lead-in is voiced and at offset 0, so the glide starts halfway there, and 3 lower.
    EXPECT_NEAR(PitchShiftAt(Inside(voice).GetSegment(1), Inside(voice).GetSettings(), 20, 0.0), 1.0 - 3.0,
                kSemitones);
    EXPECT_NEAR(Shift(25), 2.0 - 2.0, kSemitones);
    EXPECT_NEAR(Shift(30), 2.0, kSemitones);
    voice->SetSegmentParameter(1, SegmentGlideOutShare, kGlideShare);
    voice->SetSegmentParameter(1, SegmentGlideOutExtra, 4.0f);
    EXPECT_NEAR(Shift(60), 2.0, kSemitones);
    EXPECT_NEAR(Shift(65), 2.0 + (4.0 - 1.5) / 2.0, kSemitones);
}

TEST_F(Transitions, DoNotReachBeyondTheFirstAndTheLastSegment) {
    voice->SetSegmentParameter(0, SegmentGlideInShare, 1.0f);
    voice->SetSegmentParameter(0, SegmentGlideInExtra, 5.0f);
    voice->SetSegmentParameter(2, SegmentGlideOutShare, 1.0f);
    voice->SetSegmentParameter(2, SegmentGlideOutExtra, 5.0f);
    EXPECT_NEAR(Shift(3), 0.0, kSemitones);
    EXPECT_NEAR(Shift(150), -1.0, kSemitones);
}

TEST_F(Transitions, FollowTheTimeScaleInTheGlideOut) {
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    voice->SetSegmentParameter(1, SegmentGlideOutShare, kGlideShare);
    EXPECT_NEAR(Shift(59, 2.0), 2.0, kSemitones);
    EXPECT_NEAR(Shift(65, 2.0), 2.0 - 0.75, kSemitones);
    EXPECT_NEAR(Shift(70, 2.0), 0.5, kSemitones);
}

TEST_F(Transitions, KeepTheLengthOfTheGlideInButNotItsSlopeInScaledTime) {
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    voice->SetSegmentParameter(1, SegmentGlideInShare, kGlideShare);
    const SynthSegment& segment = Inside(voice).GetSegment(1);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 20, 0.0), 1.0, kSemitones);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 22, 500.0), 1.25, kSemitones);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 24, 999.0), 1.4995, kSemitones);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 25, 1000.0), 2.0, kSemitones);
}

TEST_F(Transitions, GoHalfTheirWayInANoteOfTwiceItsLength) {
    const SynthSegment& segment = Inside(voice).GetSegment(1);
    double start = segment.targetStart, end = start + 2.0 * (segment.targetEnd - segment.targetStart);
    ASSERT_EQ(voice->SetSegmentTimes(1, &start, &end, false), 0);
    ASSERT_EQ(segment.stretch, 0.5f);
    // 10000 samples. Each transition lasts its share of them, but runs as slowly as the source.
    voice->SetSegmentParameter(1, SegmentGlideInShare, kGlideShare);
    voice->SetSegmentParameter(1, SegmentGlideOutShare, kGlideShare);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 20, 0.0), 1.0, kSemitones);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 25, 1000.0), 1.25, kSemitones);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 45, 5000.0), 2.0, kSemitones);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 65, 9000.0), 2.0 - 0.375, kSemitones);
    EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), 70, 10000.0), 2.0 - 0.75, kSemitones);
    voice->SetSegmentParameter(1, SegmentFadeInShare, 0.4f);
    voice->SetSegmentParameter(1, SegmentFadeInLevel, 0.25f);
    voice->SetSegmentParameter(1, SegmentFadeOutShare, 0.4f);
    voice->SetSegmentParameter(1, SegmentFadeOutLevel, 0.0f);
    EXPECT_NEAR(GainAt(segment, Inside(voice).GetSettings(), 2000.0), 0.25 + 0.75 * 0.25, kGain);
    EXPECT_NEAR(GainAt(segment, Inside(voice).GetSettings(), 3999.0), 0.25 + 0.75 * 0.499875, kGain);
    EXPECT_EQ(GainAt(segment, Inside(voice).GetSettings(), 4000.0), 1.0f);
    EXPECT_NEAR(GainAt(segment, Inside(voice).GetSettings(), 8000.0), 0.75, kGain);
    EXPECT_NEAR(GainAt(segment, Inside(voice).GetSettings(), 10000.0), 0.5, kGain);
}

TEST_F(Transitions, FlattenTheSteadyMiddleOntoTheTarget) {
    voice->SetSegmentParameter(1, SegmentModulationKeep, 0.0f);
    for (int32_t mark : {25, 40, 69}) {
        EXPECT_NEAR(voice->GetOutputPitchAt(mark * kMarkSeconds), 62.0, kSemitones);
    }
    voice->SetSegmentParameter(1, SegmentModulationKeep, 0.5f);
    EXPECT_NEAR(voice->GetOutputPitchAt(40 * kMarkSeconds), 62.0 + 0.5 * (Sung(40) - 60.0), kSemitones);
    voice->SetGlobalParameter(GlobalModulationKeepScale, 0.5f);
    EXPECT_NEAR(voice->GetOutputPitchAt(40 * kMarkSeconds), 62.0 + 0.25 * (Sung(40) - 60.0), kSemitones);
}

TEST_F(Transitions, StayNaturalWhereTheMiddleIsFlattened) {
    voice->SetSegmentParameter(0, SegmentTargetPitch, 62.0f);  // no glide of offsets
    voice->SetSegmentParameter(1, SegmentModulationKeep, 0.0f);
    voice->SetSegmentParameter(1, SegmentGlideInShare, kGlideShare);
    const auto pitchWithNaturalShare = [](int32_t mark, double share) {
        return 62.0 + share * (Sung(mark) - 60.0);
    };
    for (int32_t mark : {21, 25, 28, 30, 40}) {
        const double share = std::max(1.0 - (mark - 20) / 10.0, 0.0);
        EXPECT_NEAR(voice->GetOutputPitchAt(mark * kMarkSeconds), pitchWithNaturalShare(mark, share),
                    kSemitones);
    }
    voice->SetGlobalParameter(GlobalTransitionScale, 0.5f);
    for (int32_t mark : {21, 24, 25, 28}) {
        const double share = std::max(1.0 - (mark - 20) / 5.0, 0.0);
        EXPECT_NEAR(voice->GetOutputPitchAt(mark * kMarkSeconds), pitchWithNaturalShare(mark, share),
                    kSemitones);
    }
    voice->SetGlobalParameter(GlobalTransitionScale, 0.0f);
    EXPECT_NEAR(voice->GetOutputPitchAt(21 * kMarkSeconds), 62.0, kSemitones);
}

TEST_F(Transitions, StayNaturalForTwiceTheirShareInANoteOfTwiceItsLength) {
    const SynthSegment& segment = Inside(voice).GetSegment(1);
    double start = segment.targetStart, end = start + 2.0 * (segment.targetEnd - segment.targetStart);
    ASSERT_EQ(voice->SetSegmentTimes(1, &start, &end, false), 0);
    voice->SetSegmentParameter(0, SegmentTargetPitch, 62.0f);  // no glide of offsets
    voice->SetSegmentParameter(1, SegmentModulationKeep, 0.0f);
    voice->SetSegmentParameter(1, SegmentGlideInShare, kGlideShare);  // 2000 of 10000 samples
    const auto shiftWithNaturalShare = [](int32_t mark, double share) {
        return 2.0 - (1.0 - share) * (Sung(mark) - 60.0);
    };
    for (int32_t mark : {21, 25, 28, 35, 39, 40, 50}) {
        const double offset = 200.0 * (mark - kFirst);
        const double share = std::max(1.0 - 0.5 * offset / 2000.0, 0.0);
        EXPECT_NEAR(PitchShiftAt(segment, Inside(voice).GetSettings(), mark, offset),
                    shiftWithNaturalShare(mark, share), kSemitones)
            << mark;
    }
}

TEST(TransitionsAtAPause, KeepTheOffsetOfEachNote) {
    ScriptedRecording recording = RecordingOf([](int32_t i) { return Contour{60.0f, i < 65 || i >= kNext}; });
    const VoiceOwner voice = recording.MakeVoice();
    voice->SetSegmentParameter(1, SegmentTargetPitch, 62.0f);
    voice->SetSegmentParameter(1, SegmentGlideOutShare, 0.2f);
    voice->SetSegmentParameter(2, SegmentGlideInShare, 0.2f);
    EXPECT_NEAR(PitchShiftAt(Inside(voice).GetSegment(1), Inside(voice).GetSettings(), 64, 4999.0), 2.0,
                kSemitones);
    EXPECT_NEAR(PitchShiftAt(Inside(voice).GetSegment(2), Inside(voice).GetSettings(), 70, 0.0), 0.0,
                kSemitones);
    voice->SetSegmentParameter(1, SegmentGlideOutExtra, -1.0f);
    EXPECT_NEAR(PitchShiftAt(Inside(voice).GetSegment(1), Inside(voice).GetSettings(), 64, 5000.0), 1.0,
                kSemitones);
}

TEST_F(Transitions, FadeInFromTheLevelOfTheOuterEnd) {
    voice->SetSegmentParameter(1, SegmentGain, 0.5f);
    voice->SetSegmentParameter(1, SegmentFadeInShare, 0.4f);  // twenty marks
    voice->SetSegmentParameter(1, SegmentFadeInLevel, 0.25f);
    EXPECT_NEAR(GainAt(Inside(voice).GetSegment(1), Inside(voice).GetSettings(), 0.0), 0.125, kGain);
    EXPECT_NEAR(GainOn(25), 0.5 * (0.25 + 0.75 * 0.25), kGain);
    EXPECT_NEAR(GainOn(30), 0.5 * 0.625, kGain);
    EXPECT_EQ(GainOn(40), 0.5f);
}

TEST_F(Transitions, FadeOutToTheLevelOfTheOuterEnd) {
    voice->SetSegmentParameter(1, SegmentFadeOutShare, 0.4f);
    voice->SetSegmentParameter(1, SegmentFadeOutLevel, 0.0f);
    EXPECT_EQ(GainOn(49), 1.0f);
    EXPECT_NEAR(GainOn(60), 0.5, kGain);
    EXPECT_NEAR(GainOn(70), 0.0, kGain);
    EXPECT_EQ(GainOn(71), 1.0f);
}

TEST_F(Transitions, StartTheFadeOutWithinASampleOfItsPlace) {
    voice->SetSegmentParameter(1, SegmentFadeOutShare, 0.5f);
    voice->SetSegmentParameter(1, SegmentFadeOutLevel, 0.0f);
    const SynthSegment& segment = Inside(voice).GetSegment(1);
    EXPECT_EQ(GainAt(segment, Inside(voice).GetSettings(), 2499.0), 1.0f);
    EXPECT_GT(GainAt(segment, Inside(voice).GetSettings(), 2499.5),
              1.0f);  // less than a sample early it runs on upwards
    EXPECT_LT(GainAt(segment, Inside(voice).GetSettings(), 2500.5), 1.0f);
}

TEST_F(Transitions, FadeInScaledTime) {
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    voice->SetSegmentParameter(1, SegmentFadeOutShare, 0.4f);
    voice->SetSegmentParameter(1, SegmentFadeOutLevel, 0.0f);
    EXPECT_EQ(GainOn(49, 2.0), 1.0f);
    EXPECT_NEAR(GainOn(60, 2.0), 0.5, kGain);
    EXPECT_NEAR(GainOn(70, 2.0), 0.0, kGain);
}

}  // namespace

}  // namespace mlh
