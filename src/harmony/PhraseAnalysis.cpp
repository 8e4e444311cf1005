#include "harmony/PhraseAnalysis.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "harmony/ChordModel.h"
#include "harmony/CommonPrefixes.h"

namespace mlh::ChoiralizerV2 {

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

// Length of the longest opening that recurs at each note, 0 where none does.
std::vector<int32_t> LongestMotifs(const MelodyRecord& melody, const std::vector<int32_t>& pitchTrend,
                                   const Tonality& tonality) {
    const int32_t n = static_cast<int32_t>(melody.Count());
    const auto sameTrend = [&](size_t a, size_t b) { return pitchTrend[a] == pitchTrend[b]; };
    const auto sameDuration = [&](size_t a, size_t b) {
        return melody.noteDuration[a] == melody.noteDuration[b];
    };
    const auto intervalInto = [&](size_t note) {
        return ScaleInterval(melody.notePitch[note - 1], melody.notePitch[note], tonality.key,
                             tonality.Scale());
    };
    // The move into the first note belongs to what lies before it and doesn't count, so what is compared as a
    // whole begins with the second.
    const std::vector<size_t> sameAfterFirst = CommonPrefixes(melody.Count() - 1, [&](size_t a, size_t b) {
        return sameTrend(a + 1, b + 1) && sameDuration(a + 1, b + 1);
    });
    std::vector<int32_t> longest(melody.Count(), 0);
    for (int32_t s = kShortestMotif; s + kShortestMotif <= n; ++s) {
        const size_t at = static_cast<size_t>(s);
        const size_t limit = static_cast<size_t>(std::min({n / 2, s, n - s}));
        size_t length = sameDuration(0, at) ? std::min(1 + sameAfterFirst[at], limit) : 0;
        // The last note of a recurrence may differ in length if its trend and the interval into it are the
        // same.
        if (length > 0 && length < limit && sameTrend(length, at + length) &&
            intervalInto(length) == intervalInto(at + length)) {
            ++length;
        }
        if (length >= static_cast<size_t>(kShortestMotif)) {
            longest[at] = static_cast<int32_t>(length);
        }
    }
    return longest;
}

struct Segment {
    float meanPitch;  // weighted by duration
    float duration;
};

Segment MeasureSegment(const MelodyRecord& melody, size_t first, size_t end) {
    float weighted = 0.0f;
    float duration = 0.0f;
    for (size_t i = first; i < end; ++i) {
        weighted += static_cast<float>(melody.notePitch[i]) * melody.noteDuration[i];
        duration += melody.noteDuration[i];
    }
    return {weighted / duration, duration};
}

// Candidates whose strength is above that of the candidates beside them.
std::vector<int32_t> PeaksAmong(const std::vector<int32_t>& candidates, const std::vector<float>& strength) {
    std::vector<int32_t> peaks(candidates.size(), 0);
    float before = -1.0f;  // -1 until there is one, which is also the strength of note 0
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

std::vector<int32_t> FindRepeatedOpening(const MelodyRecord& melody, const std::vector<int32_t>& pitchTrend,
                                         const Tonality& tonality) {
    const int32_t n = static_cast<int32_t>(melody.Count());
    std::vector<int32_t> motifStart(melody.Count(), 0);
    if (n < 2 * kShortestMotif) {
        return motifStart;
    }
    // Whatever recurs at a length recurs at each shorter one, so the longest per position is enough.
    const std::vector<int32_t> longest = LongestMotifs(melody, pitchTrend, tonality);
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

Phrases FindPhrases(const MelodyRecord& melody, const Tonality& tonality) {
    const size_t n = melody.Count();
    const std::vector<int32_t>& pitch = melody.notePitch;
    const std::vector<float>& duration = melody.noteDuration;
    Phrases phrases{std::vector<int32_t>(n, 0), std::vector<int32_t>(n, 0)};
    if (n == 0) {
        return phrases;
    }
    std::vector<int32_t>& candidates = phrases.boundaryCandidate;
    candidates[0] = 1;
    const bool hasTimes = std::any_of(duration.begin(), duration.end(), [](float d) { return d != 0.0f; });
    if (n == 1 || !hasTimes) {
        return phrases;
    }

    const std::vector<int32_t> pitchTrend = TrendOf(pitch);
    const std::vector<int32_t> lengthTrend = TrendOf(duration);
    std::vector<float> strength(n, 0.0f);
    for (size_t i = 1; i < n; ++i) {
        strength[i] = static_cast<float>(std::abs(pitchTrend[i])) +
                      2.0f * duration[i - 1] / melody.meanDuration +
                      static_cast<float>(std::abs(lengthTrend[i]));
    }
    for (size_t j = 2; j + 1 < n; ++j) {
        if (strength[j] > strength[j - 1] && strength[j] > strength[j + 1]) {
            candidates[j] = 1;
        }
    }
    const std::vector<int32_t> motifStart = FindRepeatedOpening(melody, pitchTrend, tonality);
    for (size_t i = 0; i < n; ++i) {
        candidates[i] |= motifStart[i];
    }

    std::fill(strength.begin(), strength.end(), -1.0f);
    const auto nextCandidate = [&](size_t note) {
        return static_cast<size_t>(
            std::find(candidates.begin() + static_cast<ptrdiff_t>(note) + 1, candidates.end(), 1) -
            candidates.begin());
    };
    size_t c = nextCandidate(0);
    Segment before = MeasureSegment(melody, 0, c);
    while (c < n) {
        const size_t next = nextCandidate(c);
        const Segment here = MeasureSegment(melody, c, next);
        float s = std::fabs(here.meanPitch - before.meanPitch) + before.duration;
        if (motifStart[c] == 1) {
            s *= 2.0f;
        }
        const ScaleDistance leap = ScaleInterval(pitch[c], pitch[c - 1], tonality.key, tonality.Scale());
        s = s + static_cast<float>(leap.steps + 1) + 7.0f * static_cast<float>(leap.octaves);
        strength[c] = s * duration[c - 1] / melody.meanDuration;
        before = here;
        c = next;
    }
    phrases.phraseBoundary = PeaksAmong(candidates, strength);
    return phrases;
}

}  // namespace mlh::ChoiralizerV2
