// Instances on threads of their own share nothing that can be heard: eight at once give the same bits as one
// after the other, at every processor level. Under the thread sanitizer this also shows that nothing is
// raced.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include "dsp/LevelMain.h"
#include "support/HostJob.h"
#include "support/SungTunes.h"

namespace mlh {

namespace {

constexpr int kThreads = 8;

// Songs of their own, mono and stereo, floats and 16 bits, with chords and without. Or what is no song, as
// floats.
struct Part {
    explicit Part(std::vector<float> samples) : wide(true), floats(std::move(samples)) {}
    explicit Part(int number)
        : job{1 + number % 2, number % 3 ? 16000 : 22050, 300, number % 4 != 3}, wide(number < kThreads / 2) {
        const double pitch = 50.0 + 2.0 * number;
        for (const float sample : SingScale({pitch, pitch + 4, pitch + 2}, 0.25, 0, job.sampleRate).samples) {
            floats.insert(floats.end(), static_cast<std::size_t>(job.channels), sample);
        }
        for (const float sample : floats) {
            integers.push_back(static_cast<int16_t>(32767.0f * sample));
        }
    }
    HostResult Run() const { return wide ? RunHostJob(floats, job) : RunHostJob(integers, job); }

    HostJob job;
    bool wide;
    std::vector<float> floats;
    std::vector<int16_t> integers;
};

// The results of all parts, each on a thread of its own.
std::vector<HostResult> RunTogether(const std::vector<Part>& parts) {
    std::vector<HostResult> results(parts.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        threads.emplace_back([&parts, &results, i] {
            for (int round = 0; round < 2; ++round) {
                results[i] = parts[i].Run();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return results;
}

TEST(Threads, EightInstancesAtOnceGiveTheBitsOfOneAfterTheOther) {
    std::vector<Part> parts;
    for (int i = 0; i < kThreads; ++i) {
        parts.emplace_back(i);
    }
    const std::vector<HostResult> together = RunTogether(parts);
    for (int i = 0; i < kThreads; ++i) {
        const HostResult alone = parts[i].Run();
        EXPECT_TRUE(together[i] == alone) << i;
        EXPECT_GE(alone.lead.size(), 3u) << i;  // something was sung
    }
}

// A song beside recordings that no singer made.
TEST(Threads, HostileRecordingsAtOnceGiveTheBitsOfOneAfterTheOther) {
    const std::vector<float> song = SingScale({60, 64}, 0.25, 0, 16000).samples;
    const auto spoilt = [&](float bad, std::size_t distance) {
        std::vector<float> samples = song;
        for (std::size_t i = 0; i < samples.size(); i += distance) {
            samples[i] = bad;
        }
        return samples;
    };
    std::vector<Part> parts;
    parts.emplace_back(song);
    parts.emplace_back(Noise(song.size()));
    parts.emplace_back(std::vector<float>(song.size()));
    parts.emplace_back(std::vector<float>());
    parts.emplace_back(spoilt(std::numeric_limits<float>::quiet_NaN(), 997));
    parts.emplace_back(spoilt(std::numeric_limits<float>::infinity(), 97));
    parts.emplace_back(spoilt(std::numeric_limits<float>::denorm_min(), 1));
    parts.emplace_back(spoilt(3e38f, 2));
    ASSERT_EQ(parts.size(), static_cast<std::size_t>(kThreads));
    const std::vector<HostResult> together = RunTogether(parts);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        EXPECT_TRUE(together[i] == parts[i].Run()) << i;
    }
}

// Handed from thread to thread, one at a time, as a host's pool of workers does.
TEST(Threads, AnInstanceMayMoveFromThreadToThread) {
    const Part part(0);
    const auto call = [](auto work) { std::thread(work).join(); };
    void* handle = nullptr;
    std::vector<int16_t> mix(part.floats.size() + 300);
    call([&] { mlhCreateInstance(&handle); });
    call([&] { AssignSamples(handle, part.floats, part.job); });
    call([&] { SetUpVoices(handle, part.job); });
    call([&] { mlhProcessOutputData16(handle, mix.data(), static_cast<int32_t>(mix.size()), 1, nullptr); });
    call([&] { mlhDestroyInstance(&handle); });
    EXPECT_EQ(mix, part.Run().mix);
}

}  // namespace

}  // namespace mlh
