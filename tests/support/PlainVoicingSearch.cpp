#include "support/PlainVoicingSearch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "classic/ScaleTable.h"
#include "harmony/FunctionTables.h"

namespace mlh {

namespace PlainVoicing {

using namespace ChoiralizerV2;

namespace {

float Log(float x) { return static_cast<float>(std::log(static_cast<double>(x))); }
float Exp(float x) { return static_cast<float>(std::exp(static_cast<double>(x))); }

int32_t PitchClass(int32_t key, int32_t pitch) { return std::abs(key - pitch) % 12; }

bool Contains(const int32_t* tones, int32_t pitchClass) {
    return std::find(tones, tones + 4, pitchClass) != tones + 4;
}

// Close spacing where the range is under an octave.
int32_t StyleOf(const Problem& problem) {
    return problem.rangeBelow + problem.rangeAbove + 1 <= 12 ? 0 : problem.spacingStyle;
}

void MakeNoChord(const Problem& problem, size_t note, int32_t gap, int32_t back, CandidateList& list) {
    const ChordFunctionEntry& row = FunctionChordTable[0][FunctionNone].entries[0];
    Voicing voicing = {-1, -1, -1, -1};
    voicing[problem.leadVoice] = problem.pitches[note];
    list.voicings.assign(1, voicing);
    VoicingCandidate c;
    c.tones = row.tones;
    c.bassIndex = -1;
    c.voicing = list.voicings[0].data();
    c.score = 1.0f;
    c.function = problem.functions[note];
    c.gap = gap;
    c.back = back;
    c.chordType = ChordUnknownTriad;
    c.name = row.name;
    c.listSize = 1;
    list.candidates.assign(1, c);
}

struct Chord {
    const ChordFunctionEntry* row;
    std::vector<int32_t> pitches;
};

std::vector<Chord> ChordsFor(const Problem& problem, size_t note) {
    const int32_t lead = problem.pitches[note];
    const FunctionChordList& rows = FunctionChordTable[problem.scaleRow != 0][problem.functions[note]];
    std::vector<Chord> chords;
    for (int32_t k = 0; k < rows.count; ++k) {
        if (!Contains(rows.entries[k].tones, PitchClass(problem.key, lead))) {
            continue;
        }
        Chord chord{&rows.entries[k], {}};
        for (int32_t p = lead - problem.rangeBelow; p <= lead + problem.rangeAbove; ++p) {
            if (Contains(chord.row->tones, PitchClass(problem.key, p))) {
                chord.pitches.push_back(p);
            }
        }
        chords.push_back(chord);
    }
    return chords;
}

bool NearlyOrdered(const Voicing& v) {
    return v[0] - 5 < v[1] && v[0] - 5 < v[2] && v[1] - 5 < v[2] && v[2] - 5 < v[3] && v[1] - 5 < v[3];
}

float MoveScore(const std::array<const VoicingCandidate*, 4>& settings, float prior, const Problem& problem) {
    std::array<VoicingShape, 4> shapes;
    VoicingWindow window;
    for (size_t k = 0; k < 4; ++k) {
        if (settings[k] == nullptr) {
            continue;
        }
        shapes[k] =
            MakeShape(settings[k]->voicing, problem.key, ChoiralizerClassic::ScaleTable[problem.scaleRow]);
        window[k] = {settings[k], &shapes[k]};
    }
    return Score(RuleSetTable[1], window, prior, problem);
}

}  // namespace

float Score(const VoicingRuleSet& set, const VoicingWindow& window, float prior, const Problem& settings) {
    if (prior == 0.0f) {
        return 0.0f;
    }
    const float logPrior = Log(prior);
    float product = 1.0f;
    int used = 0;
    for (int32_t k = 0; k < set.count; ++k) {
        if (set.weights[k] == 0.0f) {
            continue;
        }
        const float factor =
            set.rules[k](window, StyleOf(settings), settings.key,
                         ChoiralizerClassic::ScaleTable[settings.scaleRow], settings.leadVoice) *
            set.weights[k];
        product = product * factor;
        if (product == 0.0f) {
            return 0.0f;
        }
        if (Log(product) + logPrior < -35.0f) {
            return 0.0f;
        }
        ++used;
    }
    return used > 0 ? Exp(Log(product) / static_cast<float>(used)) : product;
}

void BuildLists(const Problem& problem, Solution& solution) {
    const size_t notes = problem.pitches.size();
    solution.lists.clear();
    solution.lists.resize(notes);
    const bool leadAlone = problem.rangeBelow + problem.rangeAbove + 1 == 1;
    int32_t gap = 1;
    for (size_t i = 0; i < notes; ++i) {
        CandidateList& list = solution.lists[i];
        if (leadAlone) {
            MakeNoChord(problem, i, 1, 0, list);
            continue;
        }
        const std::vector<Chord> chords = ChordsFor(problem, i);
        std::vector<VoicingCandidate> kept;
        if (chords.size() > 1 || (chords.size() == 1 && chords[0].pitches.size() != 1)) {
            for (const Chord& chord : chords) {
                for (const int32_t a : chord.pitches) {
                    for (const int32_t b : chord.pitches) {
                        for (const int32_t c : chord.pitches) {
                            Voicing v;
                            const int32_t triple[3] = {a, b, c};
                            for (int row = 0, next = 0; row < 4; ++row) {
                                v[row] = row == problem.leadVoice ? problem.pitches[i] : triple[next++];
                            }
                            if (!NearlyOrdered(v)) {
                                continue;
                            }
                            VoicingCandidate candidate;
                            candidate.tones = chord.row->tones;
                            candidate.bassIndex = chord.row->bassIndex;
                            candidate.voicing = v.data();
                            candidate.score = chord.row->weight;
                            candidate.function = problem.functions[i];
                            candidate.gap = gap;
                            candidate.back = -1;
                            candidate.chordType = chord.row->chordType;
                            candidate.name = chord.row->name;
                            if (candidate.score != 0.0f) {
                                const float score = Score(RuleSetTable[0], {WindowEntry{&candidate, nullptr}},
                                                          candidate.score, problem);
                                candidate.score = candidate.score * score;
                                if (candidate.score != 0.0f) {
                                    kept.push_back(candidate);
                                    list.voicings.push_back(v);
                                }
                            }
                        }
                    }
                }
            }
        }
        if (kept.empty()) {
            MakeNoChord(problem, i, gap, -1, list);
            ++gap;
            continue;
        }
        for (size_t k = 0; k < kept.size(); ++k) {
            kept[k].voicing = list.voicings[k].data();
        }
        kept[0].listSize = static_cast<int32_t>(kept.size());
        list.candidates = kept;
        gap = 1;
    }
}

void Search(const Problem& problem, Solution& solution) {
    const auto noChord = [&](int32_t note) {
        const auto& list = solution.lists[note].candidates;
        return list.size() == 1 && list[0].chordType == ChordUnknownTriad;
    };
    for (int32_t i = 1; i < static_cast<int32_t>(problem.pitches.size()); ++i) {
        if (noChord(i)) {
            continue;
        }
        std::vector<VoicingCandidate>& list = solution.lists[i].candidates;
        float top = 1e-12f;
        float bottom = 1e12f;
        bool scored = false;
        for (VoicingCandidate& c : list) {
            const int32_t j = i - c.gap;
            if (j < 0) {
                continue;
            }
            scored = true;
            float best = -1.0f;
            int32_t bestIndex = -1;
            const std::vector<VoicingCandidate>& before = solution.lists[j].candidates;
            for (size_t k = 0; k < before.size(); ++k) {
                const VoicingCandidate& q = before[k];
                const VoicingCandidate* before2 = nullptr;
                const VoicingCandidate* before3 = nullptr;
                if (i > 1 && i - q.gap - c.gap > 0) {
                    const int32_t j2 = j - q.gap;
                    before2 = &solution.lists[j2].candidates[q.back];
                    if (i > 2 && i - before2->gap - q.gap - c.gap > 0) {
                        before3 = &solution.lists[j2 - before2->gap].candidates[before2->back];
                    }
                }
                float s = c.score * q.score;
                if (s != 0.0f) {
                    const float r = MoveScore({&c, &q, before2, before3}, s, problem);
                    s = r == 0.0f || Log(r) + Log(s) < -35.0f ? 0.0f : s * r;
                }
                if (s > best) {
                    best = s;
                    bestIndex = static_cast<int32_t>(k);
                }
                if (best > top) {
                    top = best;
                } else if (best < bottom) {
                    bottom = best;
                }
            }
            c.score = best;
            c.back = bestIndex;
        }
        if (!scored) {
            continue;
        }
        for (VoicingCandidate& c : list) {
            if (top > 1e12f) {
                c.score = c.score / 10000.0f;
            } else if (bottom < 1e-12f) {
                c.score = c.score * 10000.0f;
            }
        }
    }
}

void Trace(const Problem& problem, Solution& solution) {
    const int32_t notes = static_cast<int32_t>(problem.pitches.size());
    for (auto& row : solution.rows) {
        row.assign(notes, -1);
    }
    solution.chosen.assign(notes, {});
    const auto record = [&](const VoicingCandidate& c, int32_t note) {
        for (int row = 0; row < 4; ++row) {
            solution.rows[row][note] = c.voicing[row];
        }
        solution.chosen[note] = c;
    };
    const auto best = [&](int32_t note) {
        float score = -1.0f;
        int32_t index = 0;
        const auto& list = solution.lists[note].candidates;
        for (size_t k = 0; k < list.size(); ++k) {
            if (list[k].score > score) {
                score = list[k].score;
                index = static_cast<int32_t>(k);
            }
        }
        return index;
    };

    int32_t i = notes - 1;
    int32_t pending = 0;
    const VoicingCandidate& last = solution.lists[i].candidates[0];
    if (last.chordType == ChordUnknownTriad && last.back == -1) {
        pending = last.gap;
        i -= last.gap;
    }
    int32_t index = i >= 0 ? best(i) : -1;
    while (i >= 0) {
        VoicingCandidate& c = solution.lists[i].candidates[index];
        record(c, i);
        for (int32_t note = i + pending; note > i; --note) {
            VoicingCandidate copy = c;
            copy.voicing[problem.leadVoice] = problem.pitches[note];
            copy.name = "overtaken from previous - unknown chord";
            copy.chordType = c.chordType < ChordMajor7 ? ChordUnknownTriad : ChordUnknownSeventh;
            record(copy, note);
        }
        index = c.back;
        i -= c.gap;
        pending = c.gap - 1;
    }
    // What is left in front has no harmonised note before it.
    for (int32_t note = 0; note < pending; ++note) {
        record(solution.lists[note].candidates[0], note);
    }
}

Solution Solve(const Problem& problem) {
    Solution solution;
    BuildLists(problem, solution);
    Search(problem, solution);
    Trace(problem, solution);
    return solution;
}

}  // namespace PlainVoicing

}  // namespace mlh
