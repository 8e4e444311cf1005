// Jobs whose cost must grow in a straight line with their size, each in a function of its own, so that its
// instructions can be counted. Used by scripts/count-instructions.
//
//     tool_GrowthJob JOB SIZE
//
//     vectors         adds SIZE items to a pitch vector and a chord vector, in rising order
//     manual-chords   writes a hundred chords to the end of a song of SIZE phrases, in the manual mode
//     chords          the same in the automatic mode
//     melody          finds key, pulse and chords of a melody of SIZE times eight notes
//
// What is made for the job is not counted. Ends with 2 for a job that is not known.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/Numbering.h"
#include "choir/melody/MelodyTracker.h"
#include "mlh/analysis.h"
#include "mlh/mlh.h"
#include "support/SungTunes.h"

namespace mlh {

using AddOnIf = MalleoTuneHarmonyAddOnIf;

extern "C" {

__attribute__((noinline)) void CountedVectors(PitchVector* pitches, ChordVector* chords, int count) {
    for (int i = 0; i < count; ++i) {
        const float time = static_cast<float>(i / 2);  // each twice
        mlhPitchVectorAddItem(pitches, {time, 60, 1, 0});
        mlhChordVectorAddItem(chords, {time, {60, -1, -1, -1}});
    }
}

__attribute__((noinline)) void CountedChord(AddOnIf& addOn, int root) {
    addOn.ApplyChord(AddOnIf::ChordElement(0.0f, root));
}

__attribute__((noinline)) void CountedMelody(const std::vector<choir::MelodyNote>& notes) {
    choir::TrackMelody(notes);
}

}  // extern "C"

namespace {

constexpr int32_t kRate = 11025;
constexpr int kChords = 100;

class SamplesReader final : public AddOnIf::AudioReader {
  public:
    explicit SamplesReader(const std::vector<float>& samples) : samples_(samples) {}
    int32_t SetPosition(int32_t frame) override {
        position_ = frame;
        return 0;
    }
    int32_t Read(float** out, int32_t frames) override {
        const int32_t present = std::clamp(GetLength() - position_, 0, frames);
        std::copy_n(samples_.begin() + position_, present, out[0]);
        position_ += present;
        return present;
    }
    int32_t GetLength() override { return static_cast<int32_t>(samples_.size()); }
    int32_t GetNumChannels() override { return 1; }
    int32_t GetSampleRate() override { return kRate; }

  private:
    const std::vector<float>& samples_;
    int32_t position_ = 0;
};

void AddToVectors(int count) {
    PitchVector* pitches = mlhGetNewPitchVector();
    ChordVector* chords = mlhGetNewChordVector();
    CountedVectors(pitches, chords, count);
    mlhDisposePitchVector(pitches);
    mlhDisposeChordVector(chords);
}

void ApplyChords(int32_t mode, int phrases) {
    const std::vector<float> phrase =
        SingScale({60, 67, 60, 67, 60, 67, 60, 67, 60, 67}, 0.15, 1, kRate).samples;
    std::vector<float> song;
    for (int i = 0; i < phrases; ++i) {
        song.insert(song.end(), phrase.begin(), phrase.end());
    }
    SamplesReader reader(song);
    AddOnIf* addOn = nullptr;
    AddOnIf::CreateInstance(&addOn, &reader);
    addOn->Prepare();
    addOn->SetHarmonyMode(mode);
    const auto lead = addOn->GetLeadPitchVector();
    for (int i = 0; i < kChords; ++i) {
        const auto& element = lead[lead.size() * static_cast<std::size_t>(i) / kChords];
        addOn->SetPosition(element.GetStart() + 0.5 * element.GetDuration());
        CountedChord(*addOn, 60 + i % 12);
    }
    AddOnIf::DestroyInstance(&addOn);
}

void TrackLine(int bars) {
    const int bar[] = {60, 64, 67, 64, 65, 69, 67, 62};
    std::vector<choir::MelodyNote> notes;
    for (int i = 0; i < 8 * bars; ++i) {
        // Uneven, as sung: the pulse has to be looked for.
        const double start = 0.25 * i + 0.02 * ((i * 7) % 3 - 1);
        notes.push_back({start, start + 0.2, bar[i % 8] + 0.1 * ((i * 5) % 3 - 1)});
    }
    CountedMelody(notes);
}

}  // namespace

}  // namespace mlh

using namespace mlh;

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    const int size = std::atoi(argv[2]);
    if (std::strcmp(argv[1], "vectors") == 0) {
        AddToVectors(size);
    } else if (std::strcmp(argv[1], "manual-chords") == 0) {
        ApplyChords(NumberOf(AddOnMode::Manual), size);
    } else if (std::strcmp(argv[1], "chords") == 0) {
        ApplyChords(NumberOf(AddOnMode::ThreeVoices), size);
    } else if (std::strcmp(argv[1], "melody") == 0) {
        TrackLine(size);
    } else {
        return 2;
    }
    return 0;
}
