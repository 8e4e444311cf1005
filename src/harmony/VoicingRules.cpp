#include "harmony/VoicingRules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <new>

#include "base/Codes.h"
#include "base/NarrowedMath.h"
#include "classic/ScaleTable.h"
#include "harmony/FunctionTables.h"

namespace mlh {

namespace ChoiralizerV2 {

const float StepTable[15] = {0.2f, 0.001f, 1.4f, 0.05f, 0.0001f, 1.4f, 0.001f, 0.0f,
                             0.2f, 0.001f, 1.4f, 0.05f, 0.0001f, 1.4f, 0.001f};
const float LeapTable[15] = {0.2f, 0.001f, 1.4f, 0.05f, 0.0001f, 1.4f,   0.001f, 0.0f,
                             0.0f, 0.0f,   0.0f, 0.0f,  0.0001f, 0.001f, 0.3f};

namespace {

// Rewards of the transition rules. The score bounds below count on no other factor being above 1, but for the
// parallel thirds and sixths of the tables.
constexpr float kHeldPair = 1.5f;
constexpr float kContraryMotion = 2.0f;
constexpr float kCadence = 2.0f;
constexpr float kResolution = 2.0f;
constexpr float kProgression = 1.2f;

using Narrowed::Exp;
using Narrowed::Log;
using Narrowed::Power;

bool IsSeventhType(int32_t chordType) { return chordType >= ChordMajor7; }

int32_t Lowest(const VoicingCandidate& c) { return *std::min_element(c.voicing, c.voicing + 4); }

int32_t Sign(int64_t x) { return (x > 0) - (x < 0); }
int64_t Distance(int32_t a, int32_t b) { return std::abs(int64_t{a} - b); }

// The place of a pitch in the candidate's chord, from the bass tone up: 0 to 3, or 4.
int32_t Position(const VoicingCandidate& c, int32_t pitch, int32_t key) {
    return PositionFromBass(c.tones, c.bassIndex, PitchClassFromKey(key, pitch));
}

// Size of an interval in scale steps, octaves included.
int32_t Size(const ScaleDistance& d) { return static_cast<int32_t>(int64_t{7} * d.octaves + d.steps); }

// Rule set 0: entry 0 alone.

float NoCrossing(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t) {
    const int32_t* v = window[0].setting->voicing;
    float factor = 1.0f;
    for (int i = 0; i < 4; ++i) {
        for (int j = i + 1; j < 4; ++j) {
            if (v[j] < v[i]) {
                factor *= 0.01f;
            }
        }
    }
    return factor;
}

// A triad has one doubling for the price of its table entry, a seventh chord pays already for the first.
float Doubling(const VoicingWindow& window, int32_t spacingStyle, int32_t key, const int32_t*, int32_t) {
    // By the place of the doubled tone in the chord; the last entry is for a tone out of it.
    static constexpr float kTriad[5] = {0.8f, 0.7f, 0.1f, 0.8f, 0.4f};
    static constexpr float kSeventh[5] = {0.4f, 0.35f, 0.05f, 0.001f, 1.0f};

    const VoicingCandidate& c = *window[0].setting;
    const int32_t* v = c.voicing;
    const bool seventh = IsSeventhType(c.chordType);
    const float* table = seventh ? kSeventh : kTriad;
    int32_t doublings = seventh ? 0 : -1;
    bool unison = false;
    float factor = 1.0f;
    for (int i = 0; i < 4; ++i) {
        for (int j = i + 1; j < 4; ++j) {
            if (Distance(v[i], v[j]) % 12 != 0) {
                continue;
            }
            ++doublings;
            if (doublings >= 1) {
                factor *= 0.01f;
            }
            factor *= table[Position(c, v[i], key)];
            if (v[i] == v[j] && spacingStyle != 0) {
                unison = true;
                if (spacingStyle >= 2) {
                    factor *= 0.001f;
                }
                if (spacingStyle == 1) {
                    factor *= 0.0f;
                }
            }
        }
    }
    if (doublings >= 1 && !unison) {
        factor *= 0.5f;
    }
    return factor;
}

// The bass tone of the chord's row stands for the root, so an inverted row looks above its bass.
float ThirdPresent(const VoicingWindow& window, int32_t, int32_t key, const int32_t* scale, int32_t) {
    const VoicingCandidate& c = *window[0].setting;
    if (c.chordType == ChordDiminished7) {
        return 0.001f;
    }
    const int32_t root = static_cast<int32_t>(int64_t{c.tones[c.bassIndex]} + key);
    for (int k = 0; k < 4; ++k) {
        if (ScaleInterval(root, c.voicing[k], key, scale).steps == 2) {
            return 1.0f;
        }
    }
    return 0.001f;
}

float BassPosition(const VoicingWindow& window, int32_t, int32_t key, const int32_t*, int32_t) {
    // By the place of the lowest pitch in the chord; the last entry is for a tone out of it.
    static constexpr float kDominantSixFour[5] = {1.0f, 0.0f, 0.0f, 0.0f, 1.0f};
    static constexpr float kNeapolitan[5] = {1.0f, 0.0f, 0.0f, 0.0f, 0.2f};
    static constexpr float kTriad[5] = {1.0f, 0.7f, 0.001f, 1.0f, 0.7f};
    static constexpr float kSeventh[5] = {0.7f, 0.7f, 0.7f, 0.7f, 1.0f};

    const VoicingCandidate& c = *window[0].setting;
    if (c.chordType == ChordDiminished7) {
        return 0.5f;
    }
    const int32_t position = Position(c, Lowest(c), key);
    if (c.function == FunctionDominant && c.chordType == ChordSixFour) {
        return kDominantSixFour[position];
    }
    if (c.function == FunctionSubdominant && c.chordType == ChordSixth) {
        return kNeapolitan[position];
    }
    return IsSeventhType(c.chordType) ? kSeventh[position] : kTriad[position];
}

// Whether two neighbouring voices stand too far apart (close) or too near (open, wide).
bool IsBadlySpaced(const ScaleDistance& d, int32_t spacingStyle) {
    if (spacingStyle == 0) {
        return Size(d) > 3;
    }
    if (spacingStyle == 1) {
        return Size(d) < 3 || (d.octaves >= 1 && d.steps > 0);
    }
    return spacingStyle >= 2 && d.octaves == 0;
}

float Spacing(const VoicingWindow& window, int32_t spacingStyle, int32_t key, const int32_t* scale, int32_t) {
    const int32_t* v = window[0].setting->voicing;
    float factor = 1.0f;
    const auto judge = [&](const ScaleDistance& d) {
        if (!IsBadlySpaced(d, spacingStyle)) {
            return;
        }
        factor *= Power(0.8f, std::abs(4 - Size(d)));
        factor *= 0.5f;
    };
    const ScaleDistance middle = ScaleInterval(v[1], v[2], key, scale);
    const ScaleDistance upper = ScaleInterval(v[2], v[3], key, scale);
    const ScaleDistance lower = ScaleInterval(v[0], v[1], key, scale);
    judge(middle);
    judge(upper);
    judge(lower);
    if (factor != 1.0f) {
        factor *= 0.5f;
    }
    // The lowest gap ought not to be smaller than those above it.
    const int32_t sum = (Size(middle) + 1) + (Size(upper) + 1);
    if (Size(lower) + 1 < sum / 3) {
        factor *= 0.3f;
    }
    return factor;
}

float Neutral(const VoicingWindow&, int32_t, int32_t, const int32_t*, int32_t) { return 1.0f; }

float SeventhBonus(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t) {
    return IsSeventhType(window[0].setting->chordType) ? 2.0f : 1.0f;
}

// Rule set 1: v is the voicing of entry 0, p the one before it.

float SharedUnison(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t) {
    const int32_t* v = window[0].setting->voicing;
    const int32_t* p = window[1].setting->voicing;
    float factor = 1.0f;
    for (int i = 0; i < 4; ++i) {
        for (int j = i + 1; j < 4; ++j) {
            if (v[i] != v[j] || p[i] != p[j]) {
                continue;
            }
            factor *= 0.001f;
            if (v[i] == p[i]) {
                factor *= 0.001f;
            }
        }
    }
    if (factor != 1.0f) {
        factor *= 0.5f;
    }
    return factor;
}

// The entry of the tables for a pair of voices, and for its simple interval. -1 steps, two tones in one gap
// of the scale, read as a unison.
int32_t SimpleIndex(const ScaleDistance& pair) { return std::max(pair.steps, 0); }
int32_t ParallelIndex(const ScaleDistance& pair) {
    return pair.octaves > 0 ? pair.steps + 7 : SimpleIndex(pair);
}

float ParallelFactor(int32_t index, const ScaleDistance& move) {
    return move.steps < 2 ? StepTable[index] : LeapTable[index];
}

// Voice pairs go by their place in the sorted voicing, not by row: crossed voices hide no parallel.
float Parallels(const VoicingWindow& window, int32_t, int32_t key, const int32_t* scale, int32_t) {
    const VoicingShape& c = *window[0].shape;
    const VoicingShape& d = *window[1].shape;
    const auto move = [&](int32_t from, int32_t to) { return ScaleInterval(from, to, key, scale); };
    float factor = 1.0f;
    size_t pair = 0;
    for (size_t i = 0; i < 4; ++i) {
        for (size_t j = i + 1; j < 4; ++j, ++pair) {
            if (c.sorted[i] == d.sorted[i] && c.sorted[j] == d.sorted[j]) {
                factor *= kHeldPair;
                continue;
            }
            const ScaleDistance& now = c.pairs[pair];
            const ScaleDistance& before = d.pairs[pair];
            if (now.steps != before.steps) {
                continue;
            }
            factor *= ParallelFactor(ParallelIndex(now), move(c.sorted[i], d.sorted[i]));
            // A parallel that goes on over three notes counts twice.
            if (window[2].IsPresent() && window[2].shape->pairs[pair] == before) {
                factor *= ParallelFactor(SimpleIndex(before), move(d.sorted[i], window[2].shape->sorted[i]));
            }
        }
    }
    return factor;
}

float StaticBass(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t leadVoice) {
    const int32_t before = window[1].setting->voicing[0];
    if (leadVoice == 0 || window[0].setting->voicing[0] != before) {
        return 1.0f;
    }
    if (!window[2].IsPresent() || window[2].setting->voicing[0] != before) {
        return 0.9f;
    }
    return 0.80999994f;
}

// The directions in which the lowest and the highest voice go.
struct OuterMove {
    int32_t low;
    int32_t high;

