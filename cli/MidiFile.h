// Standard MIDI files, in and out.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Music.h"
#include "Tempo.h"

struct MidiTrack {
    std::string name;
    std::vector<TimedNote> notes;  // by start; level is velocity / 127
};

struct MidiSong {
    std::vector<MidiTrack> tracks;  // only those with notes
    TempoMap tempo = {{}};
    std::optional<int> key;  // of the first key signature: 0 to 11 major, 12 to 23 minor
};

// Reads a file of format 0 or 1 with its tempo changes. Throws Failure with a one-line reason.
MidiSong ReadMidiFile(const std::string& path);

struct MidiText {
    double time;  // [s]
    std::string text;
};

// Writes a type 1 file: a tempo track with `texts` as text events, then a track per entry. Pitches are
// rounded to note numbers. The file appears whole or not at all.
void WriteMidiFile(const std::string& path, const MidiSong& song, const std::vector<MidiText>& texts = {});
