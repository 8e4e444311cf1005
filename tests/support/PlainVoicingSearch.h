// The four-voice search written down without any thought of speed: every triple of pitches, every pair of
// neighbouring settings, every rule with its logarithm. The engine's search must give the same bits.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "harmony/VoicingCandidate.h"
#include "harmony/VoicingRules.h"

namespace mlh::PlainVoicing {

struct Problem {
    std::vector<int32_t> pitches;    // the lead, one per note
    std::vector<int32_t> functions;  // harmonic function of each note
    int32_t key = 0;
    int32_t scaleRow = 0;
    int32_t leadVoice = 3;
    int32_t spacingStyle = 1;
    int32_t rangeBelow = 24;
    int32_t rangeAbove = 0;
};

struct Solution {
    std::vector<ChoiralizerV2::CandidateList> lists;
    std::array<std::vector<int32_t>, 4> rows;
    std::vector<ChoiralizerV2::VoicingCandidate> chosen;  // what each note was recorded from
};

// The score of CVoicingRules::ComputeScore by its definition.
float Score(const ChoiralizerV2::VoicingRuleSet& set, const ChoiralizerV2::VoicingWindow& window, float prior,
            const Problem& settings);

void BuildLists(const Problem& problem, Solution& solution);
void Search(const Problem& problem, Solution& solution);
void Trace(const Problem& problem, Solution& solution);

// All three.
Solution Solve(const Problem& problem);

}  // namespace mlh::PlainVoicing
