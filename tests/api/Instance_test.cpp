// The exported functions of an instance, as a host calls them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "api/HarmonyInstance.h"
#include "mlh/mlh.h"
#include "support/SungTunes.h"

namespace mlh {

namespace {

struct Dispose {
    void operator()(PitchVector* v) const { mlhDisposePitchVector(v); }
    void operator()(ChordVector* v) const { mlhDisposeChordVector(v); }
};
using Pitches = std::unique_ptr<PitchVector, Dispose>;
using Chords = std::unique_ptr<ChordVector, Dispose>;

class Host {
  public:
    Host() { mlhCreateInstance(&handle); }
    explicit Host(std::vector<float> recording, int32_t channels = 1, int32_t rate = 44100) : Host() {
        samples_ = std::move(recording);  // the library reads it where it stands
        mlhAssignInputData32(handle, samples_.data(), static_cast<int32_t>(samples_.size()) / channels,
                             channels, rate);
    }
    ~Host() { mlhDestroyInstance(&handle); }
    HarmonyInstance& instance() { return *static_cast<HarmonyInstance*>(handle); }
    Pitches Voice(uint32_t voice) { return Pitches(mlhGetPitchVector(handle, voice, 0, 0)); }

    void* handle = nullptr;

  private:
    std::vector<float> samples_;
};

const std::vector<float>& Phrase() {
    static const std::vector<float> samples = SingPhrase().samples;
    return samples;
}

std::vector<float> Stereo(const std::vector<float>& mono) {
    std::vector<float> stereo;
    for (float s : mono) {
        stereo.push_back(s);
        stereo.push_back(-0.5f * s);
    }
    return stereo;
}

int16_t Convert(float sample) {
    if (sample >= 1.0f) {
        return 32767;
    }
    if (sample <= -1.0f) {
        return -32767;
    }
    return static_cast<int16_t>(sample * 32767.0);
}

TEST(Instance, VersionsAnswer) {
    EXPECT_STREQ(mlGetVersionString(), "2.2.3.20942");
    EXPECT_STREQ(mlhGetVersionString(), "1.0.4");
}

std::string lastMessage;
void RecordMessage(const char* message, ...) { lastMessage += message; }

TEST(Instance, DebugCallbackIsGreetedOnce) {
    EXPECT_EQ(mlhAssignDebugMessageCallback(RecordMessage), 0);
    EXPECT_EQ(lastMessage, "hello");
    EXPECT_EQ(mlhAssignDebugMessageCallback(nullptr), 0);
    EXPECT_EQ(lastMessage, "hello");
}

TEST(Instance, CreatesAndDestroys) {
    EXPECT_EQ(mlhCreateInstance(nullptr), 2);
    void* handle = nullptr;
    EXPECT_EQ(mlhCreateInstance(&handle), 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(mlhDestroyInstance(&handle), 0);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(mlhDestroyInstance(&handle), 3);
    EXPECT_EQ(mlhDestroyInstance(nullptr), 3);
}

TEST(Instance, WithoutAHandleEveryCallSaysSo) {
    int16_t out16[4] = {};
    float* out32[4] = {};
    EXPECT_EQ(mlhAssignInputData(nullptr, out16, 1, 1, 44100), 3);
    EXPECT_EQ(mlhAssignInputData16(nullptr, out16, 1, 1, 44100), 3);
    EXPECT_EQ(mlhAssignInputData32(nullptr, nullptr, 1, 1, 44100), 3);
    EXPECT_EQ(mlhSetParams(nullptr, true, 4, 1, 0.5f, 0, false), 3);
    EXPECT_EQ(mlhProcessOutputData(nullptr, out16, 1, 1, nullptr), 3);
    EXPECT_EQ(mlhProcessOutputData16(nullptr, out16, 1, 1, nullptr), 3);
    EXPECT_EQ(mlhProcessOutputData32(nullptr, out32, 1, 1), 3);
    EXPECT_EQ(mlhGetPitchVector(nullptr, 0, 0, 0), nullptr);
    const Pitches pitches(mlhGetNewPitchVector());
    const Chords chords(mlhGetNewChordVector());
    EXPECT_EQ(mlhSetPitchVector(nullptr, 1, pitches.get()), 3);
    EXPECT_EQ(mlhSetChordVector(nullptr, chords.get()), 3);
    EXPECT_FALSE(mlhAssignMidi(nullptr, pitches.get()));
}

TEST(Instance, WithoutInputItIsNotReady) {
    Host host;
    int16_t out[4];
    float* out32[4] = {};
    const Pitches pitches(mlhGetNewPitchVector());
    const Chords chords(mlhGetNewChordVector());
    EXPECT_EQ(mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false), 3);
    EXPECT_EQ(mlhProcessOutputData16(host.handle, out, 1, 1, nullptr), 3);
    EXPECT_EQ(mlhProcessOutputData32(host.handle, out32, 1, 1), 3);
    EXPECT_EQ(mlhSetPitchVector(host.handle, 1, pitches.get()), 3);
    EXPECT_EQ(mlhSetPitchVector(host.handle, 0, pitches.get()), 2);
    EXPECT_EQ(mlhSetPitchVector(host.handle, 5, pitches.get()), 2);
    EXPECT_EQ(mlhSetPitchVector(host.handle, 1, nullptr), 2);
    EXPECT_EQ(mlhSetChordVector(host.handle, chords.get()), 3);
    EXPECT_EQ(mlhSetChordVector(host.handle, nullptr), 2);
    EXPECT_EQ(mlhGetPitchVector(host.handle, 0, 0, 0), nullptr);
    EXPECT_TRUE(mlhAssignMidi(host.handle, pitches.get()));
    EXPECT_FALSE(mlhAssignMidi(host.handle, nullptr));
}

TEST(Instance, ARefusedFormatShowsOnlyLater) {
    const std::vector<float> silence(480, 0.0f);
    const std::pair<int32_t, int32_t> refused[] = {
        {0, 44100}, {-1, 44100}, {1, 11024}, {1, 256000}, {48, 44100}};
    for (const auto& [channels, rate] : refused) {
        Host host;
        EXPECT_EQ(mlhAssignInputData32(host.handle, silence.data(), 10, channels, rate), 0);
        int16_t out[48];
        EXPECT_EQ(mlhProcessOutputData16(host.handle, out, 1, 1, nullptr), 3) << channels << " " << rate;
        EXPECT_EQ(mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false), 3);
    }
}

TEST(Instance, VoicesOutOfRangeChangeNothing) {
    Host host(Phrase());
    ASSERT_EQ(mlhSetParams(host.handle, true, 3, 1, 0.5f, 0, false), 0);
    EXPECT_EQ(mlhSetParams(host.handle, true, 1, 1, 0.5f, 0, false), 2);
    EXPECT_EQ(mlhSetParams(host.handle, true, 5, 1, 0.5f, 0, false), 2);
    EXPECT_EQ(mlhSetParams(host.handle, false, 0, 1, 0.5f, 0, false), 2);
    EXPECT_EQ(mlhSetParams(host.handle, false, 5, 1, 0.5f, 0, false), 2);
    EXPECT_EQ(host.instance().outputVoiceCount, 3);
    EXPECT_EQ(host.instance().addOn->GetHarmonyMode(), 1);
    EXPECT_EQ(mlhSetParams(host.handle, false, 1, 1, 0.5f, 0, false), 0);
    EXPECT_EQ(host.instance().addOn->GetHarmonyMode(), 3);
}

TEST(Instance, VoicesChooseTheHarmonyMode) {
    Host host(Phrase());
    for (int32_t voices = 2; voices <= 4; ++voices) {
        EXPECT_EQ(mlhSetParams(host.handle, true, voices, 1, 0.5f, 0, false), 0);
        EXPECT_EQ(host.instance().addOn->GetHarmonyMode(), 4 - voices);
    }
}

TEST(Instance, SpreadAndVoicesAboveOutOfRangeAreDroppedSilently) {
    Host host(Phrase());
    EXPECT_EQ(mlhSetParams(host.handle, true, 4, 2, 0.25f, 0, false), 0);
    EXPECT_EQ(mlhSetParams(host.handle, true, 4, 4, 1.5f, 0, false), 0);
    EXPECT_EQ(host.instance().addOn->GetVoicesAbove(), 2);
    EXPECT_EQ(host.instance().addOn->GetSpread(), 0.25f);
}

TEST(Instance, TheKeyRootKeepsItsSign) {
    Host host(Phrase());
    mlhSetParams(host.handle, true, 4, 1, 0.5f, 14, false);
    EXPECT_EQ(host.instance().addOn->GetKey(), 2);
    mlhSetParams(host.handle, true, 4, 1, 0.5f, 14, true);
    EXPECT_EQ(host.instance().addOn->GetKey(), 14);
    // -3 + 12 is key 9: below 12, so a major one.
    mlhSetParams(host.handle, true, 4, 1, 0.5f, -3, true);
    EXPECT_EQ(host.instance().addOn->GetKey(), 9);
}

TEST(Process16, NothingToRenderWritesNothing) {
    Host host(Phrase());
    int16_t out[2] = {7, 7};
    EXPECT_EQ(mlhProcessOutputData16(host.handle, out, 0, 1, nullptr), 0);
    EXPECT_EQ(mlhProcessOutputData16(host.handle, out, -1, 1, nullptr), 0);
    EXPECT_EQ(mlhProcessOutputData16(host.handle, nullptr, 0, 1, nullptr), 0);
    EXPECT_EQ(out[0], 7);
}

TEST(Process16, RefusesWhatItCannotWrite) {
    Host host(Phrase());
    int16_t out[300];
    std::fill(std::begin(out), std::end(out), int16_t{7});
    EXPECT_EQ(mlhProcessOutputData16(host.handle, nullptr, 1, 1, nullptr), 2);
    EXPECT_EQ(mlhProcessOutputData16(host.handle, out, 100, 0, nullptr), 2);
    EXPECT_EQ(mlhProcessOutputData16(host.handle, out, 100, 3, nullptr), 2);
    Host three(std::vector<float>(300, 0.1f), 3);
    EXPECT_EQ(mlhProcessOutputData16(three.handle, out, 100, 1, nullptr), 2);
    EXPECT_EQ(mlhProcessOutputData16(three.handle, out, 100, 3, nullptr), 2);
    for (int16_t sample : out) {
        EXPECT_EQ(sample, 7);
    }
}

TEST(Process16, BeforeParametersItIsTheScaledLead) {
    Host host(Phrase());
    const int32_t frames = static_cast<int32_t>(Phrase().size());
    std::vector<int16_t> out(frames);
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out.data(), frames, 1, nullptr), 0);
    for (int32_t i = 0; i < frames; ++i) {
        ASSERT_EQ(out[i], Convert(static_cast<float>(Phrase()[i] * 0.5))) << i;
    }
}

