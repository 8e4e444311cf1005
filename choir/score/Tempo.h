// Beats and seconds.
#pragma once

#include <vector>

namespace mlh::choir {

// Tempo and metre from a beat on. Beats are quarter notes, whatever the metre counts in.
struct TempoChange {
    double beat = 0.0;
    double bpm = 120.0;
    int beatsPerBar = 4;
    int beatUnit = 4;

    double BarLength() const { return 4.0 * beatsPerBar / beatUnit; }  // [beats]
};

// By rising beat, the first at beat 0.
using TempoMap = std::vector<TempoChange>;

double SecondsAt(const TempoMap& tempo, double beat);
double BeatAt(const TempoMap& tempo, double seconds);

}  // namespace mlh::choir
