// Notes spelled as the tones of the chord that they sound in.
#pragma once

#include "choir/chords/Chord.h"
#include "choir/score/Music.h"

namespace mlh::choir {

// The G sharp of E7 is one in C major, too: a tone of the chord is so many letters above the root as the
// chord's name says, the root spelled as in that name. Other notes, and those that would need two
// accidentals, as the key has them (0 to 11 major, 12 to 23 minor), with one accidental at most.
Spelling SpellInChord(int pitchClass, const Chord& chord, int key);

}  // namespace mlh::choir
