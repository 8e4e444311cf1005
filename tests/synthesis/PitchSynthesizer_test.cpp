// Creation, global parameters, position and the look-ups of what sounds when.
#include "synthesis/PitchSynthesizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/ScriptedVoice.h"

namespace mlh {

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(CreatePitchSynthesizer, RefusesANullArgumentAndLeavesNull) {
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    int dummy = 0;
    auto* const stale = reinterpret_cast<CMELODORPitchSynthesizerIf*>(&dummy);

    EXPECT_EQ(CreatePitchSynthesizer(nullptr, &recording.reader, &recording.marks, &recording.analysis), 1);
    CMELODORPitchSynthesizerIf* voice = stale;
    EXPECT_EQ(CreatePitchSynthesizer(&voice, nullptr, &recording.marks, &recording.analysis), 1);
    EXPECT_EQ(voice, nullptr);
    voice = stale;
    EXPECT_EQ(CreatePitchSynthesizer(&voice, &recording.reader, nullptr, &recording.analysis), 1);
    EXPECT_EQ(voice, nullptr);
    voice = stale;
    EXPECT_EQ(CreatePitchSynthesizer(&voice, &recording.reader, &recording.marks, nullptr), 1);
    EXPECT_EQ(voice, nullptr);
}

TEST(CreatePitchSynthesizer, RefusesAnAnalysisWithoutMarks) {
    ScriptedRecording recording({{}}, kScriptedRate, {}, {});
    CMELODORPitchSynthesizerIf* voice = nullptr;
    EXPECT_EQ(CreatePitchSynthesizer(&voice, &recording.reader, &recording.marks, &recording.analysis), 1);
    EXPECT_EQ(voice, nullptr);
}

TEST(CreatePitchSynthesizer, HasTheFramesRebuiltBeforeItReadsThem) {
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    const VoiceOwner voice = recording.MakeVoice();
    ASSERT_NE(voice, nullptr);
    EXPECT_THAT(recording.analysis.calls,
                testing::ElementsAre(testing::StrEq("BuildFrames"), testing::StrEq("GetFrames"),
                                     testing::StrEq("NormalizeFrames"), testing::StrEq("GetNotes")));
}

TEST(DestroyPitchSynthesizer, ClearsThePointerAndRefusesNull) {
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    CMELODORPitchSynthesizerIf* voice = nullptr;
    ASSERT_EQ(CreatePitchSynthesizer(&voice, &recording.reader, &recording.marks, &recording.analysis), 0);
    EXPECT_EQ(DestroyPitchSynthesizer(&voice), 0);
    EXPECT_EQ(voice, nullptr);
    EXPECT_EQ(DestroyPitchSynthesizer(&voice), 1);
    EXPECT_EQ(DestroyPitchSynthesizer(nullptr), 1);
}

class PitchSynthesizer : public testing::Test {
  protected:
    ScriptedRecording recording = RecordingOfNotes(ThreeNotes());
    VoiceOwner voice = recording.MakeVoice();
};

TEST_F(PitchSynthesizer, StartsWithNeutralGlobalParameters) {
    EXPECT_EQ(voice->GetGlobalParameter(GlobalTimeScale), 1.0f);
    EXPECT_EQ(Inside(voice).GetSettings().transposition, 1.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalFormantShift), 0.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalPitchCorrection), 0.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalModulationKeepScale), 1.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalTransitionScale), 1.0f);
}

TEST_F(PitchSynthesizer, ReadsGlobalParametersBackAsSet) {
    for (int32_t which : {0, 2, 3, 4, 5}) {
        for (float value : {0.1f, 3.0f, 7.7f}) {
            EXPECT_EQ(voice->SetGlobalParameter(which, value), 0);
            EXPECT_EQ(voice->GetGlobalParameter(which), value) << which;
        }
    }
    EXPECT_FLOAT_EQ(Inside(voice).GetSettings().formantShift, std::pow(2.0f, 7.7f / 12.0f));
    EXPECT_EQ(Inside(voice).GetSettings().inverseTimeScale, 1.0f / 7.7f);
}

