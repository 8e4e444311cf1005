// One voice, sung by the recording's own singer: a list of segments, each of which maps a stretch of the
// recording onto a stretch of output at a target pitch, and its rendering grain by grain at the pitch marks
// (pitch-synchronous overlap-add after Moulines and Charpentier, 1990).
//
// Times are seconds, pitches are on the MIDI scale. A new voice has one segment per note of the analysis,
// each reaching to the start of the next note, after a lead-in from 0 to the first note; every target is
// the detected pitch, so that it sings a copy of the recording.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh {

class CAudioReader;
class CMELODORPitchAnalysisIf;
class CPitchMarksIf;

// What a caller sees of a segment, and hands in to change it. A "share" is a part of the target length and
// held at 1 at most.
struct SegmentInfo {
    float modulationKeep = 1.0f;  // share of the singer's own pitch movement that stays; 0 is a flat note
    float formantShift = 0.0f;    // semitones
    float gain = 1.0f;            // linear; 0 mutes
    float glideInShare = 0.0f;    // how long the pitch takes to arrive ...
    float glideOutShare = 0.0f;   // ... and to leave
    float glideInExtra = 0.0f;    // semitones on top at the outer end of the glides
    float glideOutExtra = 0.0f;
    float fadeInShare = 0.0f;
    float fadeOutShare = 0.0f;
    float fadeInLevel = 1.0f;  // gain at the outer end of the fades, linear
    float fadeOutLevel = 1.0f;
    // Read: pulled by the pitch correction towards the semitone nearest to the detected pitch. Written: as it
    // stands.
    float targetPitch = 60.0f;
    // Output range, after the global time scale. SetSegmentInfo holds it within the neighbours and shows here
    // what it took, also in a constant record.
    mutable double targetStart = 0.0;
    mutable double targetEnd = 0.0;
    double targetNoteEnd = 0.0;   // where noteEnd comes out; ignored when written
    float detectedPitch = 60.0f;  // of the note, from the analysis
    float level = 0.0f;           // mean level of the segment's marks; ignored when written
    double sourceStart = 0.0;     // range of the recording
    double sourceEnd = 0.0;
    double noteEnd = 0.0;  // where the sung note ends inside it; found again when written
};

// The indices of SetSegmentParameter and GetSegmentParameter; units as in SegmentInfo.
enum SegmentParameter : int32_t {
    SegmentTargetPitch = 0,
    SegmentGlideInShare,
    SegmentGlideOutShare,
    SegmentGlideInExtra,
    SegmentGlideOutExtra,
    SegmentFadeInShare,
    SegmentFadeOutShare,
    SegmentFadeInLevel,
    SegmentFadeOutLevel,
    SegmentFormantShift,
    SegmentModulationKeep,
    SegmentGain,
};
inline constexpr int32_t kSegmentParameters = SegmentGain + 1;

// The indices of SetGlobalParameter and GetGlobalParameter.
enum GlobalParameter : int32_t {
    GlobalTimeScale = 0,        // output time over source time, finite and above 0; initially 1
    GlobalTransposition,        // semitones on top of everything; reads back as 1 / -value, not as the value
    GlobalFormantShift,         // semitones; Reset clears it
    GlobalPitchCorrection,      // 0 to 1, see SegmentInfo::targetPitch; Reset clears it
    GlobalModulationKeepScale,  // multiplies every modulationKeep; initially 1, Reset restores it
    GlobalTransitionScale,      // scales the stretch of each glide that keeps its natural movement; the same
};

// Segments are numbered from 0 in the order of time. A status is 0 for success, 2 for a segment index out of
// range, 1 for another bad argument; then nothing has changed.
//
// One thread at a time. Rendering allocates only when a block or a period is longer than any before.
// Destroyed by DestroyPitchSynthesizer alone.
class CMELODORPitchSynthesizerIf {
  public:
    // Rebuilds the segments from the analysis: splits and edits are forgotten, and the global parameters but
    // time scale and transposition are neutral again. The position stays.
    virtual void Reset() = 0;

    // Renders the next `frames` samples of each channel of the reader (one or two). Silence after the end.
    virtual void Process(float** out, int32_t frames) = 0;
    // Goes on rendering from there. Called every block or two, it scrubs: the source then moves at the pace
    // of the calls.
    virtual void SetPosition(double seconds) = 0;
    virtual double GetPosition() const = 0;
    // Where the last segment ends; 0 without segments.
    virtual double GetDuration() const = 0;

    // The pitch that is sung at that time; -1 where that is unvoiced or outside every segment.
    virtual float GetOutputPitchAt(double seconds) = 0;
    // Linear; 0 outside every segment.
    virtual float GetOutputGainAt(double seconds) = 0;

    virtual int32_t GetSegmentCount() const = 0;
    virtual int32_t RemoveSegment(int32_t index) = 0;
    virtual void ClearSegments() = 0;
    // Inserts before the first segment that starts later; the neighbours keep their times.
    virtual void InsertSegment(const SegmentInfo& info) = 0;
    // Cuts a segment in two at `offset` seconds of output after its start. 1 if that lies after its end.
    virtual int32_t SplitSegment(int32_t index, double offset) = 0;
    // Makes one segment of two neighbours; pass the lower index first. 1 if they are no neighbours.
    virtual int32_t MergeSegments(int32_t first, int32_t second) = 0;
    virtual int32_t GetSegmentInfo(int32_t index, SegmentInfo* info) const = 0;
    // With `adjustNeighbours` the neighbours' edges follow.
    virtual int32_t SetSegmentInfo(int32_t index, const SegmentInfo& info, bool adjustNeighbours) = 0;
    // Sets the output range; both times are held within the neighbours, in place.
    virtual int32_t SetSegmentTimes(int32_t index, double* start, double* end, bool adjustNeighbours) = 0;
    // Moves every target by whole semitones onto the nearest of 1 to 11 pitch classes (0 to 11, 0 is C),
    // within the octave from C to B; 1 for any other number of classes.
    virtual int32_t QuantizeToScale(const std::vector<int32_t>& pitchClasses) = 0;
    virtual int32_t GetSegmentTimes(int32_t index, double* start, double* end) const = 0;

    virtual int32_t SetSegmentParameter(int32_t index, int32_t which, float value) = 0;
    // SetSegmentParameter for each segment from `first` up to `end`, that one excluded; 2 if they are not all
    // there. As long as `end` stays the same the cost does not depend on how many segments lie between: each
    // gets its value when it is asked for.
    virtual int32_t SetSegmentParameters(int32_t first, int32_t end, int32_t which, float value) = 0;
    virtual float GetSegmentParameter(int32_t index, int32_t which) const = 0;  // 0 out of range
    // 1 for an unknown index or a time scale that is not finite and above 0.
    virtual int32_t SetGlobalParameter(int32_t which, float value) = 0;
    virtual float GetGlobalParameter(int32_t which) const = 0;  // -1 out of range

  protected:
    ~CMELODORPitchSynthesizerIf() = default;
};

// Creates a voice over a reader, marks and analysis that it shares and that must outlive it. It has the
// analysis rebuild its frames from the marks. 1, with *out null, for a null argument or without a mark.
int32_t CreatePitchSynthesizer(CMELODORPitchSynthesizerIf** out, CAudioReader* reader, CPitchMarksIf* marks,
                               CMELODORPitchAnalysisIf* analysis);
// Destroys *synthesizer and clears it. 1 for null.
int32_t DestroyPitchSynthesizer(CMELODORPitchSynthesizerIf** synthesizer);

}  // namespace mlh
