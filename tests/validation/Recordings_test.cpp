// The synthetic singer and every recording through the C interface, as a host would drive it: two, three and
// four voices, with and without chords, and the manual mode from MIDI notes. Whole recordings run by
// scripts/test-recordings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "mlh/mlh.h"
#include "support/Paths.h"
#include "support/SyntheticSinger.h"
#include "validation/AudioFiles.h"

namespace mlh {

namespace {

constexpr double kSeconds = 4.0;  // of each recording
constexpr float kGrain = 0.1f;    // [s] and more than the longest

class Instance {
  public:
    explicit Instance(const Recording& lead) : lead_(lead) {
        mlhCreateInstance(&handle_);
        EXPECT_EQ(
            mlhAssignInputData32(handle_, lead.samples.data(), lead.Frames(), lead.channels, lead.sampleRate),
            MLH_OK);
    }
    ~Instance() { mlhDestroyInstance(&handle_); }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    void* handle() const { return handle_; }

    // A chord every 0.7 s, around and out of the key.
    void SetChords() {
        const int32_t chords[][4] = {{60, 64, 67, -1}, {57, 60, 64, 67}, {65, 69, 72, -1},
                                     {62, 65, 68, -1}, {55, 59, 62, 65}, {61, 65, 68, 72}};
        ChordVector* vector = mlhGetNewChordVector();
        for (int i = 0; i * 0.7 < kSeconds; ++i) {
            ChordItem item{static_cast<float>(i * 0.7), {}};
            std::copy_n(chords[i % 6], 4, item.notes);
            mlhChordVectorAddItem(vector, item);
        }
        EXPECT_EQ(mlhSetChordVector(handle_, vector), MLH_OK);
        mlhDisposeChordVector(vector);
    }

    // The lead's own notes, rounded and a third higher, as notes of a keyboard. Returns the start of the
    // first [s].
    float AssignMidi() {
        PitchVector* lead = mlhGetPitchVector(handle_, 0, 0, 0);
        PitchVector* notes = mlhGetNewPitchVector();
        for (int32_t i = 0; i < mlhPitchVectorGetTotal(lead); ++i) {
            PitchItem item = mlhPitchVectorGetItem(lead, static_cast<uint32_t>(i));
            item.pitch = std::floor(item.pitch + 4.5f);
            if (item.duration > 0.02f) {
                mlhPitchVectorAddItem(notes, item);
            }
        }
        EXPECT_TRUE(mlhAssignMidi(handle_, notes));
        const float start = mlhPitchVectorGetItem(notes, 0).start;
        mlhDisposePitchVector(notes);
        mlhDisposePitchVector(lead);
        return start;
    }

    std::vector<int16_t> Mix(const double* gains) {
        std::vector<int16_t> mix(lead_.samples.size());
        EXPECT_EQ(mlhProcessOutputData16(handle_, mix.data(), lead_.Frames(), lead_.channels, gains), MLH_OK);
        return mix;
    }

    std::vector<std::vector<float>> Voices(int32_t count) {
        std::vector<std::vector<float>> voices(static_cast<std::size_t>(count),
                                               std::vector<float>(lead_.samples.size()));
        std::vector<float*> pointers;
        for (auto& voice : voices) {
            pointers.push_back(voice.data());
        }
        EXPECT_EQ(mlhProcessOutputData32(handle_, pointers.data(), lead_.Frames(), lead_.channels), MLH_OK);
        return voices;
    }

  private:
    const Recording& lead_;
    void* handle_ = nullptr;
};

float Peak(const std::vector<float>& samples) {
    float peak = 0.0f;
    for (const float sample : samples) {
        peak = std::max(peak, std::fabs(sample));
    }
    return peak;
}

// At most two grains overlap, each of them samples of the lead times a window of at most 1.
void ExpectWithinTwoGrains(const std::vector<std::vector<float>>& voices, const Recording& lead) {
    const float limit = 2.0001f * Peak(lead.samples);
    for (const auto& voice : voices) {
        const bool finite = std::all_of(voice.begin(), voice.end(), [](float x) { return std::isfinite(x); });
        EXPECT_TRUE(finite) << lead.name;
        EXPECT_LE(Peak(voice), limit) << lead.name;
    }
}

class EveryRecording : public ::testing::Test {
  protected:
    void SetUp() override {
        AddSongs();
        std::string why;
        for (const std::string& name : ListAudioFiles(VoicesDir(), why)) {
            leads.emplace_back();
            ASSERT_TRUE(LoadAudioFile(VoicesDir(), name, kSeconds, leads.back(), why)) << why;
        }
    }
    std::vector<Recording> leads;