TEST_F(PitchSynthesizer, ReadsTheTranspositionBackAsItsNegativeReciprocal) {
    EXPECT_EQ(voice->SetGlobalParameter(GlobalTransposition, 12.0f), 0);
    EXPECT_EQ(Inside(voice).GetSettings().transposition, 0.5f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalTransposition), static_cast<float>(-1.0 / 12.0));
    EXPECT_EQ(voice->SetGlobalParameter(GlobalTransposition, -24.0f), 0);
    EXPECT_EQ(Inside(voice).GetSettings().transposition, 4.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalTransposition), static_cast<float>(1.0 / 24.0));
    EXPECT_EQ(voice->SetGlobalParameter(GlobalTransposition, 0.0f), 0);
    EXPECT_TRUE(std::isinf(voice->GetGlobalParameter(GlobalTransposition)));
}

TEST_F(PitchSynthesizer, RefusesATimeScaleThatIsNotFiniteAndAboveZero) {
    ASSERT_EQ(voice->SetGlobalParameter(GlobalTimeScale, 1.5f), 0);
    for (float value : {0.0f, -1.0f, kNan, kInf, -kInf}) {
        EXPECT_EQ(voice->SetGlobalParameter(GlobalTimeScale, value), 1);
        EXPECT_EQ(voice->GetGlobalParameter(GlobalTimeScale), 1.5f);
    }
}

TEST_F(PitchSynthesizer, RefusesUnknownGlobalParameters) {
    for (int32_t which : {6, 100, -1}) {
        EXPECT_EQ(voice->SetGlobalParameter(which, 1.0f), 1);
        EXPECT_EQ(voice->GetGlobalParameter(which), -1.0f);
    }
}

TEST_F(PitchSynthesizer, KeepsTimeScaleAndTranspositionWhenItIsReset) {
    for (int32_t which = 0; which < 6; ++which) {
        voice->SetGlobalParameter(which, 2.0f);
    }
    voice->Reset();
    EXPECT_EQ(voice->GetGlobalParameter(GlobalTimeScale), 2.0f);
    EXPECT_FLOAT_EQ(voice->GetGlobalParameter(GlobalTransposition), -0.5f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalFormantShift), 0.0f);
    EXPECT_EQ(Inside(voice).GetSettings().formantShift, 1.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalPitchCorrection), 0.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalModulationKeepScale), 1.0f);
    EXPECT_EQ(voice->GetGlobalParameter(GlobalTransitionScale), 1.0f);
}

TEST_F(PitchSynthesizer, ForgetsSplitsAndEditsWhenItIsReset) {
    ASSERT_EQ(voice->SplitSegment(1, 0.2), 0);
    ASSERT_EQ(voice->SetSegmentParameter(0, SegmentGain, 0.0f), 0);
    ASSERT_EQ(voice->RemoveSegment(4), 0);
    voice->Reset();
    ASSERT_EQ(voice->GetSegmentCount(), 4);
    EXPECT_EQ(voice->GetSegmentParameter(0, SegmentGain), 1.0f);
    EXPECT_EQ(voice->GetDuration(), 2.0);
}

TEST_F(PitchSynthesizer, KeepsItsPositionWhenItIsReset) {
    Render(*voice, 1, 5000);
    voice->Reset();
    EXPECT_EQ(voice->GetPosition(), 0.5);
}

TEST_F(PitchSynthesizer, TellsItsPositionInSecondsOfOutput) {
    EXPECT_EQ(voice->GetPosition(), 0.0);
    Render(*voice, 1, 2500, 1000);
    EXPECT_EQ(voice->GetPosition(), 0.25);
    voice->SetPosition(1.23456);
    EXPECT_EQ(voice->GetPosition(), 1.2345);
}

