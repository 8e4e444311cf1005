// The chain from frames to notes once more, as plainly as it can be written: every search walks from the
// first frame, every window is measured from its first frame, every array is written at once. Slow, and
// meant for comparing NoteSegmentation with, bit by bit.
#pragma once

#include <cstdint>
#include <vector>

#include "analysis/NoteSegmentation.h"

namespace mlh {

struct LiteralSegmentation {
    LiteralSegmentation(const std::vector<AnalysisFrame>& frames, const SegmentationSettings& settings)
        : set(settings),
          raw(frames),
          smoothed(frames),
          clean(frames),
          count(static_cast<int>(frames.size())) {}

    void NormalizeFrames();
    void RejectJumps();
    void FlattenVibrato();
    void RepairOutliers();
    void LevelPlateaus();
    void MarkSteps();
    void CutNotes();
    void RefineNotes();

    SegmentationSettings set;
    std::vector<AnalysisFrame> raw, smoothed, clean;
    std::vector<AnalysisNote> notes;
    int count;
    int64_t mostRounds = 0;  // of any step, to be compared with the limit

    using Frames = std::vector<AnalysisFrame>;
    struct Window {
        int64_t start = 0, end = 0;
        int first = 0, last = 0;
    };

    int64_t RoundLimit() const { return 4 * int64_t{count} + 16; }
    bool GoOn(int64_t round);
    void Align(const Frames& frames, Window& w, int64_t minLength, int64_t hop) const;
    void Place(Window& w, int64_t first, int64_t length) const;
    float MeanVoiced(const Frames& frames, int first, int last) const;
    float MedianVoiced(const Frames& frames, int first, int last) const;
    float EstimatePitch(const Frames& frames, int first, int last, bool checkSpread) const;
    void Extend(size_t n, bool bounded);
    bool IsGlide(const AnalysisNote& note) const;

    Window window;
};

}  // namespace mlh