TEST(Process16, SaturatesAtPlusMinus32767) {
    const std::vector<float> samples = {1.0f, -1.0f, 2.0f, -2.0f, 0.99999f, NAN, INFINITY, -INFINITY};
    Host host(samples);
    const double gains[10] = {1.0, 1.0};
    int16_t out[8];
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out, 8, 1, gains), 0);
    const int16_t expected[8] = {32767, -32767, 32767, -32767, 32766, 0, 32767, -32767};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(out[i], expected[i]) << i;
    }
    const double nan[10] = {NAN, NAN};
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out, 5, 1, nan), 0);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(out[i], 0);
    }
}

TEST(Process16, BehindTheEndComesSilence) {
    Host host(std::vector<float>(5000, 0.25f));
    std::vector<int16_t> out(20000, 7);
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out.data(), 20000, 1, nullptr), 0);
    for (int i = 5000; i < 20000; ++i) {
        ASSERT_EQ(out[i], 0) << i;
    }
    EXPECT_NE(out[4999], 0);
}

// The mix of the 16-bit call equals the voices of the float call by the gains.
TEST(Process16, MixesTheVoicesByTheGains) {
    const int32_t frames = 30000;
    Host mixed(Phrase());
    Host apart(Phrase());
    mlhSetParams(mixed.handle, true, 4, 1, 0.5f, 0, false);
    mlhSetParams(apart.handle, true, 4, 1, 0.5f, 0, false);
    const Chords chords(mlhGetNewChordVector());
    mlhChordVectorAddItem(chords.get(), {0.1f, {60, 64, 67, -1}});
    ASSERT_EQ(mlhSetChordVector(mixed.handle, chords.get()), 0);
    ASSERT_EQ(mlhSetChordVector(apart.handle, chords.get()), 0);

    std::vector<int16_t> out(frames);
    ASSERT_EQ(mlhProcessOutputData(mixed.handle, out.data(), frames, 1, nullptr), 0);
    std::vector<std::vector<float>> voices(4, std::vector<float>(frames));
    float* rows[4];
    for (int v = 0; v < 4; ++v) {
        rows[v] = voices[v].data();
    }
    ASSERT_EQ(mlhProcessOutputData32(apart.handle, rows, frames, 1), 0);

    const double gains[5] = {0.5, 0.5, 0.0, 0.3, 0.2};
    for (int32_t i = 0; i < frames; ++i) {
        float mix = static_cast<float>(Phrase()[i] * gains[0]);
        for (int v = 1; v <= 4; ++v) {
            mix = static_cast<float>(mix + voices[v - 1][i] * gains[v]);
        }
        ASSERT_EQ(out[i], Convert(mix)) << i;
    }
}

