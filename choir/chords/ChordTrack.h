// Chords from notes that are played, as a MIDI track of chords has them.
#pragma once

#include <vector>

#include "choir/Types.h"

namespace mlh::choir {

// The chords that sound together, by their exact pitch classes and lowest notes, from the time on that each
// is complete; notes of one chord may start and end up to 60 ms apart. A chord holds until the next one:
// rests and single notes change nothing. Broken chords are read note by note, so they give what sounds
// together.
std::vector<TimedChord> ChordsOfNotes(const std::vector<TimedNote>& notes, bool flats = false);

}  // namespace mlh::choir
