// The harmony engine: turns a melody, one integer pitch per note, into four rows of pitches and one chord per
// note.
//
// It works in one of two ways, by its mode. Mode 7, its own, derives phrases, harmonic functions, chords and
// a four-voice setting from melody and key alone and ignores chords that were set. Every other mode hands
// each note to the classic engine (classic/Choiralizer.h) with the chords that were set, or with chords
// tracked from the melody, and records what comes back.
//
// This class is the shell: it holds the settings, runs the steps (MelodyRecord.h lists those of mode 7,
// ClassicModes.h has the others, ChordRecognition.h the questions about chords), and keeps what they return.
//
//   mode   words of the parameter block                    setting
//   0      voices above the lead; spread (bits of a float)  three voices searched over chord tones
//   1, 2   the same                                         two voices, one voice
//   3      0 and 1: a pointer to eight words, in pairs      four intervals of sign x size
//   4      style                                            block chords
//   5      variant                                          open fourths
//   6      variant                                          fixed intervals
//   7      row of the lead 0 to 3; -; spacing style         the engine's own setting, style 0 close to 2 wide
//   8      interval; direction 1 or -1                      the lead doubled and one offset voice
//
// Voice rows are numbered 0 to 3 from the bottom up; a row item of -1 is silence there. Order of use: key,
// scales, mode and parameters; SetMelody; chords if any; Calculate, again after any change; GetVoices,
// GetChords. One thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/Codes.h"
#include "base/Numbering.h"
#include "harmony/ChordModel.h"
#include "harmony/ClassicModes.h"
#include "harmony/MelodyRecord.h"
#include "harmony/PhraseAnalysis.h"
#include "harmony/VoicingCandidate.h"
#include "harmony/VoicingLists.h"
#include "harmony/VoicingSearch.h"

namespace mlh {

namespace ChoiralizerClassic {
class CChoiralizer;
struct ClassicChord;
}  // namespace ChoiralizerClassic

namespace ChoiralizerV2 {

struct ChordCandidate;
class CChordsInFunctions;
class CVoicingRules;

// Setters return 0; the other codes are those of components, kBadArgument also where state is missing.
class CChoiralizerV2If {
  public:
    // Key (pitch class of the tonic) and scales (rows of the scale table) of all that follows. Not
    // range-checked. Quantise: move the lead into the input scale first; scale map: then from the input to
    // the output scale.
    virtual int32_t SetKey(int32_t key) = 0;
    virtual int32_t SetInputScale(int32_t row) = 0;
    virtual int32_t SetOutputScale(int32_t row) = 0;
    virtual int32_t SetQuantize(int32_t flag) = 0;
    virtual int32_t SetScaleMap(int32_t flag) = 0;
    virtual int32_t SetMode(int32_t mode) = 0;
    // Keeps the pointer. Only if the mode is 7 by now are the words read here as well; kBadArgument for null.
    virtual int32_t SetParams(const HarmonyParams* params) = 0;
    virtual int32_t GetKey() = 0;
    virtual int32_t GetInputScale() = 0;
    virtual int32_t GetOutputScale() = 0;
    virtual int32_t GetQuantize() = 0;
    virtual int32_t GetScaleMap() = 0;
    virtual int32_t GetMode() = 0;

    // Replaces the chords by n empty ones; kBadArgument for a negative n.
    virtual int32_t SetChordCount(int32_t n) = 0;
    // kBadArgument for an index that has no chord.
    virtual int32_t SetChordAt(int32_t index, ChordInfo chord) = 0;
    virtual int32_t GetChordCount() = 0;
    virtual int32_t GetParams(const HarmonyParams** out) = 0;

    // Silences the four rows and drops the history of the classic engine.
    virtual int32_t ResetVoices() = 0;
    // Copies the melody. Chords stay if their number fits and force is 0, else they are tracked again (mode
    // 7: emptied). An empty list changes nothing.
    virtual int32_t SetMelody(const NoteList* list, int32_t force) = 0;
    // The four rows, and the chords (GetChordCount of them). Both belong to the engine; the items move with
    // the next SetMelody, the chords with that, SetChordCount and Calculate.
    virtual int32_t GetVoices(NoteList** out) = 0;
    virtual int32_t GetChords(ChordInfo** out) = 0;
    // Accepts a text and drops it: no rule can be configured by text yet.
    virtual int32_t ConfigureRules(std::string text) = 0;
    // Fills rows and chords. kBadArgument, and rows and chords as they were, without a melody, with fewer
    // chords than notes (not mode 7), in mode 3 without a pointer, in mode 7 with a lead row outside 0 to 3
    // or a melody note below 0.
    virtual int32_t Calculate() = 0;
    // Sets one note of a mode 7 result again, to this chord.
    virtual int32_t SetChordAtNote(ChordInfo chord, int32_t note) = 0;

