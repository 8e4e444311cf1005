#include "api/HarmonyInstance.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#include "api/BlockLoop.h"
#include "base/Numbering.h"
#include "dsp/Dispatch.h"
#include "dsp/VoiceOperations.h"
#include "mlh/mlh.h"

namespace mlh {

HarmonyInstance::HarmonyInstance() : reader(new(std::nothrow) BBAudioReader) {
    std::copy(std::begin(kDefaultMixGains), std::end(kDefaultMixGains), mixGains);
}

void HarmonyInstance::AssignInput(const int16_t* samples16, const float* samples32, int32_t frames,
                                  int32_t channels, int32_t sampleRate) {
    if (!reader) {
        return;
    }
    reader->Assign(samples16, samples32, frames, channels, sampleRate);
    if (addOn) {
        return;
    }
    MalleoTuneHarmonyAddOnIf* created = nullptr;
    if (MalleoTuneHarmonyAddOnIf::CreateInstance(&created, reader.get()) != MLH_OK) {
        return;
    }
    // Kept only once it has analysed everything, so that an assignment that fails can be made again.
    std::unique_ptr<MalleoTuneHarmonyAddOnIf, AddOnDeleter> prepared(created);
    if (prepared->Prepare() == MLH_OK) {
        addOn = std::move(prepared);
    }
}

int32_t HarmonyInstance::SetParams(bool autoHarmony, int32_t voices, int32_t voicesAbove, float spread,
                                   int32_t keyRoot, bool keyIsMinor) {
    if (!addOn) {
        return MLH_NOT_READY;
    }
    if (voices < (autoHarmony ? 2 : 1) || voices > kVoiceCount) {
        return MLH_BAD_ARGUMENT;
    }
    outputVoiceCount = voices;
    addOn->SetHarmonyMode(autoHarmony ? NumberOf(ModeOfVoices(voices)) : NumberOf(AddOnMode::Manual));
    addOn->SetSpread(spread);
    addOn->SetVoicesAbove(voicesAbove);
    addOn->SetKey(keyRoot % 12 + (keyIsMinor ? 12 : 0));
    return MLH_OK;
}

namespace {

// Only mono and stereo can be rendered, whatever could be analysed.
bool CanRender(BBAudioReader& reader, int32_t channels) {
    const int32_t readerChannels = reader.GetNumChannels();
    return channels >= 1 && channels <= 2 && readerChannels >= 1 && readerChannels <= 2;
}

}  // namespace

int32_t HarmonyInstance::Process16(int16_t* out, int32_t frames, int32_t channels, const double* gains) {
    if (!addOn) {
        return MLH_NOT_READY;
    }
    if (!CanRender(*reader, channels) || (frames > 0 && out == nullptr)) {
        return MLH_BAD_ARGUMENT;
    }
    if (gains == nullptr) {
        gains = mixGains;
    }
    const int32_t mixed = 1 + outputVoiceCount;  // the dry lead and the voices
    RunBlocks(*this, frames, channels, [&](float** rows, int32_t, int32_t count) {
        for (int32_t c = 0; c < channels; ++c) {
            const float* mixedRows[kMixRows];
            double mixedGains[kMixRows];
            for (int32_t v = 0; v < mixed; ++v) {
                mixedRows[v] = rows[v * channels + c];
                mixedGains[v] = gains[2 * v + c];
            }
            VoiceOps().MixTo16(out + c, channels, mixedRows, mixedGains, mixed, count);
        }
        out += static_cast<std::ptrdiff_t>(count) * channels;
    });
    return MLH_OK;
}

int32_t HarmonyInstance::Process32(float** out, int32_t frames, int32_t channels) {
    if (!addOn) {
        return MLH_NOT_READY;
    }
    if (!CanRender(*reader, channels)) {
        return MLH_BAD_ARGUMENT;
    }
    if (frames > 0) {
        if (out == nullptr) {
            return MLH_BAD_ARGUMENT;
        }
        for (int32_t v = 0; v < outputVoiceCount; ++v) {
            if (out[v] == nullptr) {
                return MLH_BAD_ARGUMENT;
            }
        }
    }
    RunBlocks(*this, frames, channels, [&](float** rows, int32_t first, int32_t count) {
        for (int32_t v = 1; v <= outputVoiceCount; ++v) {
            // The write index advances by frames, for stereo too: hosts rely on the layout as it is.
            float* to = out[v - 1] + first;
            for (int32_t i = 0; i < count; ++i) {
                for (int32_t c = 0; c < channels; ++c) {
                    *to++ = rows[v * channels + c][i];
                }
            }
        }
    });
    return MLH_OK;
}

}  // namespace mlh
