// Chords as notation programs store them (the harmony element of MusicXML 4.0).
#pragma once

#include <string>
#include <vector>

#include "choir/chords/ChordSymbol.h"

namespace mlh::choir {

struct HarmonyDegree {
    enum class Change { Add, Alter, Subtract };
    int value = 0;  // 1 to 13
    int alter = 0;  // semitones
    Change change = Change::Add;
};

// The parts of the element by their names there.
struct HarmonyElement {
    char rootStep = 'C';  // A to G
    int rootAlter = 0;
    std::string kind = "major";
    std::string kindText = {};  // what is printed; read only where the kind says "other"
    std::vector<HarmonyDegree> degrees = {};
    char bassStep = '\0';  // none
    int bassAlter = 0;
};

// The chord of such an element; kind "none" is no chord. Throws ChordTextError for a kind that names no
// tones.
Chord ReadHarmonyElement(const HarmonyElement& element);

// The kind of a chord's tones, "other" where the format has none.
const char* HarmonyKindOf(const std::vector<int>& intervals);

}  // namespace mlh::choir
