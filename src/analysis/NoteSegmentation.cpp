// What NoteSegmentation holds, and the steps that make and refine notes.
#include "analysis/NoteSegmentation.h"

#include <algorithm>
#include <cmath>

#include "analysis/FrameWindow.h"

namespace mlh {

namespace {

void SetSpan(AnalysisNote& note, const std::vector<AnalysisFrame>& frames, int32_t first, int32_t last) {
    note.firstFrame = first;
    note.lastFrame = last;
    note.startPosition = frames[first].position;
    note.endPosition = frames[last].position;
    note.length = static_cast<int32_t>(int64_t{note.endPosition} - note.startPosition);
}

// Deletes notes that are nothing and merges notes that are one.
//
// The pass looks at one note at a time and steps forward or, after a merge, back. The notes before it
// and those from it on lie at the two ends of one array, so that deleting a note beside the gap between
// them costs nothing. A merged note keeps the sum of its mean energy: a chain of merges then adds
// only what is new. The pass ends although it steps back: a step back goes with a merge, which leaves a
// note less.
class NoteMerger {
  public:
    NoteMerger(const std::vector<AnalysisNote>& notes, const std::vector<AnalysisFrame>& frames,
               const SegmentationSettings& settings)
        : frames_(frames), settings_(settings) {
        items_.reserve(notes.size());
        for (const AnalysisNote& note : notes) {
            items_.push_back({note, 0.0, note.firstFrame});
        }
    }

    std::vector<AnalysisNote> Run() {
        while (current_ < items_.size()) {
            Visit();
        }
        std::vector<AnalysisNote> notes;
        notes.reserve(before_);
        for (size_t i = 0; i < before_; ++i) {
            notes.push_back(items_[i].note);
        }
        return notes;
    }

  private:
    struct Item {
        AnalysisNote note;
        double energySum;   // of the frames from note.firstFrame
        int32_t summedEnd;  // to this one, excluded
    };

    void Visit() {
        Item& item = items_[current_];
        if (item.note.length < settings_.minNoteLength && item.note.energy < 0.0005f) {
            ++current_;
            return;
        }
        const bool isFirst = before_ == 0;
        const bool isLast = current_ + 1 == items_.size();
        if (isFirst || isLast) {
            return StepForward();
        }

        const bool isShort = item.note.length < settings_.minNoteLength;
        const Item& previous = items_[before_ - 1];
        const Item next = items_[current_ + 1];
        if (IsNear(previous.note, item.note)) {
            if (!isShort && !RisesLittle(previous.note, item.note)) {
                return StepForward();
            }
            item = Merged(previous, item, previous.note, item.note);
            --before_;
        } else if (IsNear(item.note, next.note) && (isShort || RisesLittle(item.note, next.note))) {
            items_[current_ + 1] = Merged(item, next, next.note, item.note);
            ++current_;
            StepBack();
        } else {
            StepForward();
        }
    }

    void StepForward() { items_[before_++] = items_[current_++]; }
    void StepBack() { items_[--current_] = items_[--before_]; }

    bool IsNear(const AnalysisNote& earlier, const AnalysisNote& later) const {
        return std::fabs(earlier.pitch - later.pitch) < settings_.mergeThreshold &&
               int64_t{later.startPosition} - earlier.endPosition < settings_.mergeGap;
    }

    bool RisesLittle(const AnalysisNote& earlier, const AnalysisNote& later) const {
        const float before = frames_[earlier.lastFrame].energy;
        return (frames_[later.firstFrame].energy - before) / before < 0.95f;
    }

    // `earlier` and `later` as one note; `absorbed` is the one that the other, `kept`, takes in. It counts
    // four times as much by the sample.
    Item Merged(const Item& earlier, const Item& later, const AnalysisNote& absorbed,
                const AnalysisNote& kept) const {
        Item merged = earlier;
        AnalysisNote& note = merged.note;
        note.lastFrame = later.note.lastFrame;
        note.endPosition = later.note.endPosition;
        note.length = static_cast<int32_t>(int64_t{note.endPosition} - note.startPosition);
        const float absorbedWeight = 2.0f * static_cast<float>(absorbed.length);
        const float keptWeight = 0.5f * static_cast<float>(note.length);
        note.pitch =
            (absorbedWeight * absorbed.pitch + keptWeight * kept.pitch) / (absorbedWeight + keptWeight);
        if (merged.summedEnd > note.lastFrame) {
            merged = {note, 0.0, note.firstFrame};
        }
        for (; merged.summedEnd < note.lastFrame; ++merged.summedEnd) {
            merged.energySum += frames_[merged.summedEnd].energy;
        }
        note.energy = static_cast<float>(merged.energySum / (note.lastFrame - note.firstFrame));
        return merged;
    }

