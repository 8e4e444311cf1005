#include "choir/score/Music.h"

#include <cmath>

#include "theory/Keys.h"

namespace mlh::choir {

std::string PitchClassName(int pitchClass, bool flats) {
    return theory::NameOf(theory::PitchClass(pitchClass), flats);
}

std::string NoteName(int midiNote, bool flats) {
    const int octave = static_cast<int>(std::floor(midiNote / 12.0)) - 1;
    return PitchClassName(midiNote, flats) + std::to_string(octave);
}

int KeySharps(int key) { return theory::SharpsOf(theory::KeyOfIndex(key)); }

Spelling Spell(int pitchClass, int key) {
    const theory::Spelling spelling = theory::Spell(pitchClass, theory::KeyOfIndex(key));
    return {spelling.step, spelling.alter};
}

bool KeyUsesFlats(int key) { return key >= 0 && KeySharps(key) < 0; }

std::string KeyName(int key) {
    if (key < 0) {
        return "";
    }
    return PitchClassName(key % 12, KeyUsesFlats(key)) + (key < 12 ? " major" : " minor");
}

}  // namespace mlh::choir
