// Standard MIDI files, in and out.
#pragma once

#include <string>

#include "Errors.h"
#include "choir/score/Song.h"

namespace mlh::cli {

// Reads a file of format 0 or 1 with its tempo changes; levels are velocity / 127. Throws Failure with a
// one-line reason.
Song ReadMidiFile(const std::string& path);

// Writes a type 1 file: a tempo track with the song's texts as text events, then a track per entry. Pitches
// are rounded to note numbers. The file appears whole or not at all.
void WriteMidiFile(const std::string& path, const Song& song);

}  // namespace mlh::cli
