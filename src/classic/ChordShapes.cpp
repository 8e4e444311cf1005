#include "classic/ChordShapes.h"

#include <algorithm>

#include "classic/Choiralizer.h"
#include "theory/ChordTypes.h"

namespace mlh {

namespace ChoiralizerClassic {

namespace {

// The upper notes in semitones above the lowest.
struct TriadShape {
    int32_t third, fifth;
    TriadType type;
};
constexpr TriadShape ShapeOf(TriadType type) {
    return {theory::ToneOfCode(type, 1), theory::ToneOfCode(type, 2), type};
}
constexpr TriadShape kTriadShapes[] = {
    ShapeOf(TriadMajor),
    ShapeOf(TriadMinor),
    ShapeOf(TriadDiminished),
    ShapeOf(TriadAugmented),
};

struct SeventhShape {
    int32_t third, fifth, seventh;
    SeventhType type;
};
// This engine numbers the seventh chords from the end of the triads on.
constexpr SeventhShape ShapeOf(SeventhType type) {
    const int32_t code = type - SeventhMajor + theory::kFirstSeventhCode;
    return {theory::ToneOfCode(code, 1), theory::ToneOfCode(code, 2), theory::ToneOfCode(code, 3), type};
}
constexpr SeventhShape kSeventhShapes[] = {
    ShapeOf(SeventhMajor),          ShapeOf(SeventhMinor),      ShapeOf(SeventhDominant),
    ShapeOf(SeventhHalfDiminished), ShapeOf(SeventhDiminished), ShapeOf(SeventhMinorMajor),
};

bool IsNoThird(int64_t low, int64_t high) { return high - low != 3 && high - low != 4; }

}  // namespace

void StackInThirds(int64_t* notes, int32_t count) {
    int64_t* const end = notes + count;
    std::sort(notes, end);
    for (int32_t round = 0; round < count; ++round) {
        int64_t* const gap = std::adjacent_find(notes, end, IsNoThird);
        if (gap == end) {
            return;
        }
        std::for_each(gap + 1, end, [](int64_t& note) { note -= 12; });
        std::sort(notes, end);
    }
}

int32_t TriadTypeOf(const int64_t* stack) {
    const int64_t third = stack[1] - stack[0];
    const int64_t fifth = stack[2] - stack[0];
    for (const TriadShape& shape : kTriadShapes) {
        if (shape.third == third && shape.fifth == fifth) {
            return shape.type;
        }
    }
    return fifth >= 6 && fifth <= 8 ? TriadOther : TriadNone;
}

int32_t SeventhTypeOf(const int64_t* stack) {
    const int64_t third = stack[1] - stack[0];
    const int64_t fifth = stack[2] - stack[0];
    const int64_t seventh = stack[3] - stack[0];
    for (const SeventhShape& shape : kSeventhShapes) {
        if (shape.third == third && shape.fifth == fifth && shape.seventh == seventh) {
            return shape.type;
        }
    }
    return SeventhOther;
}

}  // namespace ChoiralizerClassic

}  // namespace mlh
