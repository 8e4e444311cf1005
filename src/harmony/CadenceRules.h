// The harmonic functions at the end of a phrase, by rules on its last notes.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh::ChoiralizerV2 {

// What the rules read, one entry per note.
struct CadenceMelody {
    std::vector<int32_t> degree;      // scale degree, 0 the tonic
    std::vector<int32_t> alteration;  // -1, 0, +1
    std::vector<float> duration;
    int32_t scale = 0;  // row of the scale table; major and two minors have rules of their own
};

// Decides on the phrase that ends with note `end` (1 or later), the phrase before it ending at `previousEnd`
// (0 for the first). Writes the function of the end note, in some cadences also that of the note before or
// after it, or leaves it as it is where no rule speaks.
void AssignCadence(const CadenceMelody& melody, int32_t end, int32_t previousEnd,
                   std::vector<int32_t>& function);

}  // namespace mlh::ChoiralizerV2
