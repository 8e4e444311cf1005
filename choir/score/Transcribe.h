// From what was sung to what is written: a melody on beats, with metre, upbeat, tempo and key.
//
//     sung notes -> splinters joined -> pulse (choir/melody) -> beats -> quantised onsets and ends -> bars
//
// Scoops and falls are notes of their own in an analysis; on paper they belong to the note that they lead to
// or come from.
#pragma once

#include <optional>
#include <vector>

#include "choir/Types.h"
#include "choir/melody/ChordTracker.h"
#include "choir/score/Melody.h"
#include "choir/take/Take.h"
#include "choir/tuning/Tuning.h"

namespace mlh::choir {

struct TranscribeOptions {
    double bpm = 0.0;              // quarter notes a minute; 0: found
    std::optional<MelodyKey> key;  // else the one that is found
};

// `notes` by rising start, one at a time, pitches as sung; `tuning` the grid that they are read on. Onsets
// count from the first bar line that has to be written, or from the first note where that is in the upbeat.
// Every note keeps the seconds at which it was sung. Without notes the melody is empty.
Melody Transcribe(const std::vector<SungNote>& notes, const Tuning& tuning,
                  const TranscribeOptions& options = {});

// The melody of a recording, on the singer's own grid, with its curve.
Melody TranscribeTake(const Take& take, const TranscribeOptions& options = {});

// A chord as symbols have it, spelled in a key: 0 to 11 major, 12 to 23 minor.
Chord ToChord(const HeardChord& heard, int key);

// Notes too short to be meant are joined with the neighbour that they touch.
struct MeantNote {
    SungNote note;
    int lead = -1;  // index of the sung note that it has its pitch from
};
std::vector<MeantNote> JoinSplinters(const std::vector<SungNote>& notes);

}  // namespace mlh::choir
