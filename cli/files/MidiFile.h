// Standard MIDI files, in and out.
#pragma once

#include <string>

#include "Errors.h"
#include "choir/score/Song.h"

namespace mlh::cli {

// Reads a file of format 0 or 1 with its tempo changes; levels are velocity / 127. Throws Failure with a
// one-line reason.
Song ReadMidiFile(const std::string& path);

enum class MidiBends { No, Yes };

// Writes a type 1 file: a tempo track with the song's texts as text events and its markers, then a track per
// entry, each on a channel of its own. Pitches are rounded to note numbers; with bends a pitch wheel event
// before each note makes up the song's bend, within 0.03 cents where all are below two semitones, and the
// track starts by setting the wheel's range. The file appears whole or not at all.
void WriteMidiFile(const std::string& path, const Song& song, MidiBends bends = MidiBends::No);

}  // namespace mlh::cli
