// A recording with its whole analysis, ready for voices: what the add-on has after its first pass.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "analysis/PitchAnalysis.h"
#include "analysis/PitchMarks.h"
#include "support/RowReader.h"
#include "support/ScriptedVoice.h"

namespace mlh {

class AnalysedRecording {
  public:
    AnalysedRecording(std::vector<std::vector<float>> rows, int32_t sampleRate)
        : reader(std::move(rows), sampleRate) {
        marks.Reserve(32768);
        CMELODORPitchAnalysisIf* made = nullptr;
        CreatePitchAnalysis(&made, &marks, static_cast<float>(sampleRate), reader.GetNumChannels());
        analysis.reset(made);
        for (int32_t start = 0;; start += kBlock) {
            const int32_t count = std::clamp(reader.GetLength() - start, 0, kBlock);
            std::vector<const float*> block;
            for (const auto& row : reader.GetRows()) {
                block.push_back(count > 0 ? row.data() + start : row.data());
            }
            analysis->ProcessInput(block.data(), count);
            if (count < kBlock) {
                break;
            }
        }
        analysis->FinishInput();
        analysis->RunAllSteps();
    }

    VoiceOwner MakeVoice() {
        CMELODORPitchSynthesizerIf* voice = nullptr;
        CreatePitchSynthesizer(&voice, &reader, &marks, analysis.get());
        return VoiceOwner(voice);
    }

    RowReader reader;
    CPitchMarks marks;
    std::unique_ptr<CMELODORPitchAnalysisIf> analysis;

  private:
    static constexpr int32_t kBlock = 4096;
};

}  // namespace mlh
