// The border to the classic engine, the one place where chords change their numbering.
//
// Both engines number triads alike up to ChordNoTriad. The classic engine knows no suspended, sixth, six-four
// and augmented major seventh chords, and numbers seventh chords three lower, so that its first one follows
// its last triad. It is also the one that recognises chords from stacked thirds, for both.
#pragma once

#include "harmony/ChordModel.h"

namespace mlh::ChoiralizerClassic {
struct ClassicChord;
}  // namespace mlh::ChoiralizerClassic

namespace mlh::ChoiralizerV2 {

// A chord as the classic engine takes it. Codes that it does not know become its "other"; codes that nobody
// knows pass in that numbering.
ChoiralizerClassic::ClassicChord ToClassic(const ChordInfo& chord);

// A chord of the classic engine as this one records it, its inversion unknown. Seventh chords are named by
// the classic code as it stands, hence like the triads and unknown chords of that number.
ChordInfo FromClassic(const ChoiralizerClassic::ClassicChord& chord);

}  // namespace mlh::ChoiralizerV2
