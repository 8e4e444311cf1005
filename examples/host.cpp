// A host in C++ that drives the class interface: it renders one voice of its own making, a fifth above the
// lead, and prints what the analysis found. Link the static library.
#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

#include "mlh/addon.h"
#include "mlh/analysis.h"

namespace {

// Any source of samples will do; this one hums three notes.
class Hum final : public mlh::MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    Hum() {
        double phase = 0.0;
        for (const double hertz : {220.0, 246.94, 261.63}) {
            for (int i = 0; i < kRate / 2; ++i) {
                phase += hertz / kRate;
                double sample = 0.0;
                for (int h = 1; h <= 8; ++h) {
                    sample += std::sin(2.0 * std::numbers::pi * h * phase) / h;
                }
                samples_.push_back(static_cast<float>(0.2 * sample));
            }
        }
    }
    int32_t SetPosition(int32_t frame) override {
        position_ = frame < 0 ? 0 : frame;
        return 0;
    }
    int32_t Read(float** channels, int32_t frames) override {
        int32_t present = 0;
        for (int32_t i = 0; i < frames; ++i) {
            const bool inside = position_ + i < GetLength();
            channels[0][i] = inside ? samples_[static_cast<std::size_t>(position_ + i)] : 0.0f;
            present += inside ? 1 : 0;
        }
        position_ += present;
        return present;
    }
    int32_t GetLength() override { return static_cast<int32_t>(samples_.size()); }
    int32_t GetNumChannels() override { return 1; }
    int32_t GetSampleRate() override { return kRate; }

  private:
    static constexpr int kRate = 44100;
    std::vector<float> samples_;
    int32_t position_ = 0;
};

}  // namespace

int main() {
    Hum lead;
    mlh::MalleoTuneHarmonyAddOnIf* mlh = nullptr;
    if (mlh::MalleoTuneHarmonyAddOnIf::CreateInstance(&mlh, &lead) != 0 || mlh->Prepare() != 0) {
        return 1;
    }
    for (const mlh::Note& note : mlh::GetAnalysis(*mlh).notes) {
        std::printf("%.2f s to %.2f s: pitch %.2f\n", note.start, note.end, note.pitch);
    }

    constexpr int32_t kManual = 3;
    mlh->SetHarmonyMode(kManual);
    auto fifth = mlh->GetLeadPitchVector();
    for (auto& element : fifth) {
        element.SetPitch(element.GetPitch() + 7.0f);
    }
    mlh->SetVoicePitchVector(0, fifth);
    mlh->Update();

    constexpr int32_t kBlock = 1024;
    std::vector<std::vector<float>> voices(4, std::vector<float>(kBlock));
    float* rows[4];
    for (int v = 0; v < 4; ++v) {
        rows[v] = voices[static_cast<std::size_t>(v)].data();
    }
    float peak = 0.0f;
    for (int32_t done = 0; done < lead.GetLength(); done += kBlock) {
        mlh->Process(rows, kBlock);
        for (const float sample : voices[0]) {
            peak = std::fmax(peak, std::fabs(sample));
        }
    }
    std::printf("a fifth above, peak %.2f\n", peak);
    return mlh::MalleoTuneHarmonyAddOnIf::DestroyInstance(&mlh);
}
