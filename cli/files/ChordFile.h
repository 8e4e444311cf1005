// Chord sheets from files.
#pragma once

#include <string>
#include <vector>

#include "Errors.h"
#include "choir/chords/ChordText.h"

namespace mlh::cli {

// The value of a --chords option: the name of a file, or the chords themselves. None for an empty one.
std::vector<TimedChord> ReadChordOption(const std::string& value, double bpm, int beatsPerBar);

}  // namespace mlh::cli
