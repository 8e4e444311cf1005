// Chooses one setting for every note: the best path through the lists of settings.
//
// Idea: a path takes one setting per note; its score is the product of the settings' own scores and of the
// scores of the moves between them (rule set 1, VoicingRules.h). The best path to a setting goes through one
// setting of the note before, so a table of best scores, filled note by note, finds the best path of all
// (dynamic programming; R. Bellman, 1957). A move is judged with the two settings before it in view, for
// which the best path to the predecessor stands. Notes without a chord inherit the setting of the harmonised
// note before them.
//
// In:   the lists of VoicingLists.h, and rule set 1.
// Out:  in the lists the score of the best path to each setting and the link back along it; from them one
//       setting per note.
// Cost: linear in the notes; per note the length of its list times a count of predecessors judged that grows
//       slowly with the list before (VoicingSearch.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "harmony/VoicingCandidate.h"

namespace mlh::ChoiralizerV2 {

class CVoicingRules;

// Replaces every candidate's own score by that of the best path to it and links it to its predecessor on it.
// Scores are rescaled by 10000 note by note where they would leave the range of a float.
void FindBestPaths(std::vector<CandidateList>& lists, const CVoicingRules& transitionRules);

// A setting on the best path, and who sings it.
struct PathStep {
    int32_t note;      // the note it is for,
    int32_t from;      // the note in whose list it is: `note` itself, or the harmonised note inherited from,
    size_t candidate;  // and its index there
    bool isInherited;  // the note has no chord and takes the setting under its own lead
};

// The best path, from its end back, each note once; inherited steps come right after the step they inherit
// from, the latest note first. Empty for no lists.
std::vector<PathStep> TraceBestPath(const std::vector<CandidateList>& lists);

// Which candidate of a list goes best with the settings chosen for the notes around `note`; the first of
// equals. `chosen` has a record per note, whose `gap` leads to the harmonised note before. A record without a
// voicing judges nothing; the note after is only asked where there is one before.
size_t BestInPlace(const CandidateList& list, int32_t note, const std::vector<VoicingCandidate>& chosen,
                   const CVoicingRules& transitionRules);

}  // namespace mlh::ChoiralizerV2
