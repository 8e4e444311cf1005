#include "harmony/FunctionTables.h"

#include <cstddef>

namespace mlh {

namespace ChoiralizerV2 {

namespace {

struct ChordRow {
    // The four tones behind the value that the walk of PositionFromBass meets first in a row without a bass
    // tone.
    int32_t toneRun[5];
    int32_t bassIndex;
    float weight;
    ChordType type;
    const char* name;
};

constexpr ChordRow kNoChord[] = {
    {{-1, -1, -1, -1, -1}, -1, 1e-10f, ChordUnknownTriad, "No Chord"},
};

constexpr ChordRow kMajorTonic[] = {
    {{-1, 0, 4, 7, 0}, 0, 1.2f, ChordMajor, "Major: First Degree Triad"},
    {{-1, 0, 4, 7, 10}, 0, 0.01f, ChordDominant7, "Major: Secondary Dominant to Subdominant"},
    {{-1, 0, 4, 9, 0}, 2, 0.01f, ChordMinor, "Major: Parallel Tonic"},
    {{-1, 1, 4, 9, 1}, 2, 1.2f, ChordMajor, "Major: Sixth Degree Major Triad"},
};

constexpr ChordRow kMajorSubdominant[] = {
    {{-1, 0, 5, 9, 0}, 1, 1.2f, ChordMajor, "Major: Fourth Degree Triad"},
    {{-1, 2, 5, 9, 2}, 0, 1.2f, ChordMinor, "Major: Second Degree Triad"},
    {{-1, 0, 2, 5, 9}, 1, 1.2f, ChordMinor7, "Major: Second Degree Seventh"},
    {{-1, 1, 5, 8, 1}, 1, 1.2f, ChordSixth, "Major: Neapolitan"},
    {{-1, 0, 3, 8, 0}, 2, 1.2f, ChordMajor, "Major: Flat Sixth Degree Triad"},
    {{-1, 0, 2, 6, 9}, 1, 1.2f, ChordDominant7, "Major: Secondary Dominant Seventh"},
};

constexpr ChordRow kMajorDominant[] = {
    {{-1, 2, 7, 11, 2}, 1, 1.2f, ChordMajor, "Major: Fifth Degree Triad"},
    {{-1, 2, 5, 7, 11}, 2, 1.2f, ChordDominant7, "Major: Dominant Seventh"},
    {{-1, 0, 4, 7, 0}, 2, 1.2f, ChordSixFour, "Major: First Degree Six-Four"},
    {{-1, 4, 7, 11, 4}, 0, 0.45f, ChordMinor, "Major: Third Degree Triad"},
    {{-1, 2, 5, 11, 2}, 2, 1.2f, ChordDiminished, "Major: Seventh Degree Triad"},
    {{2, 2, 5, 8, 11}, -1, 0.01f, ChordDiminished7, "Seventh Degree Diminished"},
    {{11, 1, 4, 7, 10}, -1, 1e-10f, ChordDiminished7, "Third Degree Diminished"},
    {{10, 0, 3, 6, 9}, -1, 0.01f, ChordDiminished7, "Sixth Degree Diminished"},
};

constexpr ChordRow kMajorSixth[] = {
    {{-1, 0, 4, 9, 0}, 2, 1.2f, ChordMinor, "Major: Sixth Degree Triad"},
    {{-1, 1, 4, 9, 1}, 2, 1.2f, ChordMajor, "Major: Sixth Degree Major Triad"},
};

constexpr ChordRow kMinorTonic[] = {
    {{-1, 0, 3, 7, 0}, 0, 1.2f, ChordMinor, "Minor: First Degree Triad"},
    {{-1, 0, 4, 7, 10}, 0, 0.45f, ChordDominant7, "Minor: Secondary Dominant to Subdominant"},
    {{-1, 0, 4, 7, 0}, 0, 0.5f, ChordMajor, "Minor: First Degree Major Triad"},
    {{-1, 3, 7, 10, 3}, 0, 0.5f, ChordMajor, "Minor: Third Degree Triad"},
    {{-1, 3, 8, 11, 3}, 1, 1.2f, ChordMinor, "Minor: Sixth Degree Minor Triad"},
};

constexpr ChordRow kMinorSubdominant[] = {
    {{-1, 0, 5, 8, 0}, 1, 1.2f, ChordMinor, "Minor: Fourth Degree Triad"},
    {{-1, 0, 5, 9, 0}, 1, 1.2f, ChordMajor, "Minor: Fourth Degree Major Triad"},
    {{-1, 2, 5, 8, 2}, 0, 1.2f, ChordDiminished, "Minor: Second Degree Triad"},
    {{-1, 2, 5, 9, 2}, 0, 1.2f, ChordMinor, "Minor: Second Degree Triad sharp Fifth"},
    {{-1, 0, 2, 5, 8}, 0, 1.2f, ChordHalfDiminished7, "Minor: Second Degree Seventh"},
    {{-1, 1, 5, 8, 1}, 1, 1.2f, ChordSixth, "Minor: Neapolitan"},
    {{-1, 0, 2, 6, 9}, 1, 1.2f, ChordDominant7, "Minor: Secondary Dominant Seventh"},
};

constexpr ChordRow kMinorDominant[] = {
    {{-1, 2, 7, 10, 2}, 1, 1.2f, ChordMinor, "Minor: Fifth Degree Triad"},
    {{-1, 2, 7, 11, 2}, 1, 1.2f, ChordMajor, "Minor: Fifth Degree Major Triad"},
    {{-1, 2, 5, 7, 11}, 2, 1.2f, ChordDominant7, "Minor: Dominant Seventh"},
    {{-1, 0, 3, 7, 0}, 2, 1.2f, ChordSixFour, "Minor: First Degree Six-Four"},
    {{-1, 3, 7, 10, 3}, 0, 0.45f, ChordMajor, "Minor: Third Degree Triad"},
    {{-1, 2, 5, 11, 2}, 2, 1.2f, ChordDiminished, "Minor: Seventh Degree Triad"},
    {{2, 2, 5, 8, 11}, -1, 0.01f, ChordDiminished7, "Seventh Degree Diminished"},
    {{11, 1, 4, 7, 10}, -1, 1e-10f, ChordDiminished7, "Third Degree Diminished"},
    {{10, 0, 3, 6, 9}, -1, 0.01f, ChordDiminished7, "Sixth Degree Diminished"},
};

constexpr ChordRow kMinorSixth[] = {
    {{-1, 0, 3, 8, 0}, 2, 1.2f, ChordMajor, "Minor: Sixth Degree Triad"},
    {{-1, 3, 8, 11, 3}, 1, 1.2f, ChordMinor, "Minor: Sixth Degree Minor Triad"},
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