    // Write one item, or its tagC, in a row, and in the melody too when the row is the lead's. kBadArgument
    // for a row outside 0 to 3 or a note that does not exist.
    virtual int32_t SetVoiceItem(NoteItem item, int32_t voice, int32_t note) = 0;
    virtual int32_t SetVoiceItemTag(uint32_t tag, int32_t voice, int32_t note) = 0;
    virtual int32_t GetReserved() = 0;  // 0

    virtual bool IsInInputScale(int32_t pitch) = 0;
    virtual bool IsInOutputScale(int32_t pitch) = 0;
    virtual bool ChordInInputScale(ChordInfo chord) = 0;  // true for every chord
    virtual bool ChordInOutputScale(ChordInfo chord) = 0;
    virtual bool ChordContainsPitch(int32_t pitch, ChordInfo chord) = 0;
    // Spells a chord upward from middle C's octave; -1 in unused places.
    virtual int32_t GetChordPitches(ChordInfo chord, int32_t pitches[4]) = 0;
    // Recognises a chord. The pitches, unused ones -1 and last, are reordered in place.
    virtual int32_t ChordFromPitches(ChordInfo* out, int32_t pitches[4]) = 0;
    // List chords in the output scale, and those of them (of every type) that hold the pitch `start`. Return
    // how many; `out` has room for 40 or 20 records, of which the one after the last is an empty chord.
    virtual int32_t ListChordsInScale(ChordInfo* out) = 0;
    virtual int32_t ListChordsWithTones(int32_t start, ChordInfo* out) = 0;

    virtual ~CChoiralizerV2If() = default;
};

// Stores null, then a new engine in mode 7 on C major. Returns 0, kOutOfMemory, or kBadArgument for null.
int32_t CreateChoiralizerV2(CChoiralizerV2If** out);
// Destroys *engine and clears it; null is ignored.
void DestroyChoiralizerV2(CChoiralizerV2If** engine);

class CChoiralizerV2 final : public CChoiralizerV2If {
  public:
    CChoiralizerV2();
    ~CChoiralizerV2() override;
    CChoiralizerV2(const CChoiralizerV2&) = delete;
    CChoiralizerV2& operator=(const CChoiralizerV2&) = delete;

    int32_t SetKey(int32_t key) override;
    int32_t SetInputScale(int32_t row) override;
    int32_t SetOutputScale(int32_t row) override;
    int32_t SetQuantize(int32_t flag) override;
    int32_t SetScaleMap(int32_t flag) override;
    int32_t SetMode(int32_t newMode) override;
    int32_t SetParams(const HarmonyParams* newParams) override;
    int32_t GetKey() override;
    int32_t GetInputScale() override;
    int32_t GetOutputScale() override;
    int32_t GetQuantize() override;
    int32_t GetScaleMap() override;
    int32_t GetMode() override;
    int32_t SetChordCount(int32_t n) override;
    int32_t SetChordAt(int32_t index, ChordInfo chord) override;
    int32_t GetChordCount() override;
    int32_t GetParams(const HarmonyParams** out) override;
    int32_t ResetVoices() override;
    int32_t SetMelody(const NoteList* list, int32_t force) override;
    int32_t GetVoices(NoteList** out) override;
    int32_t GetChords(ChordInfo** out) override;
    int32_t ConfigureRules(std::string text) override;
    int32_t Calculate() override;
    int32_t SetChordAtNote(ChordInfo chord, int32_t note) override;
    int32_t SetVoiceItem(NoteItem item, int32_t voice, int32_t note) override;
    int32_t SetVoiceItemTag(uint32_t tag, int32_t voice, int32_t note) override;
    int32_t GetReserved() override;
    bool IsInInputScale(int32_t pitch) override;
    bool IsInOutputScale(int32_t pitch) override;
    bool ChordInInputScale(ChordInfo chord) override;
    bool ChordInOutputScale(ChordInfo chord) override;
    bool ChordContainsPitch(int32_t pitch, ChordInfo chord) override;
    int32_t GetChordPitches(ChordInfo chord, int32_t pitches[4]) override;
    int32_t ChordFromPitches(ChordInfo* out, int32_t pitches[4]) override;
    int32_t ListChordsInScale(ChordInfo* out) override;
    int32_t ListChordsWithTones(int32_t start, ChordInfo* out) override;

    // The steps of Calculate in mode 7, in the order in which it runs them.
    int32_t AnalysePhrases();
    int32_t AssignFunctions();
    int32_t BuildVoicingCandidates();
    int32_t SearchVoicing();

    // The chords of a function that hold the lead pitch, each with its pitches in the range around the lead
    // (at most `capacity`). If no chord does: one candidate "No Chord" with pitchCount 1.
    std::vector<ChordCandidate> BuildChordCandidates(int32_t leadPitch, int32_t function, int32_t capacity);