TEST(Process16, StereoKeepsTheRowStrideOfTheGains) {
    const std::vector<float> stereo = Stereo(Phrase());
    Host host(stereo, 2);
    const int32_t frames = 9000;
    std::vector<int16_t> out(2 * frames);
    double gains[10] = {1.0, 0.5};
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out.data(), frames, 2, gains), 0);
    for (int32_t i = 0; i < frames; ++i) {
        ASSERT_EQ(out[2 * i], Convert(static_cast<float>(stereo[2 * i] * 1.0)));
        ASSERT_EQ(out[2 * i + 1], Convert(static_cast<float>(stereo[2 * i + 1] * 0.5)));
    }
}

TEST(Process32, RefusesMissingRows) {
    Host host(Phrase());
    mlhSetParams(host.handle, true, 2, 1, 0.5f, 0, false);
    std::vector<float> row(100);
    float* rows[2] = {row.data(), nullptr};
    EXPECT_EQ(mlhProcessOutputData32(host.handle, rows, 100, 1), 2);
    EXPECT_EQ(mlhProcessOutputData32(host.handle, nullptr, 100, 1), 2);
    EXPECT_EQ(mlhProcessOutputData32(host.handle, nullptr, 0, 1), 0);
    rows[1] = row.data();
    EXPECT_EQ(mlhProcessOutputData32(host.handle, rows, 100, 3), 2);
}

