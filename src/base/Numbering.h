// How voices and the ways to harmonise are numbered, and how one numbering becomes another.
#pragma once

#include <cstdint>

namespace mlh {

// The number of an enumerator, as interfaces take it.
template <class Enum>
constexpr int32_t NumberOf(Enum value) {
    return static_cast<int32_t>(value);
}

// What the harmony engine makes of a melody.
enum class HarmonyMode : int32_t {
    ThreeVoices = 0,  // beside the lead, searched over chord tones
    TwoVoices,
    OneVoice,
    Intervals,      // four intervals of sign and size
    Block,          // block chords
    OpenFourths,    //
    FixedInterval,  //
    FourPart,       // the engine's own setting, from melody and key alone
    Double,         // the lead doubled, and one voice at an interval
};

// The modes of the add-on: the engine's first three, and one in which the host sets the voices.
enum class AddOnMode : int32_t {
    ThreeVoices = NumberOf(HarmonyMode::ThreeVoices),
    TwoVoices = NumberOf(HarmonyMode::TwoVoices),
    OneVoice = NumberOf(HarmonyMode::OneVoice),
    Manual,
};

// The mode of 2 to 4 voices, the lead's own line among them.
constexpr HarmonyMode ModeOfVoices(int32_t voices) { return static_cast<HarmonyMode>(4 - voices); }

// Voices of the add-on are 0 to 3, rows of the engine 0 to 3 from the bottom up. The add-on's voice 0 sings
// the row that carries the melody, the others those rows that sound; in the manual mode voice and row are the
// same.
inline constexpr int32_t kVoiceCount = 4;
enum class VoiceRow : int32_t { Bass = 0, Tenor, Alto, Soprano };
inline constexpr int32_t kLeadRow =
    NumberOf(VoiceRow::Soprano);  // in every mode but FourPart, where it is asked

// The C interface counts the detected lead as voice 0 and the add-on's voices from 1, and mixes in that
// order.
inline constexpr int32_t kMixRows = 1 + kVoiceCount;
inline constexpr int32_t kHostLead = 0;
constexpr bool IsHostVoice(int32_t number) { return number >= 1 && number <= kVoiceCount; }
constexpr int32_t AddOnVoice(int32_t hostVoice) { return hostVoice - 1; }

}  // namespace mlh
