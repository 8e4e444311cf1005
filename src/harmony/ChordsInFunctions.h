// Answers which chords of a harmonic function contain a melody note.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "harmony/FunctionTables.h"

namespace mlh::ChoiralizerV2 {

// A chord with the pitches that the voices may take from it under one melody note.
struct ChordCandidate {
    const int32_t* tones = nullptr;  // from the chord's row, as all below but the pitches
    int32_t bassIndex = -1;
    std::vector<int32_t> pitches;  // ascending, padded with -1 to the capacity asked for
    int32_t pitchCount = 0;        // how many of them count
    float weight = 0.0f;
    int32_t chordType = ChordUnknownTriad;
    const char* name = "";
};

class CChordsInFunctions {
  public:
    CChordsInFunctions();
    virtual ~CChordsInFunctions() = default;

    // Scale row: 0 selects the major lists, any other row the minor ones.
    void SetMode(int32_t row) { mode_ = row; }
    int32_t GetMode() const { return mode_; }

    // Chords of the function (0 to 4; others have none) that hold the pitch class above the key.
    int32_t CountChordsWithTone(int32_t function, int32_t pitchClass) const;
    // Copies them in list order; `out` has room for as many as counted.
    void CopyChordsWithTone(ChordFunctionEntry* out, int32_t function, int32_t pitchClass) const;
    // The row "No Chord".
    void GetNoChord(ChordFunctionEntry* out) const;

  private:
    const FunctionChordList* ListOf(int32_t function) const;

    std::array<std::array<FunctionChordList, kFunctionCount>, 2> lists_;  // own copy, [major, minor]
    int32_t mode_ = 0;
};

// Stores null, then a new instance, which the caller deletes. Returns 0 or kOutOfMemory.
int32_t CreateChordsInFunctions(CChordsInFunctions** out);

// A lead pitch and the semitones below and above it that other voices may take, both at least 0.
struct LeadRange {
    int32_t lead;
    int32_t below;
    int32_t above;
};

// The chords of a function, in list order, that hold the lead pitch, each with its pitches in the range (at
// most `capacity`). If no chord does: one candidate "No Chord" with pitchCount 1.
std::vector<ChordCandidate> FindChordCandidates(const CChordsInFunctions& chords, int32_t function,
                                                int32_t key, const LeadRange& range, int32_t capacity);

}  // namespace mlh::ChoiralizerV2
