#include "mlh/analysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "mlh/reader.h"
#include "support/FreshProcess.h"
#include "support/SungTunes.h"
#include "validation/Performance.h"

namespace mlh {

namespace {

TEST(ProcessorLevel, IsTheBestOneOfTheMachineUpToTheLimit) {
    for (const int32_t limit : {2, 1, 0, -1}) {
        InFreshProcess([limit] {
            mlh::LimitProcessorLevel(limit);
            return mlh::GetProcessorLevel() == 0;
        });
    }
    for (const int32_t limit : {7, 6, 5, 4, 3}) {
        InFreshProcess([limit] {
            const int32_t best = mlh::GetProcessorLevel();
            mlh::LimitProcessorLevel(limit);
            return mlh::GetProcessorLevel() == std::min(limit, best);
        });
    }
}

TEST(ProcessorLevel, NeverRisesAgain) {
    InFreshProcess([] {
        mlh::LimitProcessorLevel(0);
        mlh::LimitProcessorLevel(6);
        return mlh::GetProcessorLevel() == 0;
    });
}

TEST(ProcessorLevel, IsNamedAfterWhatItNeeds) {
    EXPECT_STREQ(mlh::GetProcessorLevelName(0), "none");
    EXPECT_STREQ(mlh::GetProcessorLevelName(3), "SSE2");
    EXPECT_STREQ(mlh::GetProcessorLevelName(4), "SSE3");
    EXPECT_STREQ(mlh::GetProcessorLevelName(5), "SSE4.2");
    EXPECT_STREQ(mlh::GetProcessorLevelName(6), "AVX");
}

// An add-on of a host's own that passes on to a real one, say, to log what is called.
class ForeignAddOn final : public MalleoTuneHarmonyAddOnIf {
  public:
    int32_t Prepare() override { return 0; }
    void Process(float**, int32_t) override {}
    void SetPosition(double) override {}
    double GetPosition() override { return 0.0; }
    double GetDuration() override { return 0.0; }
    int32_t SetHarmonyMode(int32_t) override { return 0; }
    int32_t GetHarmonyMode() override { return 0; }
    int32_t SetSpread(float) override { return 0; }
    float GetSpread() override { return 0.0f; }
    int32_t SetVoicesAbove(int32_t) override { return 0; }
    int32_t GetVoicesAbove() override { return 0; }
    int32_t SetVoicePitchVector(int32_t, PitchVector) override { return 0; }
    PitchVector GetVoicePitchVector(int32_t) override { return {}; }
    PitchVector GetLeadPitchVector() override { return {}; }
    int32_t SetChordVector(ChordVector) override { return 0; }
    float GetChordSplitThreshold() override { return 0.0f; }
    void SetChordSplitThreshold(float) override {}
    int32_t ApplyChord(ChordElement) override { return 0; }
    int32_t SetKey(int32_t) override { return 0; }
    int32_t GetKey() override { return 0; }
    int32_t Update() override { return 0; }
    int32_t SetVoiceParameter(int32_t, int32_t, float) override { return 0; }
    float GetVoiceParameter(int32_t, int32_t) override { return 0.0f; }
};

TEST(GetAnalysis, IsEmptyForAnAddOnThatHasAnalysedNothing) {
    const auto isEmpty = [](MalleoTuneHarmonyAddOnIf& addOn) {
        const mlh::Analysis analysis = mlh::GetAnalysis(addOn);
        return analysis.curve.empty() && analysis.notes.empty() && analysis.chords.empty() &&
               analysis.tuning == 0.0f && analysis.key == -1;
    };
    ForeignAddOn foreign;
    EXPECT_TRUE(isEmpty(foreign));
    MemoryReader reader(nullptr, 0, 1, 44100);
    MalleoTuneHarmonyAddOnIf* addOn = nullptr;
    ASSERT_EQ(MalleoTuneHarmonyAddOnIf::CreateInstance(&addOn, &reader), 0);
    EXPECT_TRUE(isEmpty(*addOn));
    addOn->Prepare();
    EXPECT_FALSE(isEmpty(*addOn));
    MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn);
}

TEST(ProcessorLevel, EveryOneFindsTheNotesThatWereSung) {
    const std::vector<double> sung = {60, 64, 67, 62};
    const SungRecording lead = SingScale(sung);
    for (const int32_t limit : {6, 5, 4, 3, 0}) {
        InFreshProcess([&] {
            mlh::LimitProcessorLevel(limit);
            Performance performance(lead);
            std::vector<double> found;
            for (const mlh::Note& note : mlh::GetAnalysis(performance.addOn()).notes) {
                found.push_back(std::round(static_cast<double>(note.pitch)));
            }
            return found == sung;
        });
    }
}

}  // namespace

}  // namespace mlh
