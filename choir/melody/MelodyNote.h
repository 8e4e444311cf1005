// A sung or written line as the melody rooms see it.
#pragma once

#include <cstddef>
#include <vector>

namespace mlh::choir {

struct MelodyNote {
    double start = 0.0;  // seconds or beats, one unit throughout a melody
    double end = 0.0;
    double pitch = 0.0;  // MIDI scale, fractions allowed
};

// A melody that the finders can work on: notes with finite numbers and a length above 0, by start, one at a
// time. Of notes that start together the highest stays; a note ends at the latest where the next one starts.
std::vector<MelodyNote> OneLine(const std::vector<MelodyNote>& notes);

// Where the whole semitones of these notes lie above those of A = 440, in semitones from -0.5 to 0.5: the
// mean angle of their fractions, weighted by duration (K. Mardia, Statistics of Directional Data, 1972). 0
// without notes.
double TuningOf(const std::vector<MelodyNote>& notes);

// The median length from one start to the next (the last note's own length included); 0 without notes.
double MedianInterval(const std::vector<MelodyNote>& notes);

// The mean of those lengths, each cut at four medians; at least 1e-6.
double MeanInterval(const std::vector<MelodyNote>& notes);

// The nearest whole pitch, halves upwards.
int WholePitch(double pitch);

// A pitch's degree above a tonic, 0 to 11.
int DegreeOf(int pitch, int tonic);

// Index of the bin of a learned table, edges below or at the value passed.
template <std::size_t n>
int BinOf(double value, const double (&edges)[n]) {
    int bin = 0;
    for (const double edge : edges) {
        bin += value >= edge ? 1 : 0;
    }
    return bin;
}

}  // namespace mlh::choir
