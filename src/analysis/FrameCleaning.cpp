// The steps of NoteSegmentation that work on frames, in the order in which they run.
#include <algorithm>
#include <cmath>

#include "analysis/FrameWindow.h"
#include "analysis/NoteSegmentation.h"

namespace mlh {

namespace {

// Lets a step go round until its window has reached the last frame. Frames with rising positions are
// done well within the limit; frames that a host has set may not rise, and then a step could go on for
// ever.
class Rounds {
  public:
    explicit Rounds(int32_t frameCount) : left_(4 * int64_t{frameCount} + 16), last_(frameCount - 1) {}
    bool GoOn(const FrameWindow& window) { return --left_ > 0 && window.last < last_; }

  private:
    int64_t left_;
    int32_t last_;
};

// A stretch of frames that gets one pitch. A window that grows replaces its stretch by a longer one many
// times; only the last of them is handed out for writing.
struct Plateau {
    int32_t first = 0;
    int32_t last = 0;  // excluded
    float pitch = 0.0f;

    bool IsReplacedBy(const FrameWindow& window) const {
        return window.first == first && window.last >= last;
    }
};

// Changes of sign of pitch - centre that lie more than `minDistance` samples apart; counts up to four.
int32_t CountCrossings(const FrameSearch& frames, const FrameWindow& window, float centre,
                       int32_t minDistance) {
    int64_t previous = int64_t{frames[window.first].position} - minDistance;
    int32_t count = 0;
    for (int32_t i = window.first + 1; i <= window.last && count < 4; ++i) {
        const float before = frames[i - 1].pitch - centre;
        const float here = frames[i].pitch - centre;
        const bool crosses = (before < 0.0f && here >= 0.0f) || (before > 0.0f && here <= 0.0f);
        if (!crosses || frames[i].position - previous <= minDistance) {
            continue;
        }
        ++count;
        previous = frames[i].position;
    }
    return count;
}

// Regular turns about a centre that stays where it is: neither a trend within the window nor a new pitch
// at its end.
bool IsVibrato(FrameSearch& frames, const FrameWindow& window, const WindowPitch& pitch,
               const TurningPoints& turns, const SegmentationSettings& settings) {
    const int32_t pairs = turns.Maxima().Count() + turns.Minima().Count() - 2;
    const int32_t slowPairs = turns.Maxima().SlowPairs() + turns.Minima().SlowPairs();
    if (static_cast<float>(slowPairs) / static_cast<float>(pairs) < 0.4f) {
        return false;
    }

    const float mean = pitch.MeanVoiced();
    const float offset = std::fabs(pitch.Middle() - mean);
    if (!(offset <= 0.25f)) {
        return false;
    }

    FrameWindow ahead(window.end - settings.medianWindow, window.end + settings.medianWindow);
    ahead.Align(frames, settings.minWindow, settings.vibratoWindow);
    const float drift = std::fabs(MeanVoicedPitch(frames, ahead.first, ahead.last) - mean);
    if (!(drift <= 0.5f)) {
        return false;
    }

    const int32_t minDistance = static_cast<int32_t>(settings.sampleRate * 0.0116f);
    return CountCrossings(frames, window, turns.Centre(), minDistance) >= 4;
}

}  // namespace

void NoteSegmentation::NormalizeFrames() {
    float loudest = 0.0f;
    for (const AnalysisFrame& frame : raw_) {
        if (frame.energy > loudest) {
            loudest = frame.energy;
        }
    }
    const float scale = loudest > 0.0f ? 1.0f / loudest : 0.0f;
    for (AnalysisFrame& frame : raw_) {
        frame.energy *= scale;
    }

    for (size_t i = 0; i < raw_.size(); ++i) {
        AnalysisFrame& frame = raw_[i];
        if (frame.voiced && frame.energy < 0.0005f) {
            frame.voiced = 0;
        }
        if (i == 0) {
            continue;
        }
        AnalysisFrame& before = raw_[i - 1];
        // Energy that doubles is a new onset; the gap before it separates the notes.
        if (frame.voiced && before.voiced && (frame.energy - before.energy) / before.energy > 0.95f) {
            before.voiced = 0;
        }
    }
}

void NoteSegmentation::RejectJumps() {
    if (FrameCount() >= 2) {
        FrameSearch frames(raw_, positionsRise_, voicedSkips_);
        FrameWindow window(0, settings.medianWindow);
        WindowPitch pitch;
        Rounds rounds(FrameCount());
        do {
            window.Align(frames, settings.minWindow, settings.minWindow);
            pitch.Measure(frames, window);
            if (pitch.Range() > 6.0f) {
                raw_[FirstOnOtherSide(frames, window.first, window.last, pitch.Middle(), pitch.MinFrame())]
                    .voiced = 0;
                window.Forget();
                pitch.Forget();
                window.start += settings.stepWindow;
                window.end = window.start + settings.stepWindow;
            } else {
                const int64_t next = window.start + static_cast<int32_t>(settings.stepWindow * 0.125f);
                window.StartAt(frames, frames.FirstAtOrAfter(next), settings.stepWindow);
            }
        } while (rounds.GoOn(window));
    }
    smoothed_ = raw_;
}

void NoteSegmentation::FlattenVibrato() {
    if (FrameCount() < 2) {
        return;
    }
    FrameSearch frames(raw_, positionsRise_, voicedSkips_);
    FrameWindow window(0, settings.vibratoWindow);
    WindowPitch pitch;
    TurningPoints turns;
    Plateau plateau;
    const auto write = [&] {
        for (int32_t i = plateau.first; i < plateau.last; ++i) {
            smoothed_[i].pitch = plateau.pitch;
        }
    };
    int32_t cursor = 0;
    Rounds rounds(FrameCount());
    do {
        window.Align(frames, settings.minWindow, settings.vibratoWindow);
        pitch.Measure(frames, window);
        const bool isNarrow = pitch.Range() < 6.0f;
        if (isNarrow) {
            turns.Measure(frames, window, settings.sampleRate);
        }
        const bool hasTurns = turns.Maxima().Count() >= 2 && turns.Minima().Count() >= 2;

        if (isNarrow && !hasTurns) {
            window.StartAt(frames, int64_t{cursor} + 1, settings.vibratoWindow);
            const int64_t limit = window.start + settings.minWindow;
            while (cursor < frames.Last() && frames[cursor + 1].position < limit) {
                ++cursor;
            }
            window.Align(frames, settings.minWindow, settings.vibratoWindow);
            continue;
        }
        if (isNarrow && IsVibrato(frames, window, pitch, turns, settings)) {
            if (!plateau.IsReplacedBy(window)) {
                write();
            }
            plateau = {window.first, window.last, turns.Centre()};
            cursor = window.last;
            window.end += settings.minWindow;
            window.Align(frames, settings.minWindow, settings.vibratoWindow);
            if (window.last == cursor) {
                window.StartAt(frames, int64_t{cursor} + 1, settings.vibratoWindow);
            }
        } else {
            window.StartAt(frames, int64_t{cursor} + 1, settings.vibratoWindow);
            window.Align(frames, settings.minWindow, settings.vibratoWindow);
            cursor = window.first;
        }
    } while (rounds.GoOn(window));
    write();
}

void NoteSegmentation::RepairOutliers() {
    const int32_t count = FrameCount();
    std::vector<AnalysisFrame>& frames = smoothed_;
    for (int32_t i = 0; i <= count - 33; ++i) {
        if (!frames[i].voiced) {
            continue;
        }
        // As many frames as last 75 ms at the local period.
        const int64_t period = int64_t{frames[i + 1].position} - frames[i].position;
        const float wanted = std::floor(settings.sampleRate * 0.075f / static_cast<float>(period) + 0.5f);
        const int32_t reach = static_cast<int32_t>(std::clamp(wanted, 2.0f, 32.0f));
        float farthest = 0.0f;  // of the voiced frames between i and j from frame i
        for (int32_t j = i + 2; j <= i + reach; ++j) {
            const float distance = std::fabs(frames[i].pitch - frames[j - 1].pitch);
            if (frames[j - 1].voiced && distance > farthest) {
                farthest = distance;
            }
            const bool isReturn = frames[j].voiced && std::fabs(frames[i].pitch - frames[j].pitch) < 0.5f;
            // The mean lies within a quarter of a semitone of frame i: nothing this near to that can be off
            // by 1.
            if (!isReturn || farthest < 0.7f) {
                continue;
            }
            const float mean = (frames[i].pitch + frames[j].pitch) * 0.5f;
            for (int32_t k = i + 1; k < j; ++k) {
                if (frames[k].voiced && std::fabs(frames[k].pitch - mean) > 1.0f) {
                    frames[k].pitch = mean;
                }
            }
        }
    }
    clean_ = smoothed_;
}

void NoteSegmentation::LevelPlateaus() {
    if (FrameCount() < 2) {
        return;
    }
    FrameSearch frames(smoothed_, positionsRise_, voicedSkips_);
    FrameWindow window(0, settings.medianWindow);
    WindowPitch pitch;
    Plateau plateau;
    const auto write = [&] {
        if (plateau.first >= plateau.last) {
            return;
        }
        const float median = MedianVoicedPitch(smoothed_.data(), plateau.first, plateau.last, pitches_);
        for (int32_t i = plateau.first; i < plateau.last; ++i) {
            clean_[i].pitch = median;
        }
    };
    int32_t cursor = 0;
    Rounds rounds(FrameCount());
    do {
        window.Align(frames, settings.minWindow, settings.medianWindow);
        pitch.Measure(frames, window);
        FrameWindow ahead(window.end - settings.minWindow, window.end + settings.minWindow);
        ahead.Align(frames, settings.minWindow, settings.medianWindow);
        const float change = MeanVoicedPitch(frames, ahead.first, ahead.last) - pitch.MeanVoiced();
        if (std::fabs(change) > 0.5f) {
            cursor = frames.Clamp(int64_t{cursor} + 1);
            window.StartAt(frames, cursor, settings.medianWindow);
            window.Align(frames, settings.minWindow, settings.medianWindow);
        } else {
            if (!plateau.IsReplacedBy(window)) {
                write();
            }
            plateau = {window.first, window.last};
            cursor = window.last;
            window.end += settings.medianWindow;
            window.Align(frames, settings.minWindow, settings.medianWindow);
            if (window.last == cursor) {
                window.StartAt(frames, int64_t{cursor} + 1, settings.vibratoWindow);
            }
        }
    } while (rounds.GoOn(window));
    write();
}

void NoteSegmentation::MarkSteps() {
    if (FrameCount() < 2) {
        return;
    }
    FrameSearch frames(clean_, positionsRise_, voicedSkips_);
    FrameWindow window(0, settings.stepWindow);
    WindowPitch pitch;
    float widest = 0.0f;
    int32_t maxFrame = 0;
    int32_t minFrame = 0;
    Rounds rounds(FrameCount());
    do {
        window.Align(frames, settings.minWindow, settings.stepWindow);
        pitch.Measure(frames, window);
        int32_t next = window.first + 1;
        if (pitch.Range() > 0.5f) {
            const bool sameDirection =
                maxFrame == minFrame || (maxFrame < minFrame) == (pitch.MaxFrame() < pitch.MinFrame());
            if (pitch.Range() > widest && sameDirection) {
                // The step is still going on.
                widest = pitch.Range();
                maxFrame = pitch.MaxFrame();
                minFrame = pitch.MinFrame();
                window.end = frames[frames.Clamp(int64_t{window.last} + 4)].position;
                continue;
            }
            clean_[FirstOnOtherSide(frames, window.first, window.last, pitch.MeanVoiced(), window.last)]
                .voiced = 0;
            window.Forget();
            pitch.Forget();
            next = std::max(maxFrame, minFrame) + 1;
        }
        window.StartAt(frames, next, settings.stepWindow);
        widest = 0.0f;
        maxFrame = minFrame = 0;
    } while (rounds.GoOn(window));
}

}  // namespace mlh
