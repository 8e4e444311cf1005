#include "support/PlainPhrases.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "harmony/ChordModel.h"

namespace mlh::PlainPhrases {

using ChoiralizerV2::ScaleDistance;
using ChoiralizerV2::ScaleInterval;

namespace {

template <class T>
std::vector<int32_t> TrendOf(const std::vector<T>& values) {
    std::vector<int32_t> trend(values.size(), 0);
    for (size_t i = 1; i < values.size(); ++i) {
        trend[i] = values[i] > values[i - 1] ? 1 : values[i] < values[i - 1] ? -1 : 0;
    }
    return trend;
}

ScaleDistance IntervalInto(const Melody& m, int32_t note) {
    return ScaleInterval(m.pitch[note - 1], m.pitch[note], m.key, m.scale);
}

// Marks the places where an opening of `best` notes matches, and those after it.
std::vector<int32_t> MarkStarts(const std::vector<int32_t>& match, int32_t best) {
    const int32_t n = static_cast<int32_t>(match.size());
    std::vector<int32_t> start(match.size(), 0);
    if (best == 0) {
        return start;
    }
    start[0] = 1;
    start[best] = 1;
    int32_t last = 0;
    for (int32_t s = best; s < n; ++s) {
        if (match[s] != best) {
            continue;
        }
        if (s >= best - 1 + last) {
            start[s] = 1;
            if (s + best < n) {
                start[s + best] = 1;
            }
            if (s > 0) {
                start[s - 1] = 0;
            }
            last = s;
        } else {
            start[s] = 0;
        }
    }
    return start;
}

}  // namespace

std::vector<int32_t> RepeatedOpeningByLength(const Melody& m) {
    const std::vector<int32_t> trend = TrendOf(m.pitch);
    const int32_t n = static_cast<int32_t>(m.pitch.size());
    std::vector<int32_t> match(m.pitch.size(), 0);
    int32_t best = 0;
    for (int32_t L = 4; n >= 8 && L - 1 < n / 2; ++L) {
        for (int32_t s = L; s < n - (L - 1); ++s) {
            bool same = true;
            for (int32_t k = 0; k <= L - 2 && same; ++k) {
                same = (k == 0 || trend[k] == trend[s + k]) && m.duration[k] == m.duration[s + k];
            }
            if (!same || trend[L - 1] != trend[s + L - 1]) {
                continue;
            }
            if (m.duration[L - 1] != m.duration[s + L - 1] &&
                !(IntervalInto(m, L - 1) == IntervalInto(m, s + L - 1))) {
                continue;
            }
            best = L;
            match[0] = L;
            match[s] = L;
        }
    }
    return MarkStarts(match, best);
}

std::vector<int32_t> RepeatedOpeningByPlace(const Melody& m) {
    const std::vector<int32_t> trend = TrendOf(m.pitch);
    const int32_t n = static_cast<int32_t>(m.pitch.size());
    std::vector<int32_t> longest(m.pitch.size(), 0);
    int32_t best = 0;
    for (int32_t s = 4; n >= 8 && s < n; ++s) {
        const int32_t limit = std::min({n / 2, s, n - s});
        int32_t length = 0;
        while (length < limit && (length == 0 || trend[length] == trend[s + length]) &&
               m.duration[length] == m.duration[s + length]) {
            ++length;
        }
        if (length > 0 && length < limit && trend[length] == trend[s + length] &&
            IntervalInto(m, length) == IntervalInto(m, s + length)) {
            ++length;
        }
        longest[s] = length >= 4 ? length : 0;
        best = std::max(best, longest[s]);
    }
    return MarkStarts(longest, best);
}

Marks Analyse(const Melody& m, std::vector<int32_t> (*repeated)(const Melody&)) {
    const int32_t n = static_cast<int32_t>(m.pitch.size());
    Marks out{std::vector<int32_t>(m.pitch.size(), 0), std::vector<int32_t>(m.pitch.size(), 0)};
    out.candidates[0] = 1;
    if (n == 1) {
        return out;
    }
    const std::vector<int32_t> trend = TrendOf(m.pitch), lengthTrend = TrendOf(m.duration);
    std::vector<float> strength(m.pitch.size(), 0.0f);
    for (int32_t i = 1; i < n; ++i) {
        strength[i] = static_cast<float>(std::abs(trend[i])) + 2.0f * m.duration[i - 1] / m.meanDuration +
                      static_cast<float>(std::abs(lengthTrend[i]));
    }
    for (int32_t j = 2; j <= n - 2; ++j) {
        if (strength[j] > strength[j - 1] && strength[j] > strength[j + 1]) {
            out.candidates[j] = 1;
        }
    }
    const std::vector<int32_t> motif = repeated(m);
    std::vector<int32_t> list;
    for (int32_t i = 0; i < n; ++i) {
        if (motif[i] == 1) {
            out.candidates[i] = 1;
        }
        strength[i] = -1.0f;
        if (out.candidates[i] == 1) {
            list.push_back(i);
        }
    }
    float previousMean = 0.0f, previousSum = 0.0f;
    for (size_t k = 0; k < list.size(); ++k) {
        const int32_t c = list[k], end = k + 1 < list.size() ? list[k + 1] : n;
        float weighted = 0.0f, sum = 0.0f;
        for (int32_t i = c; i < end; ++i) {
            weighted = weighted + static_cast<float>(m.pitch[i]) * m.duration[i];
            sum = sum + m.duration[i];
        }
        const float pitch = weighted / sum;
        if (k > 0) {
            float s = std::abs(pitch - previousMean) + previousSum;
            if (motif[c] == 1) {
                s = s * 2.0f;
            }
            const ScaleDistance I = ScaleInterval(m.pitch[c], m.pitch[c - 1], m.key, m.scale);
            s = s + static_cast<float>(I.steps + 1);
            s = s + static_cast<float>(7 * I.octaves);
            strength[c] = s * m.duration[c - 1] / m.meanDuration;
        }
        previousMean = pitch;
        previousSum = sum;
    }
    float A = -1.0f, B = -1.0f;
    int32_t noteOfB = 0;
    for (int32_t c : list) {
        if (A == -1.0f) {
            A = strength[c];
        } else if (B == -1.0f) {
            B = strength[c];
            noteOfB = c;
        } else {
            if (B > A && B > strength[c]) {
                out.boundaries[noteOfB] = 1;
            }
            A = B;
            B = strength[c];
            noteOfB = c;
        }
    }
    return out;
}

}  // namespace mlh::PlainPhrases
