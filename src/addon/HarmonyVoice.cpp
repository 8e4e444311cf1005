#include <algorithm>
#include <cmath>
#include <memory>

#include "addon/AudioReaderWrapper.h"
#include "addon/HarmonyAddOn.h"
#include "analysis/PitchAnalysis.h"
#include "analysis/PitchMarks.h"
#include "base/Codes.h"
#include "mlh/voices.h"
#include "synthesis/PitchSynthesizerImpl.h"

namespace mlh {

namespace {

// The voice is always rendered in these blocks, counted from 0: where a voice ends, what sounds depends on
// how it is cut.
constexpr int32_t kBlock = 4096;  // [frames]

bool IsSound(const VoiceSegment& segment) {
    for (const double value :
         {segment.sourceStart, segment.sourceEnd, segment.targetStart, segment.targetEnd}) {
        if (!std::isfinite(value)) {
            return false;
        }
    }
    for (const float value :
         {segment.detectedPitch, segment.targetPitch, segment.gain, segment.modulationKeep,
          segment.formantShift, segment.glideInShare, segment.glideOutShare, segment.glideInExtra,
          segment.glideOutExtra, segment.fadeInShare, segment.fadeOutShare, segment.fadeInLevel,
          segment.fadeOutLevel}) {
        if (!std::isfinite(value)) {
            return false;
        }
    }
    return segment.sourceStart >= 0.0 && segment.sourceStart <= segment.sourceEnd &&
           segment.targetStart <= segment.targetEnd;
}

bool FollowEachOther(const std::vector<VoiceSegment>& segments) {
    double end = 0.0;
    for (const VoiceSegment& segment : segments) {
        if (!IsSound(segment) || segment.targetStart != end) {
            return false;
        }
        end = segment.targetEnd;
    }
    return true;
}

SegmentInfo ToInfo(const VoiceSegment& segment) {
    SegmentInfo info;
    info.modulationKeep = segment.modulationKeep;
    info.formantShift = segment.formantShift;
    info.gain = segment.gain;
    info.glideInShare = segment.glideInShare;
    info.glideOutShare = segment.glideOutShare;
    info.glideInExtra = segment.glideInExtra;
    info.glideOutExtra = segment.glideOutExtra;
    info.fadeInShare = segment.fadeInShare;
    info.fadeOutShare = segment.fadeOutShare;
    info.fadeInLevel = segment.fadeInLevel;
    info.fadeOutLevel = segment.fadeOutLevel;
    info.targetPitch = segment.targetPitch;
    info.targetStart = segment.targetStart;
    info.targetEnd = segment.targetEnd;
    info.detectedPitch = segment.detectedPitch;
    info.sourceStart = segment.sourceStart;
    info.sourceEnd = segment.sourceEnd;
    return info;
}

VoiceSegment FromInfo(const SegmentInfo& info) {
    VoiceSegment segment;
    segment.sourceStart = info.sourceStart;
    segment.sourceEnd = info.sourceEnd;
    segment.targetStart = info.targetStart;
    segment.targetEnd = info.targetEnd;
    segment.detectedPitch = info.detectedPitch;
    segment.targetPitch = info.targetPitch;
    segment.gain = info.gain;
    segment.modulationKeep = info.modulationKeep;
    segment.formantShift = info.formantShift;
    segment.glideInShare = info.glideInShare;
    segment.glideOutShare = info.glideOutShare;
    segment.glideInExtra = info.glideInExtra;
    segment.glideOutExtra = info.glideOutExtra;
    segment.fadeInShare = info.fadeInShare;
    segment.fadeOutShare = info.fadeOutShare;
    segment.fadeInLevel = info.fadeInLevel;
    segment.fadeOutLevel = info.fadeOutLevel;
    return segment;
}

class HarmonyVoice final : public HarmonyVoiceIf {
  public:
    HarmonyVoice(MalleoTuneHarmonyAddOn& addOn, MalleoTuneHarmonyAddOnIf::AudioReader& reader)
        : reader_(&reader), synthesizer_(MakeSynthesizer(reader_, addOn)) {
        for (Block& block : blocks_) {
            for (auto& row : block.rows) {
                row.resize(kBlock);
            }
        }
    }

    std::vector<VoiceSegment> GetSegments() const override {
        std::vector<VoiceSegment> segments;
        const int32_t count = synthesizer_.GetSegmentCount();
        segments.reserve(static_cast<std::size_t>(count));
        for (int32_t i = 0; i < count; ++i) {
            SegmentInfo info;
            synthesizer_.GetSegmentInfo(i, &info);
            segments.push_back(FromInfo(info));
        }
        return segments;
    }

