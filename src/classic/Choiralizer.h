// The note-by-note voicing engine.
//
// Given one lead note at a time, a key, two scales and, for the chord styles, one chord, it answers with up
// to three harmony pitches. Two families of styles share the state below:
//
//   VoiceChord                  scored search over the chord tones around the lead (CandidateSearch.cpp)
//   VoiceIntervals and others   voices by fixed arithmetic on the scale (DirectStyles.cpp)
//
// and TrackChords finds chords for a bare melody (ChordTracking.cpp). Pitches are integer semitone numbers, a
// pitch class is the number modulo 12. Keys are tonics 0..11, scales are rows of ScaleTable.
//
// An instance belongs to one thread at a time. The search remembers its last voicing, so notes are to be
// given in order, with ResetHistory before each run over a melody.
#pragma once

#include <cstdint>
#include <vector>

#include "base/Codes.h"
#include "classic/ScaleTable.h"

namespace mlh::ChoiralizerClassic {

// A chord as this engine takes it.
struct ClassicChord {
    int32_t root;         // pitch class
    int32_t noteCount;    // 3 or 4
    int32_t triadType;    // see below
    int32_t seventhType;  // see below
};

// ClassicChord::triadType
enum TriadType : int32_t {
    TriadMajor = 0,
    TriadMinor,
    TriadDiminished,
    TriadAugmented,
    TriadOther,  // any other three notes
    TriadNone,
};

// ClassicChord::seventhType
enum SeventhType : int32_t {
    SeventhMajor = 6,
    SeventhMinor,
    SeventhDominant,
    SeventhHalfDiminished,
    SeventhDiminished,
    SeventhMinorMajor,
    SeventhOther,  // any other four notes
    SeventhNone,
};

// "No chord": neither a triad nor a seventh chord.
inline bool IsEmptyChord(const ClassicChord& chord) {
    return chord.triadType == TriadNone && chord.seventhType == SeventhNone;
}

// The result of a note: entry 0 the lead as prepared, entries 1..3 the harmony pitches, -1 for an unused
// voice.
using VoiceResult = int32_t[4];

class CChoiralizer {
  public:
    // Stores null, then a new engine. Returns 0, kOutOfMemory, or kBadArgument for null.
    // The caller deletes the engine.
    static int32_t Create(CChoiralizer** instance);

    virtual ~CChoiralizer();
    CChoiralizer(const CChoiralizer&) = delete;
    CChoiralizer& operator=(const CChoiralizer&) = delete;

    // Settings. All return 0 unless said. Keys and rows are taken as they come.
    int32_t SetKey(int32_t key);          // tonic of both scales
    int32_t SetInputScale(int32_t row);   // the scale the lead note is snapped to
    int32_t SetOutputScale(int32_t row);  // the scale of all harmony arithmetic
    int32_t SetQuantize(int32_t flag);    // snap the lead note into the input scale
    int32_t SetScaleMap(int32_t flag);    // then move it from the input to the output scale
    // 0 three voices, 1 two, 2 one; the voices above the lead follow by a fixed rule. Any other mode keeps
    // the number of voices.
    int32_t SetVoiceMode(int32_t mode);
    // How many voices lie above the lead, 0..GetVoiceCount(); else kBadArgument and nothing changes.
    int32_t SetVoicesAbove(int32_t n);
    // Wanted width of the voicing as a fraction of the range, 0..1; else kBadArgument and nothing changes.
    int32_t SetSpread(float x);
    // Forgets the last voicing. The random generator goes on.
    int32_t ResetHistory();

    int32_t GetQuantize() const { return quantizeToScale_; }
    int32_t GetKey() const { return inputKey_; }
    int32_t GetInputScale() const { return inputScale_; }
    int32_t GetScaleMap() const { return mapScale_; }
    int32_t GetOutputScale() const { return outputScale_; }

    // Chord-tone search. The empty chord repeats the last voicing. A chord without any tone in range leaves
    // the result and the history as they were; so does a null result.
    void VoiceChord(int32_t note, int32_t* result, const ClassicChord& chord);

    // Four intervals in scale steps from the lead, negative downwards; 7 and -7 are octaves, but not on the
    // pentatonic rows, where also the first interval is ignored. Returns 0, or kBadArgument for a null
    // pointer.
    int32_t VoiceIntervals(int32_t note, int32_t* result, const int32_t* intervals);

    // Block chords below the lead: 0, 1 closed, 2, 3 octave, 4, 5 open, the odd ones with passing chords
    // towards `nextNote`; 6, 7, 8 random stacks. Returns 0, or kBadArgument for a null result or another
    // style.
    int32_t VoiceBlock(int32_t note, int32_t nextNote, int32_t* result, int32_t style);

    // Open fourths around (variant 0, 1) or below the lead. A null result does nothing.
    void VoiceOpenFourths(int32_t note, int32_t* result, int32_t variant);