TEST(Process32, StereoBlocksAdvanceByFramesAlone) {
    const std::vector<float> stereo = Stereo(Phrase());
    const int32_t frames = 3 * 4096;
    Host host(stereo, 2);
    Host reference(stereo, 2);
    mlhSetParams(host.handle, true, 2, 1, 0.5f, 0, false);
    mlhSetParams(reference.handle, true, 2, 1, 0.5f, 0, false);
    std::vector<std::vector<float>> voices(2, std::vector<float>(2 * frames, 9.0f));
    float* rows[2] = {voices[0].data(), voices[1].data()};
    ASSERT_EQ(mlhProcessOutputData32(host.handle, rows, frames, 2), 0);

    // Voice by voice and channel by channel, from the add-on itself.
    std::vector<std::vector<float>> apart(8, std::vector<float>(frames));
    for (int32_t first = 0; first < frames; first += 4096) {
        float* pointers[8];
        for (int i = 0; i < 8; ++i) {
            pointers[i] = apart[i].data() + first;
        }
        reference.instance().addOn->Process(pointers, 4096);
    }
    for (int v = 0; v < 2; ++v) {
        // Of each block but the last, the second half is overwritten by the next.
        for (int32_t block = 0; block < 3; ++block) {
            const int32_t kept = block == 2 ? 8192 : 4096;
            for (int32_t k = 0; k < kept; ++k) {
                const int32_t frame = block * 4096 + k / 2;
                ASSERT_EQ(voices[v][block * 4096 + k], apart[2 * v + k % 2][frame]) << block << " " << k;
            }
        }
        EXPECT_EQ(voices[v][4 * 4096], 9.0f);
    }
}

