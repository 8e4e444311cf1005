// Degrees of a key by roman numerals.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "theory/Keys.h"

namespace mlh::theory {

// A numeral at the start of a text: "vii" of "vii7".
struct RomanNumeral {
    int32_t step = -1;       // 0 for I to 6 for VII; -1 where none was found
    bool lower = false;      // small letters: a minor or diminished chord
    std::size_t length = 0;  // [characters]
};

// The longest numeral that the text starts with, in letters of one case.
constexpr RomanNumeral ReadRomanNumeral(std::string_view text) {
    constexpr std::string_view kNumerals[2][kSteps] = {{"I", "II", "III", "IV", "V", "VI", "VII"},
                                                       {"i", "ii", "iii", "iv", "v", "vi", "vii"}};
    RomanNumeral found;
    for (int32_t lower = 0; lower < 2; ++lower) {
        for (int32_t step = 0; step < kSteps; ++step) {
            const std::string_view numeral = kNumerals[lower][step];
            if (numeral.size() > found.length && text.substr(0, numeral.size()) == numeral) {
                found = {step, lower == 1, numeral.size()};
            }
        }
    }
    return found;
}

// Semitones of a degree's root above the tonic, 0 to 11. In minor III, VI and VII are those of the natural
// scale; a diminished chord on the sixth or seventh stands on the raised tone (vii° of A minor is G#dim).
// `alter` counts sharps (above 0) or flats (below 0) before the numeral; flats are counted from the major
// scale, so that bVII is the same tone in both modes.
constexpr int32_t DegreeRoot(const Key& key, int32_t step, int32_t alter, bool diminished) {
    const bool raised = diminished && step >= 5;
    const bool natural = key.minor && alter >= 0 && !(raised && alter == 0);
    return PitchClass(int64_t{StepOffset(natural ? ScaleMinor : ScaleMajor, step)} + alter);
}

}  // namespace mlh::theory
