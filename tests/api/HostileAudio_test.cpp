// Recordings that no singer made, through the whole job: nothing crashes, hangs, leaks or grows without
// bound, and nothing is left that another instance could hear.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "support/HostJob.h"
#include "support/LongTests.h"
#include "support/ProcessMemory.h"
#include "support/SungTunes.h"

namespace mlh {

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kDenormal = std::numeric_limits<float>::denorm_min();

// Sample i of a recording of n samples.
using Signal = std::function<float(int32_t i, int32_t n)>;
struct NamedSignal {
    std::string name;
    Signal at;
};

const std::vector<NamedSignal>& Signals() {
    static const std::vector<NamedSignal> signals = {
        {"silence", [](int32_t, int32_t) { return 0.0f; }},
        {"negative zeros", [](int32_t, int32_t) { return -0.0f; }},
        {"DC", [](int32_t, int32_t) { return 1.0f; }},
        {"negative DC", [](int32_t, int32_t) { return -1.0f; }},
        {"fastest square", [](int32_t i, int32_t) { return i % 2 ? 1.0f : -1.0f; }},
        {"square", [](int32_t i, int32_t) { return i / 50 % 2 ? 1.0f : -1.0f; }},
        {"slowest square", [](int32_t i, int32_t n) { return 2 * i < n ? 1.0f : -1.0f; }},
        {"noise", [](int32_t i, int32_t) { return NoiseSource(static_cast<uint64_t>(i)).Next(); }},
        {"faint noise",
         [](int32_t i, int32_t) { return 1e-6f * NoiseSource(static_cast<uint64_t>(i)).Next(); }},
        {"an impulse", [](int32_t i, int32_t n) { return i == n / 2 ? 1.0f : 0.0f; }},
        {"impulses", [](int32_t i, int32_t) { return i % 97 == 0 ? 1.0f : 0.0f; }},
        {"an impulse at each end", [](int32_t i, int32_t n) { return i == 0 || i == n - 1 ? -1.0f : 0.0f; }},
        {"denormals", [](int32_t i, int32_t) { return i / 40 % 2 ? kDenormal : -kDenormal; }},
        {"a tone of denormals",
         [](int32_t i, int32_t) { return 1e-39f * std::sin(0.05f * static_cast<float>(i)); }},
        {"a tone far too loud",
         [](int32_t i, int32_t) { return 1e6f * std::sin(0.05f * static_cast<float>(i)); }},
        {"a ramp", [](int32_t i, int32_t n) { return static_cast<float>(i) / static_cast<float>(n); }},
        {"a chirp",
         [](int32_t i, int32_t n) {
             const double t = static_cast<double>(i) / n;
             return static_cast<float>(std::sin(3.14159 * t * t * n / 2));
         }},
    };
    return signals;
}

std::vector<float> Samples(const Signal& signal, int32_t count) {
    std::vector<float> samples;
    for (int32_t i = 0; i < count; ++i) {
        samples.push_back(signal(i, count));
    }
    return samples;
}

void ExpectSound(const HostResult& result, int32_t frames) {
    ASSERT_GE(result.lead.size(), 2u);  // the lead-in, and at least the one note that there always is
    for (const auto& stem : result.stems) {
        for (std::size_t i = 0; i < stem.size(); ++i) {
            ASSERT_TRUE(std::isfinite(stem[i])) << i;
        }
    }
    // After the end, and what a last grain may reach over it, there is nothing.
    for (const auto& stem : result.stems) {
        for (std::size_t i = static_cast<std::size_t>(frames) + 4096; i < stem.size(); ++i) {
            ASSERT_EQ(stem[i], 0.0f);
        }
    }
}

const std::vector<float>& Song() {
    static const std::vector<float> samples = SingScale({60, 64, 62}, 0.5, 0, 16000).samples;
    return samples;
}

TEST(HostileAudio, EverySignalPassesAtEveryEdgeOfTheSampleRate) {
    for (const int32_t rate : {11025, 11026, 44100, 255999}) {
        for (const NamedSignal& signal : Signals()) {
            SCOPED_TRACE(signal.name + " at " + std::to_string(rate));
            const int32_t frames = rate < 50000 ? 9000 : 30000;
            const HostResult result = RunHostJob(Samples(signal.at, frames), {1, rate, 6000, rate != 11026});
            ExpectSound(result, frames);
            if (signal.name == "silence") {
                for (const int16_t sample : result.mix) {
                    ASSERT_EQ(sample, 0);
                }
            }
        }
    }
}

TEST(HostileAudio, BeyondTheEdgesOfTheSampleRateNothingIsAnalysed) {
    for (const int32_t rate : {11024, 256000}) {
        void* handle = nullptr;
        ASSERT_EQ(mlhCreateInstance(&handle), 0);
        EXPECT_EQ(AssignSamples(handle, Song(), {1, rate}), 0);
        EXPECT_EQ(mlhSetParams(handle, true, 4, 1, 0.5f, 0, false), 3) << rate;
        EXPECT_EQ(mlhDestroyInstance(&handle), 0);
    }
}

TEST(HostileAudio, TheExtremesOf16BitsPass) {
    const std::function<int16_t(int32_t)> signals[] = {
        [](int32_t) { return int16_t{-32768}; },
        [](int32_t) { return int16_t{32767}; },
        [](int32_t i) { return i % 2 ? int16_t{-32768} : int16_t{32767}; },
        [](int32_t i) { return i / 60 % 2 ? int16_t{-32768} : int16_t{32767}; },
        [](int32_t i) { return i % 500 == 0 ? int16_t{-32768} : int16_t{0}; },
        [](int32_t i) { return i % 2 ? int16_t{1} : int16_t{-1}; },
    };
    for (const auto& signal : signals) {
        for (const int32_t channels : {1, 2}) {
            std::vector<int16_t> samples;
            for (int32_t i = 0; i < 9000; ++i) {
                samples.push_back(signal(i));
            }
            const HostResult result = RunHostJob(samples, {channels, 22050, 6000});
            ExpectSound(result, 9000 / channels);
            EXPECT_EQ(*std::min_element(result.mix.begin(), result.mix.end()) < -32767, false);
        }
    }
}

// Blocks of 4096, the windows of tracker and correlator, and their halves, the buffers that marks are placed
// from, which grow with the rate; one more and one less of each.
TEST(HostileAudio, LengthsAroundEveryBlockAndBufferPass) {
    std::vector<int32_t> lengths = {0, 1, 2, 3, 4, 5};
    for (const int32_t size : {128, 256, 512, 529, 1024, 2048, 4096, 8192, 12288, 16384, 32768}) {
        for (int32_t n = size - 1; n <= size + 1; ++n) {
            lengths.push_back(n);
        }
    }
    for (const int32_t rate : {11025, 44100, 255999}) {
        if (rate == 255999) {
            lengths = {1, 4095, 4096, 4097, 65535, 65536, 65537, 131071, 131072, 131073};
        }
        const std::vector<float> voice = HarmonicTone(147.0, rate, 132000.0 / rate);
        for (const int32_t length : lengths) {
            SCOPED_TRACE(testing::Message() << length << " at " << rate);
            const std::vector<float> samples(voice.begin(), voice.begin() + length);
            const HostResult result = RunHostJob(samples, {1, rate, 4200});
            ExpectSound(result, length);
            // What sounds ends with the input, or at most a block later.
            for (std::size_t i = static_cast<std::size_t>(length) + 4096; i < result.mix.size(); ++i) {
                ASSERT_EQ(result.mix[i], 0) << i;
            }
        }
    }
}

// At the ends, around a border of blocks, within a note, scattered, in a row as long as a window, everywhere.
TEST(HostileAudio, NumbersThatAreNonePassAtEveryPlace) {
    const HostResult before = RunHostJob(Song(), {});
    const auto last = static_cast<int32_t>(Song().size()) - 1;
    const std::vector<std::vector<int32_t>> places = {
        {0},       {last},           {4095},         {4096},           {4095, 4096},  {9000},
        {0, last}, {-5000, 0, last}, {-97, 0, last}, {-1, 6000, 8000}, {-1, 0, 4096}, {-1, 0, last}};
    for (const float bad : {kNaN, kInfinity, -kInfinity, 3e38f, -3e38f, kDenormal}) {
        for (const auto& place : places) {
            std::vector<float> samples = Song();
            if (place[0] >= 0) {
                for (const int32_t i : place) {
                    samples[static_cast<std::size_t>(i)] = bad;
                }
            } else {
                for (int32_t i = place[1]; i <= place[2]; i -= place[0]) {
                    samples[static_cast<std::size_t>(i)] = bad;
                }
            }
            SCOPED_TRACE(testing::Message() << bad << " at " << place[0]);
            const HostResult result = RunHostJob(samples, {});
            EXPECT_GE(result.lead.size(), 2u);
            for (std::size_t i = 0; i < samples.size(); ++i) {
                if (std::isnan(samples[i])) {
                    ASSERT_EQ(result.mix[i], 0) << i;
                }
                if (std::isinf(samples[i]) && result.mix[i] != 0) {  // 0 where a voice has no number there
                    ASSERT_EQ(result.mix[i], samples[i] > 0.0f ? 32767 : -32767) << i;
                }
            }
        }
    }
    // One channel only.
    std::vector<float> stereo;
    for (const float sample : Song()) {
        stereo.insert(stereo.end(), {sample, kNaN});
    }
    RunHostJob(stereo, {2});
    EXPECT_EQ(RunHostJob(Song(), {}), before);
}

// Notes as short as they can be, in every jump: the cleaning of the pitch curve has much to do, and ends.
TEST(HostileAudio, TheCleaningEndsOnRestlessVoices) {
    NoiseSource noise(5);
    for (int round = 0; round < 4; ++round) {
        std::vector<float> samples;
        double phase = 0.0;
        while (samples.size() < 24000) {
            const double hertz = 80.0 * std::pow(2.0, 1.5 * (1.0 + static_cast<double>(noise.Next())));
            const int32_t length = noise.Next(20, round % 2 ? 900 : 200);
            const float level = round < 2 ? 0.5f : 0.5f * std::fabs(noise.Next());
            for (int32_t i = 0; i < length; ++i) {
                phase = std::fmod(phase + hertz / 16000.0, 1.0);
                samples.push_back(level * static_cast<float>(1.0 - 2.0 * phase));
            }
        }
        ExpectSound(RunHostJob(samples, {}), static_cast<int32_t>(samples.size()));
    }
}

// Beside marks, frames and notes, 24 to 60 bytes each of which there are at most some hundreds a second, an
// instance keeps nothing of the recording.
void ExpectBoundedMemory(double minutes) {
    constexpr int32_t kRate = 44100;
    const auto frames = static_cast<std::size_t>(minutes * 60 * kRate);
    std::vector<int16_t> samples(frames);
    NoiseSource noise(3);
    for (int16_t& sample : samples) {
        sample = static_cast<int16_t>(noise.Next(-32768, 32767));
    }
    ForgetPeakMemory();
    const double before = PeakMemory();
    void* handle = nullptr;
    ASSERT_EQ(mlhCreateInstance(&handle), 0);
    ASSERT_EQ(AssignSamples(handle, samples, {1, kRate}), 0);
    ASSERT_EQ(mlhSetParams(handle, true, 4, 1, 0.5f, 0, false), 0);
    ASSERT_EQ(mlhProcessOutputData16(handle, samples.data(), static_cast<int32_t>(frames), 1, nullptr), 0);
    const double used = PeakMemory() - before;
    EXPECT_EQ(mlhDestroyInstance(&handle), 0);
    std::printf("%.0f minutes of noise: %.1f MB beside the samples\n", minutes, used);
    if (kMemoryIsMeasurable) {
        EXPECT_LT(used, 30.0 + 4.0 * minutes);
    }
}

TEST(HostileAudio, NoiseTakesMemoryForItsMarksOnly) { ExpectBoundedMemory(0.3); }

TEST(HostileAudio, AnHourOfNoisePasses) {
    MLH_LONG_TEST();
    ExpectBoundedMemory(60.0);
}

}  // namespace

}  // namespace mlh
