// Chord sheets from files.
#pragma once

#include <string>
#include <vector>

#include "Errors.h"
#include "choir/chords/ChordText.h"

namespace mlh::cli {

// The value of a --chords option: the name of a file, or the chords themselves. None for an empty one. A file
// may be a chord sheet, a MIDI file whose notes sound as chords, or sheet music with chord symbols (MusicXML;
// its tempos count where bpm is 0). `key`
// is what degrees are read in, 0 to 11 major, 12 to 23 minor, -1 for none. Says what the reading remarks.
std::vector<TimedChord> ReadChordOption(const std::string& value, double bpm, int beatsPerBar, int key = -1);

}  // namespace mlh::cli
