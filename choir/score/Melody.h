// A melody as it is written down: notes and chords on beats.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "choir/Types.h"
#include "choir/score/Tempo.h"
#include "choir/take/Take.h"

namespace mlh::choir {

// Beats are quarter notes.
struct WrittenNote {
    double onset = 0.0;
    double length = 0.0;
    int pitch = 60;
    Chord chord = {};  // root -1 for none
    // Of a note that was sung and then put on beats: when it was sung [s]. Below 0: when the tempo says.
    double start = -1.0;
    double end = -1.0;
    int lead = -1;  // index of the sung note that it is
};

// Rows of ScaleNames().
inline constexpr int kMajor = 0;
inline constexpr int kMinor = 5;

struct MelodyKey {
    int tonic = 0;      // pitch class
    int scale = 0;      // row of mlh::ScaleNames()
    bool found = true;  // estimated, not given
};

struct Melody {
    std::string title;
    std::vector<WrittenNote> notes;  // one at a time, by rising onset
    TempoMap tempo = {{}};
    std::optional<MelodyKey> key;   // where the source says one
    bool sureOfKey = true;          // else it was found, and might well be another
    double upbeat = 0.0;            // [beats] before the first full bar
    bool sung = false;              // from a recording
    std::vector<CurvePoint> curve;  // of a recording
    // Of a recording on beats: the chords that the notes suggest, by the seconds at which they are sung.
    std::vector<TimedChord> heard;

    double Seconds(double beat) const { return SecondsAt(tempo, beat); }
    // [s] as sung, else as the tempo says.
    double Start(std::size_t note) const;
    double End(std::size_t note) const;
};

// The notes of a take, with their pitches rounded to the nearest note.
Melody MelodyOf(const Take& take, double bpm);

// "D dorian" and the like; the scale is one of mlh::ScaleNames(). Nothing for anything else.
std::optional<MelodyKey> ReadKeyAndScale(const std::string& text);

// The major or minor key whose scale holds most of the sounding time; among equals the one with the last note
// as its tonic, then with most time on the tones of its tonic triad.
MelodyKey EstimateKey(const std::vector<WrittenNote>& notes);

// As key signatures and the key names of the command have it: 0 to 11 major, 12 to 23 minor, with the
// signature of that mode.
int SignatureKey(const MelodyKey& key);
// The major or minor key on the tonic, by the scale's third: what degrees are read in.
int ModeKey(const MelodyKey& key);
std::string ScaleKeyName(const MelodyKey& key);

}  // namespace mlh::choir
