// Notes of voices on beats, for whoever writes, prints or draws them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "choir/Choir.h"
#include "choir/score/Arrangement.h"
#include "choir/score/Melody.h"
#include "choir/score/Tempo.h"

namespace mlh::choir {

struct ScoreNote {
    double onset = 0.0;   // [beats] quarter notes
    double length = 0.0;  // [beats]
    double start = 0.0;   // [s]
    double end = 0.0;     // [s]
    int note = -1;        // MIDI
    int lead = -1;        // index of the melody's note that it goes with
};

struct ScoreVoice {
    std::string name = {};
    std::vector<ScoreNote> notes = {};
};

struct Score {
    std::string title = {};
    std::string style = {};
    std::optional<MelodyKey> key = {};
    TempoMap tempo = {{}};
    double upbeat = 0.0;  // [beats] before the first full bar
    bool sung = false;    // its times follow no grid
    std::vector<ScoreNote> melody = {};
    std::vector<ScoreVoice> voices = {};
    std::vector<TimedChord> chords = {};  // by seconds, where they change
};

// Sets a melody as the settings ask for, with its own chords or theirs.
Arrangement Arrange(Melody melody, const Settings& settings);

Score ToScore(const Arrangement& arrangement);
// `bpm` above 0 says how many beats there are in a minute of the recording.
Score ToScore(const Choir& choir, double bpm);

// As a MIDI file holds it.
Song ToSong(const Score& score);

}  // namespace mlh::choir
