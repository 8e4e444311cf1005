// From pitches to chords and back: recognition, spelling, and which chords fit a scale.
//
// Idea: pitches are stacked in thirds above one of them, their root; the intervals of the stack name the
// chord. Spelling goes the other way, from a chord's root and type upward from middle C's octave. All are
// pure functions of what they are given.
//
// In:   pitches of any value; chords with any codes, those without a spelling having none.
// Out:  chords, pitches, answers.
// Cost: constant.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "harmony/ChordModel.h"
#include "harmony/MelodyRecord.h"

namespace mlh::ChoiralizerV2 {

// How many chords the lists below can have.
inline constexpr size_t kScaleListLength = 39;
inline constexpr size_t kToneListLength = 19;

// The chord of up to four pitches, unused ones -1 and last. Fewer than three different pitches are no chord,
// with root 0. The different pitches come back first, in rising order and, from three on, stacked in thirds
// by octaves; the rest of the four is left as it is.
ChordInfo RecogniseChord(int32_t pitches[4]);

// The chord's pitches from its root in the octave of middle C; -1 in unused places.
std::array<int32_t, 4> SpellChord(const ChordInfo& chord);

// Whether all pitches of the chord's spelling are in the scale. A spelling of fewer than three is not.
bool IsChordInScale(const ChordInfo& chord, const Tonality& tonality);

// Whether the chord's spelling has the pitch in some octave.
bool IsChordTone(int32_t pitch, const ChordInfo& chord);

// The triads and seventh chords of a scale, root by root from the tonic up.
std::vector<ChordInfo> ListChordsOfScale(const Tonality& tonality);

// The chords of a scale, of every type, that hold a pitch, root by root from that pitch up.
std::vector<ChordInfo> ListChordsOfPitch(int32_t pitch, const Tonality& tonality);

}  // namespace mlh::ChoiralizerV2
