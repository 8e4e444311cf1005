// One segment of a voice, and what its place in the voice and its shape make of pitch and gain.
#pragma once

#include <cstdint>
#include <span>

#include "analysis/PitchAnalysis.h"

namespace mlh {

class CPitchMarksIf;

// The global parameters as rendering uses them.
struct VoiceSettings {
    float timeScale = 1.0f;
    float inverseTimeScale = 1.0f;
    float transposition = 1.0f;          // factor on all output periods
    float formantShift = 1.0f;           // factor on the read step in a grain ...
    float formantShiftSemitones = 0.0f;  // ... and the value it was made from
    float pitchCorrection = 0.0f;
    float modulationKeepScale = 1.0f;
    float transitionScale = 1.0f;
};

// Times are seconds unless said otherwise, pitches on the MIDI scale. "Offset" is output samples since the
// segment's start.
struct SynthSegment {
    // Where rendering stands.
    int32_t positioned = 0;       // 0 until rendering has entered the segment
    double sourcePosition = 0.0;  // samples of the recording
    double outputOffset = 0.0;    // of the grain placed last
    int32_t currentMark = 0;      // of the grain placed last

    int32_t firstMark = 0;  // marks of the source range
    int32_t lastMark = 0;
    float pitchOffset = 0.0f;  // targetPitch - detectedPitch
    float stretch = 1.0f;      // source length over target length
    float sampleRate = 0.0f;
    float modulationKeep = 1.0f;  // share of the source's pitch movement that stays
    float formantRatio = 1.0f;
    float gain = 1.0f;
    float glideInShare = 0.0f;  // shares are of the target length, 1 at most
    float glideOutShare = 0.0f;
    float glideInExtra = 0.0f;  // semitones
    float glideOutExtra = 0.0f;
    float fadeInShare = 0.0f;
    float fadeOutShare = 0.0f;
    float fadeInLevel = 1.0f;  // gain at the outer end of the fades
    float fadeOutLevel = 1.0f;
    double targetStart = 0.0;  // output range before the global time scale
    double targetEnd = 0.0;
    float targetPitch = 0.0f;
    float detectedPitch = 0.0f;
    float level = 0.0f;        // mean root of the marks' energies
    double sourceStart = 0.0;  // source range
    double sourceEnd = 0.0;
    double noteEnd = 0.0;              // end of the sung note inside the source range
    SynthSegment* previous = nullptr;  // neighbours, null at the ends
    SynthSegment* next = nullptr;
    const CPitchMarksIf* marks = nullptr;
    std::span<const AnalysisFrame> markRecords;  // one per mark
};

// Marks out of range count as unvoiced, at pitch 0.
bool IsVoiced(const SynthSegment& segment, int32_t mark);
float MarkPitch(const SynthSegment& segment, int32_t mark);

// Finds how long the pitch takes to arrive at the detected pitch and to leave it, as shares of the target
// length, and the mean level.
void MeasureTransitions(SynthSegment& segment);

// Semitones between a mark of the recording and what is sung there: the offset to the target, the glides
// towards the neighbours' offsets, and the flattening of the singer's own movement.
float PitchShiftAt(const SynthSegment& segment, const VoiceSettings& settings, int32_t mark, double offset);

// Gain with fades, linear.
float GainAt(const SynthSegment& segment, const VoiceSettings& settings, double offset);

}  // namespace mlh
