// Overlapping notes to a sequence of note sets.
#pragma once

#include "mlh/addon.h"

namespace mlh {

// One chord for each start or end of a note, times within 0.01 s being one event. A note takes the lowest
// free of four slots; ends come before starts. Pitches are rounded to the nearest note number, halves
// away from zero.
MalleoTuneHarmonyAddOnIf::ChordVector ChordsFromNotes(const MalleoTuneHarmonyAddOnIf::PitchVector& notes);

}  // namespace mlh
