#include "harmony/VoicingRules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "classic/ScaleTable.h"
#include "harmony/FunctionTables.h"
#include "support/PlainVoicingSearch.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

constexpr int kVertical = 0;
constexpr int kTransition = 1;
constexpr int32_t kClose = 0;
constexpr int32_t kOpen = 1;
constexpr int32_t kWide = 2;

const int32_t* Major() { return ChoiralizerClassic::ScaleTable[ChoiralizerClassic::ScaleMajor]; }

const ChordFunctionEntry& Row(bool minor, int32_t function, const std::string& name) {
    const FunctionChordList& list = FunctionChordTable[minor][function];
    for (int32_t k = 0; k < list.count; ++k) {
        if (name == list.entries[k].name) {
            return list.entries[k];
        }
    }
    throw std::logic_error("no chord " + name);
}

// A setting of a chord of the function tables in C.
struct Setting {
    Voicing pitches;
    VoicingCandidate candidate;
    VoicingShape shape;

    Setting(int32_t function, const ChordFunctionEntry& row, Voicing voicing, const int32_t* scale = Major())
        : pitches(voicing) {
        candidate.tones = row.tones;
        candidate.bassIndex = row.bassIndex;
        candidate.chordType = row.chordType;
        candidate.function = function;
        shape = MakeShape(voicing.data(), 0, scale);
    }
    WindowEntry Entry() {
        candidate.voicing = pitches.data();
        return {&candidate, &shape};
    }
};

Setting Tonic(Voicing v) { return {FunctionTonic, Row(false, 1, "Major: First Degree Triad"), v}; }
Setting Dominant(Voicing v) { return {FunctionDominant, Row(false, 3, "Major: Fifth Degree Triad"), v}; }
Setting Seventh(Voicing v) { return {FunctionDominant, Row(false, 3, "Major: Dominant Seventh"), v}; }
Setting SixFour(Voicing v) { return {FunctionDominant, Row(false, 3, "Major: First Degree Six-Four"), v}; }
Setting Neapolitan(Voicing v) { return {FunctionSubdominant, Row(false, 2, "Major: Neapolitan"), v}; }
Setting Subdominant(Voicing v) {
    return {FunctionSubdominant, Row(false, 2, "Major: Fourth Degree Triad"), v};
}
Setting TonicSeventh(Voicing v) {
    return {FunctionTonic, Row(false, 1, "Major: Secondary Dominant to Subdominant"), v};
}
Setting Diminished(Voicing v) { return {FunctionDominant, Row(false, 3, "Seventh Degree Diminished"), v}; }

VoicingWindow Window(Setting& now) { return {now.Entry()}; }
VoicingWindow Window(Setting& now, Setting& before) { return {now.Entry(), before.Entry()}; }
VoicingWindow Window(Setting& now, Setting& before, Setting& second) {
    return {now.Entry(), before.Entry(), second.Entry()};
}
VoicingWindow Window(Setting& now, Setting& before, Setting& second, Setting& third) {
    return {now.Entry(), before.Entry(), second.Entry(), third.Entry()};
}

float Judge(VerticalRule rule, const VoicingWindow& window, int32_t style = kOpen) {
    return RuleSetTable[kVertical].rules[rule](window, style, 0, Major(), 3);
}
float Judge(TransitionRule rule, const VoicingWindow& window, int32_t leadVoice = 3) {
    return RuleSetTable[kTransition].rules[rule](window, kOpen, 0, Major(), leadVoice);
}
float Judge(VerticalRule rule, Setting now, int32_t style = kOpen) { return Judge(rule, Window(now), style); }
float Judge(TransitionRule rule, Setting before, Setting now, int32_t leadVoice = 3) {
    return Judge(rule, Window(now, before), leadVoice);
}

float Product(std::initializer_list<float> factors) {
    float product = 1.0f;
    for (const float factor : factors) {
        product *= factor;
    }
    return product;
}

float Power(float base, double exponent) { return static_cast<float>(std::pow(double{base}, exponent)); }

TEST(VoicingRuleSets, HaveSevenAndEightRulesOfWeightOne) {
    EXPECT_EQ(RuleSetTable[kVertical].count, 7);
    EXPECT_EQ(RuleSetTable[kTransition].count, 8);
    for (const VoicingRuleSet& set : RuleSetTable) {
        for (int32_t k = 0; k < set.count; ++k) {
            EXPECT_EQ(set.weights[k], 1.0f);
        }
    }
}

TEST(NoCrossing, CostsAHundredthPerCrossedPair) {
    EXPECT_EQ(Judge(RuleNoCrossing, Tonic({48, 55, 64, 72})), 1.0f);
    EXPECT_EQ(Judge(RuleNoCrossing, Tonic({48, 48, 64, 64})), 1.0f);
    EXPECT_EQ(Judge(RuleNoCrossing, Tonic({55, 52, 64, 72})), 0.01f);
    EXPECT_EQ(Judge(RuleNoCrossing, Tonic({72, 64, 60, 55})),
              Product({0.01f, 0.01f, 0.01f, 0.01f, 0.01f, 0.01f}));
}