  private:
    // The synthetic singer in mono and in stereo, at two rates.
    void AddSongs() {
        for (const double rate : {22050.0, 44100.0}) {
            SingerSettings settings;
            settings.sampleRate = rate;
            settings.vibratoDepth = 0.3;
            settings.roomNoise = 0.001;
            const SungRecording song = Sing({{55, 0.6, 'a', 's'},
                                             {59, 0.5, 'e'},
                                             {0, 0.2, kRest},
                                             {62, 0.6, 'i', 't'},
                                             {60, 0.5, 'o', 'm'},
                                             {48, 0.8, 'u', 'h'}},
                                            settings);
            leads.push_back({"singer in mono", song.sampleRate, 1, song.samples});
            leads.push_back({"singer in stereo", song.sampleRate, 2, {}});
            for (const float sample : song.samples) {
                leads.back().samples.push_back(sample);
                leads.back().samples.push_back(-0.5f * sample);
            }
        }
    }
};

TEST_F(EveryRecording, IsSungByTwoThreeAndFourVoicesWithAndWithoutChords) {
    for (const Recording& lead : leads) {
        for (const int32_t count : {2, 3, 4}) {
            for (const bool chords : {false, true}) {
                Instance instance(lead);
                ASSERT_EQ(mlhSetParams(instance.handle(), true, count, 1, 0.5f, 0, false), MLH_OK);
                if (chords) {
                    instance.SetChords();
                }
                PitchVector* own = mlhGetPitchVector(instance.handle(), 0, 0, 0);
                for (int32_t v = 1; v <= count; ++v) {
                    PitchVector* line = mlhGetPitchVector(instance.handle(), static_cast<uint32_t>(v), 0, 0);
                    EXPECT_EQ(mlhPitchVectorGetTotal(line), mlhPitchVectorGetTotal(own)) << lead.name;
                    mlhDisposePitchVector(line);
                }
                mlhDisposePitchVector(own);
                const auto voices = instance.Voices(count);
                ExpectWithinTwoGrains(voices, lead);
                EXPECT_GT(Peak(voices[0]), 0.5f * Peak(lead.samples)) << lead.name << ", the lead's own line";
            }
        }
    }
}

TEST_F(EveryRecording, IsSungFromMidiInTheManualMode) {
    for (const Recording& recording : leads) {
        // In mono, where each voice comes out whole.
        const Recording lead{recording.name, recording.sampleRate, 1, recording.Mono()};
        Instance instance(lead);
        ASSERT_EQ(mlhSetParams(instance.handle(), false, 2, 1, 0.5f, 0, false), MLH_OK);
        const float start = instance.AssignMidi();
        const auto voices = instance.Voices(2);
        ExpectWithinTwoGrains(voices, lead);
        // Up to the first note, and the grain on its way then, the voices sing on as they did before.
        const auto from = static_cast<std::ptrdiff_t>((start + kGrain) * static_cast<float>(lead.sampleRate));
        const auto first = std::min<std::ptrdiff_t>(from, std::ssize(voices[0]));
        EXPECT_GT(Peak({voices[0].begin() + first, voices[0].end()}), 0.0f) << lead.name;
        EXPECT_EQ(Peak({voices[1].begin() + first, voices[1].end()}), 0.0f) << lead.name << ", without notes";
    }
}

TEST_F(EveryRecording, GoesThroughTheMixUnchangedWhereOnlyTheDryLeadIsHeard) {
    const double dry[5][2] = {{1.0, 1.0}};
    for (const Recording& lead : leads) {
        Instance instance(lead);
        ASSERT_EQ(mlhSetParams(instance.handle(), true, 4, 1, 0.5f, 0, false), MLH_OK);
        const auto mix = instance.Mix(dry[0]);
        std::size_t differences = 0;
        for (std::size_t i = 0; i < mix.size(); ++i) {
            const float x = lead.samples[i];
            const int expected = x >= 1.0f ? 32767 : x <= -1.0f ? -32767 : static_cast<int>(x * 32767.0);
            differences += mix[i] != expected;
        }
        EXPECT_EQ(differences, 0u) << lead.name;
    }
}

}  // namespace

}  // namespace mlh
