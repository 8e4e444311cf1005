// Names of notes and keys.
#pragma once

#include <string>

namespace mlh::choir {

// "C", "C#", "D", "Eb" ... for pitch class 0 to 11, spelled as keys usually are.
std::string PitchClassName(int pitchClass, bool flats = false);
// "A4" for 69.
std::string NoteName(int midiNote, bool flats = false);
// Key index 0 to 11 major, 12 to 23 minor: "C major", "F# minor"; empty for -1.
std::string KeyName(int key);
// Sharps in the signature of a key index, below 0 flats: -5 to 6.
int KeySharps(int key);
// A pitch class by letter and sharps (above 0) or flats (below 0), on the line of fifths around the key.
struct Spelling {
    char step;
    int alter;
};
Spelling Spell(int pitchClass, int key);
// Whether a key index is usually written with flats.
bool KeyUsesFlats(int key);

}  // namespace mlh::choir
