// The two tables of the harmonic function search: which function follows which, and how well a note's scale
// degree fits a change of function.
#pragma once

#include "harmony/FunctionTables.h"

namespace mlh::ChoiralizerV2 {

// [a][b][c]: weight of function c after b after a.
extern const float ProgressionTable[kFunctionCount][kFunctionCount][kFunctionCount];

// [0 major, 1 any other scale][b][c][semitones above the key]: how well a note fits function c after b. Rows
// are weights; the search divides them by their sum.
extern const float DegreeFitTable[2][kFunctionCount][kFunctionCount][12];

}  // namespace mlh::ChoiralizerV2
