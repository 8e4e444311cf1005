#include "choir/chords/CoreTones.h"

#include <algorithm>

#include "theory/ChordTypes.h"

namespace mlh::choir {

namespace {

std::vector<int> IntervalsOf(const theory::ChordType& type) {
    std::vector<int> intervals;
    for (int i = 0; i < type.count; ++i) {
        intervals.push_back(type.tones[i].semitones);
    }
    return intervals;
}

ChordCodes CodesOfType(const theory::ChordType& type) {
    if (type.code < theory::kFirstSeventhCode) {
        return {type.code, theory::kNoSeventh};
    }
    return {theory::kNoTriad, type.code};
}

}  // namespace

CoreTones ReduceChord(const std::vector<int>& intervals) {
    const auto has = [&](int interval) {
        return std::find(intervals.begin(), intervals.end(), interval) != intervals.end();
    };
    const bool minor = has(3) && !has(4);
    const int fifth = has(7) ? 7 : minor && has(6) ? 6 : !minor && has(8) ? 8 : 7;
    const bool diminished = fifth == 6;
    const int seventh = has(11) ? 11 : has(10) ? 10 : diminished && has(9) ? 9 : -1;
    const bool known = fifth == 7 || (diminished && seventh != 11) || seventh < 0;
    return {minor ? 3 : 4, known ? fifth : 7, seventh};
}

ChordCodes CodesOf(const CoreTones& tones) {
    std::vector<int> intervals = {0, tones.third, tones.fifth};
    if (tones.seventh >= 0) {
        intervals.push_back(tones.seventh);
    }
    for (const theory::ChordType& type : theory::kChordTypes) {
        if (type.code != theory::kNoCode && IntervalsOf(type) == intervals) {
            return CodesOfType(type);
        }
    }
    return {};
}

std::vector<int> TonesOf(const ChordCodes& codes) {
    for (const theory::ChordType& type : theory::kChordTypes) {
        if (type.code == theory::kNoCode) {
            continue;
        }
        const ChordCodes own = CodesOfType(type);
        if (own.triad == codes.triad && own.seventh == codes.seventh) {
            return IntervalsOf(type);
        }
    }
    return {};
}

}  // namespace mlh::choir
