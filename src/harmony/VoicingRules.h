// Judges four-voice settings by the rules of classical part writing.
//
// A rule does not forbid: it answers a factor, 1 being neutral, and the score of a setting is the geometric
// mean of the factors of its rule set, so that a setting that breaks a rule is merely much less likely than
// one that keeps it. A factor of 0 discards the setting.
//
// Set 0 judges a setting on its own (order of the voices, doubling, spacing, bass), set 1 the move to it from
// the settings before (parallels, leaps, resolutions). Factors and scores are 32-bit floats; logarithms,
// exponentials and powers are computed in 64 bits and rounded. Their exact bits decide ties in the search.
#pragma once

#include <cstdint>

#include "harmony/VoicingCandidate.h"

namespace mlh::ChoiralizerV2 {

// One rule: the factor for window entry 0, under the settings of CVoicingRules.
using VoicingRule = float (*)(const VoicingWindow& window, int32_t spacingStyle, int32_t key,
                              const int32_t* scale, int32_t leadVoice);

struct VoicingRuleSet {
    const VoicingRule* rules;
    const float* weights;  // one per rule; a rule of weight 0 is left out
    int32_t count;
};

// The rules of each set, in the order in which their factors are multiplied.
enum VerticalRule : int32_t {
    RuleNoCrossing,    // no voice above the next one up
    RuleDoubling,      // which chord tones may be doubled, and how often
    RuleThirdPresent,  // a chord without its third is hardly one
    RuleBassPosition,  // which tone of the chord lies in the bass
    RuleSpacing,       // distances of neighbouring voices, by the spacing style
    RuleNeutral,       // always 1; it counts toward the mean
    RuleSeventhBonus,  // four-note chords are welcome
};
enum TransitionRule : int32_t {
    RuleSharedUnison,  // two voices that move in unison
    RuleParallels,     // parallel unisons, fifths, octaves; thirds and sixths are welcome
    RuleStaticBass,    // a bass that stays
    RuleOuterMotion,   // outer voices in the same or in contrary motion for three moves
    RuleVoiceLeading,  // how far voices move, leaps of the bass, cadences, the seventh's resolution
    RuleSecondaryDominantResolves,  // the tonic seventh chord leads to the subdominant
    RuleNeapolitanToSixFour,        // welcome chord progressions
    RuleSixFourToSeventh,
};
extern const VoicingRuleSet RuleSetTable[2];

// What a voice pair that moves in parallel is worth: by the pair's interval in steps, plus 7 for an octave
// and more, when the lower voice moves by less than two steps, or leaps. An octave has an entry of its own at
// 7, so intervals beyond it read one entry to the left of their simple ones.
extern const float StepTable[15];
extern const float LeapTable[15];

class CVoicingRules {
  public:
    CVoicingRules();
    virtual ~CVoicingRules() = default;
    CVoicingRules(const CVoicingRules&) = delete;
    CVoicingRules& operator=(const CVoicingRules&) = delete;

    // Takes rules and weights from RuleSetTable. Another index leaves them as they are.
    void SelectRuleSet(int32_t index);

    // Geometric mean of the factors for window entry 0. It is 0 for a prior of 0, and as soon as a factor is
    // 0 or ln(product of the factors so far) + ln(prior) is below -35, which keeps the scores of a long
    // search above the range where floats lose bits. Else the prior does not enter the result.
    float ComputeScore(const VoicingWindow& window, float prior) const;

    void SetKey(int32_t newKey) { key_ = newKey; }                  // pitch class of the tonic, 0 is C
    void SetScale(const int32_t* row) { scale_ = row; }             // 12 flags from the tonic up, not copied
    void SetLeadVoice(int32_t index) { leadVoice_ = index; }        // row of the melody, 0 to 3
    void SetSpacingStyle(int32_t style) { spacingStyle_ = style; }  // 0 close, 1 open, 2 and up wide

    int32_t GetRuleCount() const { return ruleCount_; }
    int32_t GetKey() const { return key_; }
    const int32_t* GetScale() const { return scale_; }
    int32_t GetLeadVoice() const { return leadVoice_; }
    int32_t GetSpacingStyle() const { return spacingStyle_; }

  private:
    const VoicingRule* rules_ = nullptr;
    const float* weights_ = nullptr;
    int32_t ruleCount_ = 0;
    int32_t key_ = 0;
    const int32_t* scale_;  // initially major
    int32_t leadVoice_ = 0;
    int32_t spacingStyle_ = 0;
};

// Whether ln(score) + ln(prior) is below -35: such a score counts as 0. Both above 0.
bool IsBelowScoreFloor(float score, float prior);

// A score of set 1 never exceeds the product of these two, so a search can leave out what cannot win. The
// first is what the setting under test decides by itself, given the harmonic function before it; the second
// what entries 1 to 3 of a window decide, whatever entry 0 is.
float SettingScoreBound(const WindowEntry& entry, int32_t functionBefore);
float HistoryScoreBound(const VoicingWindow& window);

// Stores null, then a new instance without rules, which the caller deletes. Returns 0 or kOutOfMemory.
int32_t CreateVoicingRules(CVoicingRules** out);

}  // namespace mlh::ChoiralizerV2
