#include <mlh/addon.h>
#include <mlh/analysis.h>

#include <vector>

namespace {

class Silence final : public mlh::MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    int32_t SetPosition(int32_t) override { return 0; }
    int32_t Read(float** channels, int32_t frames) override {
        for (int32_t i = 0; i < frames; ++i) {
            channels[0][i] = 0.0f;
        }
        return 0;
    }
    int32_t GetLength() override { return 0; }
    int32_t GetNumChannels() override { return 1; }
    int32_t GetSampleRate() override { return 44100; }
};

}  // namespace

int main() {
    Silence silence;
    mlh::MalleoTuneHarmonyAddOnIf* mlh = nullptr;
    if (mlh::MalleoTuneHarmonyAddOnIf::CreateInstance(&mlh, &silence) != 0 || mlh->Prepare() != 0) {
        return 1;
    }
    const bool isSilence = mlh::GetAnalysis(*mlh).key == -1;
    return mlh::MalleoTuneHarmonyAddOnIf::DestroyInstance(&mlh) == 0 && isSilence ? 0 : 1;
}
