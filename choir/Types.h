// What the rooms of this library hand each other: sung notes, chords in time, and what voices sing.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "choir/chords/Chord.h"

namespace mlh::choir {

// Called now and then during long work with the share that is done, 0 to 1. Throws, Cancelled for one, to end
// it.
using ProgressCallback = std::function<void(double)>;

// A note of a voice.
struct TimedNote {
    double start = 0.0;  // [s]
    double end = 0.0;    // [s]
    double pitch = 0.0;  // MIDI scale, fractions allowed
    double level = 1.0;  // 0 to 1
};

// A note of the recording, as it was sung: times on its clock, pitch with fractions, level the root of the
// mean energy, where the loudest point of the recording is 1.
using SungNote = TimedNote;

// A point of the pitch curve; there is one for each period of the voice.
struct CurvePoint {
    double time = 0.0;   // [s]
    double pitch = 0.0;  // MIDI scale
    bool voiced = false;
};

// A chord that holds from `time` until the next one.
struct TimedChord {
    double time = 0.0;  // [s]
    Chord chord = {};
};

// What a voice is for. It does not change with the number of voices.
enum class VoicePart { Doubling, Above, Below, Bass };

// What one voice sings during a note of the lead, or during a part of it where the chord changes in between.
struct VoiceNote {
    int lead = -1;       // index of the SungNote that it is made from
    double start = 0.0;  // [s] nominal, on the lead's timeline
    double end = 0.0;    // [s]
    int note = -1;       // MIDI number on the choir's grid: what scores and names show; -1 rests
    double pitch = 0.0;  // MIDI scale: what sounds, with tuning, drift, just intonation and detune
    double level = 1.0;  // linear, 1 as the lead
    friend bool operator==(const VoiceNote&, const VoiceNote&) = default;
};

struct Voice {
    VoicePart part = VoicePart::Doubling;
    std::string name = {};  // for people
    std::vector<VoiceNote> notes = {};
};

}  // namespace mlh::choir
