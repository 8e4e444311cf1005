// The grid of notation.
#pragma once

#include <vector>

namespace mlh::choir {

// Divisions of a quarter note: 32nd notes and triplets of 16ths are whole numbers.
inline constexpr int kDivisions = 24;

// A note on the grid of notation, in divisions.
struct GridNote {
    int start = 0;
    int end = 0;
};

// Onset and length in quarter notes.
struct BeatSpan {
    double onset = 0.0;
    double length = 0.0;
};

// The nearest 32nd or sixteenth triplet, in divisions.
int NearestDivision(double beat);

// Spans of one line on such lines. They keep their order and a length above 0, and do not overlap.
std::vector<GridNote> PutOnGrid(const std::vector<BeatSpan>& spans);

}  // namespace mlh::choir
