#include "harmony/CadenceRules.h"

#include <algorithm>
#include <initializer_list>

#include "base/StandardLibrary.h"
#include "classic/ScaleTable.h"
#include "harmony/FunctionTables.h"

namespace mlh {

namespace ChoiralizerV2 {

namespace {

constexpr int32_t kLeave = -1;     // no rule speaks
constexpr int32_t kNoDegree = -1;  // of a note that does not exist: equals no degree
constexpr int32_t kMajorRow = ChoiralizerClassic::ScaleMajor;
constexpr int32_t kNaturalMinorRow = ChoiralizerClassic::ScaleMinor;
constexpr int32_t kHarmonicMinorRow = ChoiralizerClassic::ScaleHarmonicMinor;

constexpr int32_t T = FunctionTonic;
constexpr int32_t S = FunctionSubdominant;
constexpr int32_t D = FunctionDominant;

// The end of one phrase as the rules see it.
struct Cadence {
    int32_t degree;
    int32_t alteration;
    int32_t previous;  // degrees of the notes before and after the end
    int32_t previousAlteration;
    int32_t secondBack;
    int32_t secondBackAlteration;
    int32_t thirdBack;
    int32_t next;
    int32_t approach;  // the last other degree before the end
    int32_t anchor;    // degree of the last long note before the end
    int32_t scale;
    bool last;                    // the melody ends here
    int32_t* function;            // function[-1], [0] and, unless last, [1] around the end
    int32_t previousEndFunction;  // of the end of the phrase before
};

bool IsOneOf(int32_t degree, std::initializer_list<int32_t> degrees) {
    return std::find(degrees.begin(), degrees.end(), degree) != degrees.end();
}

// Each decision returns the function of the end note, or kLeave.

int32_t DecideOnTonic(const Cadence& c) {
    if (c.alteration != 0) {
        return D;
    }
    if (c.previous == 0 || c.anchor == 0 || IsOneOf(c.previous, {2, 3, 4, 5})) {
        return T;
    }
    if (c.previous == 1) {
        if (!c.last && c.previousAlteration == -1) {
            return D;
        }
        c.function[-1] = D;
        return T;
    }
    if (c.previous == 6) {
        const bool plain =
            (c.scale == kMajorRow || c.scale == kHarmonicMinorRow) && c.previousAlteration == 0;
        const bool natural =
            c.scale == kNaturalMinorRow && (c.previousAlteration == 0 || c.previousAlteration == 1);
        if (plain || natural) {
            c.function[-1] = D;
            return T;
        }
        if (c.scale == kMajorRow) {
            return c.previousAlteration == -1 ? S : T;
        }
        if (c.scale == kNaturalMinorRow) {
            return D;  // over the lowered leading note
        }
    }
    return kLeave;
}

int32_t DecideOnSecond(const Cadence& c) {
    if (c.alteration != 0) {
        return c.alteration == -1 ? S : D;
    }
    switch (c.previous) {
        case 0:
            if (c.previousAlteration == 0) {
                return IsOneOf(c.secondBack, {2, 6}) || c.last ? D : S;
            }
            return c.previousAlteration == 1 ? S : D;
        case 1:
            return c.next == 4 ? S : D;
        case 2:
        case 3:
        case 4:
        case 6:
            return D;
        case 5:
            return S;
        default:
            return kLeave;
    }
}

int32_t DecideOnThird(const Cadence& c) {
    if (c.alteration != 0) {
        const int32_t tonicAlteration = c.scale == kMajorRow ? -1 : 1;
        return c.alteration == tonicAlteration ? T : D;
    }
    if (c.previous >= 0 && c.previous <= 5) {
        return T;
    }
    if (c.previous == 6) {
        return c.scale != kMajorRow ? D : T;
    }
    return c.last || c.next == 0 ? T : kLeave;
}

int32_t DecideOnFourth(const Cadence& c) {
    if (c.alteration != 0) {
        return c.alteration == 1 ? S : D;
    }
    if (c.scale != kMajorRow && c.next == 2) {
        return D;
    }
    if (c.approach == 0) {
        return S;
    }
    switch (c.previous) {
        case 1:
        case 6:
            return D;
        case 2:
        case 5:
            return S;
        case 3:
            return c.approach == 4 ? D : S;
        case 4:
            return c.last || c.next == 2 ? D : S;
        default:
            return kLeave;
    }
}

// Dominant at the end, reached over the subdominant.
int32_t HalfCadence(const Cadence& c) {
    c.function[-1] = S;
    return D;
}

int32_t DecideOnFifthAfterThird(const Cadence& c) {
    const bool tonic = c.secondBack == 0 || (c.secondBack == 1 && c.thirdBack == 0) || c.secondBack == 3;
    return tonic ? T : D;
}

int32_t DecideOnFifthAfterFourth(const Cadence& c) {
    if (c.previousAlteration == 1) {
        return HalfCadence(c);
    }
    if (c.previousAlteration != 0 || c.last) {
        return D;
    }
    if (c.secondBack == 2) {
        return c.next == 4 ? D : T;
    }
    if (c.scale != kMajorRow && c.previousEndFunction == D) {
        return T;
    }
    return c.secondBack == 5 ? D : T;
}

int32_t DecideOnFifthAfterFifth(const Cadence& c) {
    if (c.previousAlteration == -1) {
        return HalfCadence(c);
    }
    if (c.previousAlteration == 1) {
        return D;
    }
    if (c.last) {
        return T;
    }
    if (c.secondBack == 4 && c.secondBackAlteration == 0) {
        return D;
    }
    return c.anchor == 5 ? D : T;
}

int32_t DecideOnFifthAfterSixth(const Cadence& c) {
    if (IsOneOf(c.secondBack, {1, 3})) {
        return D;
    }
    if (c.previousAlteration == -1) {
        return c.scale == kMajorRow ? HalfCadence(c) : D;
    }
    if ((c.scale != kMajorRow && c.previousAlteration == 1) || !c.last) {
        return HalfCadence(c);
    }
    return T;
}

int32_t DecideOnFifth(const Cadence& c) {
    if (c.alteration != 0) {
        return c.alteration == 1 ? S : D;
    }
    switch (c.previous) {
        case 0:
        case 1:
            return D;
        case 2:
            return DecideOnFifthAfterThird(c);
        case 3:
            return DecideOnFifthAfterFourth(c);
        case 4:
            return DecideOnFifthAfterFifth(c);
        case 5:
            return DecideOnFifthAfterSixth(c);
        case 6:
            if (c.previousAlteration != 0) {
                return kLeave;
            }
            return c.scale == kMajorRow ? D : T;
        default:
            return kLeave;
    }
}

int32_t DecideOnSixth(const Cadence& c) {
    if (c.alteration == 1) {
        if (c.scale != kMajorRow) {
            return S;
        }
        if (!c.last) {
            c.function[1] = S;
        }
        return T;
    }
    if (c.alteration == -1) {
        return c.last ? D : S;
    }
    switch (c.previous) {
        case 0:
        case 1:
        case 3:
            return S;
        case 2:
        case 4:
        case 5:
            return FunctionSixth;
        case 6:
            return c.secondBack == 0 && IsOneOf(c.next, {1, 4, 6}) ? S : int32_t{FunctionSixth};
        default:
            return kLeave;
    }
}

int32_t DecideOnSeventh(const Cadence& c) {
    if (c.scale == kMajorRow) {
        if (c.alteration == -1 && !c.last) {
            c.function[1] = S;
        }
        return c.alteration == 0 ? D : T;
    }
    if (c.alteration != 0) {
        return c.alteration == 1 ? D : S;
    }
    return c.previous == 5 && c.previousAlteration == 1 ? D : T;
}

int32_t Decide(const Cadence& c) {
    switch (c.degree) {
        case 0:
            return DecideOnTonic(c);
        case 1:
            return DecideOnSecond(c);
        case 2:
            return DecideOnThird(c);
        case 3:
            return DecideOnFourth(c);
        case 4:
            return DecideOnFifth(c);
        case 5:
            return DecideOnSixth(c);
        case 6:
            return DecideOnSeventh(c);
        default:
            return kLeave;
    }
}

// The last degree before the end that differs from the end's.
int32_t ApproachOf(const std::vector<int32_t>& degree, int32_t end) {
    int32_t note = end;
    while (note > 0 && degree[note] == degree[end]) {
        --note;
    }
    return degree[note] != degree[end] ? degree[note] : kNoDegree;
}

// Mean of the middle two for an even count. `values` must not be empty.
float MedianOf(std::vector<float> values) {
    // A total order, so that times that are not numbers do no harm.
    std::sort(values.begin(), values.end(), [](float a, float b) { return IsBeforeInTotalOrder(a, b); });
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0f;
}

// The last note between the ends that is not shorter than most; with fewer than two notes between, the second
// before the end.
int32_t AnchorNote(const std::vector<float>& duration, int32_t end, int32_t previousEnd) {
    const int32_t first = previousEnd + 1;
    if (end - 2 < first) {
        return end - 2;
    }
    const float median = MedianOf({duration.begin() + first, duration.begin() + end});
    int32_t note = end - 1;
    while (note > first && median > duration[note]) {
        --note;
    }
    return note;
}

}  // namespace

void AssignCadence(const CadenceMelody& melody, int32_t end, int32_t previousEnd,
                   std::vector<int32_t>& function) {
    const std::vector<int32_t>& degree = melody.degree;
    const std::vector<int32_t>& alteration = melody.alteration;
    const bool last = end + 1 == static_cast<int32_t>(degree.size());
    const int32_t anchor = AnchorNote(melody.duration, end, previousEnd);

    Cadence c;
    c.degree = degree[end];
    c.alteration = alteration[end];
    c.previous = degree[end - 1];
    c.previousAlteration = alteration[end - 1];
    c.secondBack = end >= 2 ? degree[end - 2] : kNoDegree;
    c.secondBackAlteration = end >= 2 ? alteration[end - 2] : 0;
    c.thirdBack = end >= 3 ? degree[end - 3] : kNoDegree;
    c.next = last ? kNoDegree : degree[end + 1];
    c.approach = ApproachOf(degree, end);
    c.anchor = anchor >= 0 ? degree[anchor] : kNoDegree;
    c.scale = melody.scale;
    c.last = last;
    c.function = function.data() + end;
    c.previousEndFunction = function[previousEnd];

    const int32_t decision = Decide(c);
    if (decision != kLeave) {
        function[end] = decision;
    }
}

}  // namespace ChoiralizerV2

}  // namespace mlh
