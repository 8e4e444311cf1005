#include "choir/score/ChordSpelling.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "theory/Keys.h"
#include "theory/PitchClass.h"

namespace mlh::choir {

namespace {

// Letters above the root of a tone so many semitones above it.
int StepsOf(int interval, const std::vector<int>& intervals) {
    const auto has = [&](int semitones) {
        return std::find(intervals.begin(), intervals.end(), semitones) != intervals.end();
    };
    switch (interval) {
        case 6:  // a fourth only where there is a fifth
            return has(7) ? 3 : 4;
        case 8:
            return has(7) ? 5 : 4;
        case 9:  // of a diminished seventh chord
            return has(3) && has(6) ? 6 : 5;
        case 3:
            return has(4) ? 1 : 2;
        default: {
            constexpr int kSteps[] = {0, 1, 1, 2, 2, 3, 4, 4, 5, 5, 6, 6};
            constexpr int kUpperSteps[] = {0, 1, 1, 1, 2, 3, 3, 4, 5, 5, 6, 6};  // ninths to thirteenths
            return (interval < 12 ? kSteps : kUpperSteps)[interval % 12];
        }
    }
}

// The root as the name begins.
std::optional<Spelling> RootOf(const Chord& chord) {
    if (chord.root < 0 || chord.name.empty() || theory::StepOfLetter(chord.name[0]) < 0) {
        return std::nullopt;
    }
    Spelling root = {chord.name[0], 0};
    for (std::size_t i = 1; i < chord.name.size() && (chord.name[i] == '#' || chord.name[i] == 'b'); ++i) {
        root.alter += chord.name[i] == '#' ? 1 : -1;
    }
    return root;
}

Spelling Above(const Spelling& root, int steps, int pitchClass) {
    const int step = (theory::StepOfLetter(root.step) + steps) % theory::kSteps;
    const int natural = theory::PitchClassOfStep(step);
    const int alter = theory::PitchClass(pitchClass - natural + 6) - 6;
    return {theory::kLetters[step], alter};
}

}  // namespace

Spelling SpellInChord(int pitchClass, const Chord& chord, int key) {
    Spelling inKey = Spell(pitchClass, key);
    if (std::abs(inKey.alter) > 1) {
        inKey = Spell(pitchClass, 0);  // a white key, and in C major it is one
    }
    const std::optional<Spelling> root = RootOf(chord);
    if (!root) {
        return inKey;
    }
    for (const int interval : chord.intervals) {
        if (theory::PitchClass(chord.root + interval) != pitchClass) {
            continue;
        }
        const Spelling tone = Above(*root, StepsOf(interval, chord.intervals), pitchClass);
        return std::abs(tone.alter) > 1 ? inKey : tone;
    }
    return inKey;
}

}  // namespace mlh::choir
