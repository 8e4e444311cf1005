#include "support/LiteralSegmentation.h"

#include <algorithm>
#include <cmath>

namespace mlh {

namespace {

int Within(int64_t i, int count) {
    if (i < 0) {
        return 0;
    }
    if (i > count - 1) {
        return count - 1;
    }
    return static_cast<int>(i);
}

struct Extremes {
    float max, min;
    int maxAt, minAt;
};

Extremes FindExtremes(const std::vector<AnalysisFrame>& frames, int first, int last) {
    Extremes e{frames[first].pitch, frames[first].pitch, first, first};
    for (int i = first + 1; i <= last; ++i) {
        if (frames[i].pitch > e.max) {
            e.max = frames[i].pitch;
            e.maxAt = i;
        }
        if (frames[i].pitch < e.min) {
            e.min = frames[i].pitch;
            e.minAt = i;
        }
    }
    return e;
}

std::vector<int> FindTurns(const std::vector<AnalysisFrame>& frames, int first, int last, float sign) {
    std::vector<int> turns;
    int open = -1;
    for (int i = first + 1; i <= last; ++i) {
        const float difference = sign * (frames[i].pitch - frames[i - 1].pitch);
        if (open == -1 && difference > 0) {
            open = i;
        } else if (open != -1 && difference < 0) {
            turns.push_back(open + static_cast<int>(std::floor((i - open) * 0.5 + 0.5)));
            open = -1;
        }
    }
    return turns;
}

float MeanAt(const std::vector<AnalysisFrame>& frames, const std::vector<int>& at) {
    double sum = 0;
    for (int i : at) {
        sum += frames[i].pitch;
    }
    return static_cast<float>(sum / static_cast<double>(at.size()));
}

int SideChange(const std::vector<AnalysisFrame>& frames, int first, int last, float level) {
    for (int i = first + 1; i < last; ++i) {
        if ((frames[i].pitch - level >= 0) != (frames[first].pitch - level >= 0)) {
            return i;
        }
    }
    return -1;
}

std::vector<float> SortedVoiced(const std::vector<AnalysisFrame>& frames, int first, int end) {
    std::vector<float> pitches;
    for (int i = first; i < end; ++i) {
        if (frames[i].voiced != 0) {
            pitches.push_back(frames[i].pitch);
        }
    }
    std::sort(pitches.begin(), pitches.end());
    return pitches;
}

float MeanOf(const std::vector<float>& values, size_t from, size_t to) {
    double sum = 0;
    for (size_t i = from; i < to; ++i) {
        sum += values[i];
    }
    return static_cast<float>(sum / static_cast<double>(to - from));
}

float MeanOfEnergy(const std::vector<AnalysisFrame>& frames, int first, int last) {
    double sum = 0;
    for (int i = first; i < last; ++i) {
        sum += frames[i].energy;
    }
    return static_cast<float>(sum / (last - first));
}

}  // namespace

bool LiteralSegmentation::GoOn(int64_t round) {
    mostRounds = std::max(mostRounds, round);
    return window.last < count - 1 && round < RoundLimit();
}

void LiteralSegmentation::Align(const Frames& frames, Window& w, int64_t minLength, int64_t hop) const {
    const int64_t span = w.end - w.start;
    int first = 0;
    while (first < count - 1 && frames[first].position <= w.start) {
        ++first;
    }
    first = Within(first - 1, count);
    while (first < count - 1 && frames[first].voiced == 0) {
        ++first;
    }
    w.start = frames[first].position;
    int last;
    if (w.end > w.start) {
        w.end = w.start + span;
        last = std::min(first + 1, count - 1);
        while (last < count && frames[last].voiced != 0 && frames[last].position <= w.end) {
            ++last;
        }
        --last;
    } else {
        last = first;
    }
    w.end = frames[last].position;
    if (w.end - w.start < minLength) {
        first = std::min(last + 1, count - 1);
        while (first < count - 1 && frames[first].voiced == 0) {
            ++first;
        }
        w.start = frames[first].position;
        w.end = w.start + hop;
        last = std::min(first + 1, count - 1);
        while (last < count - 1 && frames[last].voiced != 0 && frames[last].position < w.end) {
            ++last;
        }
    }
    w.first = first;
    w.last = last;
    w.start = frames[first].position;
    w.end = frames[last].position;
}

void LiteralSegmentation::Place(Window& w, int64_t first, int64_t length) const {
    w.first = Within(first, count);
    w.start = raw[w.first].position;
    w.end = w.start + length;
}

float LiteralSegmentation::MeanVoiced(const Frames& frames, int first, int last) const {
    double sum = 0;
    int n = 0;
    for (int i = first; i < last; ++i) {
        if (frames[i].voiced != 0) {
            sum += frames[i].pitch;
            ++n;
        }
    }
    return n > 0 ? static_cast<float>(sum / n) : 0.0f;
}

float LiteralSegmentation::MedianVoiced(const Frames& frames, int first, int last) const {
    const std::vector<float> pitches = SortedVoiced(frames, first, last + 1);
    return pitches.empty() ? 0.0f : pitches[pitches.size() / 2];
}

float LiteralSegmentation::EstimatePitch(const Frames& frames, int first, int last, bool checkSpread) const {
    const std::vector<float> pitches = SortedVoiced(frames, first, last);
    const size_t n = pitches.size();
    if (n == 0) {
        return 0.0f;
    }
    size_t from = 0;
    size_t to = n;
    if (n >= 8) {
        from = n / 2 - n / 4;
        to = n / 2 + n / 4;
    }
    const float mean = MeanOf(pitches, from, to);
    if (!checkSpread) {
        return mean;
    }
    double spread = 0;
    for (size_t i = from; i < to; ++i) {
        spread += std::fabs(pitches[i] - mean);
    }
    if (!(static_cast<float>(spread / static_cast<double>(to - from)) < 0.1f)) {
        return mean;
    }
    return MeanOf(pitches, 0, n);
}

void LiteralSegmentation::NormalizeFrames() {
    float max = 0;
    for (int i = 0; i < count; ++i) {
        if (raw[i].energy > max) {
            max = raw[i].energy;
        }
    }
    const float factor = max > 0 ? 1.0f / max : 0.0f;
    for (int i = 0; i < count; ++i) {
        raw[i].energy = raw[i].energy * factor;
    }
    for (int i = 0; i < count; ++i) {
        if (raw[i].voiced != 0 && raw[i].energy < 0.0005f) {
            raw[i].voiced = 0;
        }
        if (i > 0 && raw[i].voiced != 0 && raw[i - 1].voiced != 0) {
            if ((raw[i].energy - raw[i - 1].energy) / raw[i - 1].energy > 0.95f) {
                raw[i - 1].voiced = 0;
            }
        }
    }
}

void LiteralSegmentation::RejectJumps() {
    if (count >= 2) {
        window = {0, set.medianWindow};
        int64_t round = 0;
        do {
            Align(raw, window, set.minWindow, set.minWindow);
            const Extremes e = FindExtremes(raw, window.first, window.last);
            if (!(e.max - e.min > 6)) {
                window.start += static_cast<int>(set.stepWindow * 0.125f);
                int first = 0;
                while (first < count - 1 && raw[first].position < window.start) {
                    ++first;
                }
                Place(window, first, set.stepWindow);
            } else {
                int mark = SideChange(raw, window.first, window.last, (e.max + e.min) * 0.5f);
                if (mark == -1) {
                    mark = e.minAt;
                }
                raw[mark].voiced = 0;
                window.start += set.stepWindow;
                window.end = window.start + set.stepWindow;
            }
        } while (GoOn(++round));
    }
    smoothed = raw;
}

void LiteralSegmentation::FlattenVibrato() {
    if (count < 2) {
        return;
    }
    window = {0, set.vibratoWindow};
    int cursor = 0;
    int64_t round = 0;
    do {
        Align(raw, window, set.minWindow, set.vibratoWindow);
        const Extremes e = FindExtremes(raw, window.first, window.last);
        if (!(e.max - e.min < 6)) {
            Place(window, int64_t{cursor} + 1, set.vibratoWindow);
            Align(raw, window, set.minWindow, set.vibratoWindow);
            cursor = window.first;
            continue;
        }
        const std::vector<int> maxima = FindTurns(raw, window.first, window.last, 1);
        const std::vector<int> minima = FindTurns(raw, window.first, window.last, -1);
        if (maxima.size() < 2 || minima.size() < 2) {
            Place(window, int64_t{cursor} + 1, set.vibratoWindow);
            while (cursor + 1 <= count - 1 && raw[cursor + 1].position < window.start + set.minWindow) {
                ++cursor;
            }
            Align(raw, window, set.minWindow, set.vibratoWindow);
            continue;
        }
        const float centre = (MeanAt(raw, maxima) + MeanAt(raw, minima)) * 0.5f;
        const float mean = MeanVoiced(raw, window.first, window.last);
        const float offset = std::fabs((e.max + e.min) * 0.5f - mean);
        Window end{window.end - set.medianWindow, window.end + set.medianWindow};
        Align(raw, end, set.minWindow, set.vibratoWindow);
        const float drift = std::fabs(MeanVoiced(raw, end.first, end.last) - mean);
        int slow = 0;
        for (const std::vector<int>& turns : {maxima, minima}) {
            for (size_t k = 1; k < turns.size(); ++k) {
                const int64_t distance = int64_t{raw[turns[k]].position} - raw[turns[k - 1]].position;
                if (set.sampleRate / static_cast<float>(distance) <= 20) {
                    ++slow;
                }
            }
        }
        const float rate = static_cast<float>(slow) / static_cast<float>(maxima.size() + minima.size() - 2);
        const int apart = static_cast<int>(set.sampleRate * 0.0116f);
        int64_t reference = int64_t{raw[window.first].position} - apart;
        int crossings = 0;
        for (int i = window.first; i < window.last; ++i) {
            const float a = raw[i].pitch - centre;
            const float b = raw[i + 1].pitch - centre;
            if ((a < 0 && b >= 0) || (a > 0 && b <= 0)) {
                if (raw[i + 1].position - reference > apart) {
                    ++crossings;
                    reference = raw[i + 1].position;
                }
            }
        }
        if (crossings >= 4 && offset <= 0.25f && drift <= 0.5f && !(rate < 0.4f)) {
            for (int i = window.first; i < window.last; ++i) {
                smoothed[i].pitch = centre;
            }
            cursor = window.last;
            const int before = window.last;
            window.end += set.minWindow;
            Align(raw, window, set.minWindow, set.vibratoWindow);
            if (window.last == before) {
                Place(window, int64_t{window.last} + 1, set.vibratoWindow);
            }
        } else {
            Place(window, int64_t{cursor} + 1, set.vibratoWindow);
            Align(raw, window, set.minWindow, set.vibratoWindow);
            cursor = window.first;
        }
    } while (GoOn(++round));
}

void LiteralSegmentation::RepairOutliers() {
    if (count > 32) {
        for (int i = 0; i <= count - 33; ++i) {
            const int64_t distance = int64_t{smoothed[i + 1].position} - smoothed[i].position;
            const float frames = std::floor(set.sampleRate * 0.075f / static_cast<float>(distance) + 0.5f);
            const int reach = frames > 32 ? 32 : frames < 2 ? 2 : static_cast<int>(frames);
            for (int j = 1; j <= reach && i + j < count; ++j) {
                if (!(std::fabs(smoothed[i].pitch - smoothed[i + j].pitch) < 0.5f)) {
                    continue;
                }
                if (smoothed[i].voiced == 0 || smoothed[i + j].voiced == 0 || j <= 1) {
                    continue;
                }
                const float m = (smoothed[i].pitch + smoothed[i + j].pitch) * 0.5f;
                for (int k = i + 1; k < i + j; ++k) {
                    if (smoothed[k].voiced != 0 && std::fabs(smoothed[k].pitch - m) > 1) {
                        smoothed[k].pitch = m;
                    }
                }
            }
        }
    }
    clean = smoothed;
}

void LiteralSegmentation::LevelPlateaus() {
    if (count < 2) {
        return;
    }
    window = {0, set.medianWindow};
    int cursor = 0;
    int64_t round = 0;
    do {
        Align(smoothed, window, set.minWindow, set.medianWindow);
        Window second{window.end - set.minWindow, window.end + set.minWindow};
        Align(smoothed, second, set.minWindow, set.medianWindow);
        const float a = MeanVoiced(smoothed, window.first, window.last);
        const float b = MeanVoiced(smoothed, second.first, second.last);
        if (std::fabs(b - a) > 0.5f) {
            cursor = std::min(cursor + 1, count - 1);
            Place(window, cursor, set.medianWindow);
            Align(smoothed, window, set.minWindow, set.medianWindow);
        } else {
            const float median = MedianVoiced(smoothed, window.first, window.last);
            for (int i = window.first; i < window.last; ++i) {
                clean[i].pitch = median;
            }
            cursor = window.last;
            window.end += set.medianWindow;
            Align(smoothed, window, set.minWindow, set.medianWindow);
            if (window.last == cursor) {
                Place(window, int64_t{window.last} + 1, set.vibratoWindow);
            }
        }
    } while (GoOn(++round));
}

void LiteralSegmentation::MarkSteps() {
    if (count < 2) {
        return;
    }
    window = {0, set.stepWindow};
    float bestRange = 0;
    int maxIndex = 0;
    int minIndex = 0;
    int64_t round = 0;
    do {
        Align(clean, window, set.minWindow, set.stepWindow);
        const Extremes e = FindExtremes(clean, window.first, window.last);
        const float mean = MeanVoiced(clean, window.first, window.last);
        const float range = e.max - e.min;
        int64_t next;
        if (!(range > 0.5f)) {
            next = int64_t{window.first} + 1;
        } else {
            const bool coincide = maxIndex == minIndex;
            const bool same = (e.minAt > e.maxAt) == (minIndex > maxIndex);
            if (range > bestRange && (coincide || same)) {
                bestRange = range;
                maxIndex = e.maxAt;
                minIndex = e.minAt;
                window.end = clean[Within(int64_t{window.last} + 4, count)].position;
                continue;
            }
            int mark = SideChange(clean, window.first, window.last, mean);
            if (mark == -1) {
                mark = window.last;
            }
            clean[mark].voiced = 0;
            next = int64_t{std::max(maxIndex, minIndex)} + 1;
        }
        Place(window, next, set.stepWindow);
        bestRange = 0;
        maxIndex = minIndex = 0;
    } while (GoOn(++round));
}

void LiteralSegmentation::CutNotes() {
    notes.clear();
    int first = 0;
    while (first < count - 1) {
        while (first < count - 1 && clean[first].voiced == 0) {
            ++first;
        }
        if (first >= count - 1) {
            break;
        }
        int last = first + 1;
        while (clean[last].voiced != 0 && last < count - 1) {
            ++last;
        }
        AnalysisNote note;
        note.firstFrame = first;
        note.lastFrame = last;
        note.startPosition = clean[first].position;
        note.endPosition = clean[last].position;
        note.length = note.endPosition - note.startPosition;
        note.pitch = EstimatePitch(raw, first, last, false);
        note.energy = MeanOfEnergy(clean, first, last);
        notes.push_back(note);
        first = last;
    }
}

void LiteralSegmentation::Extend(size_t n, bool bounded) {
    AnalysisNote& note = notes[n];
    const int left = n == 0 ? 0 : notes[n - 1].lastFrame;
    const int right = n == notes.size() - 1 ? count - 1 : notes[n + 1].firstFrame;
    int i = std::max(note.firstFrame - 1, 0);
    while (i > left && raw[i].energy > note.energy * 0.125f) {
        if (bounded && raw[i].energy >= note.energy * 100.0f) {
            break;
        }
        --i;
    }
    note.firstFrame = Within(std::max(i, left + 1), count);
    i = std::min(note.lastFrame + 1, count - 1);
    while (i < right && raw[i].energy > note.energy * 0.125f) {
        if (bounded && raw[i].energy >= note.energy * 100.0f) {
            break;
        }
        ++i;
    }
    note.lastFrame = Within(std::min(i, right - 1), count);
    note.startPosition = raw[note.firstFrame].position;
    note.endPosition = raw[note.lastFrame].position;
    note.length = note.endPosition - note.startPosition;
}

bool LiteralSegmentation::IsGlide(const AnalysisNote& note) const {
    int first = note.firstFrame;
    int last = note.lastFrame;
    while (first < last && raw[first].voiced == 0) {
        ++first;
    }
    while (last > first && raw[last].voiced == 0) {
        --last;
    }
    if (raw[last].position - raw[first].position > set.mergeGap) {
        return false;
    }
    if (first == last) {
        return true;
    }
    const float difference = std::fabs(raw[first].pitch - raw[last].pitch);
    if (difference < 1 || difference < 0.03f * static_cast<float>(last - first)) {
        return false;
    }
    const float mean = EstimatePitch(raw, note.firstFrame, note.lastFrame, true);
    int crossings = 0, below = 0, total = 0;
    for (int i = first; i < last; ++i) {
        if (raw[i].voiced == 0) {
            continue;
        }
        ++total;
        if (raw[i].pitch < mean) {
            ++below;
        }
        if (raw[i].pitch < mean && raw[i + 1].pitch > mean) {
            ++crossings;
        }
        if (raw[i].pitch > mean && raw[i + 1].pitch < mean) {
            ++crossings;
        }
    }
    if (crossings > 1) {
        return false;
    }
    if (2 * total < last - first) {
        return false;
    }
    const float ratio = static_cast<float>(below) / static_cast<float>(total);
    return ratio > 0.4f && ratio < 0.6f;
}

void LiteralSegmentation::RefineNotes() {
    for (size_t n = 0; n < notes.size(); ++n) {
        if (notes[n].energy > 0.05f) {
            Extend(n, false);
        }
    }
    const auto isNear = [&](const AnalysisNote& a, const AnalysisNote& b) {
        return std::fabs(a.pitch - b.pitch) < set.mergeThreshold &&
               b.startPosition - a.endPosition < set.mergeGap;
    };
    const auto risesLittle = [&](const AnalysisNote& a, const AnalysisNote& b) {
        const float e = raw[a.lastFrame].energy;
        return (raw[b.firstFrame].energy - e) / e < 0.95f;
    };
    const auto merge = [&](AnalysisNote& note, const AnalysisNote& absorbed, bool isPredecessor) {
        if (isPredecessor) {
            note.firstFrame = absorbed.firstFrame;
            note.startPosition = absorbed.startPosition;
        } else {
            note.lastFrame = absorbed.lastFrame;
            note.endPosition = absorbed.endPosition;
        }
        note.length = note.endPosition - note.startPosition;
        const float L = static_cast<float>(absorbed.length);
        const float M = static_cast<float>(note.length);
        note.pitch = (2.0f * L * absorbed.pitch + 0.5f * M * note.pitch) / (2.0f * L + 0.5f * M);
        note.energy = MeanOfEnergy(raw, note.firstFrame, note.lastFrame);
    };
    for (size_t i = 0; i < notes.size();) {
        AnalysisNote& note = notes[i];
        const bool isShort = note.length < set.minNoteLength;
        if (isShort && note.energy < 0.0005f) {
            notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(i));
        } else if (i == 0 || i == notes.size() - 1) {
            ++i;
        } else if (isNear(notes[i - 1], note)) {
            if (risesLittle(notes[i - 1], note) || isShort) {
                merge(note, notes[i - 1], true);
                notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(i) - 1);
                --i;
            } else {
                ++i;
            }
        } else if (isNear(note, notes[i + 1]) && (risesLittle(note, notes[i + 1]) || isShort)) {
            merge(note, notes[i + 1], false);
            notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(i) + 1);
            --i;
        } else {
            ++i;
        }
    }
    for (size_t n = 0; n < notes.size(); ++n) {
        Extend(n, true);
    }
    for (size_t n = 0; n < notes.size();) {
        if (notes[n].length < set.minNoteLength || IsGlide(notes[n])) {
            notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(n));
        } else {
            ++n;
        }
    }
    for (size_t n = notes.size(); n > 0; --n) {
        Extend(n - 1, true);
    }
    for (AnalysisNote& note : notes) {
        const float p = EstimatePitch(raw, note.firstFrame, note.lastFrame, false);
        if (p > 0) {
            note.pitch = p;
        }
    }
    if (notes.empty()) {
        AnalysisNote note{};
        note.firstFrame = 0;
        note.lastFrame = count - 1;
        note.startPosition = raw[0].position;
        note.endPosition = raw[count - 1].position;
        note.energy = 0.5f;
        note.pitch = 60.0f;
        notes.push_back(note);
    }
}

}  // namespace mlh
