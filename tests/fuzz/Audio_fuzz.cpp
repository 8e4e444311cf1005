// Any short recording through the whole job: analysed, set in voices, rendered in both formats.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "fuzz/Bytes.h"
#include "mlh/mlh.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr int32_t kLongest = 4000;  // samples, of all channels together

// A stretch of one kind of sound after the others.
void Append(std::vector<float>& samples, Bytes& bytes, float rate) {
    const uint8_t kind = bytes.Byte();
    const auto length = static_cast<std::size_t>(1 + bytes.Below(2048));
    const std::size_t start = samples.size();
    samples.resize(std::min<std::size_t>(start + length, kLongest));
    switch (kind % 12) {
        case 0:
            break;  // silence
        case 1: {
            const float level = bytes.Real(1.0f);
            std::fill(samples.begin() + static_cast<std::ptrdiff_t>(start), samples.end(), level);
            break;
        }
        case 2: {
            const auto half = static_cast<std::size_t>(1 + bytes.Byte());
            for (std::size_t i = start; i < samples.size(); ++i) {
                samples[i] = i / half % 2 ? 1.0f : -1.0f;
            }
            break;
        }
        case 3: {
            NoiseSource noise(bytes.Byte());
            const float level = bytes.Real(1.0f);
            for (std::size_t i = start; i < samples.size(); ++i) {
                samples[i] = level * noise.Next();
            }
            break;
        }
        case 4: {
            const auto distance = static_cast<std::size_t>(1 + bytes.Below(1024));
            const float level = bytes.Real(1.0f);
            for (std::size_t i = start; i < samples.size(); i += distance) {
                samples[i] = level;
            }
            break;
        }
        case 5:
            for (std::size_t i = start; i < samples.size(); ++i) {
                samples[i] = bytes.Real(1.0f);
            }
            break;
        case 6:
            samples[samples.size() - 1] = bytes.Real(1e-38f);
            break;
        default: {
            // A voice of two halves of an octave each, with harmonics and a glide.
            const float first = 60.0f + 4.0f * static_cast<float>(bytes.Byte());
            const float last = bytes.Bit() ? first : 60.0f + 4.0f * static_cast<float>(bytes.Byte());
            float phase = 0.0f;
            for (std::size_t i = start; i < samples.size(); ++i) {
                const float part = static_cast<float>(i - start) / static_cast<float>(samples.size() - start);
                phase += (first + (last - first) * part) / rate;
                phase -= std::floor(phase);
                const float angle = 6.2831853f * phase;
                samples[i] =
                    0.4f * std::sin(angle) + 0.2f * std::sin(2.0f * angle) + 0.1f * std::sin(3.0f * angle);
            }
        }
    }
}

std::vector<int16_t> ToIntegers(const std::vector<float>& samples) {
    std::vector<int16_t> integers;
    for (const float sample : samples) {
        const float scaled = 32768.0f * sample;
        integers.push_back(!(scaled > -32768.0f) ? int16_t{-32768}
                           : scaled >= 32767.0f  ? int16_t{32767}
                                                 : static_cast<int16_t>(scaled));
    }
    return integers;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static constexpr int32_t kRates[] = {11025, 11026, 12000, 16000, 22050,
                                         32000, 44100, 48000, 96000, 255999};
    Bytes bytes(data, size);
    const uint8_t kind = bytes.Byte();
    const int32_t channels = 1 + kind % 3;
    const bool integers = (kind & 16) != 0;
    const bool manual = (kind & 32) != 0;
    const int32_t rate = kind & 64 ? 11025 + bytes.Below(65536) * 4 % 244974 : kRates[bytes.Below(10)];
    const int32_t voices = 1 + bytes.Below(4);
    const int32_t key = bytes.Below(24);
    const auto firstCall = bytes.Below(5000);

    std::vector<float> samples;
    while (!bytes.Empty() && samples.size() < kLongest) {
        Append(samples, bytes, static_cast<float>(rate));
    }
    const bool tame =
        std::all_of(samples.begin(), samples.end(), [](float s) { return std::fabs(s) <= 1.0f; });
    const std::vector<int16_t> words = ToIntegers(samples);
    const auto frames = static_cast<int32_t>(samples.size()) / channels;

    void* handle = nullptr;
    Require(mlhCreateInstance(&handle) == MLH_OK);
    Require((integers ? mlhAssignInputData16(handle, words.data(), frames, channels, rate)
                      : mlhAssignInputData32(handle, samples.data(), frames, channels, rate)) == MLH_OK);
    Require(mlhSetParams(handle, !manual, manual ? voices : std::max(voices, 2), 1, 0.5f, key % 12,
                         key >= 12) == MLH_OK);
    PitchVector* lead = mlhGetPitchVector(handle, 0, 0, 0);
    Require(mlhPitchVectorGetTotal(lead) >= 2);  // the lead-in, and a note in any case
    if (manual) {
        for (int32_t v = 1; v <= 4; ++v) {
            Require(mlhSetPitchVector(handle, v, lead) == MLH_OK);
        }
    } else {
        ChordVector* chords = mlhGetNewChordVector();
        mlhChordVectorAddItem(chords, {0.0f, {60, 64, 67, -1}});
        mlhChordVectorAddItem(chords, {0.12f, {62, 65, 69, 72}});
        Require(mlhSetChordVector(handle, chords) == MLH_OK);
        mlhDisposeChordVector(chords);
    }
    mlhDisposePitchVector(lead);

    const int32_t rendered = frames + 100;
    if (channels <= 2) {
        std::vector<int16_t> mix(static_cast<std::size_t>(rendered) * static_cast<std::size_t>(channels), 7);
        const int32_t part = std::min(firstCall, rendered);
        Require(mlhProcessOutputData16(handle, mix.data(), part, channels, nullptr) == MLH_OK);
        std::vector<std::vector<float>> rows(4, std::vector<float>(2 * static_cast<std::size_t>(rendered)));
        float* out[4];
        for (std::size_t v = 0; v < 4; ++v) {
            out[v] = rows[v].data();
        }
        Require(mlhProcessOutputData32(handle, out, rendered - part, channels) == MLH_OK);
        for (const auto& row : rows) {
            for (const float sample : row) {
                Require(!(integers || tame) || std::isfinite(sample));
            }
        }
    } else {
        int16_t untouched = 7;
        Require(mlhProcessOutputData16(handle, &untouched, 1, channels, nullptr) == MLH_BAD_ARGUMENT);
        Require(untouched == 7);
    }
    Require(mlhDestroyInstance(&handle) == MLH_OK);
    return 0;
}

}  // namespace mlh
