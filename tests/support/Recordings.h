// Real recordings for tests: plain WAV files below a folder that may be missing.
//
//     Recording voice;
//     std::string why;
//     if (!LoadRecording(VoicesDir(), "some.wav", voice, why)) GTEST_SKIP() << why;
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/Paths.h"

namespace mlh {

inline constexpr const char* kNoFolder = "no recordings: set MLH_VOICES_DIR to a folder of them";

struct Recording {
    std::string name;  // file name without folder
    int32_t sampleRate = 0;
    int32_t channels = 0;
    std::vector<float> samples;  // interleaved, -1 to 1

    int32_t Frames() const { return channels > 0 ? static_cast<int32_t>(samples.size()) / channels : 0; }
    std::vector<float> Channel(int32_t channel) const;
    std::vector<float> Mono() const;  // mean of the channels
};

// The names of all .wav files of the folder, sorted. Empty, with a reason in `why`, where no file is.
std::vector<std::string> ListRecordings(const std::string& folder, std::string& why);

// Reads one file: 16, 24 or 32 bit integers or 32 bit floats, plain or "extensible", with any chunks before,
// between and after the format and the data. False, with a reason in `why`, where that can't be done.
bool LoadRecording(const std::string& folder, const std::string& name, Recording& recording,
                   std::string& why);

// The same for the bytes of a file.
bool ParseWav(const std::vector<uint8_t>& bytes, Recording& recording, std::string& why);

// A pitch annotation of lines "seconds,hertz"; 0 Hz is unvoiced.
struct AnnotatedPitch {
    double seconds;
    double hertz;
};
std::vector<AnnotatedPitch> LoadPitchCurve(const std::string& folder, const std::string& name,
                                           std::string& why);

}  // namespace mlh