TEST(Doubling, GivesATriadOneDoublingForItsTableEntry) {
    EXPECT_EQ(Judge(RuleDoubling, Tonic({48, 55, 64, 72})), 0.8f);     // root
    EXPECT_EQ(Judge(RuleDoubling, Tonic({48, 52, 55, 64})), 0.7f);     // third
    EXPECT_EQ(Judge(RuleDoubling, Tonic({48, 55, 64, 67})), 0.1f);     // fifth
    EXPECT_EQ(Judge(RuleDoubling, Dominant({43, 59, 62, 71})), 0.7f);  // leading tone
    EXPECT_EQ(Judge(RuleDoubling, Tonic({47, 52, 55, 60})), 1.0f);     // none
}

TEST(Doubling, ChargesAHundredthForEachFurtherOneAndHalfForHavingAny) {
    // Root and fifth: the second one pays.
    EXPECT_EQ(Judge(RuleDoubling, Tonic({48, 55, 60, 67})), Product({0.8f, 0.01f, 0.1f, 0.5f}));
}

TEST(Doubling, ChargesASeventhChordFromTheFirst) {
    EXPECT_EQ(Judge(RuleDoubling, Seventh({43, 55, 59, 65})), Product({0.01f, 0.4f, 0.5f}));
    EXPECT_EQ(Judge(RuleDoubling, Seventh({41, 47, 55, 65})), Product({0.01f, 0.001f, 0.5f}));
    EXPECT_EQ(Judge(RuleDoubling, Seventh({43, 50, 59, 65})), 1.0f);
}

TEST(Doubling, ReadsOnPastTheTablesForATonesOutOfTheChord) {
    EXPECT_EQ(Judge(RuleDoubling, Tonic({50, 55, 64, 74})), 0.4f);
    EXPECT_EQ(Judge(RuleDoubling, Seventh({48, 55, 59, 60})), Product({0.01f, 1.0f, 0.5f}));
}

TEST(Doubling, MultipliesSixTimesWhenAllVoicesMeet) {
    float close = 0.8f;
    float wide = Product({0.8f, 0.001f});
    for (int pair = 1; pair < 6; ++pair) {
        close = close * 0.01f * 0.8f;
        wide = wide * 0.01f * 0.8f * 0.001f;
    }
    close *= 0.5f;  // close spacing knows no unison, so the doublings cost once more
    const Setting unison = Tonic({60, 60, 60, 60});
    EXPECT_EQ(Judge(RuleDoubling, unison, kClose), close);
    EXPECT_EQ(Judge(RuleDoubling, unison, kWide), wide);
    EXPECT_EQ(Judge(RuleDoubling, unison, kOpen), 0.0f);
}

TEST(Doubling, OneUnisonIsForbiddenInOpenSpacingAlone) {
    const Setting unison = Tonic({48, 55, 55, 64});
    EXPECT_EQ(Judge(RuleDoubling, unison, kClose), 0.1f);
    EXPECT_EQ(Judge(RuleDoubling, unison, kOpen), 0.0f);
    EXPECT_EQ(Judge(RuleDoubling, unison, kWide), Product({0.1f, 0.001f}));
    EXPECT_EQ(Judge(RuleDoubling, unison, 7), Product({0.1f, 0.001f}));
}

TEST(ThirdPresent, LooksForTheThirdAboveTheBassToneOfTheRow) {
    EXPECT_EQ(Judge(RuleThirdPresent, Tonic({48, 55, 64, 72})), 1.0f);
    EXPECT_EQ(Judge(RuleThirdPresent, Tonic({48, 55, 60, 67})), 0.001f);
    EXPECT_EQ(Judge(RuleThirdPresent, Dominant({43, 50, 59, 67})), 1.0f);
    // An inverted row looks above its bass: G has no B here, F no A.
    EXPECT_EQ(Judge(RuleThirdPresent, SixFour({43, 52, 60, 67})), 0.001f);
    EXPECT_EQ(Judge(RuleThirdPresent, Neapolitan({41, 53, 61, 68})), 0.001f);
    EXPECT_EQ(Judge(RuleThirdPresent, Diminished({47, 53, 62, 68})), 0.001f);
}

TEST(BassPosition, PrefersTheRootBelowATriad) {
    EXPECT_EQ(Judge(RuleBassPosition, Tonic({48, 55, 64, 72})), 1.0f);
    EXPECT_EQ(Judge(RuleBassPosition, Tonic({52, 55, 60, 72})), 0.7f);
    EXPECT_EQ(Judge(RuleBassPosition, Tonic({43, 52, 60, 72})), 0.001f);
    EXPECT_EQ(Judge(RuleBassPosition, Tonic({50, 52, 60, 72})), 0.7f);  // a tone out of the chord
    EXPECT_EQ(Judge(RuleBassPosition, Tonic({55, 48, 64, 72})), 1.0f);  // the lowest voice, not row 0
}

