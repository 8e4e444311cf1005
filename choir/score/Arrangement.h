// A melody set in voices.
#pragma once

#include <string>
#include <vector>

#include "choir/score/Melody.h"
#include "choir/score/Performance.h"
#include "choir/score/Song.h"
#include "mlh/arrange.h"

namespace mlh::choir {

struct ArrangedVoice {
    std::string name;          // Soprano to Bass, or Melody and Voice 2 to 4
    std::vector<int> pitches;  // one for each note of the melody, MIDI; -1 rests

    double MeanPitch() const;  // of those that sound, -1 where none does
};

struct Arrangement {
    Melody melody;
    MelodyKey key;
    std::string style;                     // as --style names it
    std::vector<ArrangedVoice> voices;     // four-part from the top down; else the melody first
    std::vector<mlh::ArrangedNote> notes;  // what the library says of each note
    std::vector<Chord> chords;             // of each note, root -1 for none

    // The chords where they change.
    std::vector<TimedChord> ChordChanges() const;
};

// Chords for the notes of a melody: each takes the one that holds at its start, by its time in seconds.
void SetChords(Melody& melody, const std::vector<TimedChord>& chords);

// Sets the melody. `settings.key` and `settings.scale` are overwritten from `key`. A note without a chord
// goes on with that of the note before it, the first ones with the first chord there is. Throws Failure when
// the library refuses. Without notes the voices rest.
Arrangement ArrangeMelody(Melody melody, const MelodyKey& key, mlh::ArrangeSettings settings,
                          const std::string& style);

// T, S, D or VI; empty for none.
std::string FunctionName(int function);

// What a picture shows of it.
Performance ToPerformance(const Arrangement& arrangement);

// A table for people: beats, chords, functions, a mark where a phrase starts, the note names of all voices.
std::string ArrangementTable(const Arrangement& arrangement);

}  // namespace mlh::choir