    // One or two fixed intervals, in scale steps when the scale map is on, else in semitones: 0, 1 a fourth
    // up, down; 2, 3 a fifth; 4, 5 an octave; 6 fifth down and fourth up. Returns 0, or kBadArgument for a
    // null result or another variant.
    int32_t VoiceFixedInterval(int32_t note, int32_t* result, int32_t variant);

    // The lead in voices 0 to 2 and one voice `interval` semitones above (direction 2) or below it. Returns
    // 0, or kBadArgument for a null result or an interval without a direction (0).
    int32_t VoiceDouble(int32_t note, int32_t* result, int32_t interval, int32_t direction);

    // The likeliest triads under a melody, one for each of its `count` notes. Fewer than one note: nothing.
    void TrackChords(const int32_t* notes, ClassicChord* chordsOut, int32_t count) const;

    // The chord of up to four pitches, absent ones -1 and last. Root and types by stacking in thirds; fewer
    // than three different pitch classes give TriadNone, SeventhNone and the count.
    static ClassicChord IdentifyChord(int32_t a, int32_t b, int32_t c, int32_t d);

    // The chords of the output scale that contain a note: entries 0..2 the triads with it as root, third and
    // fifth, entries 3..6 the seventh chords. On a pentatonic scale a triad that lacks a tone is TriadNone;
    // seventh chords are those of the parent scale. Out of the scale: TriadNone, SeventhNone on the note.
    void ChordsOfNote(int32_t note, ClassicChord* chords, int32_t n) const;

    // Whether a chord is the one that the output scale gives on its root.
    bool IsDiatonic(const ClassicChord& chord) const;

    // The lead note as the styles see it: snapped into the input scale (the nearer tone, the lower of two
    // equally near), then moved to the output scale, as the two flags say.
    int32_t PrepareNote(int32_t note) const;

    // The rest of the state.
    int32_t GetVoiceMode() const { return voiceMode_; }
    int32_t GetVoicesAbove() const { return voicesAbove_; }
    int32_t GetVoiceCount() const { return voiceCount_; }
    float GetSpread() const { return spreadTarget_; }
    int32_t GetLowLimit() const { return lowLimit_; }    // lowest candidate, relative to the lead, <= 0
    int32_t GetHighLimit() const { return highLimit_; }  // highest candidate, relative to the lead, >= 0
    int32_t GetCandidateCapacity() const { return candidateCapacity_; }
    // Of the last search: its candidates, ascending, the rest of the capacity -1; and the score of a voicing,
    // by the candidates' indices below GetCandidateCount().
    const std::vector<int32_t>& GetCandidates() const { return candidates_; }
    int32_t GetCandidateCount() const { return candidateCount_; }
    float GetScore(int32_t i, int32_t j, int32_t k) const;
    const int32_t* GetLastVoicing() const { return lastVoicing_; }  // 4 entries, all -1 for none yet
    int32_t GetStepDirection() const { return stepDirection_; }     // last single step: 1 down, 2 up
    const int32_t* GetScaleOffsets() const { return scaleMap_; }    // 12 entries by pitch class

  private:
    CChoiralizer();

    KeyedScale InputScale() const { return {inputKey_, inputScale_}; }
    KeyedScale OutputScale() const { return {outputKey_, outputScale_}; }
    KeyedScale ParentScale() const { return {outputKey_, ParentRow(outputScale_)}; }

    void BuildScaleMap();
    void UpdateLimits();
    void CollectCandidates(int32_t lead, const ClassicChord& chord);
    void SearchVoices(int32_t searchMode, int32_t lead, int32_t* result, const ClassicChord& chord);
    int32_t RandomBit();

    int32_t inputKey_ = 0;
    int32_t outputKey_ = 0;
    int32_t inputScale_ = ScaleMajor;
    int32_t outputScale_ = ScaleMajor;
    int32_t quantizeToScale_ = 1;
    int32_t mapScale_ = 1;
    int32_t voiceMode_ = 0;
    int32_t voicesAbove_ = 1;
    int32_t voiceCount_ = 3;
    int32_t candidateCapacity_ = 0;
    std::vector<int32_t> candidates_;
    int32_t candidateCount_ = 0;
    VoiceResult lastVoicing_ = {-1, -1, -1, -1};  // with the lead, ascending
    int32_t lowLimit_ = 0;
    int32_t highLimit_ = 0;
    int32_t scaleMap_[12] = {};
    std::vector<float>
        scoreCube_;  // candidateCapacity cubed; n candidates use the first n cubed as [n][n][n]
    float spreadTarget_ = 0.5f;
    int32_t stepDirection_ = 0;
    uint32_t randomState_ = 42;
};

}  // namespace mlh::ChoiralizerClassic