TEST(BassPosition, TakesAnyToneBelowASeventhChord) {
    for (const int32_t bass : {43, 47, 50, 53}) {
        EXPECT_EQ(Judge(RuleBassPosition, Seventh({bass, 55, 59, 65})), 0.7f);
    }
    EXPECT_EQ(Judge(RuleBassPosition, Seventh({48, 55, 59, 65})), 1.0f);
    EXPECT_EQ(Judge(RuleBassPosition, Diminished({47, 53, 62, 68})), 0.5f);
}

TEST(BassPosition, BindsSixFourAndNeapolitanToTheirBass) {
    EXPECT_EQ(Judge(RuleBassPosition, SixFour({43, 52, 60, 67})), 1.0f);
    EXPECT_EQ(Judge(RuleBassPosition, SixFour({48, 55, 64, 67})), 0.0f);
    EXPECT_EQ(Judge(RuleBassPosition, SixFour({45, 52, 60, 67})), 1.0f);  // out of the chord
    EXPECT_EQ(Judge(RuleBassPosition, Neapolitan({41, 53, 61, 68})), 1.0f);
    EXPECT_EQ(Judge(RuleBassPosition, Neapolitan({49, 53, 61, 68})), 0.0f);
    EXPECT_EQ(Judge(RuleBassPosition, Neapolitan({50, 53, 61, 68})), 0.2f);  // out of the chord
    // The same type under another function is a triad like any other.
    Setting sixFour = SixFour({48, 55, 64, 67});
    sixFour.candidate.function = FunctionTonic;
    EXPECT_EQ(Judge(RuleBassPosition, sixFour), 0.7f);  // C follows G, the bass tone of the row
}

TEST(Spacing, CloseWantsAtMostAFourth) {
    EXPECT_EQ(Judge(RuleSpacing, Tonic({55, 60, 64, 67}), kClose), 1.0f);
    // A fifth below: 0.8 to the 0, a half for the pair, a half for having any.
    EXPECT_EQ(Judge(RuleSpacing, Tonic({48, 55, 60, 64}), kClose), 0.25f);
    // Two sixths above a fifth.
    EXPECT_EQ(Judge(RuleSpacing, Tonic({48, 55, 64, 72}), kClose),
              Product({Power(0.8f, 1), 0.5f, Power(0.8f, 1), 0.5f, Power(0.8f, 0), 0.5f, 0.5f}));
}

TEST(Spacing, OpenWantsAFourthToAnOctave) {
    EXPECT_EQ(Judge(RuleSpacing, Tonic({48, 55, 64, 72}), kOpen), 1.0f);
    EXPECT_EQ(Judge(RuleSpacing, Tonic({48, 60, 72, 84}), kOpen), 1.0f);  // octaves
    // Thirds fail; 0.8 to the distance from a fifth.
    EXPECT_EQ(Judge(RuleSpacing, Tonic({48, 55, 60, 64}), kOpen), Product({Power(0.8f, 2), 0.5f, 0.5f}));
    // A ninth fails: 7 + 1 steps.
    EXPECT_EQ(Judge(RuleSpacing, Tonic({48, 55, 62, 76}), kOpen), Product({Power(0.8f, 4), 0.5f, 0.5f}));
}

TEST(Spacing, WideWantsOctaves) {
    EXPECT_EQ(Judge(RuleSpacing, Tonic({36, 48, 60, 72}), kWide), 1.0f);
    EXPECT_EQ(Judge(RuleSpacing, Tonic({36, 48, 64, 76}), kWide), 1.0f);
    EXPECT_EQ(Judge(RuleSpacing, Tonic({36, 48, 55, 72}), kWide), Product({Power(0.8f, 0), 0.5f, 0.5f}));
}

TEST(Spacing, ChargesALowestGapUnderAThirdOfThoseAbove) {
    // Sixths above: (6 + 6) / 3 = 4; a third below counts 3, a fourth 4.
    EXPECT_EQ(Judge(RuleSpacing, Tonic({52, 55, 64, 72}), kOpen),
              Product({Power(0.8f, 2), 0.5f, 0.5f, 0.3f}));
    EXPECT_EQ(Judge(RuleSpacing, Tonic({50, 55, 64, 72}), kOpen), 1.0f);
    // A sixth and a fifth: 11 / 3 is 3, in whole numbers.
    EXPECT_EQ(Judge(RuleSpacing, Tonic({60, 64, 72, 79}), kClose),
              Product({Power(0.8f, 1), 0.5f, Power(0.8f, 0), 0.5f, 0.5f}));
}

TEST(SeventhBonus, DoublesFourNoteChords) {
    EXPECT_EQ(Judge(RuleSeventhBonus, Tonic({48, 55, 64, 72})), 1.0f);
    EXPECT_EQ(Judge(RuleSeventhBonus, Seventh({43, 53, 59, 62})), 2.0f);
    EXPECT_EQ(Judge(RuleSeventhBonus, SixFour({43, 52, 60, 67})), 1.0f);
    EXPECT_EQ(Judge(RuleNeutral, SixFour({43, 52, 60, 67})), 1.0f);
}

