// The four-voice search of mode 7: settings of every note, then the best path through them.
//
// Each note has a list of settings: every chord of its function with every choice of pitches for the three
// free voices, each scored on its own. A path takes one setting per note; its score is the product of the
// settings' own scores and of the scores of the moves between them. The best path to a setting goes through
// one setting of the note before, so a table of best scores, filled note by note, finds the best path of all
// (dynamic programming; R. Bellman, 1957). A move is judged with the two settings before it in view, for
// which the best path to the predecessor stands.
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
// is below the best score found. Behind that point nothing can win or tie, so what is left out is left out
// exactly: scores and back links have the bits of the full loop. Two things that the full loop does along the
// way are kept: among equal scores the first in the list's own order wins, and the rescaling looks at the
// score over the list's first predecessor, the smallest that the running best of a setting takes.
//
// 8 of 170 predecessors are judged per setting in open spacing, 15 of 450 in close. The cost is linear in the
// notes; per note it is the length of the list times that count, which grows slowly with the list. Lists of
// notes with the same pitch and function are built once and copied.
//
// Tried and dropped: one bound for the whole move, not split in two, which takes a third longer; a further
// bound per pair from the motion of the inner voices, which saves a sixth of the judgements and costs as
// much. Rules over tables of everything known of a setting would be faster by the pair, but each rule would
// then be written twice.
#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "harmony/ChoiralizerV2.h"
#include "harmony/ChordsInFunctions.h"
#include "harmony/VoicingRules.h"

namespace mlh {

namespace ChoiralizerV2 {

namespace {

constexpr char kInheritedName[] = "overtaken from previous - unknown chord";

bool IsNoChord(const CandidateList& list) {
    return list.candidates.size() == 1 && list.candidates[0].chordType == ChordUnknownTriad;
}

// A lower voice may reach at most four semitones above a higher one. The bass is not measured against the
// top.
bool IsNearlyOrdered(const Voicing& v) {
    const auto below = [&](size_t low, size_t high) { return int64_t{v[low]} - 5 < v[high]; };
    return below(0, 1) && below(0, 2) && below(1, 2) && below(2, 3) && below(1, 3);
}

// Calls visit(voicing) for every choice of three pitches around the lead that is nearly ordered, in the order
// of the choices.
template <class Visit>
void ForEachVoicing(const int32_t* pitches, int32_t count, int32_t lead, int32_t leadVoice, Visit visit) {
    Voicing voicing;
    voicing[static_cast<size_t>(leadVoice)] = lead;
    const size_t first = leadVoice == 0 ? 1 : 0;
    const size_t second = leadVoice <= 1 ? 2 : 1;
    const size_t third = leadVoice <= 2 ? 3 : 2;
    for (int32_t a = 0; a < count; ++a) {
        voicing[first] = pitches[a];
        for (int32_t b = 0; b < count; ++b) {
            voicing[second] = pitches[b];
            for (int32_t c = 0; c < count; ++c) {
                voicing[third] = pitches[c];
                if (IsNearlyOrdered(voicing)) visit(voicing);
            }
        }
    }
}

void AddCandidate(CandidateList& list, const VoicingCandidate& candidate, const Voicing& voicing) {
    list.candidates.push_back(candidate);
    list.voicings.push_back(voicing);
}

// What follows when all candidates of a list are in place.
void Finish(CandidateList& list, const CVoicingRules& rules) {
    for (size_t k = 0; k < list.candidates.size(); ++k) {
        list.candidates[k].voicing = list.voicings[k].data();
        list.shapes.push_back(MakeShape(list.voicings[k].data(), rules.GetKey(), rules.GetScale()));
    }
    list.candidates[0].listSize = static_cast<int32_t>(list.candidates.size());
}

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
            if (j3 > 0) window[3] = EntryOf(listOf(j3), static_cast<size_t>(window[2].setting->back));
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
    if (IsNoChord(list) || j < 0) return;

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
        if (!lost) lost = scoreOver(first) < 1e-12f;

