#include "harmony/ChordModel.h"

#include <cstdlib>

#include "classic/ScaleTable.h"
#include "theory/PitchClass.h"

namespace mlh {

namespace ChoiralizerV2 {

using theory::PitchClass;

const char* const NoteNameTable[48] = {
    "C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B",  //
    "c", "c#", "d", "d#", "e", "f", "f#", "g", "g#", "a", "a#", "b",  //
    "C", "Db", "D", "Eb", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B",  //
    "c", "db", "d", "eb", "e", "f", "gb", "g", "ab", "a", "bb", "b",
};

namespace {

// How the name of a chord type is formed.
enum class Naming { kUpper, kLower, kUnknown, kNone };
struct TypeName {
    Naming naming;
    const char* suffix;
};

constexpr TypeName kTypeNames[kChordTypeCount] = {
    {Naming::kUpper, ""},       // major
    {Naming::kLower, ""},       // minor
    {Naming::kLower, " dim"},   // diminished
    {Naming::kUpper, " aug"},   // augmented
    {Naming::kUnknown, ""},     // unknown triad
    {Naming::kUnknown, ""},     // no triad
    {Naming::kNone, ""},        // suspended fourth
    {Naming::kNone, ""},        // sixth
    {Naming::kNone, ""},        // six-four
    {Naming::kUpper, " M7"},    // major seventh
    {Naming::kLower, " m7"},    // minor seventh
    {Naming::kUpper, " 7"},     // dominant seventh
    {Naming::kLower, " m7b5"},  // half-diminished seventh
    {Naming::kLower, " dim7"},  // diminished seventh
    {Naming::kLower, " mM7"},   // minor-major seventh
    {Naming::kUnknown, ""},     // unknown seventh
    {Naming::kNone, ""},        // no seventh
    {Naming::kNone, ""},        // augmented major seventh
};

constexpr const char* kUnknownName = "--";

}  // namespace

const int32_t* ScaleRow(int32_t row) { return ChoiralizerClassic::ScaleTones(row); }

bool IsScaleTone(int32_t pitch, int32_t key, const int32_t* scale) {
    return scale[PitchClass(int64_t{pitch} - key)] != 0;
}

ScaleDistance ScaleInterval(int32_t a, int32_t b, int32_t key, const int32_t* scale) {
    // 64 bits, so that no pair of pitches and key overflows.
    int64_t from = int64_t{a} - key;
    int64_t to = int64_t{b} - key;
    const int64_t distance = std::abs(from - to);
    // Raise the lower one, so that both lie within an octave and the direction stays.
    if (from < to) {
        from += 12 * (distance / 12);
    } else {
        to += 12 * (distance / 12);
    }
    const int32_t direction = from > to ? -1 : 1;
    int32_t tones = 0;
    for (int64_t x = from; x != to + direction; x += direction) {
        tones += scale[PitchClass(x)];
    }
    const int32_t quality = (scale[PitchClass(from)] == 0 ? 1 : 0) + (scale[PitchClass(to)] == 0 ? 2 : 0);
    return {(tones - 1) % 8, static_cast<int32_t>(distance / 12), direction, quality};
}

int32_t PitchClassFromKey(int32_t key, int32_t pitch) {
    return static_cast<int32_t>(std::abs(int64_t{key} - pitch) % 12);
}

bool HasTone(const int32_t* tones, int32_t pitchClass) {
    return tones[0] == pitchClass || tones[1] == pitchClass || tones[2] == pitchClass ||
           tones[3] == pitchClass;
}

int32_t PositionFromBass(const int32_t* tones, int32_t bassIndex, int32_t pitchClass) {
    int32_t i = bassIndex;
    for (int32_t k = 0; k < 4; ++k) {
        if (tones[i] == pitchClass) {
            return k;
        }
        i = (i + 1) % 4;
    }
    return 4;
}

std::string ChordName(int32_t root, int32_t typeCode, int32_t useFlats) {
    if (root < 0 || typeCode < 0) {
        return kUnknownName;
    }
    if (typeCode >= kChordTypeCount || kTypeNames[typeCode].naming == Naming::kNone) {
        return "";
    }
    const TypeName& type = kTypeNames[typeCode];
    const int64_t index = int64_t{root} + (useFlats == 1 ? 24 : 0) + (type.naming == Naming::kLower ? 12 : 0);
    if (type.naming == Naming::kUnknown || index > 47) {
        return kUnknownName;
    }
    return std::string(NoteNameTable[index]) + type.suffix;
}

}  // namespace ChoiralizerV2

}  // namespace mlh
