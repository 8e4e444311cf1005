// A serialised analysis from a stranger: read, worked on by every operation, and sung by a voice.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "analysis/PitchAnalysis.h"
#include "analysis/PitchMarks.h"
#include "fuzz/Bytes.h"
#include "support/RowReader.h"
#include "synthesis/PitchSynthesizer.h"

namespace mlh {

namespace {

constexpr std::size_t kMark = sizeof(PitchMark);
constexpr std::size_t kNote = sizeof(AnalysisNote);
constexpr int32_t kLength = 4000;  // of the recording below

void PutWord(std::vector<uint8_t>& block, uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        block.push_back(static_cast<uint8_t>(word >> shift));
    }
}

uint32_t BitsOf(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// Numbers as they are, after a header that fits.
std::vector<uint8_t> BlockOfAnything(Bytes& bytes) {
    const std::string content = bytes.Text();
    const std::size_t notes = content.size() / (3 * kNote);
    const std::size_t marks = (content.size() - notes * kNote) / kMark;
    std::vector<uint8_t> block;
    for (const std::size_t word : {std::size_t{0x00747271}, std::size_t{20203}, marks, notes}) {
        PutWord(block, static_cast<uint32_t>(word));
    }
    block.insert(block.end(), content.begin(),
                 content.begin() + static_cast<std::ptrdiff_t>(marks * kMark + notes * kNote));
    return block;
}

// Marks and notes as an analysis could have left them, with slips.
std::vector<uint8_t> BlockOfRecords(Bytes& bytes) {
    std::vector<uint8_t> marks, notes;
    uint32_t markCount = 0, noteCount = 0;
    int32_t position = 0;
    while (!bytes.Empty() && markCount < 400) {
        if (bytes.Below(16) == 15) {
            ++noteCount;
            PutWord(notes, BitsOf(bytes.Real(90.0f)));
            PutWord(notes, BitsOf(bytes.Real(1.0f)));
            for (int i = 0; i < 5; ++i) {
                PutWord(notes, static_cast<uint32_t>(bytes.Bit() ? bytes.Integer() : bytes.Below(kLength)));
            }
            continue;
        }
        ++markCount;
        if (bytes.Below(16) == 15) {
            position = bytes.Integer();
        } else {
            position = static_cast<int32_t>(static_cast<uint32_t>(position) +
                                            static_cast<uint32_t>(bytes.Below(200)));
        }
        PutWord(marks, static_cast<uint32_t>(position));
        for (std::size_t i = 1; i < kMark / 4; ++i) {
            PutWord(marks, BitsOf(bytes.Real(i == 2 ? 0.01f : 1.0f)));
        }
    }
    std::vector<uint8_t> block;
    for (const uint32_t word : {uint32_t{0x00747271}, uint32_t{20203}, markCount, noteCount}) {
        PutWord(block, word);
    }
    block.insert(block.end(), marks.begin(), marks.end());
    block.insert(block.end(), notes.begin(), notes.end());
    return block;
}

std::vector<uint8_t> Serialized(CMELODORPitchAnalysisIf& analysis) {
    std::vector<uint8_t> block(static_cast<std::size_t>(analysis.GetSerializedSize()));
    Require(analysis.Serialize(block.data()) == 0);
    return block;
}

void Sing(CMELODORPitchAnalysisIf& analysis, CPitchMarks& marks) {
    RowReader reader({std::vector<float>(kLength, 0.25f)}, 11025);
    CMELODORPitchSynthesizerIf* voice = nullptr;
    if (CreatePitchSynthesizer(&voice, &reader, &marks, &analysis) != 0) {
        return;
    }
    std::vector<float> out(kLength + 500);
    float* row = out.data();
    voice->Process(&row, kLength + 500);
    for (int32_t i = 0; i < std::min(voice->GetSegmentCount(), 20); ++i) {
        voice->SetSegmentParameter(i, SegmentTargetPitch, 64.0f);
    }
    voice->SetPosition(0.05);
    voice->Process(&row, 1000);
    DestroyPitchSynthesizer(&voice);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    const uint8_t kind = bytes.Byte();
    const int32_t step = bytes.Below(10);
    const int32_t first = bytes.Integer();
    const int32_t last = bytes.Integer();
    const float pitch = bytes.Real(90.0f);
    std::vector<uint8_t> block;
    if (kind % 4 == 0) {
        const std::string text = bytes.Text();
        block.assign(text.begin(), text.end());
    } else {
        block = kind % 4 == 1 ? BlockOfAnything(bytes) : BlockOfRecords(bytes);
    }

    CPitchMarks marks;
    CMELODORPitchAnalysisIf* analysis = nullptr;
    Require(CreatePitchAnalysis(&analysis, &marks, (kind & 12) == 12 ? 44100.0f : 11025.0f, 1) == 0);
    const std::vector<uint8_t> fresh = Serialized(*analysis);
    if (analysis->Deserialize(block.data(), static_cast<int32_t>(block.size())) == 1) {
        // What was read stays as it is when written and read again.
        const std::vector<uint8_t> once = Serialized(*analysis);
        Require(analysis->Deserialize(once.data(), static_cast<int32_t>(once.size())) == 1);
        Require(Serialized(*analysis) == once);

        analysis->EstimateTuning();
        analysis->EstimateKey(last);
        float mean = 0.0f;
        float energy = 0.0f;
        analysis->GetFrameRangeStats(&mean, &energy, first, last);
        const AnalysisFrame* frames = nullptr;
        analysis->GetFrames(&frames);
        analysis->EstimatePitch(frames, first, last);
        analysis->RunStep(step);
        analysis->RunAllSteps();
        const std::vector<float> source(600, 0.1f);
        const float* row = source.data();
        if (kind & 32) {
            analysis->ReanalyzeSegment(&row, 600, first, pitch);
        }
        if (kind & 16) {
            Sing(*analysis, marks);
        }
        Serialized(*analysis);
    } else {
        Require(Serialized(*analysis) == fresh);
    }
    DestroyPitchAnalysis(&analysis);
    return 0;
}

}  // namespace mlh
