#include "harmony/VoicingSearch.h"

#include <algorithm>

#include "harmony/VoicingLists.h"
#include "harmony/VoicingRules.h"

// How the search keeps from judging every pair.
//
// The obvious loop judges every pair of neighbouring settings: lists reach 300 settings in open spacing and
// 800 in close, which makes two to fifteen million pairs for sixty notes and takes seconds. Nearly all pairs
// are hopeless, so each setting visits its predecessors in an order that lets it stop early. What a move can
// score at most is a bound that its predecessor sets (HistoryScoreBound) times one that the setting itself
// sets (SettingScoreBound). Predecessors are visited by falling reach, which is path score x their bound, and
// the visit ends where
//
//     own score x own bound x reach
//
// is below the best score found. Past that point nothing can win or tie, so what is left out is left out
// exactly: scores and back links have the bits of the full loop. Two things that the full loop does along the
// way are kept: among equal scores the first in the list's own order wins, and the rescaling looks at the
// score over the list's first predecessor, the smallest that the running best of a setting takes.
//
// 8 of 170 predecessors are judged per setting in open spacing, 15 of 450 in close.
//
// Tried and dropped: one bound for the whole move, not split in two, which takes a third longer; a further
// bound per pair from the motion of the inner voices, which saves a sixth of the judgements and costs as
// much. Rules over tables of everything known of a setting would be faster by the pair, but each rule would
// then be written twice.

