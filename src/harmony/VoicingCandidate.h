// One four-voice setting of one note, and the window of settings that the voicing rules look at.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "harmony/ChordModel.h"

namespace mlh::ChoiralizerV2 {

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
    int32_t listSize = 0;   // in the first candidate of a list its size
};

// What the transition rules read off a voicing again and again, worked out once per setting.
struct VoicingShape {
    Voicing sorted;                      // the pitches ascending
    std::array<ScaleDistance, 6> pairs;  // from a voice to one above it, sorted: 01 02 03 12 13 23
};

VoicingShape MakeShape(const int32_t* voicing, int32_t key, const int32_t* scale);

// The chord that a setting is recorded as, in a key. The root is tone plus key, not reduced (-1 for no
// chord); the inversion counts from the chord's bass tone, -1 where the chord is unknown.
ChordInfo ChordOfSetting(const VoicingCandidate& setting, int32_t key);

// The record of a note without a chord that sings the setting of the harmonised note before it. It shares the
// voicing; its type is unknown, and its name says so.
VoicingCandidate InheritedSetting(const VoicingCandidate& from);

// All settings of one note. Voicings and shapes stand beside the candidates, in their order; the candidates
// point at the voicings. Moving a list keeps the pointers good, copying would not.
struct CandidateList {
    std::vector<VoicingCandidate> candidates;
    std::vector<Voicing> voicings;
    std::vector<VoicingShape> shapes;

    CandidateList() = default;
    CandidateList(CandidateList&&) = default;
    CandidateList& operator=(CandidateList&&) = default;
};

// One setting as the rules see it; may be absent.
struct WindowEntry {
    const VoicingCandidate* setting = nullptr;
    const VoicingShape* shape = nullptr;  // only the transition rules read it

    bool IsPresent() const { return setting != nullptr; }
};

// Entry 0 is the setting under test, 1 the harmonised note before it, 2 and 3 those before.
using VoicingWindow = std::array<WindowEntry, 4>;

}  // namespace mlh::ChoiralizerV2