TEST(SharedUnison, ChargesVoicesThatMoveInUnisonAndMoreIfTheyStay) {
    const Setting now = Tonic({48, 60, 60, 64});
    EXPECT_EQ(Judge(RuleSharedUnison, Dominant({43, 59, 59, 62}), now), Product({0.001f, 0.5f}));
    EXPECT_EQ(Judge(RuleSharedUnison, Tonic({52, 60, 60, 64}), now), Product({0.001f, 0.001f, 0.5f}));
    EXPECT_EQ(Judge(RuleSharedUnison, Dominant({43, 55, 59, 62}), now), 1.0f);
}

TEST(Parallels, FifthsCostTenThousandfold) {
    // C G E C after D A D B: fifths in the lower pair by step, sixths in the upper one.
    EXPECT_EQ(Judge(RuleParallels, Tonic({50, 57, 62, 71}), Tonic({48, 55, 64, 72})),
              Product({0.0001f, 1.4f}));
    // The same in rows that have crossed: pairs go by height.
    EXPECT_EQ(Judge(RuleParallels, Tonic({57, 50, 62, 71}), Tonic({48, 55, 64, 72})),
              Product({0.0001f, 1.4f}));
}

TEST(Parallels, OctavesAreOutAndUnisonsCostAFifth) {
    EXPECT_EQ(Judge(RuleParallels, Tonic({50, 62, 65, 69}), Tonic({48, 60, 67, 76})), 0.0f);
    // D D A F to C C G E: unison and sixth and tenth by step, twice each pair of them.
    EXPECT_EQ(Judge(RuleParallels, Tonic({62, 62, 67, 77}), Tonic({60, 60, 67, 72})), 0.2f);
}

// In each of these the outer pair alone keeps its interval.
TEST(Parallels, CompoundIntervalsReadOneEntryToTheLeft) {
    // Twelfths: the entries of a compound fourth.
    EXPECT_EQ(Judge(RuleParallels, Tonic({50, 55, 60, 69}), Tonic({48, 57, 64, 67})), 0.05f);  // by step
    EXPECT_EQ(Judge(RuleParallels, Tonic({53, 55, 64, 72}), Tonic({48, 57, 64, 67})), 0.0f);   // by leap
    // Thirteenths: those of a compound fifth.
    EXPECT_EQ(Judge(RuleParallels, Tonic({50, 59, 60, 71}), Tonic({48, 55, 62, 69})), 0.0001f);
    // Tenths: those of a compound second.
    EXPECT_EQ(Judge(RuleParallels, Tonic({50, 59, 60, 65}), Tonic({48, 55, 62, 64})), 0.001f);
    EXPECT_EQ(Judge(RuleParallels, Tonic({53, 62, 64, 69}), Tonic({48, 55, 62, 64})), 0.0f);
}

TEST(Parallels, HeldPairsGainByThePair) {
    const Voicing v = {48, 55, 64, 72};
    float all = 1.0f;
    for (int pair = 0; pair < 6; ++pair) {
        all *= 1.5f;
    }
    EXPECT_EQ(Judge(RuleParallels, Tonic(v), Tonic(v)), all);
    // Two held voices make one held pair; no other pair keeps its interval.
    EXPECT_EQ(Judge(RuleParallels, Tonic({45, 55, 62, 72}), Tonic({48, 55, 64, 72})), 1.5f);
}

TEST(Parallels, PayAgainWhenTheyGoOnOverThreeNotes) {
    Setting now = Tonic({48, 55, 64, 72});
    Setting before = Tonic({50, 57, 62, 71});
    Setting second = Tonic({52, 59, 60, 67});  // E B: the fifth again, a step away
    EXPECT_EQ(Judge(RuleParallels, Window(now, before, second)), Product({0.0001f, 0.0001f, 1.4f}));
    Setting chromatic = Tonic({49, 56, 64, 69});  // both tones out of the scale
    EXPECT_EQ(Judge(RuleParallels, Window(now, before, chromatic)), Product({0.0001f, 1.4f}));
}

TEST(Parallels, TheSecondPenaltyReadsTheSimpleInterval) {
    // Twelfths in the outer pair: 0.05 for the compound interval, 0.0001 for the simple fifth.
    Setting now = Tonic({48, 57, 64, 67});
    Setting before = Tonic({50, 55, 60, 69});
    Setting second = Tonic({52, 62, 65, 71});
    EXPECT_EQ(Judge(RuleParallels, Window(now, before, second)), Product({0.05f, 0.0001f}));
    // A simple fifth before them is another interval.
    Setting simple = Tonic({52, 55, 57, 59});
    EXPECT_EQ(Judge(RuleParallels, Window(now, before, simple)), 0.05f);
}

