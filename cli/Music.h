// What the parts of the command exchange: notes, chords, and a performance to be drawn or reported.
#pragma once

#include <array>
#include <string>
#include <vector>

// A note of the lead or of a voice. Times in seconds, pitch on the MIDI scale (fractions allowed).
struct TimedNote {
    double start = 0.0;
    double end = 0.0;
    double pitch = 0.0;
    double level = 1.0;  // 0 to 1
};

// A chord that holds from `time` until the next one.
struct TimedChord {
    double time = 0.0;           // [s]
    std::string name;            // for people, as they wrote it or as a lead-sheet symbol
    int root = -1;               // pitch class, 0 is C; -1 for no chord
    std::vector<int> intervals;  // chord tones in semitones above the root, ascending, root included
    int bass = -1;               // pitch class of a slash bass, -1 if it is the root
};

// A pitch curve with gaps.
struct CurvePoint {
    double time = 0.0;   // [s]
    double pitch = 0.0;  // MIDI scale
    bool voiced = false;
};

struct TimedLabel {
    double time = 0.0;  // [s]
    std::string text;
};

struct VoiceLine {
    std::string name;  // for the legend
    std::vector<TimedNote> notes;
};

// Everything that a picture or a report shows of one recording.
struct Performance {
    std::string title;      // name of the recording, without folder
    std::string key;        // "F# minor", empty for none
    double duration = 0.0;  // [s]
    std::vector<CurvePoint> curve;
    std::vector<TimedNote> lead;
    std::vector<VoiceLine> voices;  // harmony voices, without the lead; may be empty
    std::vector<TimedChord> chords;
    std::vector<double> phrases;        // where phrases start [s]; may be empty
    std::vector<TimedLabel> functions;  // of the harmony: T, S, D ...; may be empty
};

// "C", "C#", "D", "Eb" ... for pitch class 0 to 11, spelled as keys usually are.
std::string PitchClassName(int pitchClass, bool flats = false);
// "A4" for 69.
std::string NoteName(int midiNote, bool flats = false);
// Key index 0 to 11 major, 12 to 23 minor: "C major", "F# minor"; empty for -1.
std::string KeyName(int key);
// Sharps in the signature of a key index, below 0 flats: -5 to 6.
int KeySharps(int key);
// A pitch class by letter and sharps (above 0) or flats (below 0), on the line of fifths around the key.
struct Spelling {
    char step;
    int alter;
};
Spelling Spell(int pitchClass, int key);
// Whether a key index is usually written with flats.
bool KeyUsesFlats(int key);
// Lead-sheet symbol of a root and chord tones, for chords that have no name of their own.
std::string ChordSymbol(int root, const std::vector<int>& intervals, bool flats = false);
