// Chords from sheet music (MusicXML).
#pragma once

#include <string>
#include <vector>

#include "Errors.h"
#include "choir/Types.h"

namespace mlh::cli {

// The chord symbols of the first part that has any, by their places in the score; repeats are not played.
// `bpm` quarter notes a minute count throughout, 0 for the tempos of the score, 120 before its first.
// `source` names the file in messages. Throws UsageError.
std::vector<TimedChord> ReadNotatedChords(const std::string& xml, const std::string& source, double bpm);

}  // namespace mlh::cli
