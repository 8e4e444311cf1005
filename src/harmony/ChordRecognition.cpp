// From pitches to chords and back: recognition, spelling, and which chords fit the scale. All are pure
// functions of their arguments and the key and scale fields.
#include <algorithm>
#include <utility>
#include <vector>

#include "classic/ChordShapes.h"
#include "harmony/ChoiralizerV2.h"
#include "theory/ChordTypes.h"
#include "theory/PitchClass.h"

namespace mlh {

namespace ChoiralizerV2 {

using theory::PitchClass;

namespace {

constexpr int32_t kScaleListCapacity = 40;
constexpr int32_t kToneListCapacity = 20;

// Semitones of the second and third note above the first; the six-four spells its fourth and sixth.
struct TriadSpelling {
    int32_t type, second, third;
};
constexpr TriadSpelling AsTriad(int32_t type, int32_t tonesOf) {
    return {type, theory::ToneOfCode(tonesOf, 1), theory::ToneOfCode(tonesOf, 2)};
}
// From the fifth up: the root and the third an octave higher.
constexpr TriadSpelling AsSixFour(int32_t type, int32_t tonesOf) {
    const int32_t fifth = theory::ToneOfCode(tonesOf, 2);
    return {type, 12 - fifth, 12 + theory::ToneOfCode(tonesOf, 1) - fifth};
}
constexpr TriadSpelling kTriadSpellings[] = {
    AsTriad(ChordMajor, ChordMajor),         AsTriad(ChordSixth, ChordMajor),
    AsTriad(ChordMinor, ChordMinor),         AsTriad(ChordDiminished, ChordDiminished),
    AsTriad(ChordAugmented, ChordAugmented), AsTriad(ChordSus4, ChordSus4),
    AsSixFour(ChordSixFour, ChordMajor),
};
struct SeventhSpelling {
    int32_t type, second, third, fourth;
};
constexpr SeventhSpelling AsSeventh(int32_t type) {
    return {type, theory::ToneOfCode(type, 1), theory::ToneOfCode(type, 2), theory::ToneOfCode(type, 3)};
}
constexpr SeventhSpelling kSeventhSpellings[] = {
    AsSeventh(ChordMajor7),          AsSeventh(ChordMinor7),      AsSeventh(ChordDominant7),
    AsSeventh(ChordHalfDiminished7), AsSeventh(ChordDiminished7), AsSeventh(ChordMinorMajor7),
    AsSeventh(ChordAugmentedMajor7),
};

using NoteStack = std::vector<int64_t>;

// The pitches that count: entries of -1 shorten the list from its end, of equal ones the first stays.
NoteStack DistinctNotes(const int32_t pitches[4]) {
    const auto used = 4 - std::count(pitches, pitches + 4, -1);
    NoteStack stack;
    for (const int32_t* pitch = pitches; pitch != pitches + used; ++pitch) {
        if (std::find(stack.begin(), stack.end(), *pitch) == stack.end()) {
            stack.push_back(*pitch);
        }
    }
    return stack;
}

// Name of a recognised chord. Those on a minor third are named from the next octave of roots, which takes
// them out of the lower-case run of the name table and into the upper-case flats.
std::string RecognisedName(int32_t root, int32_t type, int64_t third) {
    const bool known = type != ChordUnknownTriad && type != ChordUnknownSeventh;
    return ChordName(known && third == 3 ? root + 12 : root, type, 0);
}

bool IsTriadSpelt(const ChordInfo& chord) {
    return chord.triadType != ChordUnknownTriad && chord.triadType != ChordNoTriad;
}

bool IsSeventhSpelt(const ChordInfo& chord) {
    return chord.seventhType != ChordUnknownSeventh && chord.seventhType != ChordNoSeventh;
}

// Semitones above a base, for any base a host may give.
int32_t Above(int32_t base, int32_t semitones) { return static_cast<int32_t>(int64_t{base} + semitones); }

// Rotates the first `count` pitches by the inversion and lifts them all an octave.
void Invert(int32_t* pitches, int32_t count, int32_t inversion) {
    if (inversion <= 0) {
        return;
    }
    std::rotate(pitches, pitches + inversion % count, pitches + count);
    for (int32_t k = 0; k < count; ++k) {
        pitches[k] = Above(pitches[k], 12);
    }
}

}  // namespace

int32_t CChoiralizerV2::ChordFromPitches(ChordInfo* out, int32_t pitches[4]) {
    if (out == nullptr || pitches == nullptr) {
        return kBadArgument;
    }
    NoteStack stack = DistinctNotes(pitches);
    std::sort(stack.begin(), stack.end());
    if (stack.size() >= 3) {
        const bool triad = stack.size() == 3;
        const int64_t lowest = stack[0];
        ChoiralizerClassic::StackInThirds(stack.data(), static_cast<int32_t>(stack.size()));
        const auto place =
            std::find_if(stack.begin(), stack.end(), [&](int64_t note) { return note % 12 == lowest; });

        out->root = PitchClass(stack[0]);
        out->triadType = triad ? ChoiralizerClassic::TriadTypeOf(stack.data()) : int32_t{ChordNoTriad};
        out->seventhType = triad ? int32_t{ChordNoSeventh}
                                 : ChoiralizerClassic::SeventhTypeOf(stack.data()) + kAboveClassicSeventh;
        out->inversion = static_cast<int32_t>(place - stack.begin());
        const int32_t type = triad ? out->triadType : out->seventhType;
        out->name = type == ChordNoTriad ? "" : RecognisedName(out->root, type, stack[1] - stack[0]);
    } else {
        *out = {0, ChordNoTriad, ChordNoSeventh, 0, ""};
    }
    std::transform(stack.begin(), stack.end(), pitches,
                   [](int64_t note) { return static_cast<int32_t>(note); });
    return 0;
}

int32_t CChoiralizerV2::GetChordPitches(ChordInfo chord, int32_t pitches[4]) {
    if (pitches == nullptr) {
        return kBadArgument;
    }
    std::fill_n(pitches, 4, -1);
    if (!IsTriadSpelt(chord) && !IsSeventhSpelt(chord)) {
        return 0;
    }
    pitches[0] = Above(chord.root, 60);
    if (IsTriadSpelt(chord)) {
        for (const TriadSpelling& spelling : kTriadSpellings) {
            if (spelling.type == chord.triadType) {
                pitches[1] = Above(pitches[0], spelling.second);
                pitches[2] = Above(pitches[0], spelling.third);
            }
        }
        Invert(pitches, 3, chord.inversion);
    }
    if (IsSeventhSpelt(chord)) {
        // The base is what the triad, if there was one, left in front.
        for (const SeventhSpelling& spelling : kSeventhSpellings) {
            if (spelling.type == chord.seventhType) {
                pitches[1] = Above(pitches[0], spelling.second);
                pitches[2] = Above(pitches[0], spelling.third);
                pitches[3] = Above(pitches[0], spelling.fourth);
            }
        }
        Invert(pitches, 4, chord.inversion);
    }
    return 0;
}

bool CChoiralizerV2::IsInInputScale(int32_t pitch) {
    return IsScaleTone(pitch, inputKey, ScaleRow(inputScale));
}

bool CChoiralizerV2::IsInOutputScale(int32_t pitch) {
    return IsScaleTone(pitch, outputKey, ScaleRow(outputScale));
}

// The single answers are joined by "or" from a start of true; callers count on a chord never being refused
// here.
bool CChoiralizerV2::ChordInInputScale(ChordInfo) { return true; }

bool CChoiralizerV2::ChordInOutputScale(ChordInfo chord) {
    int32_t pitches[4];
    GetChordPitches(std::move(chord), pitches);
    for (int32_t k = 0; k < 4; ++k) {
        if (pitches[k] < 0) {
            return k >= 3;
        }
        if (!IsInOutputScale(pitches[k])) {
            return false;
        }
    }
    return true;
}

bool CChoiralizerV2::ChordContainsPitch(int32_t pitch, ChordInfo chord) {
    int32_t pitches[4];
    GetChordPitches(std::move(chord), pitches);
    for (int32_t k = 0; k < 4 && pitches[k] >= 0; ++k) {
        if ((int64_t{pitches[k]} - pitch) % 12 == 0) {
            return true;
        }
    }
    return false;
}

int32_t CChoiralizerV2::ListChordsInScale(ChordInfo* out) {
    if (out == nullptr) {
        return 0;
    }
    int32_t count = 0;
    const auto keep = [&](int32_t root, int32_t triadType, int32_t seventhType) {
        ChordInfo chord{root, triadType, seventhType, 0, ""};
        if (count < kScaleListCapacity - 1 && ChordInOutputScale(chord)) {
            out[count++] = std::move(chord);
        }
    };
    for (int32_t step = 0; step < 12; ++step) {
        const int32_t root = PitchClass(int64_t{outputKey} + step);
        if (!IsInOutputScale(root)) {
            continue;
        }
        for (int32_t triad = ChordMajor; triad <= ChordAugmented; ++triad) {
            keep(root, triad, ChordNoSeventh);
        }
        for (int32_t seventh = ChordMajor7; seventh <= ChordMinorMajor7; ++seventh) {
            keep(root, ChordNoTriad, seventh);
        }
    }
    out[count] = ChordInfo{};
    return count;
}

int32_t CChoiralizerV2::ListChordsWithTones(int32_t start, ChordInfo* out) {
    if (out == nullptr) {
        return 0;
    }
    int32_t count = 0;
    const auto keep = [&](int32_t root, int32_t triadType, int32_t seventhType) {
        ChordInfo chord{root, triadType, seventhType, 0, ""};
        if (count < kToneListCapacity - 1 && ChordInOutputScale(chord) && ChordContainsPitch(start, chord)) {
            out[count++] = std::move(chord);
        }
    };
    for (int32_t step = 0; step < 12; ++step) {
        const int32_t root = PitchClass(int64_t{start} + step);
        for (int32_t triad = ChordMajor; triad <= ChordSixFour; ++triad) {
            keep(root, triad, ChordNoSeventh);
        }
        for (int32_t seventh = 0; seventh <= ChordAugmentedMajor7; ++seventh) {
            keep(root, ChordNoTriad, seventh);
        }
    }
    out[count] = ChordInfo{};
    return count;
}

}  // namespace ChoiralizerV2

}  // namespace mlh