    const std::vector<AnalysisFrame>& frames_;
    const SegmentationSettings& settings_;
    std::vector<Item> items_;
    size_t before_ = 0;   // how many notes are before the pass
    size_t current_ = 0;  // where the note that it looks at lies
};

}  // namespace

SegmentationSettings::SegmentationSettings(float rate)
    : sampleRate(rate),
      vibratoWindow(static_cast<int32_t>(0.2f * rate)),
      minWindow(static_cast<int32_t>(0.025f * rate)),
      medianWindow(static_cast<int32_t>(0.1f * rate)),
      stepWindow(static_cast<int32_t>(0.05f * rate)),
      minNoteLength(static_cast<int32_t>(std::floor(0.042f * rate))),
      mergeGap(static_cast<int32_t>(std::floor(0.092f * rate))) {}

NoteSegmentation::NoteSegmentation(float sampleRate) : settings(sampleRate) { pitches_.reserve(65536); }

float MeanEnergy(const AnalysisFrame* frames, int32_t first, int32_t last) {
    double sum = 0.0;
    for (int32_t i = first; i < last; ++i) {
        sum += frames[i].energy;
    }
    return static_cast<float>(sum / (last - first));
}

void NoteSegmentation::SetFrames(const std::vector<AnalysisFrame>& frames) {
    raw_ = frames;  // copied, so that an array of the same length stays where it is: voices hold on to it
    smoothed_ = raw_;
    clean_ = raw_;
    positionsRise_ = std::is_sorted(
        raw_.begin(), raw_.end(),
        [](const AnalysisFrame& a, const AnalysisFrame& b) { return a.position < b.position; });
}

void NoteSegmentation::SetNotes(std::vector<AnalysisNote> notes) {
    notes_ = std::move(notes);
    const int32_t lastFrame = std::max(FrameCount() - 1, 0);
    for (AnalysisNote& note : notes_) {
        note.firstFrame = std::clamp(note.firstFrame, 0, lastFrame);
        note.lastFrame = std::clamp(note.lastFrame, 0, lastFrame);
    }
}

void NoteSegmentation::Clear() {
    raw_.clear();
    smoothed_.clear();
    clean_.clear();
    notes_.clear();
    positionsRise_ = true;
}

float NoteSegmentation::EstimatePitch(const AnalysisFrame* frames, int32_t first, int32_t last,
                                      bool checkSpread) {
    SortVoicedPitches(frames, first, last, pitches_);
    const size_t n = pitches_.size();
    if (n == 0) {
        return 0.0f;
    }
    const auto mean = [this](size_t from, size_t to) {
        double sum = 0.0;
        for (size_t i = from; i < to; ++i) {
            sum += pitches_[i];
        }
        return static_cast<float>(sum / static_cast<double>(to - from));
    };
    const size_t from = n < 8 ? 0 : n / 2 - n / 4;
    const size_t to = n < 8 ? n : n / 2 + n / 4;
    const float middle = mean(from, to);
    if (!checkSpread) {
        return middle;
    }

    double spread = 0.0;
    for (size_t i = from; i < to; ++i) {
        spread += std::fabs(pitches_[i] - middle);
    }
    const bool isNarrow = static_cast<float>(spread / static_cast<double>(to - from)) < 0.1f;
    return isNarrow ? mean(0, n) : middle;
}

void NoteSegmentation::CutNotes() {
    notes_.clear();
    const int32_t lastFrame = FrameCount() - 1;
    int32_t first = 0;
    while (first < lastFrame) {
        while (first < lastFrame && !clean_[first].voiced) {
            ++first;
        }
        if (first == lastFrame) {
            break;
        }
        int32_t last = first + 1;
        while (last < lastFrame && clean_[last].voiced) {
            ++last;
        }

        AnalysisNote note;
        SetSpan(note, clean_, first, last);
        note.pitch = EstimatePitch(raw_.data(), first, last, false);
        note.energy = MeanEnergy(clean_.data(), first, last);
        notes_.push_back(note);
        first = last;
    }
}

void NoteSegmentation::RefineNotes() {
    SetNotes(std::move(notes_));  // frames may have been set since
    if (raw_.empty()) {
        notes_.clear();
    }

    for (size_t i = 0; i < notes_.size(); ++i) {
        if (notes_[i].energy > 0.05f) {
            ExtendNote(i, false);
        }
    }
    notes_ = NoteMerger(notes_, raw_, settings).Run();
    for (size_t i = 0; i < notes_.size(); ++i) {
        ExtendNote(i, true);
    }
    std::erase_if(notes_, [this](const AnalysisNote& note) {
        return note.length < settings.minNoteLength || IsGlide(note);
    });
    for (size_t i = notes_.size(); i-- > 0;) {
        ExtendNote(i, true);
    }
    for (AnalysisNote& note : notes_) {
        const float pitch = EstimatePitch(raw_.data(), note.firstFrame, note.lastFrame, false);
        if (pitch > 0.0f) {
            note.pitch = pitch;
        }
    }
    if (!notes_.empty()) {
        return;
    }

    // Nothing was sung: one note all over, of no length, so that there is always one.
    AnalysisNote note{};
    if (!raw_.empty()) {
        SetSpan(note, raw_, 0, FrameCount() - 1);
    }
    note.length = 0;
    note.energy = 0.5f;
    note.pitch = 60.0f;
    notes_.push_back(note);
}

// Moves both ends of a note outwards while the energy stays above an eighth of the note's, and, when
// `bounded`, below a hundred times that; they stay clear of the neighbours and of the outermost frames.
void NoteSegmentation::ExtendNote(size_t index, bool bounded) {
    AnalysisNote& note = notes_[index];
    const int32_t lastFrame = FrameCount() - 1;
    const int32_t leftLimit = index == 0 ? 0 : notes_[index - 1].lastFrame;
    const int32_t rightLimit = index + 1 == notes_.size() ? lastFrame : notes_[index + 1].firstFrame;
    const float threshold = note.energy * 0.125f;
    const float ceiling = note.energy * 100.0f;
    const auto belongs = [&](int32_t frame) {
        const float energy = raw_[frame].energy;
        return energy > threshold && !(bounded && energy >= ceiling);
    };
    int32_t left = std::max(note.firstFrame - 1, 0);
    while (left > leftLimit && belongs(left)) {
        --left;
    }
    int32_t right = std::min(note.lastFrame + 1, lastFrame);
    while (right < rightLimit && belongs(right)) {
        ++right;
    }
    SetSpan(note, raw_, std::clamp(std::max(left, leftLimit + 1), 0, lastFrame),
            std::clamp(std::min(right, rightLimit - 1), 0, lastFrame));
}

// A short, even slide through its own mean pitch is a transition and not a note.
bool NoteSegmentation::IsGlide(const AnalysisNote& note) {
    int32_t first = note.firstFrame;
    int32_t last = note.lastFrame;
    while (first < last && !raw_[first].voiced) {
        ++first;
    }
    while (last > first && !raw_[last].voiced) {
        --last;
    }
    if (int64_t{raw_[last].position} - raw_[first].position > settings.mergeGap) {
        return false;
    }
    if (first == last) {
        return true;
    }
    const float distance = std::fabs(raw_[last].pitch - raw_[first].pitch);
    if (distance < 1.0f || distance < 0.03f * static_cast<float>(last - first)) {
        return false;
    }

    const float mean = EstimatePitch(raw_.data(), note.firstFrame, note.lastFrame, true);
    int32_t crossings = 0;
    int32_t below = 0;
    int32_t total = 0;
    for (int32_t i = first; i < last; ++i) {
        if (!raw_[i].voiced) {
            continue;
        }
        const float here = raw_[i].pitch;
        const float next = raw_[i + 1].pitch;
        if ((here < mean && next > mean) || (here > mean && next < mean)) {
            ++crossings;
        }
        if (here < mean) {
            ++below;
        }
        ++total;
    }
    if (crossings > 1 || 2 * total < last - first) {
        return false;
    }
    const float share = static_cast<float>(below) / static_cast<float>(total);
    return share > 0.4f && share < 0.6f;
}

}  // namespace mlh