TEST(Parallels, ToneOutsideTheScaleCountsAsAUnison) {
    // Two unisons out of the scale have -1 steps, which reads the first entry.
    EXPECT_EQ(ScaleInterval(61, 61, 0, Major()).steps, -1);
    EXPECT_EQ(Judge(RuleParallels, Tonic({63, 63, 67, 77}), Tonic({61, 61, 67, 72})), 0.2f);
}

TEST(StaticBass, ChargesABassThatStaysUnlessItIsTheMelody) {
    Setting now = Tonic({48, 55, 64, 72});
    Setting same = Tonic({48, 57, 65, 72});
    Setting other = Tonic({50, 57, 65, 74});
    EXPECT_EQ(Judge(RuleStaticBass, Window(now, other)), 1.0f);
    EXPECT_EQ(Judge(RuleStaticBass, Window(now, same)), 0.9f);
    EXPECT_EQ(Judge(RuleStaticBass, Window(now, same, other)), 0.9f);
    EXPECT_EQ(Judge(RuleStaticBass, Window(now, same, now)), 0.80999994f);
    EXPECT_EQ(Judge(RuleStaticBass, Window(now, same, now), 0), 1.0f);
}

TEST(OuterMotion, JudgesThreeMovesInOneDirection) {
    Setting a = Tonic({48, 55, 64, 72});
    Setting b = Tonic({50, 55, 64, 74});
    Setting c = Tonic({52, 55, 64, 76});
    Setting d = Tonic({53, 55, 64, 77});
    EXPECT_EQ(Judge(RuleOuterMotion, Window(d, c, b, a)), 0.3f);
    EXPECT_EQ(Judge(RuleOuterMotion, Window(d, c, b)), 1.0f);
    EXPECT_EQ(Judge(RuleOuterMotion, Window(c, d, b, a)), 1.0f);
    Setting e = Tonic({50, 55, 64, 71});
    Setting f = Tonic({52, 55, 64, 69});
    Setting g = Tonic({53, 55, 64, 67});
    EXPECT_EQ(Judge(RuleOuterMotion, Window(g, f, e, a)), 2.0f);
    EXPECT_EQ(Judge(RuleOuterMotion, Window(a, a, a, a)), 0.3f);  // all held: the same motion
    Setting held = Tonic({48, 57, 65, 74});
    Setting higher = Tonic({48, 57, 65, 76});
    Setting highest = Tonic({48, 57, 65, 77});
    EXPECT_EQ(Judge(RuleOuterMotion, Window(highest, higher, held, a)), 2.0f);  // one held, one moves
}

TEST(VoiceLeading, PaysForTheMotionOfTheInnerVoices) {
    // Bass C to C; alto and tenor move 2 + 1; the lead is not counted, nor is row 0.
    EXPECT_EQ(Judge(RuleVoiceLeading, Tonic({48, 55, 64, 72}), Subdominant({48, 57, 65, 77})),
              Power(0.95f, 3));
    EXPECT_EQ(Judge(RuleVoiceLeading, Tonic({48, 55, 64, 72}), Subdominant({48, 57, 65, 77}), 1),
              Power(0.95f, 6));
    EXPECT_EQ(Judge(RuleVoiceLeading, Tonic({48, 55, 64, 72}), Subdominant({53, 57, 65, 77}), 0),
              Power(0.95f, 8));
}

TEST(VoiceLeading, RewardsTheCadenceInRootPosition) {
    const Setting dominant = Dominant({43, 59, 62, 67});
    EXPECT_EQ(Judge(RuleVoiceLeading, dominant, Tonic({48, 60, 64, 67})),
              Power(0.95f, 3) * 2.0f);  // fourth up
    EXPECT_EQ(Judge(RuleVoiceLeading, dominant, Tonic({36, 60, 64, 67})),
              Power(0.95f, 3) * 2.0f);  // fifth down
    // A fourth up that does not reach the root is forbidden.
    EXPECT_EQ(Judge(RuleVoiceLeading, Dominant({47, 55, 62, 67}), Tonic({52, 55, 60, 67})), 0.0f);
    EXPECT_EQ(Judge(RuleVoiceLeading, Dominant({50, 55, 59, 67}), Tonic({55, 60, 64, 67})), 0.0f);
    // By step into the root.
    EXPECT_EQ(Judge(RuleVoiceLeading, Dominant({47, 55, 62, 67}), Tonic({48, 55, 64, 67})),
              Power(0.95f, 2) * 2.0f);
    // Downward to another tone: neither.
    EXPECT_EQ(Judge(RuleVoiceLeading, dominant, Tonic({40, 60, 60, 67})), Power(0.95f, 3));
}

TEST(VoiceLeading, RewardsNoCadenceOfAnUnknownChordOrOutOfTheScale) {
    const Setting dominant = Dominant({43, 59, 62, 67});
    Setting unknown = Tonic({48, 60, 64, 67});
    unknown.candidate.chordType = ChordUnknownTriad;
    EXPECT_EQ(Judge(RuleVoiceLeading, dominant, unknown), 0.0f);  // a fourth up without the reward
    unknown.candidate.chordType = ChordUnknownSeventh;
    EXPECT_EQ(Judge(RuleVoiceLeading, dominant, unknown), 0.0f);
    // B flat is out of the scale: the step up to C has a quality.
    EXPECT_EQ(Judge(RuleVoiceLeading, Dominant({46, 59, 62, 67}), Tonic({48, 60, 64, 67})), Power(0.95f, 3));
}

