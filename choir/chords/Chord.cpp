#include "choir/chords/Chord.h"

#include <algorithm>
#include <iterator>

#include "choir/chords/ChordDegrees.h"
#include "theory/ChordTypes.h"
#include "theory/Keys.h"

namespace mlh::choir {

namespace {

using theory::ChordType;
using theory::PitchClass;

bool Has(const std::vector<int>& intervals, int interval) {
    return std::find(intervals.begin(), intervals.end(), interval) != intervals.end();
}

std::vector<int> IntervalsOf(const ChordType& type) {
    std::vector<int> intervals;
    for (int i = 0; i < type.count; ++i) {
        intervals.push_back(type.tones[i].semitones);
    }
    return intervals;
}

// What is written for a tone that a row lacks; null where that would be another row.
const char* AddedName(int interval) {
    static constexpr const char* kNames[kHighestInterval + 1] = {
        nullptr, "addb2", "add2",  "addb3", "add3",  "add4",  "add#4", nullptr,  "addb6", "add6",   nullptr,
        nullptr, nullptr, "addb9", "add9",  "add#9", nullptr, "add11", "add#11", nullptr, "addb13", "add13"};
    return kNames[interval];
}

// How a row differs from some tones, in words; nothing where that cannot be said, or not in a few.
constexpr std::size_t kMostChanges = 3;
std::vector<std::string> ChangesFrom(const std::vector<int>& row, const std::vector<int>& intervals,
                                     bool& possible) {
    std::vector<std::string> changes;
    possible = false;
    // What is left out goes first, so that nothing that is added is taken for it.
    for (int interval : row) {
        if (Has(intervals, interval)) {
            continue;
        }
        const bool fifth = interval == 7 && row.size() > 2;
        if (!fifth && interval != 3 && interval != 4) {
            return {};
        }
        changes.push_back(fifth ? "no5" : "no3");
    }
    for (int interval : intervals) {
        if (Has(row, interval)) {
            continue;
        }
        const char* const name = AddedName(interval);
        if (name == nullptr) {
            return {};
        }
        changes.push_back(name);
    }
    possible = changes.size() <= kMostChanges;
    return changes;
}

std::string Listed(const std::vector<int>& intervals) {
    std::string list = Has(intervals, 0) ? "" : "*1";
    for (int interval : intervals) {
        list += (list.empty() ? "" : ",") + DegreeName(interval);
    }
    return ":(" + list + ")";
}

}  // namespace

std::uint16_t PitchClassesOf(const Chord& chord) {
    if (chord.root < 0) {
        return 0;
    }
    unsigned classes = chord.bass < 0 ? 0u : 1u << chord.bass;
    for (int interval : chord.intervals) {
        classes |= 1u << PitchClass(chord.root + interval);
    }
    return static_cast<std::uint16_t>(classes);
}

bool SoundsLike(const Chord& a, const Chord& b) {
    const auto bass = [](const Chord& chord) { return chord.bass < 0 ? chord.root : chord.bass; };
    return a.root == b.root && a.intervals == b.intervals && bass(a) == bass(b);
}

std::vector<int> IntervalsByImportance(const std::vector<int>& intervals) {
    const auto rank = [&](int interval) {
        switch (interval) {
            case 2:
            case 5:
                return Has(intervals, 3) || Has(intervals, 4) ? 40 - interval : 0;
            case 3:
            case 4:
                return 0;
            case 10:
            case 11:
                return 1;
            case 9:  // of a diminished chord the seventh, else a sixth
                return Has(intervals, 6) && Has(intervals, 3) && !Has(intervals, 10) ? 1 : 3;
            case 0:
                return 2;
            case 6:
            case 8:
                return 4;
            case 7:
                return 100;
            default:
                return 40 - interval;
        }
    };
    std::vector<int> sorted = intervals;
    std::stable_sort(sorted.begin(), sorted.end(), [&](int a, int b) { return rank(a) < rank(b); });
    return sorted;
}

std::string ChordSuffix(const std::vector<int>& intervals) {
    for (const ChordType& type : theory::kChordTypes) {
        if (IntervalsOf(type) == intervals) {
            return type.suffix;
        }
    }
    if (intervals.size() < 2) {
        return Listed(intervals);
    }
    std::string best;
    std::size_t fewest = kMostChanges + 1;
    for (const ChordType& type : theory::kChordTypes) {
        bool possible = false;
        const std::vector<std::string> changes = ChangesFrom(IntervalsOf(type), intervals, possible);
        if (!possible || changes.size() >= fewest) {
            continue;
        }
        fewest = changes.size();
        best = std::string(type.suffix) + "(";
        for (std::size_t i = 0; i < changes.size(); ++i) {
            best += (i > 0 ? "," : "") + changes[i];
        }
        best += ")";
    }
    return fewest <= kMostChanges ? best : Listed(intervals);
}

std::string ChordName(int root, const std::vector<int>& intervals, int bass, bool flats) {
    if (root < 0) {
        return "N.C.";
    }
    std::string name = theory::NameOf(PitchClass(root), flats) + ChordSuffix(intervals);
    if (bass >= 0 && bass != root) {
        name += std::string("/") + theory::NameOf(PitchClass(bass), flats);
    }
    return name;
}

Chord RecogniseChord(const std::vector<int>& pitches, bool flats) {
    if (pitches.empty()) {
        return {"N.C.", -1, {}, -1, {}};
    }
    const int bass = PitchClass(*std::min_element(pitches.begin(), pitches.end()));
    unsigned sounding = 0;
    for (int pitch : pitches) {
        sounding |= 1u << PitchClass(pitch);
    }

    // A row fits with all its tones, or without its fifth.
    struct Fit {
        int cost = 1000000;
        int root = -1;
        std::vector<int> intervals = {};
    };
    Fit best;
    for (int row = 0; row < theory::kChordTypeRows; ++row) {
        const std::vector<int> tones = IntervalsOf(theory::kChordTypes[row]);
        for (const bool withoutFifth : {false, true}) {
            std::vector<int> kept = tones;
            if (withoutFifth && (kept.size() < 3 || std::erase(kept, 7) == 0)) {
                continue;
            }
            for (int root = 0; root < 12; ++root) {
                unsigned classes = 0;
                for (int tone : kept) {
                    classes |= 1u << PitchClass(root + tone);
                }
                if (classes != sounding) {
                    continue;
                }
                const int cost = (withoutFifth ? 10000 : 0) + (root == bass ? 0 : 1000) + row;
                if (cost < best.cost) {
                    best = {cost, root, kept};
                }
            }
        }
    }
    if (best.root < 0) {
        best.root = bass;
        for (int interval = 0; interval < 12; ++interval) {
            if ((sounding >> PitchClass(bass + interval) & 1u) != 0) {
                best.intervals.push_back(interval);
            }
        }
    }
    Chord chord;
    chord.root = best.root;
    chord.intervals = best.intervals;
    chord.bass = bass == best.root ? -1 : bass;
    chord.name = ChordName(chord.root, chord.intervals, chord.bass, flats);
    return chord;
}

}  // namespace mlh::choir
