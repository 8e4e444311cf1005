// The one implementation of a voice. Its sources, by job:
//     PitchSynthesizer.cpp           creation, global parameters, position, what sounds when
//     PitchSynthesizerSegments.cpp   the segment list and its editing
//     PitchSynthesizerGrains.cpp     rendering
//     SegmentTransitions.cpp         pitch and gain of a segment from moment to moment
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "analysis/PitchAnalysis.h"
#include "audio/AudioBuffers.h"
#include "synthesis/PitchSynthesizer.h"
#include "synthesis/SynthSegment.h"
#include "synthesis/TailRuns.h"

namespace mlh {

// A grain as its segment shapes it at one moment.
struct Grain {
    float periodRatio;          // of its output period to its period in the recording, but for transposition
    float grainGain;            // linear
    float segmentStretch;       // of its segment
    float segmentFormantRatio;  // of its segment
    float grainWidth;           // share of a half that may be used without reading beyond it
};

class CMELODORPitchSynthesizer final : public CMELODORPitchSynthesizerIf {
  public:
    CMELODORPitchSynthesizer(CAudioReader& reader, const CPitchMarksIf& marks,
                             std::span<const AnalysisNote> notes, std::span<const AnalysisFrame> frames);

    void Reset() override;
    void Process(float** out, int32_t frames) override;
    void SetPosition(double seconds) override;
    double GetPosition() const override;
    double GetDuration() const override;
    float GetOutputPitchAt(double seconds) override;
    float GetOutputGainAt(double seconds) override;
    int32_t GetSegmentCount() const override;
    int32_t RemoveSegment(int32_t index) override;
    void ClearSegments() override;
    void InsertSegment(const SegmentInfo& info) override;
    int32_t SplitSegment(int32_t index, double offset) override;
    int32_t MergeSegments(int32_t first, int32_t second) override;
    int32_t GetSegmentInfo(int32_t index, SegmentInfo* info) const override;
    int32_t SetSegmentInfo(int32_t index, const SegmentInfo& info, bool adjustNeighbours) override;
    int32_t SetSegmentTimes(int32_t index, double* start, double* end, bool adjustNeighbours) override;
    int32_t QuantizeToScale(const std::vector<int32_t>& pitchClasses) override;
    int32_t GetSegmentTimes(int32_t index, double* start, double* end) const override;
    int32_t SetSegmentParameter(int32_t index, int32_t which, float value) override;
    int32_t SetSegmentParameters(int32_t first, int32_t end, int32_t which, float value) override;
    float GetSegmentParameter(int32_t index, int32_t which) const override;
    int32_t SetGlobalParameter(int32_t which, float value) override;
    float GetGlobalParameter(int32_t which) const override;

    // For callers that know the whole voice beforehand.
    // Replaces all segments by these, which follow each other in time; linear in their number. A negative
    // glide share takes the measured one. Rendering must be restarted.
    void ReplaceSegments(std::span<const SegmentInfo> infos);
    // As a new voice stands: at 0, with nothing under construction. Segments and parameters stay.
    void Restart();
    // Grains that end at this output sample or before are placed without being heard, which costs little.
    void KeepSilentBefore(int64_t outputSample) { silentBefore_ = outputSample; }
    // Whether what rounding takes from or gives to a period goes into the next one; initially not.
    void CarryRounding(bool carry) { carriesRounding_ = carry; }

    const VoiceSettings& GetSettings() const { return settings_; }
    const SynthSegment& GetSegment(int32_t index) const {
        SettleSegments();
        return *segments_[index];
    }
    int32_t GetCurrentMarkIndex() const { return currentMarkIndex_; }  // mark of the grain placed last
    int32_t GetCurrentPeriod() const { return currentPeriod_; }        // its right width [output samples]
    float GetSpeed() const { return speed_; }                          // scrub factor
    int32_t GetAccumulatorSize() const { return accumulator_.GetSize(); }
    int32_t GetGrainSourceSize() const { return grainSource_.GetSize(); }

  private:
    enum class PlaceResult { Placed, Halted, Failed };

