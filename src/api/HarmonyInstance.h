// The object that is a handle of the C interface.
#pragma once

#include <cstdint>
#include <memory>

#include "api/BBAudioReader.h"
#include "base/Numbering.h"
#include "mlh/addon.h"

namespace mlh {

struct AddOnDeleter {
    void operator()(MalleoTuneHarmonyAddOnIf* addOn) const {
        MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn);
    }
};

// Gains of voice v on channel c at 2 * v + c; row 0 is the dry lead. The row stride is 2 for mono too.
inline constexpr double kDefaultMixGains[2 * kMixRows] = {0.5, 0.5, 0.5, 0.0, 0.0, 0.5, 0.3, 0.2, 0.2, 0.3};

struct HarmonyInstance {
    HarmonyInstance();

    // Takes over the host's samples and, where there is no add-on yet, creates it and analyses.
    void AssignInput(const int16_t* samples16, const float* samples32, int32_t frames, int32_t channels,
                     int32_t sampleRate);
    int32_t SetParams(bool autoHarmony, int32_t voices, int32_t voicesAbove, float spread, int32_t keyRoot,
                      bool keyIsMinor);
    int32_t Process16(int16_t* out, int32_t frames, int32_t channels, const double* gains);
    int32_t Process32(float** out, int32_t frames, int32_t channels);

    std::unique_ptr<BBAudioReader> reader;
    std::unique_ptr<MalleoTuneHarmonyAddOnIf, AddOnDeleter> addOn;  // null until the first assignment
    int32_t outputVoiceCount = 0;                                   // 0 until SetParams
    double mixGains[2 * kMixRows];
    MalleoTuneHarmonyAddOnIf::ChordVector midiChords;  // queue of the manual mode, never emptied
};

}  // namespace mlh