TEST(VoiceLeading, RewardsTheSeventhInTheBassThatFallsToTheThird) {
    EXPECT_EQ(Judge(RuleVoiceLeading, Seventh({41, 55, 59, 62}), Tonic({40, 55, 60, 60})),
              Power(0.95f, 1) * 2.0f);
    // Not for a seventh above the bass, nor into the root position, nor between other functions.
    EXPECT_EQ(Judge(RuleVoiceLeading, Seventh({43, 53, 59, 62}), Tonic({40, 52, 60, 60})), Power(0.95f, 2));
    Setting tonic = Tonic({40, 55, 60, 60});
    tonic.candidate.function = FunctionSixth;
    EXPECT_EQ(Judge(RuleVoiceLeading, Seventh({41, 55, 59, 62}), tonic), Power(0.95f, 1));
    // The secondary dominant's seventh into the subdominant.
    EXPECT_EQ(Judge(RuleVoiceLeading, TonicSeventh({46, 52, 55, 60}), Subdominant({45, 53, 53, 60})),
              Power(0.95f, 3) * 2.0f);
}

TEST(VoiceLeading, BassLeapsBeyondASixthAreNearlyOut) {
    const auto leap = [](int32_t to) {
        return Judge(RuleVoiceLeading, Tonic({48, 67, 72, 76}), Tonic({to, 67, 72, 76}));
    };
    EXPECT_EQ(leap(57), 1.0f);             // sixth
    EXPECT_EQ(leap(59), Power(0.01f, 1));  // seventh
    EXPECT_EQ(leap(60), 1.0f);             // octave
    EXPECT_EQ(leap(62), Power(0.01f, 3));  // ninth
    EXPECT_EQ(leap(36), 1.0f);
    EXPECT_EQ(leap(38), Power(0.01f, 1));
}

TEST(SecondaryDominantResolves, IntoASubdominantTriad) {
    const Setting tonicSeventh = TonicSeventh({48, 55, 58, 64});
    EXPECT_EQ(Judge(RuleSecondaryDominantResolves, tonicSeventh, Subdominant({41, 57, 60, 65})), 1.0f);
    const Setting minor = {FunctionSubdominant, Row(true, 2, "Minor: Fourth Degree Triad"), {41, 56, 60, 65}};
    EXPECT_EQ(Judge(RuleSecondaryDominantResolves, tonicSeventh, minor), 1.0f);
    const Setting flatSixth = {
        FunctionSubdominant, Row(false, 2, "Major: Flat Sixth Degree Triad"), {44, 56, 60, 63}};
    EXPECT_EQ(Judge(RuleSecondaryDominantResolves, tonicSeventh, flatSixth), 1.0f);
    const Setting second = {
        FunctionSubdominant, Row(false, 2, "Major: Second Degree Triad"), {50, 57, 62, 65}};
    EXPECT_EQ(Judge(RuleSecondaryDominantResolves, tonicSeventh, second), 0.0001f);
    // The right tones under another function.
    Setting elsewhere = Subdominant({41, 57, 60, 65});
    elsewhere.candidate.function = FunctionSixth;
    EXPECT_EQ(Judge(RuleSecondaryDominantResolves, tonicSeventh, elsewhere), 0.0001f);
    // Only the tonic's seventh chord is one.
    EXPECT_EQ(Judge(RuleSecondaryDominantResolves, Seventh({43, 53, 59, 62}), Tonic({48, 52, 60, 60})), 1.0f);
}

TEST(CadenceChords, GainByAFifth) {
    const Setting neapolitan = Neapolitan({41, 53, 61, 68});
    const Setting sixFour = SixFour({43, 52, 60, 67});
    const Setting seventh = Seventh({43, 50, 59, 65});
    EXPECT_EQ(Judge(RuleNeapolitanToSixFour, neapolitan, sixFour), 1.2f);
    EXPECT_EQ(Judge(RuleNeapolitanToSixFour, neapolitan, seventh), 1.0f);
    EXPECT_EQ(Judge(RuleNeapolitanToSixFour, seventh, sixFour), 1.0f);
    EXPECT_EQ(Judge(RuleSixFourToSeventh, sixFour, seventh), 1.2f);
    EXPECT_EQ(Judge(RuleSixFourToSeventh, seventh, sixFour), 1.0f);
    EXPECT_EQ(Judge(RuleSixFourToSeventh, sixFour, Tonic({48, 52, 60, 67})), 1.0f);
}

