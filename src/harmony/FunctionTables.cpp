#include "harmony/FunctionTables.h"

#include <cstddef>

#include "theory/ChordTypes.h"
#include "theory/PitchClass.h"

namespace mlh {

namespace ChoiralizerV2 {

namespace {

struct ChordRow {
    // The four tones after the value that the walk of PositionFromBass meets first in a row without a bass
    // tone.
    int32_t toneRun[5];
    int32_t bassIndex;
    float weight;
    ChordType type;
    const char* name;
};

// A chord on a root, both as pitch classes above the key: its tones by rising pitch class, a triad's padded
// by repeating the first.
constexpr ChordRow Row(int32_t root, ChordType type, int32_t bassIndex, float weight, const char* name,
                       int32_t metFirst = -1) {
    const theory::ChordType& chord = *theory::FindChordType(type);
    ChordRow row{{metFirst, 0, 0, 0, 0}, bassIndex, weight, type, name};
    int32_t* const tones = row.toneRun + 1;
    for (int32_t i = 0; i < chord.count; ++i) {
        const int32_t tone = theory::PitchClass(root + chord.tones[i].semitones);
        int32_t place = i;
        for (; place > 0 && tones[place - 1] > tone; --place) {
            tones[place] = tones[place - 1];
        }
        tones[place] = tone;
    }
    if (chord.count == 3) {
        tones[3] = tones[0];
    }
    return row;
}

// A triad whose type says which tone it stands on.
constexpr ChordRow Inversion(int32_t root, ChordType triad, ChordType type, int32_t bassIndex, float weight,
                             const char* name) {
    ChordRow row = Row(root, triad, bassIndex, weight, name);
    row.type = type;
    return row;
}

constexpr ChordRow kNoChord[] = {
    {{-1, -1, -1, -1, -1}, -1, 1e-10f, ChordUnknownTriad, "No Chord"},
};

constexpr ChordRow kMajorTonic[] = {
    Row(0, ChordMajor, 0, 1.2f, "Major: First Degree Triad"),
    Row(0, ChordDominant7, 0, 0.01f, "Major: Secondary Dominant to Subdominant"),
    Row(9, ChordMinor, 2, 0.01f, "Major: Parallel Tonic"),
    Row(9, ChordMajor, 2, 1.2f, "Major: Sixth Degree Major Triad"),
};

constexpr ChordRow kMajorSubdominant[] = {
    Row(5, ChordMajor, 1, 1.2f, "Major: Fourth Degree Triad"),
    Row(2, ChordMinor, 0, 1.2f, "Major: Second Degree Triad"),
    Row(2, ChordMinor7, 1, 1.2f, "Major: Second Degree Seventh"),
    Inversion(1, ChordMajor, ChordSixth, 1, 1.2f, "Major: Neapolitan"),
    Row(8, ChordMajor, 2, 1.2f, "Major: Flat Sixth Degree Triad"),
    Row(2, ChordDominant7, 1, 1.2f, "Major: Secondary Dominant Seventh"),
};

constexpr ChordRow kMajorDominant[] = {
    Row(7, ChordMajor, 1, 1.2f, "Major: Fifth Degree Triad"),
    Row(7, ChordDominant7, 2, 1.2f, "Major: Dominant Seventh"),
    Inversion(0, ChordMajor, ChordSixFour, 2, 1.2f, "Major: First Degree Six-Four"),
    Row(4, ChordMinor, 0, 0.45f, "Major: Third Degree Triad"),
    Row(11, ChordDiminished, 2, 1.2f, "Major: Seventh Degree Triad"),
    Row(11, ChordDiminished7, -1, 0.01f, "Seventh Degree Diminished", 2),
    Row(4, ChordDiminished7, -1, 1e-10f, "Third Degree Diminished", 11),
    Row(9, ChordDiminished7, -1, 0.01f, "Sixth Degree Diminished", 10),
};

constexpr ChordRow kMajorSixth[] = {
    Row(9, ChordMinor, 2, 1.2f, "Major: Sixth Degree Triad"),
    Row(9, ChordMajor, 2, 1.2f, "Major: Sixth Degree Major Triad"),
};

constexpr ChordRow kMinorTonic[] = {
    Row(0, ChordMinor, 0, 1.2f, "Minor: First Degree Triad"),
    Row(0, ChordDominant7, 0, 0.45f, "Minor: Secondary Dominant to Subdominant"),
    Row(0, ChordMajor, 0, 0.5f, "Minor: First Degree Major Triad"),
    Row(3, ChordMajor, 0, 0.5f, "Minor: Third Degree Triad"),
    Row(8, ChordMinor, 1, 1.2f, "Minor: Sixth Degree Minor Triad"),
};

constexpr ChordRow kMinorSubdominant[] = {
    Row(5, ChordMinor, 1, 1.2f, "Minor: Fourth Degree Triad"),
    Row(5, ChordMajor, 1, 1.2f, "Minor: Fourth Degree Major Triad"),
    Row(2, ChordDiminished, 0, 1.2f, "Minor: Second Degree Triad"),
    Row(2, ChordMinor, 0, 1.2f, "Minor: Second Degree Triad sharp Fifth"),
    Row(2, ChordHalfDiminished7, 0, 1.2f, "Minor: Second Degree Seventh"),
    Inversion(1, ChordMajor, ChordSixth, 1, 1.2f, "Minor: Neapolitan"),
    Row(2, ChordDominant7, 1, 1.2f, "Minor: Secondary Dominant Seventh"),
};

constexpr ChordRow kMinorDominant[] = {
    Row(7, ChordMinor, 1, 1.2f, "Minor: Fifth Degree Triad"),
    Row(7, ChordMajor, 1, 1.2f, "Minor: Fifth Degree Major Triad"),
    Row(7, ChordDominant7, 2, 1.2f, "Minor: Dominant Seventh"),
    Inversion(0, ChordMinor, ChordSixFour, 2, 1.2f, "Minor: First Degree Six-Four"),
    Row(3, ChordMajor, 0, 0.45f, "Minor: Third Degree Triad"),
    Row(11, ChordDiminished, 2, 1.2f, "Minor: Seventh Degree Triad"),
    Row(11, ChordDiminished7, -1, 0.01f, "Seventh Degree Diminished", 2),
    Row(4, ChordDiminished7, -1, 1e-10f, "Third Degree Diminished", 11),
    Row(9, ChordDiminished7, -1, 0.01f, "Sixth Degree Diminished", 10),
};

constexpr ChordRow kMinorSixth[] = {
    Row(8, ChordMajor, 2, 1.2f, "Minor: Sixth Degree Triad"),
    Row(8, ChordMinor, 1, 1.2f, "Minor: Sixth Degree Minor Triad"),
};

template <size_t N>
constexpr FunctionChordList MakeList(const ChordRow (&rows)[N]) {
    FunctionChordList list{};
    for (const ChordRow& row : rows) {
        list.entries[list.count++] = {row.toneRun + 1, row.bassIndex, row.weight, row.type, row.name};
    }
    return list;
}

}  // namespace

constinit const FunctionChordList FunctionChordTable[2][kFunctionCount] = {
    {MakeList(kNoChord), MakeList(kMajorTonic), MakeList(kMajorSubdominant), MakeList(kMajorDominant),
     MakeList(kMajorSixth)},
    {MakeList(kNoChord), MakeList(kMinorTonic), MakeList(kMinorSubdominant), MakeList(kMinorDominant),
     MakeList(kMinorSixth)},
};

const int32_t DegreeFunctionTable[2 * 3 * 7] = {
    3, 2, 3, 1, 3, 2, 1,  // major, lowered
    1, 3, 1, 2, 1, 2, 3,  // in the scale
    2, 3, 2, 3, 2, 1, 1,  // raised
    3, 2, 3, 1, 3, 2, 1,  // minor, lowered
    1, 3, 1, 2, 1, 2, 3,  // in the scale
    2, 3, 2, 3, 2, 1, 1,  // raised
};

}  // namespace ChoiralizerV2

}  // namespace mlh