        const float bound = candidate.score * SettingScoreBound(entry, first.window[1].setting->function);
        float best = -1.0f;
        int32_t back = -1;
        for (Predecessor& p : predecessors) {
            if (p.reach * bound < best) break;
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
        for (VoicingCandidate& candidate : list.candidates) candidate.score /= 10000.0f;
    } else if (lost) {
        for (VoicingCandidate& candidate : list.candidates) candidate.score *= 10000.0f;
    }
}

CandidateList CopyOf(const CandidateList& list) {
    CandidateList copy;
    copy.candidates = list.candidates;
    copy.voicings = list.voicings;
    copy.shapes = list.shapes;
    for (size_t k = 0; k < copy.candidates.size(); ++k) copy.candidates[k].voicing = copy.voicings[k].data();
    return copy;
}

int32_t IndexOfBest(const CandidateList& list) {
    const auto lower = [](const VoicingCandidate& a, const VoicingCandidate& b) { return a.score < b.score; };
    return static_cast<int32_t>(std::max_element(list.candidates.begin(), list.candidates.end(), lower) -
                                list.candidates.begin());
}

}  // namespace

int32_t CChoiralizerV2::BuildVoicingCandidates() {
    const int32_t size = rangeBelow + rangeAbove + 1;
    if (size <= 12) {  // open spacing takes more than an octave
        verticalRules->SetSpacingStyle(0);
        transitionRules->SetSpacingStyle(0);
    }
    candidateLists.clear();
    candidateLists.resize(notePitch.size());
    std::map<std::pair<int32_t, int32_t>, size_t> built;  // first note of each pitch and function
    int32_t gap = 1;
    for (size_t note = 0; note < candidateLists.size(); ++note) {
        CandidateList& list = candidateLists[note];
        if (size == 1) {
            list = NoChordList(note);
            list.candidates[0].back = 0;
            continue;
        }
        const auto [like, isNew] = built.try_emplace({notePitch[note], noteFunction[note]}, note);
        list = isNew ? BuildList(note, size) : CopyOf(candidateLists[like->second]);
        for (VoicingCandidate& candidate : list.candidates) candidate.gap = gap;
        gap = IsNoChord(list) ? gap + 1 : 1;
    }
    return 0;
}

// The settings of a note that are worth anything, or the no-chord list if there are none.
CandidateList CChoiralizerV2::BuildList(size_t note, int32_t size) {
    CandidateList list;
    const std::vector<ChordCandidate> chords =
        BuildChordCandidates(notePitch[note], noteFunction[note], size);
    if (chords.size() == 1 && chords[0].pitchCount == 1) return NoChordList(note);
    for (const ChordCandidate& chord : chords) {
        VoicingCandidate candidate;
        candidate.tones = chord.tones;
        candidate.bassIndex = chord.bassIndex;
        candidate.function = noteFunction[note];
        candidate.chordType = chord.chordType;
        candidate.name = chord.name;
        ForEachVoicing(chord.pitches.data(), chord.pitchCount, notePitch[note], leadVoice, [&](Voicing& v) {
            candidate.voicing = v.data();
            candidate.score = chord.weight * OwnScore(candidate, chord.weight);
            if (candidate.score != 0.0f) AddCandidate(list, candidate, v);
        });
    }
    if (list.candidates.empty()) return NoChordList(note);
    Finish(list, *transitionRules);
    return list;
}

float CChoiralizerV2::OwnScore(const VoicingCandidate& candidate, float prior) const {
    return verticalRules->ComputeScore({WindowEntry{&candidate, nullptr}}, prior);
}

// One setting that is no chord: the lead alone in its row.
CandidateList CChoiralizerV2::NoChordList(size_t note) const {
    ChordFunctionEntry row;
    chordsInFunctions->GetNoChord(&row);
    VoicingCandidate candidate;
    candidate.tones = row.tones;
    candidate.bassIndex = row.bassIndex;
    candidate.score = 1.0f;
    candidate.function = noteFunction[note];
    candidate.chordType = ChordUnknownTriad;
    candidate.name = row.name;
    Voicing voicing = {-1, -1, -1, -1};
    voicing[static_cast<size_t>(leadVoice)] = notePitch[note];
    CandidateList list;
    AddCandidate(list, candidate, voicing);
    Finish(list, *transitionRules);
    return list;
}

int32_t CChoiralizerV2::SearchVoicing() {
    const int32_t count = static_cast<int32_t>(candidateLists.size());
    if (count == 0) return kBadArgument;
    for (int32_t note = 1; note < count; ++note) ExtendPaths(candidateLists, note, *transitionRules);

    // Trace the best path back. Notes without a chord that follow a harmonised note inherit its setting.
    int32_t note = count - 1;
    int32_t inheriting = 0;  // how many notes behind `note` do
    const VoicingCandidate& last = candidateLists.back().candidates[0];
    if (IsNoChord(candidateLists.back()) && last.back == -1) {
        inheriting = last.gap;
        note -= last.gap;
    }
    int32_t index = note >= 0 ? IndexOfBest(candidateLists[static_cast<size_t>(note)]) : -1;
    while (note >= 0) {
        CandidateList& list = candidateLists[static_cast<size_t>(note)];
        VoicingCandidate& candidate = list.candidates[static_cast<size_t>(index)];
        RecordResult(&candidate, note, nullptr);
        for (int32_t next = note + inheriting; next > note; --next) RecordInherited(candidate, next);
        index = candidate.back;
        note -= candidate.gap;
        inheriting = candidate.gap - 1;
    }
    // In front of the first harmonised note there is nothing to inherit.
    for (int32_t left = 0; left < inheriting; ++left)
        RecordResult(&candidateLists[static_cast<size_t>(left)].candidates[0], left, nullptr);
    return 0;
}

// Gives a note without a chord the setting of the harmonised note before it, under its own lead. The voicing
// stays shared between them.
void CChoiralizerV2::RecordInherited(const VoicingCandidate& from, int32_t note) {
    VoicingCandidate candidate = from;
    candidate.voicing[leadVoice] = notePitch[static_cast<size_t>(note)];
    candidate.name = kInheritedName;
    candidate.chordType = from.chordType < ChordMajor7 ? ChordUnknownTriad : ChordUnknownSeventh;
    RecordResult(&candidate, note, nullptr);
}

int32_t CChoiralizerV2::SetChordAtNote(ChordInfo chord, int32_t note) {
    if (note < 0 || note >= GetChordCount() || note >= melody.count) return kBadArgument;
    const VoicingCandidate& old = chosen[static_cast<size_t>(note)];
    const bool run = old.voicing != nullptr && old.tones != nullptr;  // the classic modes know no tones
    if (!run || leadVoice < 0 || leadVoice > 3) return kBadArgument;
    const int32_t size = rangeBelow + rangeAbove + 1;
    if (size <= 13) {
        verticalRules->SetSpacingStyle(0);
        transitionRules->SetSpacingStyle(0);
    }

    CandidateList list = BuildListOfChord(chord, note);
    if (list.candidates.empty()) return 0;
    const size_t winner = BestInPlace(list, note);

    ownVoicing[static_cast<size_t>(note)] = list.voicings[winner];
    ownName[static_cast<size_t>(note)] = chord.name;
    VoicingCandidate& record = chosen[static_cast<size_t>(note)];
    record = list.candidates[winner];
    record.voicing = ownVoicing[static_cast<size_t>(note)].data();
    record.name = ownName[static_cast<size_t>(note)].c_str();
    for (size_t row = 0; row < voices.size(); ++row) voices[row].items[note].pitch = record.voicing[row];
    chords[static_cast<size_t>(note)] = std::move(chord);
    if (note + 1 < melody.count) chosen[static_cast<size_t>(note) + 1].gap = 1;
    return 0;
}

// The settings of one given chord, whose tones are counted from its root. Those worth nothing are left out,
// unless all are: then the last of them stands.
CandidateList CChoiralizerV2::BuildListOfChord(const ChordInfo& chord, int32_t note) const {
    const bool triad = chord.seventhType == ChordUnknownSeventh || chord.seventhType == ChordNoSeventh;
    const int32_t type = triad ? chord.triadType : chord.seventhType;
    if (type < 0 || type >= kChordTypeCount) return {};
    const int32_t* tones = ChordToneTable[type];
    const int32_t lead = notePitch[static_cast<size_t>(note)];

    std::vector<int32_t> pitches;  // a padded tone is listed twice
    for (int64_t p = int64_t{lead} - rangeBelow; p <= int64_t{lead} + rangeAbove; ++p) {
        const int32_t pitch = static_cast<int32_t>(p);
        const int32_t pitchClass = PitchClassFromKey(chord.root, pitch);
        for (int32_t k = 0; k < 4; ++k)
            if (tones[k] == pitchClass) pitches.push_back(pitch);
    }

    CandidateList list;
    VoicingCandidate candidate;
    candidate.tones = tones;
    candidate.bassIndex = 0;
    candidate.function = noteFunction[static_cast<size_t>(note)];
    candidate.gap = chosen[static_cast<size_t>(note)].gap;
    candidate.chordType = type;
    Voicing worthless;
    bool anyWorthless = false;
    ForEachVoicing(pitches.data(), static_cast<int32_t>(pitches.size()), lead, leadVoice, [&](Voicing& v) {
        if (chord.inversion >= 0) {
            const int32_t lowest = *std::min_element(v.begin(), v.end());
            const int32_t* tone = std::find(tones, tones + 4, PitchClassFromKey(chord.root, lowest));
            if (tone == tones + 4 || tone - tones != chord.inversion) return;
        }
        candidate.voicing = v.data();
        candidate.score = OwnScore(candidate, 1.0f);
        if (candidate.score != 0.0f) {
            AddCandidate(list, candidate, v);
        } else {
            worthless = v;
            anyWorthless = true;
        }
    });
    if (list.candidates.empty() && anyWorthless) {
        candidate.score = 0.0f;
        AddCandidate(list, candidate, worthless);
    }
    if (!list.candidates.empty()) Finish(list, *transitionRules);
    return list;
}

// Which setting of the list goes best with the settings chosen before and after the note; the first of
// equals.
size_t CChoiralizerV2::BestInPlace(const CandidateList& list, int32_t note) const {
    VoicingShape shapes[3];  // of the note after and the two before
    const auto chosenAt = [&](int32_t at, VoicingShape& shape) -> WindowEntry {
        if (at < 0 || chosen[static_cast<size_t>(at)].voicing == nullptr) return {};
        const VoicingCandidate& setting = chosen[static_cast<size_t>(at)];
        shape = MakeShape(setting.voicing, transitionRules->GetKey(), transitionRules->GetScale());
        return {&setting, &shape};
    };
    WindowEntry after, before, beforeThat;
    if (note > 0) {
        const int32_t p = note - chosen[static_cast<size_t>(note)].gap;
        before = chosenAt(p, shapes[1]);
        if (before.IsPresent() && note >= 2) beforeThat = chosenAt(p - before.setting->gap, shapes[2]);
        if (note + 1 < melody.count) after = chosenAt(note + 1, shapes[0]);
    }

    size_t winner = 0;
    float best = 0.0f;
    for (size_t k = 0; k < list.candidates.size(); ++k) {
        const WindowEntry entry = EntryOf(list, k);
        float score = entry.setting->score;
        if (before.IsPresent()) score *= transitionRules->ComputeScore({entry, before, beforeThat}, score);
        if (after.IsPresent()) score *= transitionRules->ComputeScore({after, entry, before}, score);
        if (score > best) {
            best = score;
            winner = k;
        }
    }
    return winner;
}

}  // namespace ChoiralizerV2

}  // namespace mlh
