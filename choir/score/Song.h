// Notes of several voices with tempo and key, as a MIDI file holds them.
#pragma once

#include <optional>
#include <vector>

#include "choir/score/Performance.h"
#include "choir/score/Tempo.h"

namespace mlh::choir {

struct Song {
    std::vector<NoteLine> tracks = {};  // only those with notes
    TempoMap tempo = {{}};
    std::optional<int> key = {};         // of the first key signature: 0 to 11 major, 12 to 23 minor
    std::vector<TimedLabel> texts = {};  // chord names, for one
    std::vector<TimedLabel> markers = {};
    // [semitones] what sounds less the pitch of the note, by track and note, -24 to 24; empty for none.
    std::vector<std::vector<double>> bends = {};
};

}  // namespace mlh::choir
