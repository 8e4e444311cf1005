// A melody as the steps of the four-part engine read it.
//
// The caller's melody is a list of notes with times. The steps want one value per note: its pitch, and how
// long it lasts until the next note begins, so that a rest counts to the note before it. The record is made
// once per melody and is not written afterwards; each step takes it, and what the steps before it found, and
// returns what it finds:
//
//   FindPhrases        PhraseAnalysis.h      record                   -> where phrases begin
//   FindFunctions    FunctionAssignment.h  record, phrases          -> harmonic function of each note
//   BuildVoicingLists  VoicingLists.h        record, functions        -> settings of each note
//   FindBestPaths      VoicingSearch.h       settings                 -> path scores and links back
//   TraceBestPath      VoicingSearch.h       settings with paths      -> one setting per note
//
// CChoiralizerV2 (ChoiralizerV2.h) runs them in this order and keeps what they return.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mlh::ChoiralizerV2 {

// One note of a melody or a voice row. Times in any unit: only their ratios count, and only in mode 7.
struct NoteItem {
    int32_t pitch = -1;  // MIDI note, -1 none
    float startTime = 0.0f;
    float endTime = 0.0f;
    uint32_t tagA = 0;  // the tags are carried along unchanged
    uint32_t tagB = 0;
    uint32_t tagC = 0;
};

struct NoteList {
    NoteItem* items = nullptr;
    int32_t count = 0;
    int32_t reservedA = 4;  // carried along unchanged
    int32_t reservedB = 4;
};

// Vectors have one entry per note.
struct MelodyRecord {
    std::vector<int32_t> notePitch;
    std::vector<float> noteStart;
    std::vector<float> noteEnd;
    std::vector<float> noteDuration;  // to the next note's start; of the last note to its own end
    float totalDuration = 0.0f;       // first start to last end
    float meanDuration = 0.0f;        // total over count

    size_t Count() const { return notePitch.size(); }
};

// The record of `count` notes, at least one.
MelodyRecord MakeMelodyRecord(const NoteItem* items, size_t count);

// The key and scale that the steps work in. Neither is range-checked.
struct Tonality {
    int32_t key = 0;       // pitch class of the tonic, 0 is C
    int32_t scaleRow = 0;  // row of the scale table: 0 is major, all others count as minor where only two
                           // kinds are distinguished

    const int32_t* Scale() const;  // 12 flags from the tonic up; an unknown row reads as major
};

}  // namespace mlh::ChoiralizerV2
