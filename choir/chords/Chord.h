// A chord by its tones.
#pragma once

#include <string>
#include <vector>

namespace mlh::choir {

struct Chord {
    std::string name = {};            // for people, as they wrote it or as a lead-sheet symbol
    int root = -1;                    // pitch class, 0 is C; -1 for no chord
    std::vector<int> intervals = {};  // chord tones in semitones above the root, ascending, root included
    int bass = -1;                    // pitch class of a slash bass, -1 if it is the root
};

}  // namespace mlh::choir
