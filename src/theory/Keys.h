// Keys, their signatures, and how pitches are spelled in them.
#pragma once

#include <cstdint>

#include "theory/PitchClass.h"
#include "theory/Scales.h"

namespace mlh::theory {

// Major or minor on a pitch class.
struct Key {
    int32_t tonic = 0;
    bool minor = false;

    friend constexpr bool operator==(const Key& a, const Key& b) {
        return a.tonic == b.tonic && a.minor == b.minor;
    }
};

inline constexpr int32_t kKeys = 24;

// As the engines and the outputs number them: 0 to 11 major, 12 to 23 minor.
constexpr Key KeyOfIndex(int32_t index) { return {index % kPitchClasses, index >= kPitchClasses}; }
constexpr int32_t IndexOfKey(const Key& key) { return key.tonic + (key.minor ? kPitchClasses : 0); }

// The letters in the order of the keys of the piano, and their pitch classes.
inline constexpr char kLetters[] = "CDEFGAB";
inline constexpr int32_t kSteps = 7;  // letters of the octave
constexpr int32_t PitchClassOfStep(int32_t step) { return StepOffset(ScaleMajor, step); }
// The place of a letter A to G in kLetters, -1 for any other.
constexpr int32_t StepOfLetter(char letter) {
    for (int32_t step = 0; step < kSteps; ++step) {
        if (kLetters[step] == letter) {
            return step;
        }
    }
    return -1;
}

// Sharps in the signature of a key, flats below 0: -5 to 6. Each fifth upwards adds a sharp; F sharp rather
// than G flat.
constexpr int32_t SharpsOf(const Key& key) {
    const int32_t major = key.minor ? PitchClass(key.tonic + 3) : PitchClass(key.tonic);
    return (7 * major + 5) % kPitchClasses - 5;
}

// A pitch class by letter and sharps (above 0) or flats (below 0).
struct Spelling {
    char step;
    int32_t alter;
};

// Among twelve neighbours on the line of fifths (..., F C G D A E B F# ...): in minor up to the raised
// seventh, in major from the flat sixth.
constexpr Spelling Spell(int32_t pitchClass, const Key& key) {
    constexpr char kFifths[] = {'F', 'C', 'G', 'D', 'A', 'E', 'B'};
    const int32_t lowest = SharpsOf(key) - (key.minor ? 3 : 4);  // fifths above C
    const int32_t fifths = lowest + PitchClass(7 * int64_t{pitchClass} - lowest);
    const int32_t step = (((fifths + 1) % kSteps) + kSteps) % kSteps;
    return {kFifths[step], (fifths + 1 - step) / kSteps};
}

// Without a key: one name with a sharp or flat for each of the five black keys.
constexpr const char* NameOf(PitchClass pitchClass, bool flats) {
    constexpr const char* kSharpNames[] = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
    constexpr const char* kFlatNames[] = {"C", "Db", "D", "Eb", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B"};
    return flats ? kFlatNames[pitchClass] : kSharpNames[pitchClass];
}

}  // namespace mlh::theory
