// Notes of voices on beats, for whoever writes, prints or draws them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "choir/Choir.h"
#include "choir/score/Arrangement.h"
#include "choir/score/Melody.h"
#include "choir/score/Music.h"
#include "choir/score/Tempo.h"

namespace mlh::choir {

struct ScoreNote {
    double onset = 0.0;                     // [beats] quarter notes
    double length = 0.0;                    // [beats]
    double start = 0.0;                     // [s] of a recording as sung, else as the tempo says
    double end = 0.0;                       // [s]
    int note = -1;                          // MIDI
    int lead = -1;                          // index of the melody's note that it goes with
    std::optional<Spelling> spelling = {};  // else as the key has it
};

struct ScoreVoice {
    std::string name = {};
    std::vector<ScoreNote> notes = {};
};

struct ScoreChord {
    double beat = 0.0;
    Chord chord = {};
    std::optional<Spelling> root = {};  // else as the key has them
    std::optional<Spelling> bass = {};
};

struct Score {
    std::string title = {};
    std::string style = {};
    std::optional<MelodyKey> key = {};
    bool sureOfKey = true;  // else it was found, and might well be another
    TempoMap tempo = {{}};
    double upbeat = 0.0;  // [beats] before the first full bar
    bool sung = false;    // from a recording, whose beats were found
    std::vector<ScoreNote> melody = {};
    std::vector<ScoreVoice> voices = {};
    std::vector<TimedChord> chords = {};   // by seconds, where they change
    std::vector<ScoreChord> symbols = {};  // the same by beats
    std::vector<CurvePoint> curve = {};    // of a recording
};

// Sets a melody as the settings ask for: the styles of mlh/arrange.h, with the melody's own chords or theirs.
// Throws UsageError for those that IsPlanned is true of.
Arrangement Arrange(Melody melody, const Settings& settings);

// Gives a melody that says no key the one that its notes suggest (choir/melody).
void FindMissingKey(Melody& melody);

// A melody in the voices of the choir, on the chords of the settings, else those of the melody's notes, else
// those that the notes suggest (Settings::chordsFrom). Of style choir the melody first, then the voices from
// the top down; of style four-part Soprano to Bass.
Score PlanScore(const Melody& melody, const Settings& settings);

Score ToScore(const Arrangement& arrangement);
// What the choir sings, on the beats of its lead. `bpm` above 0 says how many quarter notes there are in a
// minute of the recording, else they are found.
Score ToScore(const Choir& choir, double bpm = 0.0);

// As a MIDI file holds it: on its beats, with its tempos.
Song ToSong(const Score& score);
// As it sounds: what a picture shows.
Performance ToPerformance(const Score& score);
// A table for people: beats, chords and the note names of melody and voices.
std::string ScoreTable(const Score& score);
// voice,onset_beats,length_beats,start_s,end_s,pitch_midi,note: a row for each note of each voice.
std::string ScoreAsCsv(const Score& score);

}  // namespace mlh::choir
