// The modes in which the classic engine (classic/Choiralizer.h) sings each note, by the words of the caller's
// parameter block.
//
// In:   the mode and its parameter words (the table is in ChoiralizerV2.h); a note, the note after it and its
//       chord.
// Out:  four pitches, the lead first.
// Cost: that of the classic engine's note.
#pragma once

#include <array>
#include <cstdint>

#include "base/Numbering.h"

namespace mlh::ChoiralizerClassic {
class CChoiralizer;
struct ClassicChord;
}  // namespace mlh::ChoiralizerClassic

namespace mlh::ChoiralizerV2 {

// One word of the caller's parameter block. A float or a pointer is there by its bits. The caller owns the
// block; the engine keeps the pointer and reads when it runs.
using HarmonyParams = int32_t;

// Modes 0 to 8; 7 is the engine's own.
inline constexpr int32_t kOwnMode = NumberOf(HarmonyMode::FourPart);

// What the classic engine is asked for in each note of a run.
struct ClassicTask {
    int32_t mode;
    const HarmonyParams* params;            // borrowed
    std::array<int32_t, 4> intervals = {};  // mode 3, in scale steps from the lead
};

// Sets the classic engine up for a mode and says what to ask of it. `holdsPointer` says whether the block may
// hold the pointer that mode 3 reads. Returns 0, or kBadArgument for mode 3 without a pointer.
int32_t PrepareClassicMode(ChoiralizerClassic::CChoiralizer& classic, int32_t mode,
                           const HarmonyParams* params, bool holdsPointer, ClassicTask& task);

// Voices one note; `next` is the pitch of the note after it. Where the mode does nothing the result stays.
void VoiceClassicNote(ChoiralizerClassic::CChoiralizer& classic, const ClassicTask& task, int32_t pitch,
                      int32_t next, const ChoiralizerClassic::ClassicChord& chord, int32_t result[4]);

}  // namespace mlh::ChoiralizerV2
