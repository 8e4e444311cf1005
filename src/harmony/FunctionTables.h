// Which chords a melody note may take under each harmonic function, and which function a scale degree
// suggests.
#pragma once

#include <cstdint>

#include "harmony/ChordModel.h"

namespace mlh::ChoiralizerV2 {

enum HarmonicFunction : int32_t {
    FunctionNone = 0,
    FunctionTonic = 1,
    FunctionSubdominant = 2,
    FunctionDominant = 3,
    FunctionSixth = 4,  // the submediant: deceptive cadences and the tonic's substitute
};

constexpr int32_t kFunctionCount = 5;

// One chord of a function.
struct ChordFunctionEntry {
    // Four pitch classes above the key (not the root), or -1. Shared constant data; a readable value
    // comes before them, for PositionFromBass of the rows without a bass tone.
    const int32_t* tones = nullptr;
    int32_t bassIndex = -1;  // which tone the chord wants in the bass; -1 none
    float weight = 0.0f;     // prior weight within its function
    int32_t chordType = ChordUnknownTriad;
    const char* name = "";
};

struct FunctionChordList {
    ChordFunctionEntry entries[12];
    int32_t count;
};

// [0 major, 1 minor][function]. List 0, "No Chord", is the same in both.
extern const FunctionChordList FunctionChordTable[2][kFunctionCount];

// Function of a note by mode, alteration and degree: [0 major, 1 minor] x [-1, 0, +1] x 7 degrees in one run,
// so that the eighth degree of the chromatic scale reads on into the next row.
extern const int32_t DegreeFunctionTable[2 * 3 * 7];

}  // namespace mlh::ChoiralizerV2
