// Analysis of one lead vocal from end to end: pitch marks become frames, frames become notes, notes
// give tuning and key.
#pragma once

#include <cstdint>

namespace mlh {

class CPitchMarksIf;

// One frame per pitch mark, so frames are a period apart, not equally spaced in time.
struct AnalysisFrame {
    float pitch;       // fractional MIDI scale, 69 = 440 Hz; 0 where the mark has no period
    float energy;      // mean square since the mark before; 1 is the loudest frame once normalised
    int32_t voiced;    // non-zero: voiced
    int32_t position;  // sample in the recording
};
static_assert(sizeof(AnalysisFrame) == 16);

struct AnalysisNote {
    float pitch;            // fractional MIDI scale
    float energy;           // mean frame energy
    int32_t length;         // endPosition - startPosition [samples]
    int32_t startPosition;  // position of firstFrame [samples]
    int32_t endPosition;    // position of lastFrame [samples]
    int32_t firstFrame;     // index
    int32_t lastFrame;      // index; the note's sound ends here, means leave this frame out
};
static_assert(sizeof(AnalysisNote) == 28);

// Order of use: ProcessInput for each block, FinishInput, RunAllSteps; then frames, notes, tuning and
// key can be read. Nothing is known before the whole recording has gone in.
//
// One thread at a time. Arrays handed out belong to the object and hold until the next call that
// rebuilds them (a step, SetFrames, SetNotes, BuildFrames, Deserialize).
//
// Codes: 0 success, kWrongState wrong state, kBadArgument bad argument.
class CMELODORPitchAnalysisIf {
  public:
    virtual ~CMELODORPitchAnalysisIf() = default;

    // Takes `frameCount` samples of each channel and places the marks they allow.
    virtual int32_t ProcessInput(const float* const* channels, int32_t frameCount) = 0;
    // Ends the recording: the last mark stands at its end.
    virtual int32_t FinishInput() = 0;
    // Back to the created state for another recording; the settings below stay.
    virtual int32_t Reset() = 0;

    // Runs one step of the chain, which must be run in this order:
    //   0 frames from marks        1 normalised energies     2 jump rejection
    //   3 vibrato flattening       4 outlier repair          5 median levelling
    //   6 step marking             7 note segmentation       8 note refinement
    // kWrongState for step 0 without marks. Any other number does nothing and gives 0.
    virtual int32_t RunStep(int32_t step) = 0;
    // The whole chain. kWrongState without marks.
    virtual int32_t RunAllSteps() = 0;

    // Stores the note array and returns its length.
    virtual int32_t GetNotes(const AnalysisNote** notes) = 0;
    // Pitch and mean energy of the frames `first` to `last` - 1. kBadArgument unless 0 <= first <= last, both
    // below the frame count. An empty range has no finite energy.
    virtual int32_t GetFrameRangeStats(float* pitch, float* energy, int32_t first, int32_t last) = 0;
    // Places the marks of one stretch again, at a pitch given by the caller: `length` samples of each
    // channel of `source`, starting at mark `markIndex`.
    virtual int32_t ReanalyzeSegment(const float* const* source, int32_t length, int32_t markIndex,
                                     float midiPitch) = 0;
    // Stores the array of raw frames and returns its length.
    virtual int32_t GetFrames(const AnalysisFrame** frames) = 0;

    // How far the melody lies off the grid of A = 440 Hz [semitones], about -0.5 to 0.5.
    virtual float EstimateTuning() = 0;
    // 0 to 11 major on that pitch class (0 is C), 12 to 23 minor, -1 none. `transpose` [semitones] is
    // added to every note.
    virtual int32_t EstimateKey(int32_t transpose) = 0;

    // Replace frames or notes by a copy. Frame numbers of notes are held within the frames.
    virtual int32_t SetFrames(const AnalysisFrame* frames, int32_t count) = 0;
    virtual int32_t SetNotes(const AnalysisNote* notes, int32_t count) = 0;
    // Rebuilds all frames from the marks; notes stay, and so does the place of the array while the number of
    // marks is the same.
    virtual void BuildFrames() = 0;

    // [semitones] notes nearer than this may be merged; initially 0.75.
    virtual void SetMergeThreshold(float semitones) = 0;
    virtual float GetMergeThreshold() = 0;
    // [s] shorter notes are dropped or merged; initially 0.042. Held in whole samples, like the gaps.
    virtual void SetMinNoteLength(float seconds) = 0;
    virtual float GetMinNoteLength() = 0;
    // [s] gaps below this may be bridged by a merge, and glides up to it are dropped; initially 0.092.
    virtual void SetMergeGap(float seconds) = 0;
    virtual float GetMergeGap() = 0;
    // [s] kept for callers, used by no step; initially 0.184.
    virtual void SetReserveGap(float seconds) = 0;
    virtual float GetReserveGap() = 0;

    // Scales the energies of the raw frames and unvoices faint frames and the frame before an onset.
    virtual void NormalizeFrames() = 0;
    // Mean pitch of the middle half of the voiced frames from `first` to `last` - 1 of an array as long
    // as the object's own; 0 without a voiced one.
    virtual float EstimatePitch(const AnalysisFrame* frames, int32_t first, int32_t last) = 0;

    // [dB] harmonicity that a voice of 160 Hz and up must reach to count as voiced; initially 0.
    virtual void SetVoicingThreshold(float decibels) = 0;
    virtual float GetVoicingThreshold() = 0;

    // Marks and notes as 32-bit words in network byte order: magic 0x00747271, format 20203, mark count
    // M, note count N, M PitchMark records, N AnalysisNote records. Floats go as their bits.
    virtual int32_t GetSerializedSize() = 0;
    // `buffer` holds GetSerializedSize() bytes.
    virtual int32_t Serialize(void* buffer) = 0;
    // Takes marks and notes from such a block and rebuilds the frames. Returns 1, or 0 for a wrong magic
    // or size, and then nothing has changed. Any format number is taken.
    virtual int32_t Deserialize(const void* buffer, int32_t size) = 0;
};

// Creates an analysis that fills and reads `marks`, which the caller owns and which must outlive it.
// kBadArgument, with *out untouched, unless 7999 < sampleRate < 256000 [Hz], 1 <= channelCount <= 47 and
// marks is not null.
int32_t CreatePitchAnalysis(CMELODORPitchAnalysisIf** out, CPitchMarksIf* marks, float sampleRate,
                            int32_t channelCount);
// Deletes *analysis and clears it. kBadArgument for null.
int32_t DestroyPitchAnalysis(CMELODORPitchAnalysisIf** analysis);

}  // namespace mlh