    // The segment list.
    bool HasSegment(int32_t index) const;
    void SettleSegments() const;
    void SettleSegmentsAround(int32_t index) const;
    std::unique_ptr<SynthSegment> MakeSegment() const;
    void BuildSegments();
    void AppendSegment(float pitch, double start, double end, double noteEnd, int32_t firstMark,
                       int32_t lastMark);
    void LinkSegments();
    void FillSegment(SynthSegment& segment, const SegmentInfo& info, bool adjustNeighbours);
    void SetTimes(SynthSegment& segment, double& start, double& end, bool adjustNeighbours);
    float CorrectedTargetPitch(const SynthSegment& segment) const;
    float GetParameter(const SynthSegment& segment, int32_t which) const;
    int32_t MarkAt(double seconds) const;
    double FindNoteEnd(const SegmentInfo& info) const;
    double ToSeconds(int32_t samples) const;

    // Where an instant of output lies, in output samples.
    double OutputStart(const SynthSegment& segment) const;
    int32_t FindSegment(double outputSample, int32_t from) const;
    const SynthSegment* LookUpSegment(double outputSample);
    double SourcePositionAt(const SynthSegment& segment, double offset) const;
    int32_t FindMark(const SynthSegment& segment, double sourcePosition) const;

    // Rendering.
    void GrowBuffersForBlock(int32_t frames);
    void GrowBuffersForGrain();
    bool AtEnd(int32_t frames) const;
    void RenderBlock(int32_t frames);
    PlaceResult PlaceGrains(int32_t frames);
    SynthSegment* EnterSegmentAt(double target);
    Grain ShapeGrain(const SynthSegment& segment) const;
    float PeriodAt(const SynthSegment& segment, int32_t distance) const;
    int32_t OutputPeriod(const Grain& grain, float sourcePeriod);
    float SourceAdvance(const Grain& grain, float sourcePeriod) const;
    const float* WindowRow(int32_t halfLength);
    const float* ReadGrain(const float* source, float& position, float step, int32_t count);
    void OverlapAddGrain(const Grain& grain);
    int32_t RenderedChannels() const;

    CAudioReader& reader_;
    const CPitchMarksIf& marks_;
    const std::span<const AnalysisNote> notes_;
    const std::span<const AnalysisFrame> frames_;
    const float sampleRate_;

    std::vector<std::unique_ptr<SynthSegment>> segments_;
    // What SetSegmentParameters gave, by parameter. Whatever reads or changes segments settles it first:
    // rendering in those that it comes to, all else in the whole list.
    mutable std::array<TailRuns<float>, kSegmentParameters> tails_;
    mutable bool hasTails_ = false;
    int32_t tailEnd_ = 0;                // of all tails
    mutable int32_t settledAround_ = 0;  // the segment that was settled last with its neighbours, else -1
    VoiceSettings settings_;

    AudioSampleBuffer output_;           // the block of the caller
    AudioSampleBuffer grainSource_;      // one grain of the recording; index `previousPeriod` is its mark
    std::vector<float> windowRow_;       // the window of the last half too long to be kept for all voices
    int32_t windowRowLength_ = 0;        // of its values
    std::vector<float> resampledGrain_;  // one half read at another step than 1
    AudioSampleBuffer accumulator_;      // output under construction, 0 after the last grain
    int32_t outputPosition_ = 0;         // output sample of the accumulator's first
    int32_t previousPosition_ = -1;      // outputPosition before the last block
    int32_t currentMarkIndex_ = 0;
    int32_t currentSegmentIndex_ = 0;  // where the search for the next grain's segment starts; -1 counts as 0
    int32_t lookupSegmentIndex_ = -1;  // the same for GetOutputPitchAt and GetOutputGainAt
    int32_t blocksSincePosition_ = 0;  // blocks since the last SetPosition, counted up to 3
    float speed_ = 1.0f;
    double lastSourcePosition_ = 0.0;  // a negative one halts rendering
    int32_t accumulated_ = 0;          // samples of the accumulator that are complete
    int32_t previousPeriod_ = 0;       // right width of the last grain, left width of the next
    int32_t currentPeriod_ = 0;        // right width of the grain being placed
    int64_t silentBefore_ = std::numeric_limits<int64_t>::min();  // [output samples]
    bool carriesRounding_ = false;
    float carriedRounding_ = 0.0f;  // [samples] that the last period was too short, -0.5 to 0.5
};

}  // namespace mlh