TEST(ParallelTables, AreOfFifteenWithTheOctaveAtSeven) {
    EXPECT_EQ(StepTable[7], 0.0f);
    EXPECT_EQ(LeapTable[7], 0.0f);
    for (int index = 0; index < 7; ++index) {
        EXPECT_EQ(StepTable[index], LeapTable[index]);
        EXPECT_EQ(StepTable[index], StepTable[index + 8]);
    }
    for (int index = 8; index < 12; ++index) {
        EXPECT_EQ(LeapTable[index], 0.0f);
    }
    EXPECT_EQ(LeapTable[13], 0.001f);
    EXPECT_EQ(LeapTable[14], 0.3f);
}

std::unique_ptr<CVoicingRules> Rules(int32_t set, int32_t style = kOpen) {
    CVoicingRules* rules = nullptr;
    EXPECT_EQ(CreateVoicingRules(&rules), 0);
    rules->SelectRuleSet(set);
    rules->SetSpacingStyle(style);
    rules->SetLeadVoice(3);
    return std::unique_ptr<CVoicingRules>(rules);
}

TEST(ComputeScore, IsTheGeometricMeanWithTheNeutralRuleCounted) {
    Setting setting = Tonic({48, 55, 64, 72});  // all factors 1 but a doubled root
    const float log = static_cast<float>(std::log(double{0.8f}));
    EXPECT_EQ(Rules(kVertical)->ComputeScore(Window(setting), 1.0f),
              static_cast<float>(std::exp(double{log / 7.0f})));
}

TEST(ComputeScore, TakesThePriorForTheExitAlone) {
    Setting setting = Tonic({48, 55, 64, 72});
    const auto rules = Rules(kVertical);
    EXPECT_EQ(rules->ComputeScore(Window(setting), 1e-10f), rules->ComputeScore(Window(setting), 5.0f));
    EXPECT_EQ(rules->ComputeScore(Window(setting), 0.0f), 0.0f);
}

TEST(ComputeScore, CutsAPriorOfAMillionMillionthAtSixTenThousandths) {
    // Without its third a triad has the product 0.001 x its doublings.
    const auto rules = Rules(kVertical, kClose);
    Setting above = Tonic({55, 60, 60, 67});  // crossing none, doubled root and fifth ...
    const float product = [&] {
        float p = 1.0f;
        for (int32_t k = 0; k < 7; ++k) {
            p *= RuleSetTable[kVertical].rules[k](Window(above), kClose, 0, Major(), 3);
        }
        return p;
    }();
    ASSERT_GT(product, 0.0f);
    const float limit = static_cast<float>(std::exp(-35.0) / double{product});
    EXPECT_GT(rules->ComputeScore(Window(above), limit * 1.0001f), 0.0f);
    EXPECT_EQ(rules->ComputeScore(Window(above), limit * 0.9999f), 0.0f);
    EXPECT_FALSE(IsBelowScoreFloor(6.31e-4f, 1e-12f));
    EXPECT_TRUE(IsBelowScoreFloor(6.30e-4f, 1e-12f));
}

TEST(ComputeScore, CutsOnTheWayThoughLaterRulesWouldLiftTheProduct) {
    // Parallel fifths fall under the floor before the cadence doubles the product.
    Setting now = Tonic({48, 55, 64, 72});
    Setting before = Dominant({43, 50, 62, 71});
    const auto rules = Rules(kTransition);
    const float full = rules->ComputeScore(Window(now, before), 1.0f);
    ASSERT_GT(full, 0.0f);
    float lowest = 1.0f;
    float product = 1.0f;
    for (int32_t k = 0; k < 8; ++k) {
        product *= RuleSetTable[kTransition].rules[k](Window(now, before), kOpen, 0, Major(), 3);
        lowest = std::min(lowest, product);
    }
    ASSERT_LT(lowest * 1.3f, product);
    const float prior = static_cast<float>(std::exp(-35.0) / double{lowest * 1.15f});
    EXPECT_EQ(rules->ComputeScore(Window(now, before), prior), 0.0f);
    EXPECT_FALSE(IsBelowScoreFloor(product, prior));
}

TEST(ComputeScore, RunsNoRuleBehindAZero) {
    // Parallel octaves end it; the rule of the cadence would read the chord's tones.
    Setting now = Tonic({48, 60, 67, 76});
    Setting before = Dominant({50, 62, 65, 69});
    now.candidate.tones = nullptr;
    EXPECT_EQ(Rules(kTransition)->ComputeScore(Window(now, before), 1.0f), 0.0f);
}

TEST(ComputeScore, WithoutARuleSetIsOne) {
    CVoicingRules rules;
    Setting setting = Tonic({48, 55, 64, 72});
    EXPECT_EQ(rules.ComputeScore(Window(setting), 0.5f), 1.0f);
    rules.SelectRuleSet(2);
    rules.SelectRuleSet(-1);
    EXPECT_EQ(rules.GetRuleCount(), 0);
    EXPECT_EQ(rules.GetKey(), 0);
    EXPECT_EQ(rules.GetScale(), Major());
}

