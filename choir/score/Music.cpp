#include "choir/score/Music.h"

#include <cmath>
#include <map>

namespace mlh::choir {

namespace {

const char* const kSharpNames[12] = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
const char* const kFlatNames[12] = {"C", "Db", "D", "Eb", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B"};

}  // namespace

std::string PitchClassName(int pitchClass, bool flats) {
    const int index = ((pitchClass % 12) + 12) % 12;
    return flats ? kFlatNames[index] : kSharpNames[index];
}

std::string NoteName(int midiNote, bool flats) {
    const int octave = static_cast<int>(std::floor(midiNote / 12.0)) - 1;
    return PitchClassName(midiNote, flats) + std::to_string(octave);
}

// Each fifth upwards adds a sharp; F sharp rather than G flat.
int KeySharps(int key) {
    const int major = key < 12 ? key : (key + 3) % 12;
    return (7 * major + 5) % 12 - 5;
}

// Twelve neighbours on the line of fifths (..., F C G D A E B F# ...): in minor up to the raised seventh, in
// major from the flat sixth.
Spelling Spell(int pitchClass, int key) {
    static constexpr char kSteps[] = {'F', 'C', 'G', 'D', 'A', 'E', 'B'};
    const int lowest = KeySharps(key) - (key < 12 ? 4 : 3);  // fifths above C
    const int fifths = lowest + (((7 * pitchClass - lowest) % 12) + 12) % 12;
    const int step = (((fifths + 1) % 7) + 7) % 7;
    return {kSteps[step], (fifths + 1 - step) / 7};
}

bool KeyUsesFlats(int key) { return key >= 0 && KeySharps(key) < 0; }

std::string KeyName(int key) {
    if (key < 0) return "";
    return PitchClassName(key % 12, KeyUsesFlats(key)) + (key < 12 ? " major" : " minor");
}

std::string ChordSymbol(int root, const std::vector<int>& intervals, bool flats) {
    static const std::map<std::vector<int>, std::string> kSuffixes = {
        {{0, 4, 7}, ""},         {{0, 3, 7}, "m"},         {{0, 3, 6}, "dim"},       {{0, 4, 8}, "aug"},
        {{0, 5, 7}, "sus4"},     {{0, 2, 7}, "sus2"},      {{0, 4, 7, 9}, "6"},      {{0, 3, 7, 9}, "m6"},
        {{0, 4, 7, 11}, "maj7"}, {{0, 3, 7, 10}, "m7"},    {{0, 4, 7, 10}, "7"},     {{0, 3, 6, 10}, "m7b5"},
        {{0, 3, 6, 9}, "dim7"},  {{0, 3, 7, 11}, "mMaj7"}, {{0, 4, 8, 11}, "maj7#5"}};
    const auto suffix = kSuffixes.find(intervals);
    return PitchClassName(root, flats) + (suffix != kSuffixes.end() ? suffix->second : "?");
}

}  // namespace mlh::choir
