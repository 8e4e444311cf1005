#include "analysis/PitchAnalysis.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "analysis/KeyEstimation.h"
#include "analysis/NoteSegmentation.h"
#include "analysis/PitchMarks.h"
#include "analysis/PsolaAnalysis.h"
#include "base/Codes.h"
#include "base/PitchUnits.h"
#include "base/Truncate.h"
#include "dsp/Dispatch.h"

namespace mlh {

namespace {

constexpr int32_t kBlockSize = 2048;

constexpr uint32_t kMagic = 0x00747271;
constexpr uint32_t kFormat = 20203;
constexpr int32_t kHeaderSize = 16;

int32_t SecondsToSamples(float seconds, float sampleRate) {
    return TruncateToInt32(std::floor(seconds * sampleRate));
}

// 32-bit words in network byte order.
void PutWord(uint8_t*& out, uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        *out++ = static_cast<uint8_t>(word >> shift);
    }
}

uint32_t GetWord(const uint8_t*& in) {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) {
        word = word << 8 | *in++;
    }
    return word;
}

// Records of nothing but 32-bit fields.
template <class Record>
void PutRecords(uint8_t*& out, const Record* records, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        uint32_t words[sizeof(Record) / 4];
        std::memcpy(words, &records[i], sizeof(Record));
        for (const uint32_t word : words) {
            PutWord(out, word);
        }
    }
}

template <class Record>
std::vector<Record> GetRecords(const uint8_t*& in, int32_t count) {
    std::vector<Record> records(static_cast<size_t>(count));
    for (Record& record : records) {
        uint32_t words[sizeof(Record) / 4];
        for (uint32_t& word : words) {
            word = GetWord(in);
        }
        std::memcpy(&record, words, sizeof(Record));
    }
    return records;
}

class CMELODORPitchAnalysis final : public CMELODORPitchAnalysisIf {
  public:
    CMELODORPitchAnalysis(CPitchMarksIf* marks, float sampleRate, int32_t channelCount)
        : marks_(marks),
          placer_(std::make_unique<CMELODORExtendedAnalysis>(marks, sampleRate, kBlockSize, channelCount,
                                                             true, 0)),
          segmentation_(sampleRate),
          sampleRate_(sampleRate),
          reserveGap_(SecondsToSamples(0.184f, sampleRate)) {
        placer_->Initialize();  // should it fail, the placer refuses all input
    }

    int32_t ProcessInput(const float* const* channels, int32_t frameCount) override {
        return placer_->AnalyzeBlock(channels, frameCount);
    }

    int32_t FinishInput() override { return placer_->Finish(); }

    int32_t Reset() override {
        segmentation_.Clear();
        return placer_->Reset();
    }

    int32_t RunStep(int32_t step) override {
        switch (step) {
            case 0:
                if (marks_->GetCount() == 0) {
                    return kWrongState;
                }
                BuildFrames();
                break;
            case 1:
                segmentation_.NormalizeFrames();
                break;
            case 2:
                segmentation_.RejectJumps();
                break;
            case 3:
                segmentation_.FlattenVibrato();
                break;
            case 4:
                segmentation_.RepairOutliers();
                break;
            case 5:
                segmentation_.LevelPlateaus();
                break;
            case 6:
                segmentation_.MarkSteps();
                break;
            case 7:
                segmentation_.CutNotes();
                break;
            case 8:
                segmentation_.RefineNotes();
                break;
            default:
                break;
        }
        return 0;
    }

    int32_t RunAllSteps() override {
        for (int32_t step = 0; step <= 8; ++step) {
            if (const int32_t result = RunStep(step)) {
                return result;
            }
        }
        return 0;
    }

    int32_t GetNotes(const AnalysisNote** notes) override {
        if (notes) {
            *notes = segmentation_.Notes().data();
        }
        return NoteCount();
    }

    int32_t GetFrameRangeStats(float* pitch, float* energy, int32_t first, int32_t last) override {
        const bool isRange = 0 <= first && first <= last && last < segmentation_.FrameCount();
        if (!isRange || !pitch || !energy) {
            return kBadArgument;
        }
        const AnalysisFrame* const frames = segmentation_.RawFrames().data();
        *pitch = segmentation_.EstimatePitch(frames, first, last, false);
        *energy = MeanEnergy(frames, first, last);
        return 0;
    }

    int32_t ReanalyzeSegment(const float* const* source, int32_t length, int32_t markIndex,
                             float midiPitch) override {
        return placer_->ReanalyzeSegment(source, length, markIndex, midiPitch);
    }

    int32_t GetFrames(const AnalysisFrame** frames) override {
        if (frames) {
            *frames = segmentation_.RawFrames().data();
        }
        return segmentation_.FrameCount();
    }

    float EstimateTuning() override { return mlh::EstimateTuning(segmentation_.Notes()); }

    int32_t EstimateKey(int32_t transpose) override {
        return ChooseKey(WeighPitchClasses(segmentation_.Notes(), EstimateTuning(), transpose));
    }

    int32_t SetFrames(const AnalysisFrame* frames, int32_t count) override {
        if (count < 0 || (!frames && count > 0)) {
            return kBadArgument;
        }
        segmentation_.SetFrames({frames, frames + count});
        return 0;
    }

    int32_t SetNotes(const AnalysisNote* notes, int32_t count) override {
        if (count < 0 || (!notes && count > 0)) {
            return kBadArgument;
        }
        segmentation_.SetNotes({notes, notes + count});
        return 0;
    }

