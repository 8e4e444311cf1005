// From the raw pitch curve, one frame per pitch mark, to notes: energies are normalised, octave jumps
// rejected, vibrato flattened, short outliers repaired, stable stretches levelled, steps marked; then
// the curve is cut into notes, and the notes are widened, merged and sifted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "analysis/PitchAnalysis.h"

namespace mlh {

// Durations are held in samples.
struct SegmentationSettings {
    explicit SegmentationSettings(float sampleRate);

    float sampleRate;              // [Hz]
    float mergeThreshold = 0.75f;  // [semitones] notes nearer than this may be merged
    int32_t vibratoWindow;         // where vibrato is looked for
    int32_t minWindow;             // smallest voiced run worth a window
    int32_t medianWindow;          // levelling, jumps, drift of a vibrato
    int32_t stepWindow;            // where steps are looked for
    int32_t minNoteLength;         // shorter notes are dropped or merged
    int32_t mergeGap;              // gaps below it are bridged by a merge; glides up to it are dropped
};

// The frames and notes of one recording, and the steps that lead from the ones to the others. Each step
// reads what the one before it left; each leaves all arrays whole, so a caller may stop anywhere.
// Cost is linear in the number of frames, but for the sorting of pitches.
class NoteSegmentation {
  public:
    explicit NoteSegmentation(float sampleRate);

    SegmentationSettings settings;

    void SetFrames(const std::vector<AnalysisFrame>& frames);
    void SetNotes(std::vector<AnalysisNote> notes);
    void Clear();

    // As measured, with the flags that the first two steps leave.
    const std::vector<AnalysisFrame>& RawFrames() const { return raw_; }
    // Without jumps, vibrato and outliers.
    const std::vector<AnalysisFrame>& SmoothedFrames() const { return smoothed_; }
    // Levelled; an unvoiced frame marks each step.
    const std::vector<AnalysisFrame>& CleanFrames() const { return clean_; }
    const std::vector<AnalysisNote>& Notes() const { return notes_; }
    int32_t FrameCount() const { return static_cast<int32_t>(raw_.size()); }

    void NormalizeFrames();  // raw
    void RejectJumps();      // raw, copied to smoothed
    void FlattenVibrato();   // raw to smoothed
    void RepairOutliers();   // smoothed, copied to clean
    void LevelPlateaus();    // smoothed to clean
    void MarkSteps();        // clean
    void CutNotes();         // clean and raw to notes
    void RefineNotes();      // notes and raw to notes; at least one note is left

    // Mean pitch of the voiced frames from `first` to `last` - 1: of the middle half by pitch, where
    // there are eight of them or more. With `checkSpread`, a half narrower than 0.1 semitones gives way
    // to the mean of all. 0 without a voiced frame.
    float EstimatePitch(const AnalysisFrame* frames, int32_t first, int32_t last, bool checkSpread);

  private:
    void ExtendNote(size_t index, bool bounded);
    bool IsGlide(const AnalysisNote& note);

    std::vector<AnalysisFrame> raw_, smoothed_, clean_;
    std::vector<AnalysisNote> notes_;
    bool positionsRise_ = true;         // no position falls; else searches walk from the first frame
    std::vector<int32_t> voicedSkips_;  // scratch of FrameSearch
    std::vector<float> pitches_;        // scratch of EstimatePitch and MedianVoicedPitch
};

// Mean energy of the frames from `first` to `last` - 1; not a number for none.
float MeanEnergy(const AnalysisFrame* frames, int32_t first, int32_t last);

}  // namespace mlh
