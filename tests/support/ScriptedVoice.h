// A voice over marks, frames and notes that a test writes itself, without any analysis.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "analysis/PitchAnalysis.h"
#include "analysis/PitchMarks.h"
#include "support/RowReader.h"
#include "synthesis/PitchSynthesizerImpl.h"

namespace mlh {

// Hands out what it was given and remembers that it was asked; everything else does nothing.
class ScriptedAnalysis final : public CMELODORPitchAnalysisIf {
  public:
    std::vector<AnalysisFrame> frames;
    std::vector<AnalysisNote> notes;
    std::vector<const char*> calls;

    int32_t GetNotes(const AnalysisNote** out) override {
        calls.push_back("GetNotes");
        *out = notes.data();
        return static_cast<int32_t>(notes.size());
    }
    int32_t GetFrames(const AnalysisFrame** out) override {
        calls.push_back("GetFrames");
        *out = frames.data();
        return static_cast<int32_t>(frames.size());
    }
    void BuildFrames() override { calls.push_back("BuildFrames"); }
    void NormalizeFrames() override { calls.push_back("NormalizeFrames"); }

    int32_t ProcessInput(const float* const*, int32_t) override { return 0; }
    int32_t FinishInput() override { return 0; }
    int32_t Reset() override { return 0; }
    int32_t RunStep(int32_t) override { return 0; }
    int32_t RunAllSteps() override { return 0; }
    int32_t GetFrameRangeStats(float*, float*, int32_t, int32_t) override { return 0; }
    int32_t ReanalyzeSegment(const float* const*, int32_t, int32_t, float) override { return 0; }
    float EstimateTuning() override { return 0.0f; }
    int32_t EstimateKey(int32_t) override { return 0; }
    int32_t SetFrames(const AnalysisFrame*, int32_t) override { return 0; }
    int32_t SetNotes(const AnalysisNote*, int32_t) override { return 0; }
    void SetMergeThreshold(float) override {}
    float GetMergeThreshold() override { return 0.0f; }
    void SetMinNoteLength(float) override {}
    float GetMinNoteLength() override { return 0.0f; }
    void SetMergeGap(float) override {}
    float GetMergeGap() override { return 0.0f; }
    void SetReserveGap(float) override {}
    float GetReserveGap() override { return 0.0f; }
    float EstimatePitch(const AnalysisFrame*, int32_t, int32_t) override { return 0.0f; }
    void SetVoicingThreshold(float) override {}
    float GetVoicingThreshold() override { return 0.0f; }
    int32_t GetSerializedSize() override { return 0; }
    int32_t Serialize(void*) override { return 0; }
    int32_t Deserialize(const void*, int32_t) override { return 0; }
};

struct ScriptedMark {
    int32_t position;
    float pitch = 60.0f;
    bool voiced = true;
    float energy = 0.25f;
};

struct ScriptedNote {
    float pitch;
    int32_t firstMark;  // starts there ...
    int32_t lastMark;   // ... and ends there
};

struct VoiceDestroyer {
    void operator()(CMELODORPitchSynthesizerIf* voice) const { DestroyPitchSynthesizer(&voice); }
};
using VoiceOwner = std::unique_ptr<CMELODORPitchSynthesizerIf, VoiceDestroyer>;

// The recording, its marks and notes, and any number of voices over them.
struct ScriptedRecording {
    ScriptedRecording(std::vector<std::vector<float>> rows, int32_t sampleRate,
                      const std::vector<ScriptedMark>& scriptedMarks,
                      const std::vector<ScriptedNote>& scriptedNotes)
        : reader(std::move(rows), sampleRate) {
        for (const ScriptedMark& mark : scriptedMarks) {
            marks.AppendMark(mark.position, mark.voiced ? 10.0f : 0.0f, mark.energy, 0.0f, 0.0f, 0.0f);
            analysis.frames.push_back({mark.pitch, mark.energy, mark.voiced ? 1 : 0, mark.position});
        }
        for (const ScriptedNote& note : scriptedNotes) {
            const int32_t start = scriptedMarks[note.firstMark].position;
            const int32_t end = scriptedMarks[note.lastMark].position;
            analysis.notes.push_back(
                {note.pitch, 0.25f, end - start, start, end, note.firstMark, note.lastMark});
        }
    }

    VoiceOwner MakeVoice() {
        CMELODORPitchSynthesizerIf* voice = nullptr;
        CreatePitchSynthesizer(&voice, &reader, &marks, &analysis);
        return VoiceOwner(voice);
    }

    RowReader reader;
    CPitchMarks marks;
    ScriptedAnalysis analysis;
};

// Two seconds at 10 kHz with a mark every 100 samples; the notes are voiced, the pauses between them are not.
inline constexpr int32_t kScriptedRate = 10000;
inline ScriptedRecording RecordingOfNotes(const std::vector<ScriptedNote>& notes) {
    std::vector<ScriptedMark> marks;
    for (int32_t i = 0; i <= 200; ++i) {
        marks.push_back({100 * i, 0.0f, false});
    }
    for (const ScriptedNote& note : notes) {
        for (int32_t i = note.firstMark; i <= note.lastMark; ++i) {
            marks[i].pitch = note.pitch;
            marks[i].voiced = true;
        }
    }
    return {{std::vector<float>(20000, 0.5f)}, kScriptedRate, marks, notes};
}

// At 0.2 to 0.6 s, 0.7 to 1.1 s and 1.2 to 1.8 s.
inline std::vector<ScriptedNote> ThreeNotes() {
    return {{60.25f, 20, 60}, {64.0f, 70, 110}, {67.5f, 120, 180}};
}

inline const CMELODORPitchSynthesizer& Inside(const VoiceOwner& voice) {
    return static_cast<const CMELODORPitchSynthesizer&>(*voice);
}

// Renders `frames` samples in blocks of `block`; one row per channel.
inline std::vector<std::vector<float>> Render(CMELODORPitchSynthesizerIf& voice, int32_t channels,
                                              int32_t frames, int32_t block = 4096) {
    std::vector<std::vector<float>> rows(static_cast<size_t>(channels),
                                         std::vector<float>(static_cast<size_t>(frames)));
    for (int32_t start = 0; start < frames; start += block) {
        std::vector<float*> out;
        for (auto& row : rows) {
            out.push_back(row.data() + start);
        }
        voice.Process(out.data(), std::min(block, frames - start));
    }
    return rows;
}

}  // namespace mlh
