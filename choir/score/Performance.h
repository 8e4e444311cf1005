// What pictures, MIDI files and reports show: notes in seconds, by voice.
#pragma once

#include <string>
#include <vector>

#include "choir/Types.h"

namespace mlh::choir {

struct TimedLabel {
    double time = 0.0;  // [s]
    std::string text = {};
};

// The notes of a voice, or of a track of a MIDI file.
struct NoteLine {
    std::string name = {};  // for people
    std::vector<TimedNote> notes = {};
};

// Everything that a picture or a report shows of one recording.
struct Performance {
    std::string title = {};  // name of the recording, without folder
    std::string key = {};    // "F# minor", empty for none
    double duration = 0.0;   // [s]
    std::vector<CurvePoint> curve = {};
    std::vector<TimedNote> lead = {};
    std::vector<NoteLine> voices = {};  // harmony voices, without the lead; may be empty
    std::vector<TimedChord> chords = {};
    std::vector<double> phrases = {};        // where phrases start [s]; may be empty
    std::vector<TimedLabel> functions = {};  // of the harmony: T, S, D ...; may be empty
};

}  // namespace mlh::choir
