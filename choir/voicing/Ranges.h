// What each voice can sing: ranges by name or notes, and ranges that suit a lead.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "choir/voicing/Voicing.h"

namespace mlh::choir {

// What untrained singers are asked for, by voice type (Kennedy, The Oxford Dictionary of Music, 1985, and
// choral practice). Nothing sounds lower than the bass's low E unless a range asks for it.
struct VoiceType {
    const char* name;
    PitchRange range;
};
const std::vector<VoiceType>& VoiceTypes();

// "alto", "E2-C5", "40-72"; nothing for another text, or an empty range.
std::optional<PitchRange> ReadRange(const std::string& text);

// The range of a voice beside a lead: within what people sing, and no further from where the lead mostly lies
// than grains carry well. `leads` are the lead's MIDI notes.
PitchRange RangeBeside(const std::vector<int>& leads, bool above);

// How many voices have room above and below a lead within what people sing: one needs a third, two an octave
// from where the lead mostly lies. Without notes as many as are wanted.
struct Room {
    int above;
    int below;
};
Room RoomBeside(const std::vector<int>& leads);

}  // namespace mlh::choir