namespace mlh::ChoiralizerV2 {

namespace {

WindowEntry EntryOf(const CandidateList& list, size_t index) {
    return {&list.candidates[index], &list.shapes[index]};
}

// A setting that a path may come from, with the two settings before it on its best path: entry 0 of the
// window is free for the setting that is to follow.
struct Predecessor {
    VoicingWindow window;
    float score;    // of the best path to it
    float reach;    // the score times its bound
    int32_t index;  // in its list
};

// The settings of note j, by falling reach.
std::vector<Predecessor> Predecessors(const std::vector<CandidateList>& lists, int32_t j) {
    std::vector<Predecessor> result;
    const auto listOf = [&](int32_t note) -> const CandidateList& {
        return lists[static_cast<size_t>(note)];
    };
    const CandidateList& list = listOf(j);
    const int32_t j2 = j - list.candidates[0].gap;
    for (size_t k = 0; k < list.candidates.size(); ++k) {
        const VoicingCandidate& candidate = list.candidates[k];
        VoicingWindow window;
        window[1] = EntryOf(list, k);
        if (j2 > 0) {  // note 0 is never looked back at
            window[2] = EntryOf(listOf(j2), static_cast<size_t>(candidate.back));
            const int32_t j3 = j2 - window[2].setting->gap;
            if (j3 > 0) {
                window[3] = EntryOf(listOf(j3), static_cast<size_t>(window[2].setting->back));
            }
        }
        const float reach = candidate.score * HistoryScoreBound(window);
        result.push_back({window, candidate.score, reach, static_cast<int32_t>(k)});
    }
    std::sort(result.begin(), result.end(), [](const Predecessor& a, const Predecessor& b) {
        return a.reach != b.reach ? a.reach > b.reach : a.index < b.index;
    });
    return result;
}

// The score of the path that reaches the window's entry 0 with `prior` so far.
float PathScore(const CVoicingRules& rules, const VoicingWindow& window, float prior) {
    const float move = rules.ComputeScore(window, prior);
    return move == 0.0f || IsBelowScoreFloor(move, prior) ? 0.0f : prior * move;
}

// Finds the best path to each setting of note i; `rules` judge the moves.
void ExtendPaths(std::vector<CandidateList>& lists, int32_t i, const CVoicingRules& rules) {
    CandidateList& list = lists[static_cast<size_t>(i)];
    const int32_t j = i - list.candidates[0].gap;
    if (IsNoChord(list) || j < 0) {
        return;
    }

    std::vector<Predecessor> predecessors = Predecessors(lists, j);
    Predecessor& first =
        *std::find_if(predecessors.begin(), predecessors.end(), [](const auto& p) { return p.index == 0; });

    float top = 1e-12f;
    bool lost = false;  // whether some path over the first predecessor falls below 1e-12
    for (size_t k = 0; k < list.candidates.size(); ++k) {
        VoicingCandidate& candidate = list.candidates[k];
        const WindowEntry entry = EntryOf(list, k);
        const auto scoreOver = [&](Predecessor& p) {
            p.window[0] = entry;
            return PathScore(rules, p.window, candidate.score * p.score);
        };
        if (!lost) {
            lost = scoreOver(first) < 1e-12f;
        }

        const float bound = candidate.score * SettingScoreBound(entry, first.window[1].setting->function);
        float best = -1.0f;
        int32_t back = -1;
        for (Predecessor& p : predecessors) {
            if (p.reach * bound < best) {
                break;
            }
            const float score = scoreOver(p);
            if (score > best || (score == best && p.index < back)) {
                best = score;
                back = p.index;
            }
        }
        candidate.score = best;
        candidate.back = back;
        top = std::max(top, best);
    }

    // Keeps the scores of a long melody within the range of a float.
    if (top > 1e12f) {
        for (VoicingCandidate& candidate : list.candidates) {
            candidate.score /= 10000.0f;
        }
    } else if (lost) {
        for (VoicingCandidate& candidate : list.candidates) {
            candidate.score *= 10000.0f;
        }
    }
}

size_t IndexOfBest(const CandidateList& list) {
    const auto lower = [](const VoicingCandidate& a, const VoicingCandidate& b) { return a.score < b.score; };
    return static_cast<size_t>(std::max_element(list.candidates.begin(), list.candidates.end(), lower) -
                               list.candidates.begin());
}

}  // namespace

void FindBestPaths(std::vector<CandidateList>& lists, const CVoicingRules& transitionRules) {
    for (int32_t note = 1; note < static_cast<int32_t>(lists.size()); ++note) {
        ExtendPaths(lists, note, transitionRules);
    }
}

std::vector<PathStep> TraceBestPath(const std::vector<CandidateList>& lists) {
    std::vector<PathStep> path;
    int32_t note = static_cast<int32_t>(lists.size()) - 1;
    int32_t inheriting = 0;  // how many notes after `note` inherit its setting
    if (note >= 0 && IsNoChord(lists.back()) && lists.back().candidates[0].back == -1) {
        inheriting = lists.back().candidates[0].gap;
        note -= inheriting;
    }
    size_t index = note >= 0 ? IndexOfBest(lists[static_cast<size_t>(note)]) : 0;
    while (note >= 0) {
        const VoicingCandidate& candidate = lists[static_cast<size_t>(note)].candidates[index];
        path.push_back({note, note, index, false});
        for (int32_t next = note + inheriting; next > note; --next) {
            path.push_back({next, note, index, true});
        }
        index = static_cast<size_t>(candidate.back);
        note -= candidate.gap;
        inheriting = candidate.gap - 1;
    }
    // Before the first harmonised note there is nothing to inherit.
    for (int32_t left = 0; left < inheriting; ++left) {
        path.push_back({left, left, 0, false});
    }
    return path;
}

size_t BestInPlace(const CandidateList& list, int32_t note, const std::vector<VoicingCandidate>& chosen,
                   const CVoicingRules& transitionRules) {
    VoicingShape shapes[3];  // of the note after and the two before
    const auto chosenAt = [&](int32_t at, VoicingShape& shape) -> WindowEntry {
        if (at < 0 || chosen[static_cast<size_t>(at)].voicing == nullptr) {
            return {};
        }
        const VoicingCandidate& setting = chosen[static_cast<size_t>(at)];
        shape = MakeShape(setting.voicing, transitionRules.GetKey(), transitionRules.GetScale());
        return {&setting, &shape};
    };
    WindowEntry after, before, beforeThat;
    if (note > 0) {
        const int32_t p = note - chosen[static_cast<size_t>(note)].gap;
        before = chosenAt(p, shapes[1]);
        if (before.IsPresent() && note >= 2) {
            beforeThat = chosenAt(p - before.setting->gap, shapes[2]);
        }
        if (note + 1 < static_cast<int32_t>(chosen.size())) {
            after = chosenAt(note + 1, shapes[0]);
        }
    }

    size_t winner = 0;
    float best = 0.0f;
    for (size_t k = 0; k < list.candidates.size(); ++k) {
        const WindowEntry entry = EntryOf(list, k);
        float score = entry.setting->score;
        if (before.IsPresent()) {
            score *= transitionRules.ComputeScore({entry, before, beforeThat}, score);
        }
        if (after.IsPresent()) {
            score *= transitionRules.ComputeScore({after, entry, before}, score);
        }
        if (score > best) {
            best = score;
            winner = k;
        }
    }
    return winner;
}

}  // namespace mlh::ChoiralizerV2
