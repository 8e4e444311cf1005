// Chords as stacks of thirds: how both harmony engines find root and type of some notes.
#pragma once

#include <cstdint>

namespace mlh::ChoiralizerClassic {

// Sorts the notes and lowers everything above the first gap that is no third by an octave, once for each
// note, so that they come to lie in thirds above their root if they can. 64 bits, since any note may be
// given.
void StackInThirds(int64_t* notes, int32_t count);

// TriadType of three stacked notes, SeventhType of four.
int32_t TriadTypeOf(const int64_t* stack);
int32_t SeventhTypeOf(const int64_t* stack);

}  // namespace mlh::ChoiralizerClassic
