// A melody as it is written down: notes and chords on beats.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Music.h"
#include "Tempo.h"
#include "mlh/analysis.h"

// Beats are quarter notes.
struct MelodyNote {
    double onset = 0.0;
    double length = 0.0;
    int pitch = 60;
    TimedChord chord = {};  // root -1 for none; its time is not used
};

struct MelodyKey {
    int tonic = 0;      // pitch class
    int scale = 0;      // row of mlh::ScaleNames()
    bool found = true;  // estimated, not given
};

struct Melody {
    std::string title;
    std::vector<MelodyNote> notes;  // one at a time, by rising onset
    TempoMap tempo = {{}};
    std::optional<MelodyKey> key;   // where the source says one
    double upbeat = 0.0;            // [beats] before the first full bar
    bool sung = false;              // from a recording: its times follow no grid
    std::vector<CurvePoint> curve;  // of a recording

    double Seconds(double beat) const { return SecondsAt(tempo, beat); }
    double Start(std::size_t note) const { return Seconds(notes[note].onset); }
    double End(std::size_t note) const { return Seconds(notes[note].onset + notes[note].length); }
};

struct MelodySource {
    std::string path;
    int track = 0;     // of a MIDI file, counted from 1 among those with notes; 0: the first
    double bpm = 0.0;  // 0: of the source, or 120
    bool quiet = false;
};

// Reads a MIDI file, a table or a recording, told apart by their first bytes. A table has a row per note:
// onset, duration, pitch and, if wanted, chord ('-' for none), separated by tabs, spaces, commas or
// semicolons; times in beats, the pitch as a MIDI note number, further columns not read. Lines that start
// with '#' are comments, of which "# title:", "# key:", "# meter:", "# tempo:" and "# upbeat:" are heard.
// Throws Failure or UsageError with a one-line reason.
Melody ReadMelody(const MelodySource& source);

// A table in memory; `source` names it in messages.
Melody ParseMelodyTable(const std::string& text, const std::string& source);

// The notes that an analysis found, with their pitches rounded to the nearest note.
Melody MelodyOf(const mlh::Analysis& analysis, double bpm);

// "D dorian" and the like; the scale is one of mlh::ScaleNames(). Nothing for anything else.
std::optional<MelodyKey> ReadKeyAndScale(const std::string& text);

// The major or minor key whose scale holds most of the sounding time; among equals the one with the last note
// as its tonic, then with most time on the tones of its tonic triad.
MelodyKey EstimateKey(const std::vector<MelodyNote>& notes);

// As key signatures and the key names of the command have it: 0 to 11 major, 12 to 23 minor, with the
// signature of that mode.
int SignatureKey(const MelodyKey& key);
std::string ScaleKeyName(const MelodyKey& key);
