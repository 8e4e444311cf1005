// Audio files, in and out.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Errors.h"
#include "choir/take/AddOn.h"

namespace mlh::cli {

// A recording in memory, mono or stereo.
struct Audio {
    std::vector<float> samples;  // interleaved, full scale is 1
    int32_t channels = 0;        // 1 or 2
    int32_t sampleRate = 0;      // [Hz]
    int32_t fileChannels = 0;    // of the file; above 2 they were mixed down to one

    int32_t Frames() const { return channels > 0 ? static_cast<int32_t>(samples.size() / channels) : 0; }
    AudioView View() const { return {samples.data(), Frames(), channels, sampleRate}; }
    double Seconds() const { return sampleRate > 0 ? static_cast<double>(Frames()) / sampleRate : 0.0; }
};

// What to do with a recording that is damaged: cut off, with samples that are no numbers, badly clipped.
enum class OnDamage { Refuse, Accept };
inline OnDamage ToOnDamage(bool accept) { return accept ? OnDamage::Accept : OnDamage::Refuse; }

// Reads any file that libsndfile knows. Says so on standard error when it mixes channels down, and what is
// damaged when it goes on with it. Throws Failure, with what to do, for a file that can't be read, that the
// library can't analyse (rate, length), or that is damaged.
Audio ReadAudio(const std::string& path, OnDamage onDamage = OnDamage::Refuse);

enum class SampleFormat { Int16, Int24, Float };

// Throws UsageError, with what to do, if no file of the suffix of `path` can be written, or none with such
// samples.
void CheckAudioOutput(const std::string& path, SampleFormat format);

// Writes an audio file block by block; it appears under its name when it is finished, or not at all. The
// container follows the suffix (wav, flac, aiff, ...; wav without one).
class AudioWriter {
  public:
    AudioWriter(const std::string& path, SampleFormat format, int32_t channels, int32_t sampleRate);
    ~AudioWriter();

    // Appends interleaved samples. Integer formats hold -1 to 1, as the library converts: times 32767 (or
    // 8388607), towards zero; what lies outside is limited and counted.
    void Write(const float* samples, int32_t frames);
    void Finish();
    int64_t Saturated() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace mlh::cli
