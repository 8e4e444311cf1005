#include "harmony/ChordRecognition.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "classic/Choiralizer.h"
#include "classic/ChordShapes.h"
#include "harmony/ClassicNumbering.h"
#include "theory/ChordTypes.h"
#include "theory/PitchClass.h"

namespace mlh::ChoiralizerV2 {

using theory::PitchClass;

namespace {

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

// What three or four notes stacked in thirds are, inversion and name left open.
ChordInfo ChordOfStack(const NoteStack& stack) {
    const bool triad = stack.size() == 3;
    return FromClassic(
        {PitchClass(stack[0]), static_cast<int32_t>(stack.size()),
         triad ? ChoiralizerClassic::TriadTypeOf(stack.data()) : int32_t{ChoiralizerClassic::TriadNone},
         triad ? int32_t{ChoiralizerClassic::SeventhNone} : ChoiralizerClassic::SeventhTypeOf(stack.data())});
}

// Name of a recognised chord. Those on a minor third are named from the next octave of roots, which takes
// them out of the lower-case run of the name table and into the upper-case flats.
std::string RecognisedName(const ChordInfo& chord, int64_t third) {
    const int32_t type = chord.triadType == ChordNoTriad ? chord.seventhType : chord.triadType;
    if (type == ChordNoSeventh) {
        return "";
    }
    const bool known = type != ChordUnknownTriad && type != ChordUnknownSeventh;
    return ChordName(known && third == 3 ? chord.root + 12 : chord.root, type, 0);
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

// Collects chords that fit a scale, up to a limit.
class ChordList {
  public:
    ChordList(const Tonality& tonality, size_t limit) : tonality_(tonality), limit_(limit) {}

    void AddTriad(int32_t root, int32_t type) { Add({root, type, ChordNoSeventh, 0, ""}); }
    void AddSeventh(int32_t root, int32_t type) { Add({root, ChordNoTriad, type, 0, ""}); }
    // From now on only chords that hold the pitch.
    void Require(int32_t pitch) {
        isPitchRequired_ = true;
        pitch_ = pitch;
    }
    std::vector<ChordInfo> Take() { return std::move(chords_); }

  private:
    void Add(ChordInfo chord) {
        if (chords_.size() < limit_ && IsChordInScale(chord, tonality_) &&
            (!isPitchRequired_ || IsChordTone(pitch_, chord))) {
            chords_.push_back(std::move(chord));
        }
    }

    Tonality tonality_;
    size_t limit_;
    bool isPitchRequired_ = false;
    int32_t pitch_ = 0;
    std::vector<ChordInfo> chords_;
};

}  // namespace

ChordInfo RecogniseChord(int32_t pitches[4]) {
    NoteStack stack = DistinctNotes(pitches);
    std::sort(stack.begin(), stack.end());
    ChordInfo chord{0, ChordNoTriad, ChordNoSeventh, 0, ""};
    if (stack.size() >= 3) {
        const int64_t lowest = stack[0];
        ChoiralizerClassic::StackInThirds(stack.data(), static_cast<int32_t>(stack.size()));
        const auto place =
            std::find_if(stack.begin(), stack.end(), [&](int64_t note) { return note % 12 == lowest; });
        chord = ChordOfStack(stack);
        chord.inversion = static_cast<int32_t>(place - stack.begin());
        chord.name = RecognisedName(chord, stack[1] - stack[0]);
    }
    std::transform(stack.begin(), stack.end(), pitches,
                   [](int64_t note) { return static_cast<int32_t>(note); });
    return chord;
}

std::array<int32_t, 4> SpellChord(const ChordInfo& chord) {
    std::array<int32_t, 4> pitches = {-1, -1, -1, -1};
    if (!IsTriadSpelt(chord) && !IsSeventhSpelt(chord)) {
        return pitches;
    }
    pitches[0] = Above(chord.root, 60);
    if (IsTriadSpelt(chord)) {
        for (const TriadSpelling& spelling : kTriadSpellings) {
            if (spelling.type == chord.triadType) {
                pitches[1] = Above(pitches[0], spelling.second);
                pitches[2] = Above(pitches[0], spelling.third);
            }
        }
        Invert(pitches.data(), 3, chord.inversion);
    }
    if (IsSeventhSpelt(chord)) {
        // The base is what the triad, if there was one, left first.
        for (const SeventhSpelling& spelling : kSeventhSpellings) {
            if (spelling.type == chord.seventhType) {
                pitches[1] = Above(pitches[0], spelling.second);
                pitches[2] = Above(pitches[0], spelling.third);
                pitches[3] = Above(pitches[0], spelling.fourth);
            }
        }
        Invert(pitches.data(), 4, chord.inversion);
    }
    return pitches;
}

bool IsChordInScale(const ChordInfo& chord, const Tonality& tonality) {
    const std::array<int32_t, 4> pitches = SpellChord(chord);
    for (size_t k = 0; k < pitches.size(); ++k) {
        if (pitches[k] < 0) {
            return k >= 3;
        }
        if (!IsScaleTone(pitches[k], tonality.key, tonality.Scale())) {
            return false;
        }
    }
    return true;
}

bool IsChordTone(int32_t pitch, const ChordInfo& chord) {
    for (const int32_t tone : SpellChord(chord)) {
        if (tone < 0) {
            return false;
        }
        if ((int64_t{tone} - pitch) % 12 == 0) {
            return true;
        }
    }
    return false;
}

std::vector<ChordInfo> ListChordsOfScale(const Tonality& tonality) {
    ChordList list(tonality, kScaleListLength);
    for (int32_t step = 0; step < 12; ++step) {
        const int32_t root = PitchClass(int64_t{tonality.key} + step);
        if (!IsScaleTone(root, tonality.key, tonality.Scale())) {
            continue;
        }
        for (int32_t triad = ChordMajor; triad <= ChordAugmented; ++triad) {
            list.AddTriad(root, triad);
        }
        for (int32_t seventh = ChordMajor7; seventh <= ChordMinorMajor7; ++seventh) {
            list.AddSeventh(root, seventh);
        }
    }
    return list.Take();
}

std::vector<ChordInfo> ListChordsOfPitch(int32_t pitch, const Tonality& tonality) {
    ChordList list(tonality, kToneListLength);
    list.Require(pitch);
    for (int32_t step = 0; step < 12; ++step) {
        const int32_t root = PitchClass(int64_t{pitch} + step);
        for (int32_t triad = ChordMajor; triad <= ChordSixFour; ++triad) {
            list.AddTriad(root, triad);
        }
        // Codes of triads too, which as seventh chords spell the root alone.
        for (int32_t seventh = 0; seventh <= ChordAugmentedMajor7; ++seventh) {
            list.AddSeventh(root, seventh);
        }
    }
    return list.Take();
}

}  // namespace mlh::ChoiralizerV2