    int32_t SetSegments(const std::vector<VoiceSegment>& segments) override {
        if (!FollowEachOther(segments)) {
            return kAddOnBadArgument;
        }
        std::vector<SegmentInfo> infos;
        infos.reserve(segments.size());
        for (const VoiceSegment& segment : segments) {
            infos.push_back(ToInfo(segment));
        }
        synthesizer_.ReplaceSegments(infos);
        StartAgain();
        return kSuccess;
    }

    void CarryRounding(bool carry) override {
        synthesizer_.CarryRounding(carry);
        StartAgain();
    }

    double GetDuration() const override { return synthesizer_.GetDuration(); }

    int32_t Render(float* const* out, int32_t first, int32_t frames) override {
        const int32_t channels = reader_.GetNumChannels();
        if (out == nullptr || first < 0 || frames < 0 || channels > 2) {
            return kAddOnBadArgument;
        }
        for (int32_t done = 0; done < frames;) {
            const int64_t position = static_cast<int64_t>(first) + done;
            const auto offset = static_cast<int32_t>(position % kBlock);
            const int32_t count = std::min(frames - done, kBlock - offset);
            const Block* const block = HoldBlock(position / kBlock);
            for (int32_t c = 0; c < channels; ++c) {
                if (block != nullptr) {
                    std::copy_n(block->rows[c].data() + offset, count, out[c] + done);
                } else {
                    std::fill_n(out[c] + done, count, 0.0f);
                }
            }
            done += count;
        }
        return kSuccess;
    }

  private:
    // What the add-on's own voices were made of: no step of the analysis runs again.
    static CMELODORPitchSynthesizer MakeSynthesizer(CAudioReader& reader, MalleoTuneHarmonyAddOn& addOn) {
        const AnalysisFrame* frames = nullptr;
        const int32_t frameCount = addOn.GetAnalysis().GetFrames(&frames);
        const AnalysisNote* notes = nullptr;
        const int32_t noteCount = addOn.GetAnalysis().GetNotes(&notes);
        return CMELODORPitchSynthesizer(reader, addOn.GetPitchMarks(),
                                        {notes, static_cast<std::size_t>(noteCount)},
                                        {frames, static_cast<std::size_t>(frameCount)});
    }

    void StartAgain() {
        synthesizer_.Restart();
        rendered_ = 0;
        for (Block& block : blocks_) {
            block.index = -1;
        }
    }

    struct Block {
        int64_t index = -1;
        std::vector<float> rows[2];
    };

    // The block, null where it lies past the voice's end. The one before stays: callers with a filter after
    // the voice come back for a few samples of it.
    const Block* HoldBlock(int64_t index) {
        if (index * kBlock >= std::ceil(GetDuration() * reader_.GetSampleRate()) + kBlock) {
            return nullptr;
        }
        Block& block = blocks_[index % 2];
        if (block.index == index) {
            return &block;
        }
        if (index < rendered_) {
            StartAgain();
        }
        synthesizer_.KeepSilentBefore(index * kBlock);
        block.index = -1;
        float* rows[] = {block.rows[0].data(), block.rows[1].data()};
        for (; rendered_ <= index; ++rendered_) {
            synthesizer_.Process(rows, kBlock);
        }
        block.index = index;
        return &block;
    }

    AudioReaderWrapper reader_;
    CMELODORPitchSynthesizer synthesizer_;
    Block blocks_[2];
    int64_t rendered_ = 0;  // blocks since the start
};

}  // namespace

int32_t HarmonyVoiceIf::CreateInstance(HarmonyVoiceIf** out, MalleoTuneHarmonyAddOnIf* addOn,
                                       MalleoTuneHarmonyAddOnIf::AudioReader* reader) {
    if (out == nullptr) {
        return kAddOnBadArgument;
    }
    *out = nullptr;
    auto* own = dynamic_cast<MalleoTuneHarmonyAddOn*>(addOn);
    if (own == nullptr) {
        return kAddOnBadArgument;
    }
    if (!own->IsAnalysed()) {
        return kAddOnNotReady;
    }
    if (reader == nullptr) {
        reader = &own->GetReader();
    }
    if (reader->GetNumChannels() < 1 || reader->GetSampleRate() != own->GetSampleRate()) {
        return kAddOnBadArgument;
    }
    *out = new HarmonyVoice(*own, *reader);
    return kSuccess;
}

int32_t HarmonyVoiceIf::DestroyInstance(HarmonyVoiceIf** handle) {
    if (handle == nullptr || *handle == nullptr) {
        return kAddOnBadArgument;
    }
    delete static_cast<HarmonyVoice*>(*handle);
    *handle = nullptr;
    return kSuccess;
}

}  // namespace mlh
