// Notes of tracks dealt out to voices.
#pragma once

#include <vector>

#include "choir/score/Performance.h"

namespace mlh::choir {

// The pitches of all voices from a time on.
struct PitchChange {
    double time = 0.0;            // [s]
    std::vector<double> pitches;  // per voice, -1 rests
};

// The pitch changes that tracks of notes ask of `voices` voices, in order of time. With one track, each note
// takes the first free voice, higher notes first; with more, voice k follows track k, and of overlapping
// notes the one that started last sounds.
std::vector<PitchChange> DealNotes(const std::vector<NoteLine>& tracks, int voices);

// How many voices, 1 to 4, such tracks can keep busy.
int CountVoices(const std::vector<NoteLine>& tracks);

}  // namespace mlh::choir
