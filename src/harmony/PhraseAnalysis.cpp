// Finds where the phrases of a melody begin, from the melody alone.
//
// Two kinds of notes are candidates: those that stand out from both neighbours by a change of pitch or length
// after a long note, and those where the opening motif of the melody comes again. A candidate's strength
// grows with the change of register across it, the length of the segment before it, the leap into it and the
// length of the note before it; only candidates stronger than both neighbouring candidates become phrase
// beginnings. The first two candidates (note 0 is always one) and the last are there for comparison only.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "harmony/ChoiralizerV2.h"

namespace mlh {

namespace ChoiralizerV2 {

namespace {

constexpr int32_t kShortestMotif = 4;

template <class T>
int32_t SignOfChange(T from, T to) {
    return to > from ? 1 : to < from ? -1 : 0;
}

// Sign of the change into each note; 0 at the first.
template <class T>
std::vector<int32_t> TrendOf(const std::vector<T>& values) {
    std::vector<int32_t> trend(values.size(), 0);
    for (size_t i = 1; i < values.size(); ++i) {
        trend[i] = SignOfChange(values[i - 1], values[i]);
    }
    return trend;
}

struct Melody {
    const std::vector<int32_t>& pitch;
    const std::vector<float>& duration;
    const std::vector<int32_t>& trend;  // of the pitch
    int32_t key;
    const int32_t* scale;
};

// How many notes from s on have the opening's trends and durations, at most `limit`. The trend into the first
// note belongs to what lies before it and doesn't count.
int32_t SameNotes(const Melody& melody, int32_t s, int32_t limit) {
    int32_t k = 0;
    while (k < limit && (k == 0 || melody.trend[k] == melody.trend[s + k]) &&
           melody.duration[k] == melody.duration[s + k]) {
        ++k;
    }
    return k;
}

// Length of the longest opening that recurs at s, 0 if none does. The last note of a recurrence may differ in
// length if its trend and the interval into it are the same.
int32_t LongestMotifAt(const Melody& melody, int32_t s) {
    const int32_t n = static_cast<int32_t>(melody.pitch.size());
    const int32_t limit = std::min({n / 2, s, n - s});
    int32_t length = SameNotes(melody, s, limit);
    if (length > 0 && length < limit && melody.trend[length] == melody.trend[s + length]) {
        const auto intervalInto = [&](int32_t note) {
            return ScaleInterval(melody.pitch[note - 1], melody.pitch[note], melody.key, melody.scale);
        };
        if (intervalInto(length) == intervalInto(s + length)) {
            ++length;
        }
    }
    return length >= kShortestMotif ? length : 0;
}

// Marks the notes where the longest opening that recurs stands, and the notes right behind it.
std::vector<int32_t> FindRepeatedOpening(const Melody& melody) {
    const int32_t n = static_cast<int32_t>(melody.pitch.size());
    std::vector<int32_t> motifStart(melody.pitch.size(), 0);
    if (n < 2 * kShortestMotif) {
        return motifStart;
    }
    // Whatever recurs at a length recurs at each shorter one, so the longest per position tells all.
    std::vector<int32_t> longest(melody.pitch.size(), 0);
    for (int32_t s = kShortestMotif; s < n; ++s) {
        longest[s] = LongestMotifAt(melody, s);
    }
    const int32_t best = *std::max_element(longest.begin(), longest.end());
    if (best == 0) {
        return motifStart;
    }
    motifStart[0] = 1;
    motifStart[best] = 1;
    int32_t last = 0;
    for (int32_t s = best; s < n; ++s) {
        if (longest[s] != best) {
            continue;
        }
        if (s < best - 1 + last) {
            motifStart[s] = 0;  // overlaps the recurrence before it
            continue;
        }
        motifStart[s] = 1;
        motifStart[s - 1] = 0;
        if (s + best < n) {
            motifStart[s + best] = 1;
        }
        last = s;
    }
    return motifStart;
}

struct Segment {
    float meanPitch;  // weighted by duration
    float duration;
};

Segment MeasureSegment(const Melody& melody, size_t first, size_t end) {
    float weighted = 0.0f;
    float duration = 0.0f;
    for (size_t i = first; i < end; ++i) {
        weighted += static_cast<float>(melody.pitch[i]) * melody.duration[i];
        duration += melody.duration[i];
    }
    return {weighted / duration, duration};
}

// Candidates whose strength is above that of the candidates beside them.
std::vector<int32_t> PeaksAmong(const std::vector<int32_t>& candidates, const std::vector<float>& strength) {
    std::vector<int32_t> peaks(candidates.size(), 0);
    float before = -1.0f;  // -1 as long as there is none, which is also the strength of note 0
    float middle = -1.0f;
    size_t middleNote = 0;
    for (size_t i = 0; i < candidates.size(); ++i) {
        if (candidates[i] == 0) {
            continue;
        }
        if (before == -1.0f) {
            before = strength[i];
        } else if (middle == -1.0f) {
            middle = strength[i];
            middleNote = i;
        } else {
            peaks[middleNote] = middle > before && middle > strength[i] ? 1 : 0;
            before = middle;
            middle = strength[i];
            middleNote = i;
        }
    }
    return peaks;
}

}  // namespace

int32_t CChoiralizerV2::AnalysePhrases() {
    const size_t n = NoteCount();
    boundaryCandidate.assign(n, 0);
    phraseBoundary.assign(n, 0);
    if (n == 0) {
        return 0;
    }
    boundaryCandidate[0] = 1;
    const bool hasTimes =
        std::any_of(noteDuration.begin(), noteDuration.end(), [](float d) { return d != 0.0f; });
    if (n == 1 || !hasTimes) {
        return 0;
    }
    const std::vector<int32_t> pitchTrend = TrendOf(notePitch);
    const std::vector<int32_t> lengthTrend = TrendOf(noteDuration);
    const Melody tune{notePitch, noteDuration, pitchTrend, outputKey, ScaleRow(outputScale)};

    std::vector<float> strength(n, 0.0f);
    for (size_t i = 1; i < n; ++i) {
        strength[i] = static_cast<float>(std::abs(pitchTrend[i])) +
                      2.0f * noteDuration[i - 1] / meanDuration +
                      static_cast<float>(std::abs(lengthTrend[i]));
    }
    for (size_t j = 2; j + 1 < n; ++j) {
        if (strength[j] > strength[j - 1] && strength[j] > strength[j + 1]) {
            boundaryCandidate[j] = 1;
        }
    }
    const std::vector<int32_t> motifStart = FindRepeatedOpening(tune);
    for (size_t i = 0; i < n; ++i) {
        boundaryCandidate[i] |= motifStart[i];
    }

    std::fill(strength.begin(), strength.end(), -1.0f);
    const auto nextCandidate = [&](size_t note) {
        return static_cast<size_t>(std::find(boundaryCandidate.begin() + static_cast<ptrdiff_t>(note) + 1,
                                             boundaryCandidate.end(), 1) -
                                   boundaryCandidate.begin());
    };
    Segment before = MeasureSegment(tune, 0, nextCandidate(0));
    for (size_t c = nextCandidate(0); c < n; c = nextCandidate(c)) {
        const Segment here = MeasureSegment(tune, c, nextCandidate(c));
        float s = std::fabs(here.meanPitch - before.meanPitch) + before.duration;
        if (motifStart[c] == 1) {
            s *= 2.0f;
        }
        const ScaleDistance leap = ScaleInterval(notePitch[c], notePitch[c - 1], outputKey, tune.scale);
        s = s + static_cast<float>(leap.steps + 1) + 7.0f * static_cast<float>(leap.octaves);
        strength[c] = s * noteDuration[c - 1] / meanDuration;
        before = here;
    }
    phraseBoundary = PeaksAmong(boundaryCandidate, strength);
    return 0;
}

}  // namespace ChoiralizerV2

}  // namespace mlh
