#include "harmony/FunctionAssignment.h"

#include <array>

#include "base/Codes.h"
#include "harmony/CadenceRules.h"
#include "harmony/ChordModel.h"
#include "harmony/FunctionTables.h"
#include "harmony/ProgressionTables.h"
#include "theory/PitchClass.h"
#include "theory/Scales.h"

namespace mlh::ChoiralizerV2 {

namespace {

constexpr int32_t kStates = kFunctionCount * kFunctionCount;
// Square root of 10, twice per step: keeps the products in range over long gaps.
constexpr float kStepGain = 3.1622777f;

int32_t StateOf(int32_t before, int32_t current) { return kFunctionCount * before + current; }

// Degree and alteration of every note. A note without a pitch ends it with a bad argument.
int32_t ComputeDegrees(const std::vector<int32_t>& pitches, const Tonality& tonality, CadenceMelody& out) {
    const int32_t key = tonality.key;
    const int32_t* scale = tonality.Scale();
    for (size_t i = 0; i < pitches.size(); ++i) {
        if (pitches[i] < 0) {
            return kBadArgument;
        }
        const int32_t pitch = pitches[i] < key ? static_cast<int32_t>(int64_t{pitches[i]} + 12) : pitches[i];
        const ScaleDistance aboveTonic = ScaleInterval(key, pitch, key, scale);
        out.degree[i] = aboveTonic.steps;
        if (aboveTonic.quality == 0) {
            out.alteration[i] = 0;
        } else {
            out.alteration[i] = scale[theory::PitchClass(int64_t{pitch} - key + 11)] != 0 ? 1 : -1;
        }
    }
    return 0;
}

int32_t FunctionOfDegree(int32_t scaleRow, int32_t alteration, int32_t degree) {
    return DegreeFunctionTable[(scaleRow != 0 ? 21 : 0) + 7 * (alteration + 1) + degree];
}

// Semitones above the tonic as the fit table counts them: by the degrees of the major scale, in minor too.
int32_t ChromaticColumn(int32_t degree, int32_t alteration) {
    return theory::PitchClass(theory::StepOffset(theory::ScaleMajor, degree) + alteration);
}

float NormalisedFit(const float (&row)[12], int32_t column) {
    float sum = 0.0f;
    for (float weight : row) {
        sum += weight;
    }
    return row[column] / sum;
}

// One gap: the search over K[first..end], whose first note has a function, and its last one unless it is the
// end of the melody.
class FunctionSearch {
  public:
    FunctionSearch(const CadenceMelody& cadenceMelody, const std::vector<size_t>& keptNotes,
                   std::vector<int32_t>& noteFunctions)
        : melody_(cadenceMelody), kept_(keptNotes), function_(noteFunctions) {}

    void Fill(size_t first, size_t end) {
        Start(first);
        for (size_t k = first + 1; k <= end; ++k) {
            Step(kept_[k]);
        }
        Trace(first, end);
    }

  private:
    void Start(size_t first) {
        back_.assign(1, {});
        probability_.fill(0.0f);
        const bool hasHistory = first >= 2 && function_[kept_[first - 2]] != 0;
        const int32_t before = hasHistory ? function_[kept_[first - 1]] : int32_t{FunctionNone};
        probability_[StateOf(before, function_[kept_[first]])] = 1.0f;
    }

    void Step(size_t note) {
        const auto& fit = DegreeFitTable[melody_.scale == 0 ? 0 : 1];
        const int32_t column = ChromaticColumn(melody_.degree[note], melody_.alteration[note]);
        std::array<float, kStates> next;
        std::array<int32_t, kStates> from;
        for (int32_t y = 0; y < kFunctionCount; ++y) {
            for (int32_t z = 0; z < kFunctionCount; ++z) {
                float best = 0.0f;
                int32_t bestState = -1;
                for (int32_t x = 0; x < kFunctionCount; ++x) {
                    const float weight = ProgressionTable[x][y][z] * kStepGain * probability_[StateOf(x, y)];
                    if (weight > best) {
                        best = weight;
                        bestState = StateOf(x, y);
                    }
                }
                next[StateOf(y, z)] = best * kStepGain * NormalisedFit(fit[y][z], column);
                from[StateOf(y, z)] = bestState;
            }
        }
        probability_ = next;
        back_.push_back(from);
    }

    // The likeliest final state, the first of equal ones. The end note's own function, where it has one, is
    // given.
    int32_t FinalState(int32_t endFunction) const {
        int32_t best = -1;
        for (int32_t state = 0; state < kStates; ++state) {
            const bool allowed = endFunction == FunctionNone || state % kFunctionCount == endFunction;
            if (allowed && (best < 0 || probability_[state] > probability_[best])) {
                best = state;
            }
        }
        return best;
    }

    // Writes the functions between the first note and the end, backwards; the end keeps what it has. A state
    // that nothing leads to ends it.
    void Trace(size_t first, size_t end) {
        int32_t state = FinalState(function_[kept_[end]]);
        for (size_t t = end - first; t >= 2 && back_[t][state] >= 0; --t) {
            state = back_[t][state];
            function_[kept_[first + t - 1]] = state % kFunctionCount;
        }
    }

    const CadenceMelody& melody_;
    const std::vector<size_t>& kept_;
    std::vector<int32_t>& function_;
    std::array<float, kStates> probability_;          // of the last note reached
    std::vector<std::array<int32_t, kStates>> back_;  // per note the best state before, -1 none
};

}  // namespace

int32_t FindFunctions(const MelodyRecord& melody, const Tonality& tonality,
                      const std::vector<int32_t>& phraseBoundary, const std::vector<int32_t>& noteLocked,
                      std::vector<int32_t>& noteFunction) {
    const size_t n = melody.Count();
    const std::vector<int32_t>& pitch = melody.notePitch;
    CadenceMelody cadence{std::vector<int32_t>(n), std::vector<int32_t>(n), melody.noteDuration,
                          tonality.scaleRow};
    if (int32_t code = ComputeDegrees(pitch, tonality, cadence); code != 0) {
        return code;
    }

    noteFunction[0] = FunctionOfDegree(tonality.scaleRow, cadence.alteration[0], cadence.degree[0]);
    int32_t previousEnd = 0;
    for (size_t end = 1; end < n; ++end) {
        if (end + 1 == n || phraseBoundary[end + 1] == 1) {
            AssignCadence(cadence, static_cast<int32_t>(end), previousEnd, noteFunction);
            previousEnd = static_cast<int32_t>(end);
        }
    }

    std::vector<size_t> kept;
    int32_t keptPitch = pitch[0];
    for (size_t i = 0; i < n; ++i) {
        const bool auxiliary = i > 0 && i + 1 < n && keptPitch == pitch[i + 1];
        const bool free = noteFunction[i] == FunctionNone && noteLocked[i] == 0;
        if (free && (auxiliary || !IsScaleTone(pitch[i], tonality.key, tonality.Scale()))) {
            continue;
        }
        kept.push_back(i);
        keptPitch = pitch[i];
    }

    FunctionSearch search(cadence, kept, noteFunction);
    for (size_t k = 0; k + 1 < kept.size();) {
        if (noteFunction[kept[k]] == FunctionNone || noteFunction[kept[k + 1]] != FunctionNone) {
            ++k;
            continue;
        }
        size_t end = k + 1;
        while (end + 1 < kept.size() && noteFunction[kept[end]] == FunctionNone) {
            ++end;
        }
        search.Fill(k, end);
        k = end;
    }
    return 0;
}

}  // namespace mlh::ChoiralizerV2
