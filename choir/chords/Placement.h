// Which note a chord is meant for.
#pragma once

#include <vector>

#include "choir/Types.h"
#include "mlh/addon.h"

namespace mlh::choir {

// The core looks for the note that a time lies inside of, so a chord for a note is set just past its start.
inline constexpr double kInsideNote = 0.001;  // [s]

// A time in a rest, or at the end of a note, belongs to no note: such a chord is moved into the note that it
// is meant for. Of several chords for the same place the last one counts. `lead` are the core's elements, by
// time.
std::vector<TimedChord> PlaceChords(const MalleoTuneHarmonyAddOnIf::PitchVector& lead,
                                    const std::vector<TimedChord>& chords);

}  // namespace mlh::choir
