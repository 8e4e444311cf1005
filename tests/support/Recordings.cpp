#include "support/Recordings.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace mlh {

namespace {

enum FormatTag : uint32_t { kInteger = 1, kFloat = 3, kExtensible = 0xFFFE };

struct Format {
    uint32_t tag = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    uint32_t bits = 0;
};

uint32_t LittleEndian(const uint8_t* bytes, int count) {
    uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

bool ReadFormat(const uint8_t* chunk, size_t size, Format& format) {
    if (size < 16) {
        return false;
    }
    format.tag = LittleEndian(chunk, 2);
    format.channels = LittleEndian(chunk + 2, 2);
    format.sampleRate = LittleEndian(chunk + 4, 4);
    format.bits = LittleEndian(chunk + 14, 2);
    if (format.tag == kExtensible && size >= 26) {
        format.tag = LittleEndian(chunk + 24, 2);
    }
    const bool integer =
        format.tag == kInteger && (format.bits == 16 || format.bits == 24 || format.bits == 32);
    const bool floats = format.tag == kFloat && format.bits == 32;
    return (integer || floats) && format.channels > 0 && format.sampleRate > 0;
}

float ReadSample(const uint8_t* bytes, const Format& format) {
    const uint32_t word = LittleEndian(bytes, static_cast<int>(format.bits / 8));
    if (format.tag == kFloat) {
        float value;
        std::memcpy(&value, &word, sizeof value);
        return value;
    }
    // Shifted to the top of the word, so that the sign stands where it belongs.
    const auto scaled = static_cast<int32_t>(word << (32 - format.bits));
    return static_cast<float>(scaled / 2147483648.0);
}

}  // namespace

std::vector<float> Recording::Channel(int32_t channel) const {
    std::vector<float> one;
    for (size_t i = static_cast<size_t>(channel); i < samples.size(); i += static_cast<size_t>(channels)) {
        one.push_back(samples[i]);
    }
    return one;
}

std::vector<float> Recording::Mono() const {
    std::vector<float> mono(static_cast<size_t>(Frames()), 0.0f);
    for (size_t i = 0; i < mono.size(); ++i) {
        for (int32_t c = 0; c < channels; ++c) {
            mono[i] += samples[i * static_cast<size_t>(channels) + static_cast<size_t>(c)];
        }
        mono[i] /= static_cast<float>(channels);
    }
    return mono;
}

std::vector<std::string> ListRecordings(const std::string& folder, std::string& why) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".wav") {
            names.push_back(entry.path().filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    if (folder.empty()) {
        why = kNoFolder;
    } else if (names.empty()) {
        why = "no recordings below " + folder;
    }
    return names;
}

bool LoadRecording(const std::string& folder, const std::string& name, Recording& recording,
                   std::string& why) {
    const auto path = std::filesystem::path(folder) / name;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        why = folder.empty() ? kNoFolder : "no recording " + path.string();
        return false;
    }
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!ParseWav(bytes, recording, why)) {
        why = name + ": " + why;
        return false;
    }
    recording.name = name;
    return true;
}

bool ParseWav(const std::vector<uint8_t>& bytes, Recording& recording, std::string& why) {
    const auto refuse = [&why](const char* reason) {
        why = reason;
        return false;
    };
    if (bytes.size() < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0 ||
        std::memcmp(bytes.data() + 8, "WAVE", 4) != 0) {
        return refuse("not a WAV file");
    }
    Format format;
    bool hasFormat = false;
    for (size_t at = 12; at + 8 <= bytes.size();) {
        const uint8_t* header = bytes.data() + at;
        const size_t declared = LittleEndian(header + 4, 4);
        const size_t size =
            std::min(declared, bytes.size() - at - 8);  // a writer that died leaves a wrong size
        if (std::memcmp(header, "fmt ", 4) == 0) {
            if (!ReadFormat(header + 8, size, format)) {
                return refuse("a sample format that is not read here");
            }
            hasFormat = true;
        } else if (std::memcmp(header, "data", 4) == 0) {
            if (!hasFormat) {
                return refuse("data before its format");
            }
            const size_t width = format.bits / 8;
            const size_t frames = size / (width * format.channels);
            recording.sampleRate = static_cast<int32_t>(format.sampleRate);
            recording.channels = static_cast<int32_t>(format.channels);
            recording.samples.resize(frames * format.channels);
            for (size_t i = 0; i < recording.samples.size(); ++i) {
                recording.samples[i] = ReadSample(header + 8 + i * width, format);
            }
            return true;
        }
        at += 8 + declared + (declared & 1);
    }
    return refuse("no data");
}

std::vector<AnnotatedPitch> LoadPitchCurve(const std::string& folder, const std::string& name,
                                           std::string& why) {
    std::vector<AnnotatedPitch> curve;
    std::ifstream file(std::filesystem::path(folder) / name);
    AnnotatedPitch point{};
    char comma = 0;
    while (file >> point.seconds >> comma >> point.hertz) {
        curve.push_back(point);
    }
    if (curve.empty()) {
        why = "no pitch annotation " + name;
    }
    return curve;
}

}  // namespace mlh