    OuterMove(const WindowEntry& to, const WindowEntry& from)
        : low(Sign(int64_t{to.shape->sorted[0]} - from.shape->sorted[0])),
          high(Sign(int64_t{to.shape->sorted[3]} - from.shape->sorted[3])) {}
    bool operator==(const OuterMove&) const = default;
};

float OuterMotion(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t) {
    if (!window[3].IsPresent()) {
        return 1.0f;
    }
    const OuterMove move(window[0], window[1]);
    const bool steady = move == OuterMove(window[1], window[2]) && move == OuterMove(window[2], window[3]);
    if (!steady) {
        return 1.0f;
    }
    return move.low == move.high ? 0.3f : kContraryMotion;
}

// The bass moves as a bass does at a cadence: by a step, a fourth up or a fifth down.
bool IsCadentialMove(const ScaleDistance& bass) {
    return (bass.steps == 3 && bass.direction == 1) || (bass.steps == 4 && bass.direction == -1) ||
           bass.steps == 1;
}

bool IsCadence(int32_t from, int32_t to) { return from == FunctionDominant && to == FunctionTonic; }

// The functions between which a seventh in the bass is expected to fall to the third.
bool IsResolution(int32_t from, int32_t to) {
    return IsCadence(from, to) || (from == FunctionTonic && to == FunctionSubdominant) ||
           (from == FunctionSubdominant && to == FunctionDominant);
}

float VoiceLeading(const VoicingWindow& window, int32_t, int32_t key, const int32_t* scale,
                   int32_t leadVoice) {
    const VoicingCandidate& to = *window[0].setting;
    const VoicingCandidate& from = *window[1].setting;
    int64_t sum = 0;
    for (int k = 1; k < 4; ++k) {
        if (k != leadVoice) {
            sum += Distance(to.voicing[k], from.voicing[k]);
        }
    }
    float factor = Power(0.95f, static_cast<int32_t>(std::min<int64_t>(sum, INT32_MAX)));

    const int32_t toLowest = window[0].shape->sorted[0];
    const int32_t fromLowest = window[1].shape->sorted[0];
    const ScaleDistance bass = ScaleInterval(fromLowest, toLowest, key, scale);

    if (IsCadence(from.function, to.function)) {
        const bool known = to.chordType != ChordUnknownTriad && to.chordType != ChordUnknownSeventh;
        if (IsCadentialMove(bass) && bass.quality == 0 && known && Position(to, toLowest, key) == 0) {
            factor *= kCadence;
        } else if (bass.direction == 1 && (bass.steps == 3 || bass.steps == 4)) {
            factor *= 0.0f;
        }
    }

    if (from.chordType == ChordDominant7 && IsResolution(from.function, to.function) &&
        Position(from, fromLowest, key) == 3) {
        const bool resolves = to.chordType == ChordMajor || to.chordType == ChordDominant7;
        if (resolves && Position(to, toLowest, key) == 1) {
            factor *= kResolution;
        }
    }

    const bool octave = bass.steps == 0 && bass.octaves == 1;
    if (Size(bass) > 5 && !octave) {
        factor *= Power(0.01f, Size(bass) - 5);
    }
    return factor;
}

bool IsChord(const WindowEntry& entry, int32_t function, int32_t chordType) {
    return entry.setting->function == function && entry.setting->chordType == chordType;
}

float SecondaryDominantResolves(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t) {
    static constexpr int32_t kResolutions[3][4] = {{0, 5, 9, 0}, {0, 5, 8, 0}, {0, 3, 8, 0}};
    if (!IsChord(window[1], FunctionTonic, ChordDominant7)) {
        return 1.0f;
    }
    if (window[0].setting->function == FunctionSubdominant) {
        for (const auto& tones : kResolutions) {
            if (std::equal(tones, tones + 4, window[0].setting->tones)) {
                return 1.0f;
            }
        }
    }
    return 0.0001f;
}

float NeapolitanToSixFour(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t) {
    const bool found = IsChord(window[0], FunctionDominant, ChordSixFour) &&
                       IsChord(window[1], FunctionSubdominant, ChordSixth);
    return found ? kProgression : 1.0f;
}

float SixFourToSeventh(const VoicingWindow& window, int32_t, int32_t, const int32_t*, int32_t) {
    const bool found = IsChord(window[0], FunctionDominant, ChordDominant7) &&
                       IsChord(window[1], FunctionDominant, ChordSixFour);
    return found ? kProgression : 1.0f;
}

const VoicingRule kVerticalRules[] = {NoCrossing, Doubling, ThirdPresent, BassPosition,
                                      Spacing,    Neutral,  SeventhBonus};
const VoicingRule kTransitionRules[] = {SharedUnison,        Parallels,       StaticBass,
                                        OuterMotion,         VoiceLeading,    SecondaryDominantResolves,
                                        NeapolitanToSixFour, SixFourToSeventh};
const float kWeights[] = {1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};

}  // namespace

const VoicingRuleSet RuleSetTable[2] = {{kVerticalRules, kWeights, 7}, {kTransitionRules, kWeights, 8}};

CVoicingRules::CVoicingRules() : scale_(ScaleRow(ChoiralizerClassic::ScaleMajor)) {}

void CVoicingRules::SelectRuleSet(int32_t index) {
    if (index < 0 || index > 1) {
        return;
    }
    rules_ = RuleSetTable[index].rules;
    weights_ = RuleSetTable[index].weights;
    ruleCount_ = RuleSetTable[index].count;
}

bool IsBelowScoreFloor(float score, float prior) {
    // e to the -35 is 6.305e-16. Only near it do the roundings of the logarithms count; elsewhere the product
    // decides, at a fraction of the time.
    if (static_cast<double>(score) * static_cast<double>(prior) > 6.4e-16) {
        return false;
    }
    return Log(score) + Log(prior) < -35.0f;
}

float CVoicingRules::ComputeScore(const VoicingWindow& window, float prior) const {
    if (prior == 0.0f) {
        return 0.0f;
    }
    float product = 1.0f;
    int32_t used = 0;
    for (int32_t k = 0; k < ruleCount_; ++k) {
        if (weights_[k] == 0.0f) {
            continue;
        }
        const float factor = rules_[k](window, spacingStyle_, key_, scale_, leadVoice_) * weights_[k];
        product *= factor;
        if (product == 0.0f || IsBelowScoreFloor(product, prior)) {
            return 0.0f;
        }
        ++used;
    }
    return used > 0 ? Exp(Log(product) / static_cast<float>(used)) : product;
}

namespace {
// The geometric mean over set 1 of a product that no product of factors exceeds. Rounding moves a score by
// less than a millionth.
float MeanBound(double product) {
    return static_cast<float>(std::pow(product, 1.0 / RuleSetTable[1].count) * 1.00001);
}

}  // namespace

float SettingScoreBound(const WindowEntry& entry, int32_t functionBefore) {
    double product = 1.0;
    for (const ScaleDistance& pair : entry.shape->pairs) {
        const int32_t index = ParallelIndex(pair);
        product *= std::max({kHeldPair, StepTable[index], LeapTable[index]});
    }
    const VoicingCandidate& setting = *entry.setting;
    if (IsCadence(functionBefore, setting.function)) {
        product *= kCadence;
    }
    if (setting.chordType == ChordSixFour || setting.chordType == ChordDominant7) {
        product *= kProgression;
    }
    return MeanBound(product);
}

float HistoryScoreBound(const VoicingWindow& window) {
    double product = 1.0;
    if (window[2].IsPresent()) {
        for (size_t pair = 0; pair < 6; ++pair) {
            const ScaleDistance& before = window[1].shape->pairs[pair];
            if (window[2].shape->pairs[pair] != before) {
                continue;
            }
            const int32_t index = SimpleIndex(before);
            product *= std::max({1.0f, StepTable[index], LeapTable[index]});
        }
    }
    if (window[3].IsPresent()) {
        const OuterMove last(window[1], window[2]);
        if (last == OuterMove(window[2], window[3]) && last.low != last.high) {
            product *= kContraryMotion;
        }
    }
    if (window[1].setting->chordType == ChordDominant7) {
        product *= kResolution;
    }
    return MeanBound(product);
}

int32_t CreateVoicingRules(CVoicingRules** out) {
    *out = nullptr;
    *out = new (std::nothrow) CVoicingRules;
    return *out != nullptr ? 0 : kOutOfMemory;
}

}  // namespace ChoiralizerV2

}  // namespace mlh