    void BuildFrames() override {
        std::vector<AnalysisFrame> frames(static_cast<size_t>(marks_->GetCount()));
        for (size_t k = 0; k < frames.size(); ++k) {
            const int32_t i = static_cast<int32_t>(k);
            AnalysisFrame& frame = frames[k];
            frame.pitch = PeriodToPitch32(marks_->GetPeriod(i), sampleRate_);
            frame.position = marks_->GetPosition(i);
            frame.voiced = marks_->GetHarmonicity(i) != 0.0f;
            frame.energy = marks_->GetEnergy(i);
        }
        segmentation_.SetFrames(frames);
    }

    void SetMergeThreshold(float semitones) override { segmentation_.settings.mergeThreshold = semitones; }
    float GetMergeThreshold() override { return segmentation_.settings.mergeThreshold; }

    void SetMinNoteLength(float seconds) override {
        segmentation_.settings.minNoteLength = SecondsToSamples(seconds, sampleRate_);
    }
    float GetMinNoteLength() override { return InSeconds(segmentation_.settings.minNoteLength); }

    void SetMergeGap(float seconds) override {
        segmentation_.settings.mergeGap = SecondsToSamples(seconds, sampleRate_);
    }
    float GetMergeGap() override { return InSeconds(segmentation_.settings.mergeGap); }

    void SetReserveGap(float seconds) override { reserveGap_ = SecondsToSamples(seconds, sampleRate_); }
    float GetReserveGap() override { return InSeconds(reserveGap_); }

    void NormalizeFrames() override { segmentation_.NormalizeFrames(); }

    float EstimatePitch(const AnalysisFrame* frames, int32_t first, int32_t last) override {
        if (!frames) {
            return 0.0f;
        }
        return segmentation_.EstimatePitch(frames, std::max(first, 0),
                                           std::min(last, segmentation_.FrameCount()), false);
    }

    void SetVoicingThreshold(float decibels) override { placer_->SetVoicingThreshold(decibels); }
    float GetVoicingThreshold() override { return placer_->GetVoicingThreshold(); }

    int32_t GetSerializedSize() override {
        const int64_t size = SerializedSize(marks_->GetCount(), NoteCount());
        return static_cast<int32_t>(std::min<int64_t>(size, std::numeric_limits<int32_t>::max()));
    }

    int32_t Serialize(void* buffer) override {
        if (!buffer) {
            return kBadArgument;
        }
        const PitchMark* marks = nullptr;
        const int32_t markCount = marks_->GetRecords(&marks);
        uint8_t* out = static_cast<uint8_t*>(buffer);
        PutWord(out, kMagic);
        PutWord(out, kFormat);
        PutWord(out, static_cast<uint32_t>(markCount));
        PutWord(out, static_cast<uint32_t>(NoteCount()));
        PutRecords(out, marks, markCount);
        PutRecords(out, segmentation_.Notes().data(), NoteCount());
        return 0;
    }

    int32_t Deserialize(const void* buffer, int32_t size) override {
        if (!buffer || size < kHeaderSize) {
            return 0;
        }
        const uint8_t* in = static_cast<const uint8_t*>(buffer);
        const uint32_t magic = GetWord(in);
        GetWord(in);  // any format will do
        const int32_t markCount = static_cast<int32_t>(GetWord(in));
        const int32_t noteCount = static_cast<int32_t>(GetWord(in));
        if (magic != kMagic || markCount < 0 || noteCount < 0) {
            return 0;
        }
        if (size != SerializedSize(markCount, noteCount)) {
            return 0;
        }

        const std::vector<PitchMark> marks = GetRecords<PitchMark>(in, markCount);
        marks_->Reserve(1);  // from then on the list takes any number
        marks_->SetRecords(marks.data(), markCount);
        BuildFrames();
        NormalizeFrames();
        segmentation_.SetNotes(GetRecords<AnalysisNote>(in, noteCount));
        return 1;
    }

  private:
    static int64_t SerializedSize(int32_t markCount, int32_t noteCount) {
        return kHeaderSize + int64_t{sizeof(PitchMark)} * markCount +
               int64_t{sizeof(AnalysisNote)} * noteCount;
    }
    int32_t NoteCount() const { return static_cast<int32_t>(segmentation_.Notes().size()); }
    float InSeconds(int32_t samples) const { return static_cast<float>(samples) / sampleRate_; }

    CPitchMarksIf* marks_;
    std::unique_ptr<CMELODORExtendedAnalysis> placer_;
    NoteSegmentation segmentation_;
    float sampleRate_;
    int32_t reserveGap_;
};

}  // namespace

int32_t CreatePitchAnalysis(CMELODORPitchAnalysisIf** out, CPitchMarksIf* marks, float sampleRate,
                            int32_t channelCount) {
    const bool isRate = sampleRate > 7999.0f && sampleRate < 256000.0f;
    if (!out || !marks || !isRate || channelCount < 1 || channelCount > 47) {
        return kBadArgument;
    }
    InitDispatch(-1);
    *out = new CMELODORPitchAnalysis(marks, sampleRate, channelCount);
    return 0;
}

int32_t DestroyPitchAnalysis(CMELODORPitchAnalysisIf** analysis) {
    if (!analysis || !*analysis) {
        return kBadArgument;
    }
    delete *analysis;
    *analysis = nullptr;
    return 0;
}

}  // namespace mlh
