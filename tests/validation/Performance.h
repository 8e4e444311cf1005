// A lead vocal that the add-on has analysed, and the voices that it renders from it: the whole engine, as a
// host drives it, with its parts in view.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "addon/HarmonyAddOn.h"
#include "analysis/PitchAnalysis.h"
#include "analysis/PitchMarks.h"
#include "support/Recordings.h"
#include "support/SyntheticSinger.h"

namespace mlh {

using Rows = std::vector<std::vector<float>>;  // samples per channel

inline Rows RowsOf(const Recording& recording) {
    Rows rows;
    for (int32_t c = 0; c < recording.channels; ++c) {
        rows.push_back(recording.Channel(c));
    }
    return rows;
}

class Performance {
  public:
    using AddOnIf = MalleoTuneHarmonyAddOnIf;

    Performance(Rows lead, int32_t sampleRate) : reader_(std::move(lead), sampleRate) {
        if (AddOnIf::CreateInstance(&addOn_, &reader_) == 0 && addOn_->Prepare() != 0) {
            AddOnIf::DestroyInstance(&addOn_);
        }
    }
    explicit Performance(const Recording& lead) : Performance(RowsOf(lead), lead.sampleRate) {}
    explicit Performance(const SungRecording& lead) : Performance(Rows{lead.samples}, lead.sampleRate) {}
    ~Performance() { AddOnIf::DestroyInstance(&addOn_); }
    Performance(const Performance&) = delete;
    Performance& operator=(const Performance&) = delete;

    bool IsReady() const { return addOn_ != nullptr; }
    AddOnIf& addOn() { return *addOn_; }
    MalleoTuneHarmonyAddOn& own() { return *static_cast<MalleoTuneHarmonyAddOn*>(addOn_); }
    const Rows& lead() const { return reader_.rows; }
    int32_t rate() const { return reader_.rate; }
    int32_t frames() { return reader_.GetLength(); }
    double seconds() { return static_cast<double>(frames()) / rate(); }

    std::vector<PitchMark> Marks() {
        const PitchMark* records = nullptr;
        const int32_t count = own().GetPitchMarks().GetRecords(&records);
        return {records, records + count};
    }
    std::vector<AnalysisNote> Notes() {
        const AnalysisNote* notes = nullptr;
        const int32_t count = own().GetAnalysis().GetNotes(&notes);
        return {notes, notes + count};
    }

    // Manual mode: the lead's own line, moved by as many semitones for each voice; voices left out rest.
    void SingMoved(const std::vector<float>& semitones) {
        addOn_->SetHarmonyMode(3);
        for (std::size_t v = 0; v < semitones.size(); ++v) {
            auto line = addOn_->GetLeadPitchVector();
            for (auto& element : line) {
                element.SetPitch(element.GetPitch() + semitones[v]);
            }
            addOn_->SetVoicePitchVector(static_cast<int32_t>(v), line);
        }
        addOn_->Update();
    }

    // All four voices from the start to the end: channel c of voice v is row v * channels + c.
    Rows Render() {
        constexpr int32_t kBlock = 4096;
        const auto channels = static_cast<int32_t>(lead().size());
        Rows rows(static_cast<std::size_t>(4 * channels), std::vector<float>(lead().front().size()));
        for (int32_t first = 0; first < frames(); first += kBlock) {
            std::vector<float*> pointers;
            for (auto& row : rows) {
                pointers.push_back(row.data() + first);
            }
            addOn_->Process(pointers.data(), std::min(kBlock, frames() - first));
        }
        return rows;
    }

  private:
    struct Reader final : AddOnIf::AudioReader {
        Reader(Rows samples, int32_t sampleRate) : rows(std::move(samples)), rate(sampleRate) {}
        int32_t SetPosition(int32_t frame) override {
            position = std::max(frame, 0);
            return 0;
        }
        int32_t Read(float** out, int32_t count) override {
            const int32_t present = std::min(count, GetLength() - position);
            const int32_t copied = std::max(present, 0);
            for (std::size_t c = 0; c < rows.size(); ++c) {
                if (out[c] == nullptr) {
                    continue;
                }
                if (copied > 0) {
                    std::copy_n(rows[c].data() + position, copied, out[c]);
                }
                std::fill(out[c] + copied, out[c] + std::max(count, 0), 0.0f);
            }
            position += present;
            return present;
        }
        int32_t GetLength() override { return static_cast<int32_t>(rows.front().size()); }
        int32_t GetNumChannels() override { return static_cast<int32_t>(rows.size()); }
        int32_t GetSampleRate() override { return rate; }

        Rows rows;
        int32_t rate;
        int32_t position = 0;
    };

    Reader reader_;
    AddOnIf* addOn_ = nullptr;
};

}  // namespace mlh
