#include "harmony/ClassicNumbering.h"

#include "classic/Choiralizer.h"

namespace mlh::ChoiralizerV2 {

using ChoiralizerClassic::ClassicChord;

namespace {

constexpr int32_t kAboveClassicSeventh = 3;

// Whatever number a host passes, arithmetic on it wraps.
int32_t Wrapped(int64_t value) { return static_cast<int32_t>(value); }

}  // namespace

ClassicChord ToClassic(const ChordInfo& chord) {
    const int32_t seventh = chord.seventhType;
    const bool fourNotes =
        (seventh >= ChordMajor7 && seventh <= ChordMinorMajor7) || seventh >= ChordAugmentedMajor7;
    return {chord.root, fourNotes ? 4 : 3,
            chord.triadType <= ChordSus4 ? chord.triadType : int32_t{ChoiralizerClassic::TriadOther},
            seventh < ChordAugmentedMajor7 ? Wrapped(int64_t{seventh} - kAboveClassicSeventh)
                                           : int32_t{ChoiralizerClassic::SeventhOther}};
}

ChordInfo FromClassic(const ClassicChord& chord) {
    const bool triad = chord.seventhType == ChoiralizerClassic::SeventhNone;
    ChordInfo record;
    record.root = chord.root;
    record.triadType = triad ? chord.triadType : int32_t{ChordNoTriad};
    record.seventhType =
        triad ? int32_t{ChordNoSeventh} : Wrapped(int64_t{chord.seventhType} + kAboveClassicSeventh);
    record.name = ChordName(chord.root, triad ? chord.triadType : chord.seventhType, 0);
    return record;
}

}  // namespace mlh::ChoiralizerV2
