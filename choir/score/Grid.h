// The grid of notation.
#pragma once

#include <vector>

#include "choir/score/Melody.h"

namespace mlh::choir {

// Divisions of a quarter note: 32nd notes and triplets of 16ths are whole numbers.
inline constexpr int kDivisions = 24;

// A note on the grid of notation, in divisions.
struct GridNote {
    int start = 0;
    int end = 0;
};

// The nearest 32nd or sixteenth triplet, for a sung melody the nearest 16th. Notes keep their order and a
// length above 0, and do not overlap.
std::vector<GridNote> PutOnGrid(const Melody& melody);

}  // namespace mlh::choir
