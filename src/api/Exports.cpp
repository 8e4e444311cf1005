// The exported functions of an instance: handle and pointer checks, then one call.
#include <atomic>
#include <memory>
#include <new>

#include "api/FloatingPoint.h"
#include "api/HarmonyInstance.h"
#include "api/MidiConversion.h"
#include "api/Vectors.h"
#include "base/Numbering.h"
#include "mlh/mlh.h"

using namespace mlh;

namespace {

std::atomic<MlhDebugMessageCallback> debugMessageCallback{nullptr};

HarmonyInstance* Get(void* handle) { return static_cast<HarmonyInstance*>(handle); }

// The add-on of a handle, null where there is no instance or no input yet.
MalleoTuneHarmonyAddOnIf* GetAddOn(void* handle) { return handle ? Get(handle)->addOn.get() : nullptr; }

}  // namespace

int32_t mlhAssignDebugMessageCallback(MlhDebugMessageCallback callback) {
    if (callback == nullptr) {
        return MLH_OK;
    }
    debugMessageCallback = callback;
    callback("hello");
    return MLH_OK;
}

int32_t mlhCreateInstance(void** outHandle) {
    if (outHandle == nullptr) {
        return MLH_BAD_ARGUMENT;
    }
    *outHandle = new (std::nothrow) HarmonyInstance;
    return MLH_OK;
}

int32_t mlhDestroyInstance(void** inOutHandle) {
    if (inOutHandle == nullptr || *inOutHandle == nullptr) {
        return MLH_NOT_READY;
    }
    delete Get(*inOutHandle);
    *inOutHandle = nullptr;
    return MLH_OK;
}

int32_t mlhSetParams(void* handle, bool autoHarmony, int32_t voices, int32_t voicesAbove, float spread,
                     int32_t keyRoot, bool keyIsMinor) {
    if (handle == nullptr) {
        return MLH_NOT_READY;
    }
    const DefaultFloatingPoint computing;
    return Get(handle)->SetParams(autoHarmony, voices, voicesAbove, spread, keyRoot, keyIsMinor);
}

int32_t mlhAssignInputData16(void* handle, const int16_t* samples, int32_t frames, int32_t channels,
                             int32_t sampleRate) {
    if (handle == nullptr) {
        return MLH_NOT_READY;
    }
    const DefaultFloatingPoint computing;
    Get(handle)->AssignInput(samples, nullptr, frames, channels, sampleRate);
    return MLH_OK;
}

int32_t mlhAssignInputData(void* handle, const int16_t* samples, int32_t frames, int32_t channels,
                           int32_t sampleRate) {
    return mlhAssignInputData16(handle, samples, frames, channels, sampleRate);
}

int32_t mlhAssignInputData32(void* handle, const float* samples, int32_t frames, int32_t channels,
                             int32_t sampleRate) {
    if (handle == nullptr) {
        return MLH_NOT_READY;
    }
    const DefaultFloatingPoint computing;
    Get(handle)->AssignInput(nullptr, samples, frames, channels, sampleRate);
    return MLH_OK;
}

int32_t mlhProcessOutputData16(void* handle, int16_t* out, int32_t frames, int32_t channels,
                               const double* gains) {
    if (handle == nullptr) {
        return MLH_NOT_READY;
    }
    const DefaultFloatingPoint computing;
    return Get(handle)->Process16(out, frames, channels, gains);
}

int32_t mlhProcessOutputData(void* handle, int16_t* out, int32_t frames, int32_t channels,
                             const double* gains) {
    return mlhProcessOutputData16(handle, out, frames, channels, gains);
}

int32_t mlhProcessOutputData32(void* handle, float** out, int32_t frames, int32_t channels) {
    if (handle == nullptr) {
        return MLH_NOT_READY;
    }
    const DefaultFloatingPoint computing;
    return Get(handle)->Process32(out, frames, channels);
}

PitchVector* mlhGetPitchVector(void* handle, uint32_t voice, uint8_t legato, uint8_t velocity) {
    MalleoTuneHarmonyAddOnIf* addOn = GetAddOn(handle);
    if (addOn == nullptr || voice >= static_cast<uint32_t>(kMixRows)) {
        return nullptr;
    }
    auto vector = std::make_unique<PitchVector>();
    vector->items = voice == kHostLead ? addOn->GetLeadPitchVector()
                                       : addOn->GetVoicePitchVector(AddOnVoice(static_cast<int32_t>(voice)));
    if (legato == 0 && velocity == 0) {
        return vector.release();
    }
    return mlhPitchVectorAdjust(vector.get(), legato, velocity);
}

int32_t mlhSetPitchVector(void* handle, int32_t voice, const PitchVector* vector) {
    if (handle == nullptr) {
        return MLH_NOT_READY;
    }
    if (vector == nullptr || !IsHostVoice(voice)) {
        return MLH_BAD_ARGUMENT;
    }
    MalleoTuneHarmonyAddOnIf* addOn = GetAddOn(handle);
    if (addOn == nullptr) {
        return MLH_NOT_READY;
    }
    const DefaultFloatingPoint computing;
    const int32_t status = addOn->SetVoicePitchVector(AddOnVoice(voice), vector->items);
    return status != MLH_OK ? status : addOn->Update();
}

int32_t mlhSetChordVector(void* handle, const ChordVector* vector) {
    if (handle == nullptr) {
        return MLH_NOT_READY;
    }
    if (vector == nullptr) {
        return MLH_BAD_ARGUMENT;
    }
    MalleoTuneHarmonyAddOnIf* addOn = GetAddOn(handle);
    if (addOn == nullptr) {
        return MLH_NOT_READY;
    }
    const DefaultFloatingPoint computing;
    const int32_t status = addOn->SetChordVector(vector->items);
    return status != MLH_OK ? status : addOn->Update();
}

ChordVector* pitchVectorToChordVector(const PitchVector* notes) {
    if (notes == nullptr) {
        return nullptr;
    }
    const DefaultFloatingPoint computing;
    auto chords = std::make_unique<ChordVector>();
    chords->items = ChordsFromNotes(notes->items);
    return chords.release();
}

bool mlhAssignMidi(void* handle, const PitchVector* notes) {
    if (handle == nullptr || notes == nullptr) {
        return false;
    }
    const DefaultFloatingPoint computing;
    const auto chords = ChordsFromNotes(notes->items);
    auto& queue = Get(handle)->midiChords;
    queue.insert(queue.end(), chords.begin(), chords.end());
    return true;
}
