// One four-voice setting of one note, and the window of settings that the voicing rules look at.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "harmony/ChordModel.h"

namespace ChoiralizerV2 {

// Four pitches, row 0 at the bottom; -1 is a silent row.
using Voicing = std::array<int32_t, 4>;

struct VoicingCandidate {
    const int32_t* tones = nullptr;  // four key-relative tones of the chord, shared constant data
    int32_t bassIndex = -1;          // as in ChordFunctionEntry
    int32_t* voicing = nullptr;      // four pitches, owned by the list or the engine; null in an empty record
    float score = 0.0f;    // own score when built, the best path's score up to here after the search
    int32_t function = 0;  // harmonic function of the note
    int32_t gap = 1;       // how many notes back the previous harmonised note lies, at least 1
    int32_t back = -1;     // best predecessor in the list of that note; -1 none
    int32_t chordType = ChordUnknownTriad;
    const char* name = "";  // constant text, or text that lives as long as the record
    int32_t listSize = 0;   // in the first candidate of a list its size; -1 an absent window entry
};

// All settings of one note. The voicings stand beside the candidates that point at them; moving a list keeps
// the pointers good, copying would not.
struct CandidateList {
    std::vector<VoicingCandidate> candidates;
    std::vector<Voicing> voicings;

    CandidateList() = default;
    CandidateList(CandidateList&&) = default;
    CandidateList& operator=(CandidateList&&) = default;
};

// Entry 0 is the setting under test, 1 the harmonised note before it, 2 and 3 those before; an absent entry 2
// or 3 has a listSize of -1.
using VoicingWindow = std::array<VoicingCandidate, 4>;

}  // namespace ChoiralizerV2
