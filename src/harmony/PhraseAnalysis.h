// Finds where the phrases of a melody begin, from the melody alone.
//
// Idea: a phrase begins where much changes at once, or where the tune begins again. Candidates are notes that
// stand out from their neighbours by leap and length, and those where the opening motif of the melody comes
// again. A candidate's strength grows with the change of register across it, the length of the segment before
// it, the leap into it and the length of the note before it; only candidates stronger than both neighbouring
// candidates become phrase beginnings. The first two candidates (note 0 is always one) and the last are there
// for comparison only.
//
// In:   a melody, at least one note, with durations in any unit (only ratios count; without any, nothing but
//       note 0 is a candidate), and the tonality in which leaps are counted.
// Out:  a mark per note for candidates and for phrase beginnings.
// Cost: linear in the notes, whatever the melody repeats.
#pragma once

#include <cstdint>
#include <vector>

#include "harmony/MelodyRecord.h"

namespace mlh::ChoiralizerV2 {

// 0 or 1 for each note.
struct Phrases {
    std::vector<int32_t> boundaryCandidate;
    std::vector<int32_t> phraseBoundary;  // 1: a phrase starts here; the first note is never marked
};

Phrases FindPhrases(const MelodyRecord& melody, const Tonality& tonality);

// Marks, 0 or 1 for each note, the places where the longest opening that recurs is, and the notes right after
// it. An opening has at least four notes and at most half the melody's, and recurs where the directions of
// its moves and its durations do, the last note's duration excepted if the interval into it is the same.
// Recurrences do not overlap. `pitchTrend` is the direction of the move into each note: -1, 0, +1.
std::vector<int32_t> FindRepeatedOpening(const MelodyRecord& melody, const std::vector<int32_t>& pitchTrend,
                                         const Tonality& tonality);

}  // namespace mlh::ChoiralizerV2
