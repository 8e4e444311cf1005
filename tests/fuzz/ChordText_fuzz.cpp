// Chord sheets, label files, chord symbols and keys, as anyone may type them.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "choir/Errors.h"
#include "choir/chords/ChordText.h"
#include "choir/chords/CoreTones.h"
#include "choir/chords/HarmonyElement.h"
#include "choir/score/Melody.h"
#include "fuzz/Bytes.h"

namespace mlh::choir {

namespace {

void Check(const Chord& chord) {
    Require(chord.root >= -1 && chord.root < 12 && chord.bass >= -1 && chord.bass < 12);
    Require((chord.root < 0) == chord.intervals.empty());
    if (chord.root < 0) {
        return;
    }
    TonesOf(CodesOf(ReduceChord(chord.intervals)));
    int before = -1;
    for (const int interval : chord.intervals) {
        Require(interval > before && interval <= 21);
        before = interval;
    }
    Require(IntervalsByImportance(chord.intervals).size() == chord.intervals.size());
    Require(SoundsLike(ReadChordSymbol(chord.name).chord, chord));
}

template <class Read>
void OrComplain(Read read) {
    try {
        read();
    } catch (const ChordTextError& error) {
        Require(error.line > 0 && error.column > 0);
        Require(error.what()[0] != '\0');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    const uint8_t kind = bytes.Byte();
    const double bpm = kind & 8 ? static_cast<double>(bytes.Real(200.0f)) : 120.0;
    const int beats = kind & 16 ? bytes.Integer() : 4;
    const int key = kind & 128 ? kind % 24 : -1;
    const std::string text = bytes.Text();
    OrComplain([&] {
        double before = -HUGE_VAL;
        for (const TimedChord& chord : ReadChordSheet(text, "sheet", {bpm, beats, key}).chords) {
            Check(chord.chord);
            Require(chord.time >= before);
            before = chord.time;
        }
    });
    OrComplain([&] { Check(ReadChordSymbol(text, key).chord); });
    const int named = ReadKey(text);
    Require(named >= -1 && named < 24);
    OrComplain([&] {
        HarmonyElement element;
        element.rootStep = static_cast<char>('A' + kind % 8);
        element.kind = kind & 32 ? "other" : text;
        element.kindText = text;
        if (kind & 64) {
            element.degrees.push_back({bytes.Integer(), bytes.Integer(), HarmonyDegree::Change::Alter});
        }
        Check(ReadHarmonyElement(element));
    });
    std::vector<int> pitches;
    for (const char c : text.substr(0, 24)) {
        pitches.push_back(static_cast<unsigned char>(c) % 128);
    }
    const Chord sounding = RecogniseChord(pitches, (kind & 1) != 0);
    Check(sounding);
    Require(pitches.empty() || PitchClassesOf(sounding) == PitchClassesOf({"", 0, pitches, -1, ""}));
    if (const auto key = ReadKeyAndScale(text)) {
        Require(!ScaleKeyName(*key).empty());
    }
    return 0;
}

}  // namespace mlh::choir
