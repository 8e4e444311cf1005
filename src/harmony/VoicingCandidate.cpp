#include "harmony/VoicingCandidate.h"

#include <algorithm>

namespace mlh::ChoiralizerV2 {

namespace {

constexpr char kInheritedName[] = "overtaken from previous - unknown chord";

}  // namespace

ChordInfo ChordOfSetting(const VoicingCandidate& setting, int32_t key) {
    const bool triad = setting.chordType < ChordMajor7;
    const bool unknown = setting.chordType == ChordUnknownTriad || setting.chordType == ChordUnknownSeventh;
    const int32_t bassTone = setting.tones[setting.bassIndex];
    ChordInfo chord;
    chord.root = bassTone == -1 ? -1 : static_cast<int32_t>(int64_t{bassTone} + key);
    chord.triadType = triad ? setting.chordType : int32_t{ChordNoTriad};
    chord.seventhType = triad ? int32_t{ChordNoSeventh} : setting.chordType;
    if (!unknown) {
        const int32_t lowest = *std::min_element(setting.voicing, setting.voicing + 4);
        chord.inversion = PositionFromBass(setting.tones, setting.bassIndex, PitchClassFromKey(key, lowest));
    }
    chord.name = setting.name;
    return chord;
}

VoicingCandidate InheritedSetting(const VoicingCandidate& from) {
    VoicingCandidate setting = from;
    setting.chordType = from.chordType < ChordMajor7 ? ChordUnknownTriad : ChordUnknownSeventh;
    setting.name = kInheritedName;
    return setting;
}

VoicingShape MakeShape(const int32_t* voicing, int32_t key, const int32_t* scale) {
    VoicingShape shape;
    std::copy(voicing, voicing + 4, shape.sorted.begin());
    std::sort(shape.sorted.begin(), shape.sorted.end());
    auto pair = shape.pairs.begin();
    for (size_t i = 0; i < 4; ++i) {
        for (size_t j = i + 1; j < 4; ++j) {
            *pair++ = ScaleInterval(shape.sorted[i], shape.sorted[j], key, scale);
        }
    }
    return shape;
}

}  // namespace mlh::ChoiralizerV2
