#include "analysis/FrameWindow.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace mlh {

FrameSearch::FrameSearch(const std::vector<AnalysisFrame>& frames, bool positionsRise,
                         std::vector<int32_t>& skips)
    : frames_(frames.data()),
      last_(static_cast<int32_t>(frames.size()) - 1),
      positionsRise_(positionsRise),
      skips_(skips) {
    skips_.resize(frames.size());
    std::iota(skips_.begin(), skips_.end(), 1);
}

int32_t FrameSearch::Clamp(int64_t frame) const {
    return static_cast<int32_t>(std::clamp<int64_t>(frame, 0, last_));
}

int32_t FrameSearch::LastAtOrBefore(int64_t position) const {
    const auto isWithin = [position](const AnalysisFrame& frame) { return frame.position <= position; };
    const AnalysisFrame* const end = frames_ + last_;
    const AnalysisFrame* const beyond = positionsRise_ ? std::partition_point(frames_, end, isWithin)
                                                       : std::find_if_not(frames_, end, isWithin);
    return Clamp(beyond - frames_ - 1);
}

int32_t FrameSearch::FirstAtOrAfter(int64_t position) const {
    const auto isBefore = [position](const AnalysisFrame& frame) { return frame.position < position; };
    const AnalysisFrame* const end = frames_ + last_;
    const AnalysisFrame* const found = positionsRise_ ? std::partition_point(frames_, end, isBefore)
                                                      : std::find_if_not(frames_, end, isBefore);
    return static_cast<int32_t>(found - frames_);
}

int32_t FrameSearch::NextVoiced(int32_t frame) {
    int32_t found = frame;
    while (found < last_ && !frames_[found].voiced) {
        found = skips_[found];
    }
    // Every unvoiced frame on the way leads straight there from now on.
    while (frame < found) {
        const int32_t next = skips_[frame];
        skips_[frame] = found;
        frame = next;
    }
    return found;
}

void FrameWindow::StartAt(const FrameSearch& frames, int64_t frame, int32_t length) {
    first = frames.Clamp(frame);
    start = frames[first].position;
    end = start + length;
}

void FrameWindow::Align(FrameSearch& frames, int32_t minLength, int32_t hop) {
    const int64_t span = end - start;
    first = frames.NextVoiced(frames.LastAtOrBefore(start));
    start = frames[first].position;
    if (end > start) {
        end = start + span;
        last = LastOfRun(frames);
    } else {
        last = first;
    }
    end = frames[last].position;
    if (end - start >= minLength) {
        return;
    }

    first = frames.NextVoiced(frames.Clamp(int64_t{last} + 1));
    start = frames[first].position;
    end = start + hop;
    last = frames.Clamp(int64_t{first} + 1);
    while (last < frames.Last() && frames[last].voiced && frames[last].position < end) {
        ++last;
    }
    end = frames[last].position;
}

// The last voiced frame after `first` that is not beyond `end`. On the last frame of all it may be the
// frame before `first`: then there is no voiced frame left, and the run is too short in any case.
int32_t FrameWindow::LastOfRun(const FrameSearch& frames) {
    int32_t frame = frames.Clamp(int64_t{first} + 1);
    const bool runGoesOn =
        first == runFirst_ && runLast_ > frame && frames.PositionsRise() && frames[runLast_].position <= end;
    if (runGoesOn) {
        frame = runLast_;
    }
    while (frame <= frames.Last() && frames[frame].voiced && frames[frame].position <= end) {
        ++frame;
    }
    runFirst_ = first;
    runLast_ = frame - 1;
    return runLast_;
}

void WindowPitch::Measure(const FrameSearch& frames, const FrameWindow& window) {
    if (!measured_.GrowsTo(window.first, window.last)) {
        measured_ = {window.first, window.first};
        max_ = min_ = frames[window.first].pitch;
        maxFrame_ = minFrame_ = window.first;
        voicedSum_ = 0.0;
        voicedCount_ = 0;
    }
    for (int32_t& frame = measured_.last; frame < window.last;) {
        if (frames[frame].voiced) {
            voicedSum_ += frames[frame].pitch;
            ++voicedCount_;
        }
        const float pitch = frames[++frame].pitch;
        if (pitch > max_) {
            max_ = pitch;
            maxFrame_ = frame;
        }
        if (pitch < min_) {
            min_ = pitch;
            minFrame_ = frame;
        }
    }
}

float WindowPitch::MeanVoiced() const {
    return voicedCount_ == 0 ? 0.0f : static_cast<float>(voicedSum_ / voicedCount_);
}

void Extrema::Visit(const FrameSearch& frames, int32_t frame, float sampleRate) {
    const float change = (frames[frame].pitch - frames[frame - 1].pitch) * direction_;
    if (open_ < 0) {
        if (change > 0.0f) {
            open_ = frame;
        }
        return;
    }
    if (!(change < 0.0f)) {
        return;
    }
    const int32_t extremum = open_ + (frame - open_ + 1) / 2;
    open_ = -1;
    pitchSum_ += frames[extremum].pitch;
    if (count_ > 0) {
        const int64_t distance = int64_t{frames[extremum].position} - frames[previous_].position;
        if (sampleRate / static_cast<float>(distance) <= 20.0f) {
            ++slowPairs_;
        }
    }
    previous_ = extremum;
    ++count_;
}

void TurningPoints::Measure(const FrameSearch& frames, const FrameWindow& window, float sampleRate) {
    if (!measured_.GrowsTo(window.first, window.last)) {
        measured_ = {window.first, window.first};
        maxima_ = Extrema(1.0f);
        minima_ = Extrema(-1.0f);
    }
    while (measured_.last < window.last) {
        ++measured_.last;
        maxima_.Visit(frames, measured_.last, sampleRate);
        minima_.Visit(frames, measured_.last, sampleRate);
    }
}

float MeanVoicedPitch(const FrameSearch& frames, int32_t first, int32_t last) {
    double sum = 0.0;
    int32_t count = 0;
    for (int32_t i = first; i < last; ++i) {
        if (!frames[i].voiced) {
            continue;
        }
        sum += frames[i].pitch;
        ++count;
    }
    return count == 0 ? 0.0f : static_cast<float>(sum / count);
}

void SortVoicedPitches(const AnalysisFrame* frames, int32_t first, int32_t last,
                       std::vector<float>& pitches) {
    pitches.clear();
    for (int32_t i = first; i < last; ++i) {
        if (frames[i].voiced) {
            pitches.push_back(frames[i].pitch);
        }
    }
    // Frames that a host has set may hold anything; what is not a number goes last.
    std::sort(pitches.begin(), pitches.end(),
              [](float a, float b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
}

float MedianVoicedPitch(const AnalysisFrame* frames, int32_t first, int32_t last,
                        std::vector<float>& scratch) {
    SortVoicedPitches(frames, first, last + 1, scratch);
    return scratch.empty() ? 0.0f : scratch[scratch.size() / 2];
}

int32_t FirstOnOtherSide(const FrameSearch& frames, int32_t first, int32_t last, float level,
                         int32_t fallback) {
    const auto isAbove = [&](int32_t frame) { return frames[frame].pitch - level >= 0.0f; };
    for (int32_t i = first + 1; i < last; ++i) {
        if (isAbove(i) != isAbove(first)) {
            return i;
        }
    }
    return fallback;
}

}  // namespace mlh
