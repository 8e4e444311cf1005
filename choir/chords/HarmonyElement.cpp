#include "choir/chords/HarmonyElement.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "choir/chords/ChordDegrees.h"
#include "theory/ChordTypes.h"
#include "theory/Keys.h"

namespace mlh::choir {

namespace {

constexpr int kMostAccidentals = 3;

[[noreturn]] void Refuse(const std::string& why) {
    throw ChordTextError(why, ChordTextFault::Unreadable, 1, 1);
}

std::string NoteText(char step, int alter) {
    if (theory::StepOfLetter(step) < 0 || step == '\0' || std::abs(alter) > kMostAccidentals) {
        Refuse("a chord's root and bass are steps A to G, altered by three semitones at most");
    }
    return step + std::string(static_cast<std::size_t>(std::abs(alter)), alter < 0 ? 'b' : '#');
}

int PitchClassOf(char step, int alter) {
    return theory::PitchClass(theory::PitchClassOfStep(theory::StepOfLetter(step)) + alter);
}

// Added degrees are counted from a dominant chord, whose seventh is minor.
int DominantInterval(int degree) { return NaturalInterval(degree) - (degree == 7 ? 1 : 0); }

// The chord's tone on a degree; -1 for none.
int ToneOn(const std::vector<int>& intervals, int degree) {
    const int natural = NaturalInterval(degree);
    for (int interval : {natural, natural - 1, natural + 1, natural - 2}) {
        if (std::find(intervals.begin(), intervals.end(), interval) != intervals.end()) {
            return interval;
        }
    }
    return -1;
}

void Apply(const HarmonyDegree& degree, std::vector<int>& intervals) {
    if (degree.value < 1 || degree.value > kHighestDegree || std::abs(degree.alter) > kMostAccidentals) {
        Refuse("a degree of a chord is 1 to 13, altered by three semitones at most");
    }
    const int present = ToneOn(intervals, degree.value);
    if (degree.change != HarmonyDegree::Change::Add && present >= 0) {
        std::erase(intervals, present);
    }
    if (degree.change == HarmonyDegree::Change::Subtract) {
        return;
    }
    const bool altered = degree.change == HarmonyDegree::Change::Alter && present >= 0;
    const int interval = (altered ? present : DominantInterval(degree.value)) + degree.alter;
    if (interval < 0 || interval > kHighestInterval) {
        Refuse("a degree of a chord is 1 to 13");
    }
    if (std::find(intervals.begin(), intervals.end(), interval) == intervals.end()) {
        intervals.push_back(interval);
    }
}

}  // namespace

Chord ReadHarmonyElement(const HarmonyElement& element) {
    Chord chord;
    chord.name = "N.C.";
    if (element.kind == "none") {
        return chord;
    }

    const std::string root = NoteText(element.rootStep, element.rootAlter);
    chord.root = PitchClassOf(element.rootStep, element.rootAlter);
    if (element.kind == "other") {
        if (element.degrees.empty()) {
            chord.intervals = ReadChordSymbol(root + element.kindText).chord.intervals;
        } else {
            chord.intervals = {0};
        }
    } else if (element.kind == "pedal") {
        chord.intervals = {0};
    } else if (element.kind == "Tristan") {
        chord.intervals = {0, 6, 10, 15};
    } else {
        const auto* const row = std::find_if(std::begin(theory::kChordTypes), std::end(theory::kChordTypes),
                                             [&](const theory::ChordType& type) {
                                                 return !element.kind.empty() && element.kind == type.kind;
                                             });
        if (row == std::end(theory::kChordTypes)) {
            Refuse("cannot read the chord kind '" + element.kind.substr(0, 40) +
                   "'; write the chord with one of the kinds of triads and sevenths, like dominant");
        }
        for (int i = 0; i < row->count; ++i) {
            chord.intervals.push_back(row->tones[i].semitones);
        }
    }
    for (const HarmonyDegree& degree : element.degrees) {
        Apply(degree, chord.intervals);
    }
    if (chord.intervals.empty()) {
        Refuse("there is no tone left in the chord");
    }
    std::sort(chord.intervals.begin(), chord.intervals.end());
    chord.name = root + ChordSuffix(chord.intervals);
    if (element.bassStep != '\0') {
        const std::string bass = NoteText(element.bassStep, element.bassAlter);
        const int pitchClass = PitchClassOf(element.bassStep, element.bassAlter);
        if (pitchClass != chord.root) {
            chord.bass = pitchClass;
            chord.name += "/" + bass;
        }
    }
    return chord;
}

const char* HarmonyKindOf(const std::vector<int>& intervals) {
    for (const theory::ChordType& type : theory::kChordTypes) {
        const bool same = std::equal(
            intervals.begin(), intervals.end(), type.tones, type.tones + type.count,
            [](int interval, const theory::ChordTone& tone) { return interval == tone.semitones; });
        if (same && *type.kind != '\0') {
            return type.kind;
        }
    }
    return "other";
}

}  // namespace mlh::choir
