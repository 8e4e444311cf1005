// Melodies from files.
#pragma once

#include <optional>
#include <string>

#include "Errors.h"
#include "choir/score/Melody.h"

namespace mlh::cli {

struct MelodySource {
    std::string path;
    int track = 0;                      // of a MIDI file, counted from 1 among those with notes; 0: the first
    double bpm = 0.0;                   // 0: of the source, found in a recording, or 120
    std::optional<MelodyKey> key = {};  // of a recording, if it is known
    bool quiet = false;
    bool acceptDamage = false;  // of a recording
};

// Reads a MIDI file, a table or a recording, distinguished by their first bytes. A recording is put on beats.
// A table has a row per note: onset, duration, pitch and, if wanted, chord ('-' for none), separated by tabs,
// spaces, commas or semicolons; times in beats, the pitch as a MIDI note number, further columns not read.
// Lines that start with '#' are comments, of which "# title:", "# key:", "# meter:", "# tempo:" and "#
// upbeat:" are heard. Throws Failure or UsageError with a one-line reason.
Melody ReadMelody(const MelodySource& source);

// A table in memory; `source` names it in messages.
Melody ParseMelodyTable(const std::string& text, const std::string& source);

}  // namespace mlh::cli