TEST_F(PitchSynthesizer, EndsWhereItsLastSegmentEnds) {
    EXPECT_EQ(voice->GetDuration(), 2.0);
    voice->SetGlobalParameter(GlobalTimeScale, 1.5f);
    EXPECT_EQ(voice->GetDuration(), 3.0);
    voice->RemoveSegment(3);
    EXPECT_EQ(voice->GetDuration(), 1.2 * 1.5);
    voice->ClearSegments();
    EXPECT_EQ(voice->GetDuration(), 0.0);
}

TEST_F(PitchSynthesizer, TellsThePitchSungWhereItIsVoiced) {
    EXPECT_EQ(voice->GetOutputPitchAt(0.4), 60.25f);
    EXPECT_EQ(voice->GetOutputPitchAt(0.9), 64.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(1.5), 67.5f);
}

TEST_F(PitchSynthesizer, TellsNoPitchWhereItIsUnvoicedOrOutside) {
    EXPECT_EQ(voice->GetOutputPitchAt(0.1), -1.0f);   // lead-in
    EXPECT_EQ(voice->GetOutputPitchAt(0.65), -1.0f);  // pause
    EXPECT_EQ(voice->GetOutputPitchAt(-0.1), -1.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(2.1), -1.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(kNan), -1.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(kInf), -1.0f);
}

TEST_F(PitchSynthesizer, TellsThePitchInAnyOrderOfTimes) {
    EXPECT_EQ(voice->GetOutputPitchAt(1.5), 67.5f);
    EXPECT_EQ(voice->GetOutputPitchAt(0.4), 60.25f);
    EXPECT_EQ(voice->GetOutputPitchAt(3.0), -1.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(0.4), 60.25f);
}

TEST_F(PitchSynthesizer, TellsThePitchAfterTargetsAndTransposition) {
    voice->SetSegmentParameter(1, SegmentTargetPitch, 65.25f);
    voice->SetGlobalParameter(GlobalTransposition, -12.0f);
    EXPECT_NEAR(voice->GetOutputPitchAt(0.4), 53.25, 1e-5);
    EXPECT_NEAR(voice->GetOutputPitchAt(0.9), 52.0, 1e-5);
}

TEST_F(PitchSynthesizer, TellsThePitchInScaledTime) {
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(0.8), 60.25f);
    EXPECT_EQ(voice->GetOutputPitchAt(1.3), -1.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(3.0), 67.5f);
}

TEST_F(PitchSynthesizer, TellsTheGain) {
    EXPECT_EQ(voice->GetOutputGainAt(0.4), 1.0f);
    EXPECT_EQ(voice->GetOutputGainAt(0.1), 1.0f);
    EXPECT_EQ(voice->GetOutputGainAt(2.5), 0.0f);
    EXPECT_EQ(voice->GetOutputGainAt(-0.5), 0.0f);
    voice->SetSegmentParameter(2, SegmentGain, 0.25f);
    EXPECT_EQ(voice->GetOutputGainAt(0.9), 0.25f);
    EXPECT_EQ(voice->GetOutputGainAt(0.4), 1.0f);
    voice->ClearSegments();
    EXPECT_EQ(voice->GetOutputGainAt(0.4), 0.0f);
    EXPECT_EQ(voice->GetOutputPitchAt(0.4), -1.0f);
}

TEST_F(PitchSynthesizer, LooksUpWithoutMovingTheRendering) {
    const VoiceOwner other = recording.MakeVoice();
    const auto head = Render(*voice, 1, 7000);
    Render(*other, 1, 7000);
    for (double t = 0.0; t < 2.0; t += 0.05) {
        other->GetOutputPitchAt(2.0 - t);
        other->GetOutputGainAt(t);
    }
    EXPECT_EQ(Render(*voice, 1, 7000), Render(*other, 1, 7000));
}

}  // namespace

}  // namespace mlh
