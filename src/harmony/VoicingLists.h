// Lists, for every note of a melody, the four-voice settings that it could have.
//
// Idea: each chord of the note's function that holds the lead pitch is laid out in every choice of three
// pitches from the range around the lead, nearly in order from low to high. Every setting is judged on its
// own by rule set 0 (VoicingRules.h) and by the weight of its chord; what is worth nothing is left out. Notes
// with the same pitch and function share one list, built once and copied.
//
// In:   pitches and functions, and how the voices are laid out (VoicingLayout).
// Out:  a list per note, never empty: a note without a setting has one candidate "No Chord", the lead alone.
//       Each candidate also says how far back the harmonised note before it is.
// Cost: linear in the notes; per list at worst the cube of the pitches in range for each chord, three to
//       nine of them in two octaves.
#pragma once

#include <cstdint>
#include <vector>

#include "harmony/ChordModel.h"
#include "harmony/MelodyRecord.h"
#include "harmony/VoicingCandidate.h"

namespace mlh::ChoiralizerV2 {

class CChordsInFunctions;
class CVoicingRules;

// Where the voices may go, and who judges them. The objects are borrowed for the call.
struct VoicingLayout {
    int32_t key;         // pitch class of the tonic
    int32_t leadVoice;   // row of the melody, 0 to 3
    int32_t rangeBelow;  // semitones below and above the lead that the other voices may take
    int32_t rangeAbove;
    const CChordsInFunctions& chordsInFunctions;
    const CVoicingRules& verticalRules;    // rule set 0
    const CVoicingRules& transitionRules;  // rule set 1; here only its key and scale are read
};

// The lists of a melody, one function per note.
std::vector<CandidateList> BuildVoicingLists(const MelodyRecord& melody,
                                             const std::vector<int32_t>& noteFunction,
                                             const VoicingLayout& layout);

// What a setting of a given chord takes over from the note's record.
struct NoteContext {
    int32_t pitch;     // the lead
    int32_t function;  // harmonic function
    int32_t gap;       // how many notes back the previous harmonised note is
};

// The settings of one given chord, whose tones are counted from its root. Those worth nothing are left out,
// unless all are: then the last of them is there alone. Empty if the chord has no setting at all.
CandidateList BuildListOfChord(const ChordInfo& chord, const NoteContext& note, const VoicingLayout& layout);

// Whether a list says that its note has no chord.
bool IsNoChord(const CandidateList& list);

}  // namespace mlh::ChoiralizerV2