    // Writes chord, rows and `chosen` of a note from a setting. Outside mode 7 the chord comes from
    // classicChords[note], or from the setting's pitches if that is null; without a candidate only the chord
    // is written. The record shares the candidate's voicing, whose entries 0 and 3 change places outside
    // mode 7.
    void RecordResult(VoicingCandidate* candidate, int32_t note,
                      const ChoiralizerClassic::ClassicChord* classicChords);

    // Semitones below and above the lead that mode 7 may use, both at least 0; 24 and 0 at the start.
    void SetRange(int32_t below, int32_t above);

    // State, for tools and tests. Vectors have one entry per note.
    const NoteList& GetMelody() const { return melody_; }
    const std::vector<float>& GetNoteDurations() const { return melodyRecord_.noteDuration; }
    const std::vector<int32_t>& GetBoundaryCandidates() const { return phrases_.boundaryCandidate; }
    const std::vector<int32_t>& GetPhraseBoundaries() const { return phrases_.phraseBoundary; }
    const std::vector<int32_t>& GetNoteFunctions() const { return noteFunction_; }
    const std::vector<CandidateList>& GetCandidateLists() const { return candidateLists_; }
    const std::vector<VoicingCandidate>& GetChosen() const { return chosen_; }
    ChoiralizerClassic::CChoiralizer& GetClassic() { return *classic_; }
    CVoicingRules& GetVerticalRules() { return *verticalRules_; }
    CVoicingRules& GetTransitionRules() { return *transitionRules_; }
    float GetTotalDuration() const { return melodyRecord_.totalDuration; }
    float GetMeanDuration() const { return melodyRecord_.meanDuration; }
    int32_t GetLeadVoice() const { return leadVoice_; }
    int32_t GetTopVoice() const { return topVoice_; }
    const std::array<int32_t, 12>& GetScaleOffsets() const { return scaleMap_; }
    bool StateChanged() const { return stateChanged_ != 0; }
    bool ParamsChanged() const { return paramsChanged_ != 0; }

  private:
    size_t NoteCount() const { return static_cast<size_t>(melody_.count); }
    Tonality InputTonality() const { return {inputKey_, inputScale_}; }
    Tonality OutputTonality() const { return {outputKey_, outputScale_}; }
    VoicingLayout Layout() const;
    void ApplyOwnParams();
    void UseCloseSpacing(int32_t widestRange);
    void ClearChosen();
    int32_t CalculateOwn();
    int32_t CalculateClassic();
    void RecordStep(const PathStep& step);
    void WriteRows(const VoicingCandidate& candidate, int32_t note);

    int32_t inputKey_ = 0;
    int32_t outputKey_ = 0;        // all of mode 7 reads this one
    int32_t inputScale_ = 0;       // rows of the scale table
    int32_t outputScale_ = 0;      // all of mode 7 reads this one
    int32_t quantizeToScale_ = 1;  // mirrors of the classic engine's flags
    int32_t mapScale_ = 1;
    int32_t leadVoice_ = 3;  // row of the melody
    int32_t topVoice_ = 3;
    int32_t rangeBelow_ = 24;
    int32_t rangeAbove_ = 0;
    std::array<int32_t, 12> scaleMap_{};              // the classic engine's offsets as they are at the start
    int32_t mode_ = NumberOf(HarmonyMode::FourPart);  // or whatever a caller has set
    const HarmonyParams* params_;

    NoteList melody_;
    std::vector<NoteItem> melodyItems_;
    std::array<NoteList, 4> voices_;
    std::array<std::vector<NoteItem>, 4> voiceItems_;
    std::vector<ChordInfo> chords_;
    MelodyRecord melodyRecord_;  // starts, ends, durations and pitches of the melody as it was set
    int32_t stateChanged_ = 1;   // set by ResetVoices
    int32_t paramsChanged_ = 0;  // set by SetParams

    // What the steps of mode 7 found, per note.
    Phrases phrases_;
    std::vector<int32_t> noteLocked_;  // 1: keeps its function in the search; nothing sets it yet
    std::vector<int32_t> noteFunction_;

    // The last setting of each note. A record points at a voicing in candidateLists, in the scratch voicing
    // of the classic modes, or in ownVoicing_ (SetChordAtNote, with the chord's name in ownName_); that of a
    // note never set has no voicing.
    std::vector<CandidateList> candidateLists_;
    std::vector<VoicingCandidate> chosen_;
    std::vector<Voicing> ownVoicing_;
    std::vector<std::string> ownName_;
    Voicing scratchVoicing_{};

    std::unique_ptr<CChordsInFunctions> chordsInFunctions_;
    std::unique_ptr<CVoicingRules> verticalRules_;    // rule set 0
    std::unique_ptr<CVoicingRules> transitionRules_;  // rule set 1
    std::unique_ptr<ChoiralizerClassic::CChoiralizer> classic_;
};

}  // namespace ChoiralizerV2

}  // namespace mlh
