// The add-on that the C interface drives: it owns the analysis, the marks, one synthesizer per voice and the
// harmony engine, and carries changes from one to the other.
//
// Two passes. Prepare reads the whole recording once and analyses it: after it every segment of the lead is
// known. Process then renders block by block: each active voice resynthesises the recording from its pitch
// marks, at the pitches that Update last pushed into its segments.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "addon/AudioReaderWrapper.h"
#include "base/Numbering.h"
#include "harmony/ChoiralizerV2.h"
#include "mlh/addon.h"
#include "synthesis/TailRuns.h"

namespace mlh {

class CMELODORPitchAnalysisIf;
class CMELODORPitchSynthesizerIf;
class CPitchMarksIf;

class MalleoTuneHarmonyAddOn final : public MalleoTuneHarmonyAddOnIf {
  public:
    explicit MalleoTuneHarmonyAddOn(AudioReader* reader);
    ~MalleoTuneHarmonyAddOn() override;

    // Creates what needs no recording: marks, analysis, engine. 0, or the code of what failed.
    int32_t Init();

    int32_t Prepare() override;
    void Process(float** voices, int32_t frames) override;
    void SetPosition(double seconds) override;
    double GetPosition() override;
    double GetDuration() override;
    int32_t SetHarmonyMode(int32_t mode) override;
    int32_t GetHarmonyMode() override;
    int32_t SetSpread(float spread) override;
    float GetSpread() override;
    int32_t SetVoicesAbove(int32_t count) override;
    int32_t GetVoicesAbove() override;
    int32_t SetVoicePitchVector(int32_t voice, PitchVector pitches) override;
    PitchVector GetVoicePitchVector(int32_t voice) override;
    PitchVector GetLeadPitchVector() override;
    int32_t SetChordVector(ChordVector chords) override;
    float GetChordSplitThreshold() override;
    void SetChordSplitThreshold(float seconds) override;
    int32_t ApplyChord(ChordElement chord) override;
    int32_t SetKey(int32_t key) override;
    int32_t GetKey() override;
    int32_t Update() override;
    int32_t SetVoiceParameter(int32_t voice, int32_t kind, float value) override;
    float GetVoiceParameter(int32_t voice, int32_t kind) override;

    // For tools and tests. The parts exist once Init has succeeded, the synthesizers from Prepare on.
    bool IsAnalysed() const { return analysed_; }
    int32_t GetSampleRate() { return reader_.GetSampleRate(); }
    AudioReader& GetReader() { return reader_.GetHostReader(); }
    int32_t GetActiveVoices() const { return activeVoices_; }
    CMELODORPitchSynthesizerIf& GetSynthesizer(int32_t voice) { return *synthesizers_[voice]; }
    CMELODORPitchAnalysisIf& GetAnalysis() { return *analysis_; }
    CPitchMarksIf& GetPitchMarks() { return *pitchMarks_; }
    ChoiralizerV2::CChoiralizerV2If& GetHarmony() { return *harmony_; }

  private:
    using VoicePitches = std::array<float, kVoiceCount>;

    bool FeedAnalysis();
    bool CreateSynthesizers();
    void RebuildLead();
    void ResetVoicesToLead();
    int32_t FindLeadElementAt(float time) const;
    void SplitSegmentsAt(float time);
    void SetChordOfSegments(const ChordElement& chord, int32_t first, int32_t end);
    void NoteChange();
    bool Calculate();
    void AssignRows();
    void PushToSynthesizers();
    void PushChordToSynthesizers(const VoicePitches& pitches, int32_t first);
    void SettleVoices();
    int32_t CountSungSegments(int32_t voice) const;

    std::unique_ptr<CPitchMarksIf> pitchMarks_;  // shared by analysis and synthesizers, so it outlives them
    struct AnalysisDeleter {
        void operator()(CMELODORPitchAnalysisIf* analysis) const;
    };
    std::unique_ptr<CMELODORPitchAnalysisIf, AnalysisDeleter> analysis_;
    AudioReaderWrapper reader_;
    struct SynthesizerDeleter {
        void operator()(CMELODORPitchSynthesizerIf* synthesizer) const;
    };
    std::array<std::unique_ptr<CMELODORPitchSynthesizerIf, SynthesizerDeleter>, kVoiceCount> synthesizers_;

    // The engine keeps a pointer to the words: voices above, and the bits of the spread. Its own mode, which
    // this add-on never asks for but which is what it starts in, reads a third one.
    std::array<ChoiralizerV2::HarmonyParams, 4> harmonyParams_;
    std::unique_ptr<ChoiralizerV2::CChoiralizerV2If> harmony_;
    std::vector<ChoiralizerV2::NoteItem> melody_;     // one per segment, only pitch filled
    ChoiralizerV2::NoteList* harmonyRows_ = nullptr;  // four rows in the engine

    PitchVector leadPitch_;                            // one element per segment of synthesizer 0
    std::vector<float> latestEnd_;                     // of leadPitch_ up to and including each element
    std::array<PitchVector, kVoiceCount> voicePitch_;  // aligned with leadPitch_
    // What the manual mode's chords wrote over voicePitch_, each to the end. Whatever reads or changes
    // voicePitch_ settles or forgets it first.
    TailRuns<VoicePitches> chordTails_;
    bool pushed_ = false;                          // the synthesizers have the voices of the manual mode
    int32_t activeVoices_ = 0;                     // how many synthesizers render
    std::array<int32_t, kVoiceCount> voiceRow_{};  // the engine's row that each of them sings
    bool analysed_ = false;
    bool voicesReady_ = false;          // there is a harmony
    bool dirty_ = true;                 // Update must recompute
    bool calculated_ = false;           // since the last change of what the engine reads
    bool settled_ = false;              // and recomputing would change nothing
    float chordSplitThreshold_ = 0.2f;  // [s]
    int32_t harmonyMode_ = NumberOf(AddOnMode::ThreeVoices);  // or whatever a host has set
};

}  // namespace mlh
