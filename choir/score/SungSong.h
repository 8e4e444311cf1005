// What a choir sings on the clock of its recording: files that go beside mix and stems. On beats it is a
// score (Score.h).
#pragma once

#include <string>

#include "choir/Choir.h"
#include "choir/score/Song.h"

namespace mlh::choir {

// The lead and each voice as tracks, of whole notes with the rest of what sounds as bends; chord names as
// markers. `bpm` only counts the beats: times are those of the recording.
Song ToSungSong(const Choir& choir, double bpm);

// voice,start_s,end_s,note_midi,note,cents,pitch_midi,frequency_hz,level: a row for each note, the lead's
// first. note is what the voice is meant to sing on the choir's grid, pitch and frequency what sounds, cents
// the difference from A = 440 Hz.
std::string SungNotesAsCsv(const Choir& choir);

}  // namespace mlh::choir
