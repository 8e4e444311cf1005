// The moving window of the cleaning steps, snapped to voiced runs, and what is measured within it.
//
// The steps advance a frame or a few at a time and align and measure again, over windows that may grow
// with a held note up to its whole length. Three things keep that linear in the number of frames:
// frames are found by position through a search by halves; unvoiced stretches are skipped through
// remembered hops; and a window that only grows is measured on from where it ended before.
#pragma once

#include <cstdint>
#include <vector>

#include "analysis/PitchAnalysis.h"

namespace mlh {

// Finds frames of one array. Flags may be cleared meanwhile, but not set.
class FrameSearch {
  public:
    // `skips` is scratch. Where positions fall somewhere, `positionsRise` false, searches walk.
    FrameSearch(const std::vector<AnalysisFrame>& frames, bool positionsRise, std::vector<int32_t>& skips);

    const AnalysisFrame& operator[](int32_t frame) const { return frames_[frame]; }
    int32_t Last() const { return last_; }
    bool PositionsRise() const { return positionsRise_; }
    // `frame` moved into the array.
    int32_t Clamp(int64_t frame) const;

    // The frame before the first one that lies beyond `position`, and before the last frame of all.
    int32_t LastAtOrBefore(int64_t position) const;
    // The first frame at or beyond `position`, or the last frame of all.
    int32_t FirstAtOrAfter(int64_t position) const;
    // The first voiced frame from `frame` on, or the last frame of all.
    int32_t NextVoiced(int32_t frame);

  private:
    const AnalysisFrame* frames_;
    int32_t last_;
    bool positionsRise_;
    std::vector<int32_t>& skips_;  // from an unvoiced frame: no voiced one lies before this one
};

// Bounds in samples and the frames they take in, both included.
class FrameWindow {
  public:
    FrameWindow(int64_t windowStart, int64_t windowEnd) : start(windowStart), end(windowEnd) {}

    // Puts the window's start on a frame (moved into the array), `length` samples long.
    void StartAt(const FrameSearch& frames, int64_t frame, int32_t length);
    // Snaps the window to the voiced frames from its start on. Where they last less than `minLength`
    // samples, the next voiced run is taken, and of that `hop` samples, whatever there is.
    void Align(FrameSearch& frames, int32_t minLength, int32_t hop);
    // To be called when a frame inside has lost its voiced flag.
    void Forget() { runFirst_ = -1; }

    int64_t start;
    int64_t end;
    int32_t first = 0;
    int32_t last = 0;

  private:
    int32_t LastOfRun(const FrameSearch& frames);

    // The run found last: its frames after the first are voiced.
    int32_t runFirst_ = -1;
    int32_t runLast_ = -1;
};

// The frames measured so far; a window that starts there and ends no earlier only adds to them.
struct MeasuredRange {
    int32_t first = -1;
    int32_t last = -1;
    bool GrowsTo(int32_t newFirst, int32_t newLast) const { return newFirst == first && newLast >= last; }
};

// Extremes of a window, voiced or not and with both ends, and the mean of its voiced frames without the
// last.
class WindowPitch {
  public:
    void Measure(const FrameSearch& frames, const FrameWindow& window);
    // To be called when a frame inside has changed.
    void Forget() { measured_ = {}; }

    float Max() const { return max_; }
    float Min() const { return min_; }
    float Range() const { return max_ - min_; }
    float Middle() const { return (max_ + min_) * 0.5f; }
    int32_t MaxFrame() const { return maxFrame_; }  // the first of equals
    int32_t MinFrame() const { return minFrame_; }
    float MeanVoiced() const;  // 0 without a voiced frame

  private:
    MeasuredRange measured_;
    float max_ = 0.0f;
    float min_ = 0.0f;
    int32_t maxFrame_ = 0;
    int32_t minFrame_ = 0;
    double voicedSum_ = 0.0;
    int32_t voicedCount_ = 0;
};

// The maxima, or the minima, of the pitch in a window: each stands in the middle of the stretch that
// leads up to it, from its first rising frame to the frame where pitch falls again.
class Extrema {
  public:
    // `direction` 1 for maxima, -1 for minima.
    explicit Extrema(float direction) : direction_(direction) {}
    // Goes on at `frame`; pairs of extrema that repeat at 20 Hz or slower are counted.
    void Visit(const FrameSearch& frames, int32_t frame, float sampleRate);

    int32_t Count() const { return count_; }
    int32_t SlowPairs() const { return slowPairs_; }
    float MeanPitch() const { return static_cast<float>(pitchSum_ / count_); }

  private:
    float direction_;
    int32_t open_ = -1;  // first frame of an open stretch
    int32_t previous_ = -1;
    int32_t count_ = 0;
    int32_t slowPairs_ = 0;
    double pitchSum_ = 0.0;
};

class TurningPoints {
  public:
    void Measure(const FrameSearch& frames, const FrameWindow& window, float sampleRate);

    const Extrema& Maxima() const { return maxima_; }
    const Extrema& Minima() const { return minima_; }
    // Half-way between the mean maximum and the mean minimum; there must be one of each.
    float Centre() const { return (maxima_.MeanPitch() + minima_.MeanPitch()) * 0.5f; }

  private:
    MeasuredRange measured_;
    Extrema maxima_{1.0f};
    Extrema minima_{-1.0f};
};

// Mean pitch of the voiced frames from `first` to `last` - 1; 0 without one.
float MeanVoicedPitch(const FrameSearch& frames, int32_t first, int32_t last);
// Entry n / 2 of the n sorted pitches of the voiced frames from `first` to `last`, which is included
// here; 0 without one. `scratch` takes the pitches.
float MedianVoicedPitch(const AnalysisFrame* frames, int32_t first, int32_t last,
                        std::vector<float>& scratch);
// Collects and sorts the pitches of the voiced frames from `first` to `last` - 1.
void SortVoicedPitches(const AnalysisFrame* frames, int32_t first, int32_t last, std::vector<float>& pitches);
// The first frame after `first` and before `last` on the other side of `level` than `first`; without
// one `fallback`. A pitch at the level counts as above it.
int32_t FirstOnOtherSide(const FrameSearch& frames, int32_t first, int32_t last, float level,
                         int32_t fallback);

}  // namespace mlh