// Random windows: any chord of the tables with any pitches, as SetChordAtNote may bring them.
class RandomWindows {
  public:
    explicit RandomWindows(uint32_t seed) : random_(seed) {}

    PlainVoicing::Problem Settings() {
        PlainVoicing::Problem settings;
        settings.key = Number(0, 11);
        settings.scaleRow = Number(0, 13);
        settings.leadVoice = Number(0, 3);
        settings.spacingStyle = Number(0, 2);
        return settings;
    }
    VoicingWindow Next(const PlainVoicing::Problem& settings) {
        const int32_t* scale = ChoiralizerClassic::ScaleTable[settings.scaleRow];
        VoicingWindow window;
        const int present = Number(2, 4);
        Voicing voicing;
        for (int32_t& pitch : voicing) {
            pitch = Number(40, 76);
        }
        for (int k = 0; k < present; ++k) {
            const int32_t function = Number(1, 4);
            const FunctionChordList& list = FunctionChordTable[Number(0, 1)][function];
            const ChordFunctionEntry& row = list.entries[Number(0, list.count - 1)];
            // Often near the setting before, so that held pairs and parallels are common.
            if (Number(0, 2) != 0) {
                const int32_t shift = Number(-3, 3);
                for (int32_t& pitch : voicing) {
                    pitch += Number(0, 3) != 0 ? shift : Number(-2, 2);
                }
            } else {
                for (int32_t& pitch : voicing) {
                    pitch = Number(40, 76);
                }
            }
            settingsOf_[k] = std::make_unique<Setting>(function, row, voicing, scale);
            settingsOf_[k]->shape = MakeShape(voicing.data(), settings.key, scale);
            window[k] = settingsOf_[k]->Entry();
        }
        return window;
    }
    float Prior() { return std::exp2(static_cast<float>(Number(-50, 30))); }
    int32_t Number(int32_t low, int32_t high) {
        return std::uniform_int_distribution<int32_t>(low, high)(random_);
    }

  private:
    std::mt19937 random_;
    std::unique_ptr<Setting> settingsOf_[4];
};

TEST(ComputeScore, HasTheBitsOfItsDefinition) {
    RandomWindows windows(20);
    int cut = 0;
    for (int round = 0; round < 40000; ++round) {
        const PlainVoicing::Problem settings = windows.Settings();
        const VoicingWindow window = windows.Next(settings);
        const int set = windows.Number(0, 1);
        CVoicingRules rules;
        rules.SelectRuleSet(set);
        rules.SetKey(settings.key);
        rules.SetScale(ChoiralizerClassic::ScaleTable[settings.scaleRow]);
        rules.SetLeadVoice(settings.leadVoice);
        rules.SetSpacingStyle(settings.spacingStyle);
        const float prior = windows.Prior();
        const float expected = PlainVoicing::Score(RuleSetTable[set], window, prior, settings);
        ASSERT_EQ(rules.ComputeScore(window, prior), expected) << "round " << round;
        cut += expected == 0.0f && PlainVoicing::Score(RuleSetTable[set], window, 1e12f, settings) != 0.0f;
    }
    EXPECT_GT(cut, 100);  // the floor has been met
}

TEST(IsBelowScoreFloor, DecidesByTheLogarithmsToTheLastBit) {
    const auto byDefinition = [](float score, float prior) {
        return static_cast<float>(std::log(double{score})) + static_cast<float>(std::log(double{prior})) <
               -35.0f;
    };
    std::mt19937 random(7);
    std::uniform_real_distribution<float> exponent(-34.0f, -1.0f);
    for (int round = 0; round < 20000; ++round) {
        const float score = std::exp(exponent(random));
        const float limit = static_cast<float>(std::exp(-35.0) / double{score});
        float prior = limit;
        for (int k = 0; k < 40; ++k) {
            prior = std::nextafter(prior, 0.0f);
        }
        for (int k = 0; k < 80; ++k) {
            ASSERT_EQ(IsBelowScoreFloor(score, prior), byDefinition(score, prior)) << score << " " << prior;
            prior = std::nextafter(prior, 1.0f);
        }
        for (const float factor : {0.9f, 1.01f, 1.02f, 2.0f}) {
            ASSERT_EQ(IsBelowScoreFloor(score, limit * factor), byDefinition(score, limit * factor));
        }
    }
}

TEST(ScoreBounds, AreNeverExceeded) {
    RandomWindows windows(21);
    float closest = 0.0f;
    for (int round = 0; round < 60000; ++round) {
        const PlainVoicing::Problem settings = windows.Settings();
        const VoicingWindow window = windows.Next(settings);
        const float score = PlainVoicing::Score(RuleSetTable[kTransition], window, 1e12f, settings);
        const float bound =
            SettingScoreBound(window[0], window[1].setting->function) * HistoryScoreBound(window);
        ASSERT_LE(score, bound) << "round " << round;
        closest = std::max(closest, score / bound);
    }
    EXPECT_GT(closest, 0.9f);  // a bound far off would be of no use
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