TEST(Process32, ChannelsUnlikeTheRecordingsAreDefined) {
    Host host(Stereo(Phrase()), 2);
    mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false);
    std::vector<int16_t> out(10000);
    EXPECT_EQ(mlhProcessOutputData16(host.handle, out.data(), 10000, 1, nullptr), 0);
    Host mono(Phrase());
    mlhSetParams(mono.handle, true, 4, 1, 0.5f, 0, false);
    EXPECT_EQ(mlhProcessOutputData16(mono.handle, out.data(), 5000, 2, nullptr), 0);
}

TEST(Instance, ASecondAssignmentSwapsTheSamplesAndKeepsTheAnalysis) {
    Host host(Phrase());
    const int32_t count = mlhPitchVectorGetTotal(host.Voice(0).get());
    const std::vector<int16_t> other(20000, 16384);
    ASSERT_EQ(mlhAssignInputData16(host.handle, other.data(), 20000, 1, 44100), 0);
    EXPECT_EQ(mlhPitchVectorGetTotal(host.Voice(0).get()), count);
    std::vector<int16_t> out(20000);
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out.data(), 20000, 1, nullptr), 0);
    EXPECT_EQ(out[19999], Convert(static_cast<float>(16384 / 37268.0f * 0.5)));
}

TEST(GetPitchVector, VoicesFrom0To4) {
    Host host(Phrase());
    const int32_t count = mlhPitchVectorGetTotal(host.Voice(0).get());
    EXPECT_GE(count, 11);
    for (uint32_t v = 1; v <= 4; ++v) {
        EXPECT_EQ(mlhPitchVectorGetTotal(host.Voice(v).get()), count);
    }
    EXPECT_EQ(host.Voice(5), nullptr);
    const Pitches adjusted(mlhGetPitchVector(host.handle, 0, 1, 64));
    EXPECT_EQ(mlhPitchVectorGetItem(adjusted.get(), 1).level, static_cast<float>(64 / 127.0));
}

TEST(SetPitchVector, InManualModeTheVoiceSingsIt) {
    Host host(Phrase());
    mlhSetParams(host.handle, false, 2, 1, 0.5f, 0, false);
    const Pitches pitches = host.Voice(0);
    EXPECT_EQ(mlhSetPitchVector(host.handle, 2, pitches.get()), 0);
    EXPECT_EQ(mlhPitchVectorGetItem(host.Voice(2).get(), 3).pitch,
              mlhPitchVectorGetItem(pitches.get(), 3).pitch);
    mlhPitchVectorAddItem(pitches.get(), {100, 60, 1, 0});
    EXPECT_EQ(mlhSetPitchVector(host.handle, 2, pitches.get()), 2);
}

TEST(SetChordVector, NeedsChordsAndAnAutomaticMode) {
    Host host(Phrase());
    mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false);
    const Chords chords(mlhGetNewChordVector());
    EXPECT_EQ(mlhSetChordVector(host.handle, chords.get()), 2);
    mlhChordVectorAddItem(chords.get(), {0.2f, {60, 64, 67, -1}});
    EXPECT_EQ(mlhSetChordVector(host.handle, chords.get()), 0);
    mlhSetParams(host.handle, false, 4, 1, 0.5f, 0, false);
    EXPECT_EQ(mlhSetChordVector(host.handle, chords.get()), 2);
}

// Renders voice 1 in the manual mode with MIDI notes and returns it.
std::vector<float> RenderWithNotes(const std::vector<PitchItem>& notes, int32_t frames) {
    Host host(Phrase());
    mlhSetParams(host.handle, false, 1, 1, 0.5f, 0, false);
    const Pitches pitches(mlhGetNewPitchVector());
    for (const PitchItem& note : notes) {
        mlhPitchVectorAddItem(pitches.get(), note);
    }
    mlhAssignMidi(host.handle, pitches.get());
    std::vector<float> voice(frames);
    float* rows[1] = {voice.data()};
    EXPECT_EQ(mlhProcessOutputData32(host.handle, rows, frames, 1), 0);
    return voice;
}

