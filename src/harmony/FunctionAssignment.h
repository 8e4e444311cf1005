// Gives each melody note a harmonic function.
//
// Idea: the first note's function follows from its scale degree, those at the phrase ends from the cadence
// rules (CadenceRules.h). Between these anchors a second-order Viterbi search (G. D. Forney, The Viterbi
// Algorithm, 1973) finds the likeliest sequence: its states are pairs of successive functions, its weights
// the progression table (ProgressionTables.h) and the fit of each note's scale degree to the change of
// function. Notes out of the scale and auxiliary notes (the same pitch before and after) are left out of the
// search, keep no function and are sung over the chord before them.
//
// In:   a melody, at least one note, all pitches 0 or above; where its phrases begin (PhraseAnalysis.h);
// which
//       notes keep the function they have; the tonality.
// Out:  a function per note, FunctionNone where it has none.
// Cost: linear in the notes, 125 products for each.
#pragma once

#include <cstdint>
#include <vector>

#include "harmony/MelodyRecord.h"

namespace mlh::ChoiralizerV2 {

// Vectors have one entry per note. `noteFunction` is FunctionNone on entry but where a function is known
// already. Returns 0, or kBadArgument, changing nothing, for a note without a pitch.
int32_t FindFunctions(const MelodyRecord& melody, const Tonality& tonality,
                      const std::vector<int32_t>& phraseBoundary, const std::vector<int32_t>& noteLocked,
                      std::vector<int32_t>& noteFunction);

}  // namespace mlh::ChoiralizerV2
