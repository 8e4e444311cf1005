#include "synthesis/PitchSynthesizer.h"

#include <algorithm>
#include <cmath>

#include "analysis/PitchMarks.h"
#include "audio/AudioReader.h"
#include "base/Codes.h"
#include "base/PitchUnits.h"
#include "base/Truncate.h"
#include "synthesis/PitchSynthesizerImpl.h"

namespace mlh {

int32_t CreatePitchSynthesizer(CMELODORPitchSynthesizerIf** out, CAudioReader* reader, CPitchMarksIf* marks,
                               CMELODORPitchAnalysisIf* analysis) {
    if (out == nullptr) {
        return kVoiceBadArgument;
    }
    *out = nullptr;
    if (reader == nullptr || marks == nullptr || analysis == nullptr) {
        return kVoiceBadArgument;
    }

    // The cleaning chain has cleared voiced flags to cut notes; a grain wants to know what really is voiced.
    analysis->BuildFrames();
    const AnalysisFrame* frames = nullptr;
    const int32_t frameCount = analysis->GetFrames(&frames);
    if (frameCount < 1) {
        return kVoiceBadArgument;
    }
    analysis->NormalizeFrames();
    const AnalysisNote* notes = nullptr;
    const int32_t noteCount = analysis->GetNotes(&notes);

    *out = new CMELODORPitchSynthesizer(*reader, *marks, {notes, static_cast<size_t>(noteCount)},
                                        {frames, static_cast<size_t>(frameCount)});
    return 0;
}

int32_t DestroyPitchSynthesizer(CMELODORPitchSynthesizerIf** synthesizer) {
    if (synthesizer == nullptr || *synthesizer == nullptr) {
        return kVoiceBadArgument;
    }
    delete static_cast<CMELODORPitchSynthesizer*>(*synthesizer);
    *synthesizer = nullptr;
    return 0;
}

CMELODORPitchSynthesizer::CMELODORPitchSynthesizer(CAudioReader& reader, const CPitchMarksIf& marks,
                                                   std::span<const AnalysisNote> notes,
                                                   std::span<const AnalysisFrame> frames)
    : reader_(reader),
      marks_(marks),
      notes_(notes),
      frames_(frames),
      sampleRate_(static_cast<float>(reader.GetSampleRate())),
      output_(nullptr, 0, 0),
      grainSource_(2, 0),
      accumulator_(2, 0) {
    BuildSegments();
}

void CMELODORPitchSynthesizer::Reset() {
    ClearSegments();
    BuildSegments();
    const VoiceSettings neutral;
    settings_.modulationKeepScale = neutral.modulationKeepScale;
    settings_.pitchCorrection = neutral.pitchCorrection;
    settings_.transitionScale = neutral.transitionScale;
    settings_.formantShift = neutral.formantShift;
    settings_.formantShiftSemitones = neutral.formantShiftSemitones;
}

int32_t CMELODORPitchSynthesizer::SetGlobalParameter(int32_t which, float value) {
    switch (which) {
        case GlobalTimeScale:
            if (!(value > 0.0f) || !std::isfinite(value)) {
                return kVoiceBadArgument;
            }
            settings_.timeScale = value;
            settings_.inverseTimeScale = 1.0f / value;
            return 0;
        case GlobalTransposition:
            settings_.transposition = SemitonesToRatio32(-static_cast<double>(value));
            return 0;
        case GlobalFormantShift:
            settings_.formantShift = SemitonesToRatio32(value);
            settings_.formantShiftSemitones = value;
            return 0;
        case GlobalPitchCorrection:
            settings_.pitchCorrection = value;
            return 0;
        case GlobalModulationKeepScale:
            settings_.modulationKeepScale = value;
            return 0;
        case GlobalTransitionScale:
            settings_.transitionScale = value;
            return 0;
        default:
            return kVoiceBadArgument;
    }
}

float CMELODORPitchSynthesizer::GetGlobalParameter(int32_t which) const {
    switch (which) {
        case GlobalTimeScale:
            return settings_.timeScale;
        case GlobalTransposition:  // the reciprocal of what was set, infinite at 0; callers know it so
            return static_cast<float>(1.0 / RatioToSemitones(static_cast<double>(settings_.transposition)));
        case GlobalFormantShift:
            return settings_.formantShiftSemitones;
        case GlobalPitchCorrection:
            return settings_.pitchCorrection;
        case GlobalModulationKeepScale:
            return settings_.modulationKeepScale;
        case GlobalTransitionScale:
            return settings_.transitionScale;
        default:
            return -1.0f;
    }
}

double CMELODORPitchSynthesizer::GetPosition() const { return ToSeconds(outputPosition_); }

double CMELODORPitchSynthesizer::GetDuration() const {
    return segments_.empty() ? 0.0 : segments_.back()->targetEnd * static_cast<double>(settings_.timeScale);
}

float CMELODORPitchSynthesizer::GetOutputPitchAt(double seconds) {
    const double outputSample = seconds * static_cast<double>(sampleRate_);
    const SynthSegment* segment = LookUpSegment(outputSample);
    if (segment == nullptr) {
        return -1.0f;
    }
    const double offset = outputSample - OutputStart(*segment);
    const int32_t mark = FindMark(*segment, SourcePositionAt(*segment, offset));
    if (!IsVoiced(*segment, mark)) {
        return -1.0f;
    }
    const double transposition = -RatioToSemitones(static_cast<double>(settings_.transposition));
    return MarkPitch(*segment, mark) + PitchShiftAt(*segment, settings_, mark, offset) +
           static_cast<float>(transposition);
}

float CMELODORPitchSynthesizer::GetOutputGainAt(double seconds) {
    const double outputSample = seconds * static_cast<double>(sampleRate_);
    const SynthSegment* segment = LookUpSegment(outputSample);
    return segment == nullptr ? 0.0f : GainAt(*segment, settings_, outputSample - OutputStart(*segment));
}

// Callers mostly go forward, so the segment found last is tried first and the start of the list last.
const SynthSegment* CMELODORPitchSynthesizer::LookUpSegment(double outputSample) {
    SettleSegments();
    int32_t found = FindSegment(outputSample, lookupSegmentIndex_);
    if (found < 0 && lookupSegmentIndex_ > 0) {
        found = FindSegment(outputSample, 0);
    }
    lookupSegmentIndex_ = found;
    return found < 0 ? nullptr : segments_[found].get();
}

double CMELODORPitchSynthesizer::OutputStart(const SynthSegment& segment) const {
    return static_cast<double>(sampleRate_) * segment.targetStart * static_cast<double>(settings_.timeScale);
}

// The first segment, from index `from` on, whose output range holds the instant, both ends included.
int32_t CMELODORPitchSynthesizer::FindSegment(double outputSample, int32_t from) const {
    for (int32_t i = from < 0 ? 0 : from; i < GetSegmentCount(); ++i) {
        const double end = static_cast<double>(sampleRate_) * segments_[i]->targetEnd *
                           static_cast<double>(settings_.timeScale);
        if (outputSample >= OutputStart(*segments_[i]) && outputSample <= end) {
            return i;
        }
    }
    return -1;
}

double CMELODORPitchSynthesizer::SourcePositionAt(const SynthSegment& segment, double offset) const {
    return offset * static_cast<double>(segment.stretch) / static_cast<double>(settings_.timeScale) +
           static_cast<double>(sampleRate_) * segment.sourceStart;
}

// The segment's mark nearest to a position of the recording; -1 without a mark.
//
// The look-up walks forward from the first mark. Once rendering has come to a mark in the middle, walking
// starts there: as long as the position does not lie before that mark the answer is the same, since marks
// rise, and a grain costs the same at the end of a long segment as at its start. From the very last mark
// nothing can be found, so the one before it serves.
int32_t CMELODORPitchSynthesizer::FindMark(const SynthSegment& segment, double sourcePosition) const {
    const int32_t position = std::max(TruncateToInt32(sourcePosition), 0);  // no mark lies before 0
    int32_t from = segment.firstMark;
    const int32_t reached = std::min(segment.currentMark, marks_.GetCount() - 2);
    if (from >= 0 && reached > from && marks_.GetPosition(reached) <= position) {
        from = reached;
    }
    return marks_.FindNearest(from, position);
}

}  // namespace mlh