float Peak(const std::vector<float>& samples, int32_t first, int32_t last) {
    float peak = 0.0f;
    for (int32_t i = first; i < last; ++i) {
        peak = std::max(peak, std::fabs(samples[i]));
    }
    return peak;
}

TEST(AssignMidi, TheEndOfANoteSilencesItsVoice) {
    const auto voice = RenderWithNotes({{0.0f, 64, 1.0f, 1}, {1.5f, 65, 0.5f, 1}}, 110000);
    EXPECT_GT(Peak(voice, 10000, 40000), 0.05f);
    // The grain under way at the border still sounds for a period or two.
    EXPECT_EQ(Peak(voice, 44100 + 1000, 66150), 0.0f);
    EXPECT_GT(Peak(voice, 70000, 85000), 0.05f);
    EXPECT_EQ(Peak(voice, 88200 + 1000, 110000), 0.0f);
}

TEST(AssignMidi, AnEmptyVectorAddsNothing) {
    Host host;
    const Pitches none(mlhGetNewPitchVector());
    EXPECT_TRUE(mlhAssignMidi(host.handle, none.get()));
    EXPECT_TRUE(host.instance().midiChords.empty());
}

TEST(AssignMidi, AssignmentsQueueUpBehindEachOther) {
    Host host;
    for (int i = 0; i < 2; ++i) {
        const Pitches notes(mlhGetNewPitchVector());
        mlhPitchVectorAddItem(notes.get(), {1.0f, 60, 1.0f, 1});
        EXPECT_TRUE(mlhAssignMidi(host.handle, notes.get()));
    }
    ASSERT_EQ(host.instance().midiChords.size(), 4u);
    EXPECT_EQ(host.instance().midiChords[2].GetTime(), 1.0f);
}

// A second queue before the present frame is never reached in that call.
TEST(AssignMidi, AChordBehindThePresentFrameHoldsUpTheQueue) {
    Host host(Phrase());
    mlhSetParams(host.handle, false, 1, 1, 0.5f, 0, false);
    host.instance().midiChords = {MalleoTuneHarmonyAddOnIf::ChordElement(0.5f, 64),
                                  MalleoTuneHarmonyAddOnIf::ChordElement(0.25f, 50),
                                  MalleoTuneHarmonyAddOnIf::ChordElement(0.75f, 40)};
    std::vector<int16_t> out(60000);
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out.data(), 60000, 1, nullptr), 0);
    EXPECT_EQ(mlhPitchVectorGetItem(host.Voice(1).get(), 9).pitch, 64.0f);
    // No finite time holds it up as well.
    host.instance().midiChords = {MalleoTuneHarmonyAddOnIf::ChordElement(NAN, 30),
                                  MalleoTuneHarmonyAddOnIf::ChordElement(0.0f, 31)};
    ASSERT_EQ(mlhProcessOutputData16(host.handle, out.data(), 60000, 1, nullptr), 0);
    EXPECT_EQ(mlhPitchVectorGetItem(host.Voice(1).get(), 9).pitch, 64.0f);
}

TEST(Process16, AProcessCallStartsAgainWhileTheVoicesGoOn) {
    const int32_t half = 40000;
    Host twice(Phrase());
    Host once(Phrase());
    for (Host* host : {&twice, &once}) {
        mlhSetParams(host->handle, true, 4, 1, 0.5f, 0, false);
    }
    std::vector<std::vector<float>> first(4, std::vector<float>(half));
    std::vector<std::vector<float>> second = first;
    std::vector<std::vector<float>> whole(4, std::vector<float>(2 * half));
    const auto render = [](Host& host, std::vector<std::vector<float>>& voices) {
        float* rows[4];
        for (int v = 0; v < 4; ++v) {
            rows[v] = voices[v].data();
        }
        EXPECT_EQ(mlhProcessOutputData32(host.handle, rows, static_cast<int32_t>(voices[0].size()), 1), 0);
    };
    render(twice, first);
    render(twice, second);
    render(once, whole);
    for (int v = 0; v < 4; ++v) {
        EXPECT_TRUE(std::equal(first[v].begin(), first[v].end(), whole[v].begin()));
        EXPECT_TRUE(std::equal(second[v].begin(), second[v].end(), whole[v].begin() + half));
    }
}

}  // namespace

}  // namespace mlh
