// Chord sheets, label files, chord symbols and keys, as anyone may type them.
#include <cmath>
#include <cstdint>
#include <string>

#include "choir/Errors.h"
#include "choir/chords/ChordText.h"
#include "choir/score/Melody.h"
#include "fuzz/Bytes.h"

namespace mlh::choir {

namespace {

void Check(const Chord& chord) {
    Require(chord.root >= -1 && chord.root < 12 && chord.bass >= -1 && chord.bass < 12);
    Require((chord.root < 0) == chord.intervals.empty());
    if (chord.root >= 0) TonesOf(CodesOf(ReduceChord(chord.intervals)));
}

template <class Read>
void OrComplain(Read read) {
    try {
        read();
    } catch (const UsageError& error) {
        Require(error.what()[0] != '\0');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    const uint8_t kind = bytes.Byte();
    const double bpm = kind & 8 ? static_cast<double>(bytes.Real(200.0f)) : 120.0;
    const int beats = kind & 16 ? bytes.Integer() : 4;
    const std::string text = bytes.Text();
    OrComplain([&] {
        double before = -HUGE_VAL;
        for (const TimedChord& chord : ParseChordSheet(text, "sheet", bpm, beats)) {
            Check(chord.chord);
            Require(chord.time >= before);
            before = chord.time;
        }
    });
    OrComplain([&] { Check(ParseChordSymbol(text)); });
    OrComplain([&] {
        const int key = ParseKey(text);
        Require(key >= 0 && key < 24);
    });
    if (const auto key = ReadKeyAndScale(text)) {
        Require(!ScaleKeyName(*key).empty());
    }
    return 0;
}

}  // namespace mlh::choir
