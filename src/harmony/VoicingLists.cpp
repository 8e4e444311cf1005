#include "harmony/VoicingLists.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "harmony/ChordsInFunctions.h"
#include "harmony/VoicingRules.h"

namespace mlh::ChoiralizerV2 {

namespace {

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
                if (IsNearlyOrdered(voicing)) {
                    visit(voicing);
                }
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

CandidateList CopyOf(const CandidateList& list) {
    CandidateList copy;
    copy.candidates = list.candidates;
    copy.voicings = list.voicings;
    copy.shapes = list.shapes;
    for (size_t k = 0; k < copy.candidates.size(); ++k) {
        copy.candidates[k].voicing = copy.voicings[k].data();
    }
    return copy;
}

float OwnScore(const VoicingCandidate& candidate, float prior, const VoicingLayout& layout) {
    return layout.verticalRules.ComputeScore({WindowEntry{&candidate, nullptr}}, prior);
}

// One setting that is no chord: the lead alone in its row.
CandidateList NoChordList(int32_t pitch, int32_t function, const VoicingLayout& layout) {
    ChordFunctionEntry row;
    layout.chordsInFunctions.GetNoChord(&row);
    VoicingCandidate candidate;
    candidate.tones = row.tones;
    candidate.bassIndex = row.bassIndex;
    candidate.score = 1.0f;
    candidate.function = function;
    candidate.chordType = ChordUnknownTriad;
    candidate.name = row.name;
    Voicing voicing = {-1, -1, -1, -1};
    voicing[static_cast<size_t>(layout.leadVoice)] = pitch;
    CandidateList list;
    AddCandidate(list, candidate, voicing);
    Finish(list, layout.transitionRules);
    return list;
}

// The settings of a note that are worth anything, or the no-chord list if no setting is.
CandidateList BuildList(int32_t pitch, int32_t function, const VoicingLayout& layout) {
    CandidateList list;
    const int32_t size = layout.rangeBelow + layout.rangeAbove + 1;
    const std::vector<ChordCandidate> chords = FindChordCandidates(
        layout.chordsInFunctions, function, layout.key, {pitch, layout.rangeBelow, layout.rangeAbove}, size);
    if (chords.size() == 1 && chords[0].pitchCount == 1) {
        return NoChordList(pitch, function, layout);
    }
    for (const ChordCandidate& chord : chords) {
        VoicingCandidate candidate;
        candidate.tones = chord.tones;
        candidate.bassIndex = chord.bassIndex;
        candidate.function = function;
        candidate.chordType = chord.chordType;
        candidate.name = chord.name;
        ForEachVoicing(chord.pitches.data(), chord.pitchCount, pitch, layout.leadVoice, [&](Voicing& v) {
            candidate.voicing = v.data();
            candidate.score = chord.weight * OwnScore(candidate, chord.weight, layout);
            if (candidate.score != 0.0f) {
                AddCandidate(list, candidate, v);
            }
        });
    }
    if (list.candidates.empty()) {
        return NoChordList(pitch, function, layout);
    }
    Finish(list, layout.transitionRules);
    return list;
}

// The pitches around the lead that are tones of a chord on that root, ascending. A tone that pads a triad
// lists its pitch twice.
std::vector<int32_t> PitchesOfTones(const int32_t* tones, int32_t root, int32_t lead,
                                    const VoicingLayout& layout) {
    std::vector<int32_t> pitches;
    for (int64_t p = int64_t{lead} - layout.rangeBelow; p <= int64_t{lead} + layout.rangeAbove; ++p) {
        const int32_t pitch = static_cast<int32_t>(p);
        pitches.insert(pitches.end(),
                       static_cast<size_t>(std::count(tones, tones + 4, PitchClassFromKey(root, pitch))),
                       pitch);
    }
    return pitches;
}

// Whether the lowest voice has the tone that the chord's inversion asks for.
bool HasInversion(const Voicing& voicing, const ChordInfo& chord, const int32_t* tones) {
    if (chord.inversion < 0) {
        return true;
    }
    const int32_t lowest = *std::min_element(voicing.begin(), voicing.end());
    const int32_t* tone = std::find(tones, tones + 4, PitchClassFromKey(chord.root, lowest));
    return tone != tones + 4 && tone - tones == chord.inversion;
}

}  // namespace

bool IsNoChord(const CandidateList& list) {
    return list.candidates.size() == 1 && list.candidates[0].chordType == ChordUnknownTriad;
}

std::vector<CandidateList> BuildVoicingLists(const MelodyRecord& melody,
                                             const std::vector<int32_t>& noteFunction,
                                             const VoicingLayout& layout) {
    std::vector<CandidateList> lists(melody.Count());
    const bool isLeadAlone = layout.rangeBelow + layout.rangeAbove + 1 == 1;
    std::map<std::pair<int32_t, int32_t>, size_t> built;  // first note of each pitch and function
    int32_t gap = 1;
    for (size_t note = 0; note < lists.size(); ++note) {
        const int32_t pitch = melody.notePitch[note];
        const int32_t function = noteFunction[note];
        CandidateList& list = lists[note];
        if (isLeadAlone) {
            list = NoChordList(pitch, function, layout);
            list.candidates[0].back = 0;
            continue;
        }
        const auto [like, isNew] = built.try_emplace({pitch, function}, note);
        list = isNew ? BuildList(pitch, function, layout) : CopyOf(lists[like->second]);
        for (VoicingCandidate& candidate : list.candidates) {
            candidate.gap = gap;
        }
        gap = IsNoChord(list) ? gap + 1 : 1;
    }
    return lists;
}

CandidateList BuildListOfChord(const ChordInfo& chord, const NoteContext& note, const VoicingLayout& layout) {
    const bool triad = chord.seventhType == ChordUnknownSeventh || chord.seventhType == ChordNoSeventh;
    const int32_t type = triad ? chord.triadType : chord.seventhType;
    if (type < 0 || type >= kChordTypeCount) {
        return {};
    }
    const int32_t* tones = ChordToneTable[type];
    const std::vector<int32_t> pitches = PitchesOfTones(tones, chord.root, note.pitch, layout);

    CandidateList list;
    VoicingCandidate candidate;
    candidate.tones = tones;
    candidate.bassIndex = 0;
    candidate.function = note.function;
    candidate.gap = note.gap;
    candidate.chordType = type;
    Voicing worthless;
    bool anyWorthless = false;
    ForEachVoicing(pitches.data(), static_cast<int32_t>(pitches.size()), note.pitch, layout.leadVoice,
                   [&](Voicing& v) {
                       if (!HasInversion(v, chord, tones)) {
                           return;
                       }
                       candidate.voicing = v.data();
                       candidate.score = OwnScore(candidate, 1.0f, layout);
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
    if (!list.candidates.empty()) {
        Finish(list, layout.transitionRules);
    }
    return list;
}

}  // namespace mlh::ChoiralizerV2
