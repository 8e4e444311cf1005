#include "mlh/analysis.h"

#include <algorithm>

#include "addon/HarmonyAddOn.h"
#include "analysis/PitchAnalysis.h"
#include "dsp/Dispatch.h"

namespace mlh {

namespace {

std::vector<PitchPoint> GetCurve(CMELODORPitchAnalysisIf& analysis, double rate) {
    const AnalysisFrame* frames = nullptr;
    const int32_t count = analysis.GetFrames(&frames);
    std::vector<PitchPoint> curve;
    curve.reserve(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        const AnalysisFrame& frame = frames[i];
        curve.push_back({frame.position / rate, frame.pitch, frame.energy, frame.voiced != 0});
    }
    return curve;
}

std::vector<Note> GetNotes(CMELODORPitchAnalysisIf& analysis, double rate) {
    const AnalysisNote* notes = nullptr;
    const int32_t count = analysis.GetNotes(&notes);
    std::vector<Note> found;
    found.reserve(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        const AnalysisNote& note = notes[i];
        found.push_back({note.startPosition / rate, note.endPosition / rate, note.pitch, note.energy});
    }
    return found;
}

std::vector<SegmentChord> GetChords(MalleoTuneHarmonyAddOn& addOn) {
    ChoiralizerV2::ChordInfo* chords = nullptr;
    addOn.GetHarmony().GetChords(&chords);
    const auto lead = addOn.GetLeadPitchVector();
    const auto count = std::min<std::size_t>(lead.size(), addOn.GetHarmony().GetChordCount());
    std::vector<SegmentChord> found;
    found.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        found.push_back({lead[i].GetStart(), chords[i].root, chords[i].triadType, chords[i].seventhType});
    }
    return found;
}

}  // namespace

Analysis GetAnalysis(MalleoTuneHarmonyAddOnIf& addOn) {
    auto* own = dynamic_cast<MalleoTuneHarmonyAddOn*>(&addOn);
    if (own == nullptr || !own->IsAnalysed()) {
        return {};
    }
    const double rate = own->GetSampleRate();
    Analysis analysis;
    analysis.curve = GetCurve(own->GetAnalysis(), rate);
    analysis.notes = GetNotes(own->GetAnalysis(), rate);
    analysis.chords = GetChords(*own);
    analysis.tuning = own->GetAnalysis().EstimateTuning();
    analysis.key = own->GetAnalysis().EstimateKey(0);
    return analysis;
}

int32_t GetProcessorLevel() {
    InitDispatch(-1);
    return CurrentLevel();
}

const char* GetProcessorLevelName(int32_t level) { return NameOfLevel(level); }

void LimitProcessorLevel(int32_t level) { InitDispatch(std::max(level, 0)); }

}  // namespace mlh
