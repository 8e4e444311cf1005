// Instances on threads of their own share nothing that can be heard: eight at once give the same bits as one
// after the other, at every processor level. Under the thread sanitizer this also shows that nothing is
// raced.
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

#include "dsp/LevelMain.h"
#include "support/HostJob.h"
#include "support/SungTunes.h"

namespace {

constexpr int kThreads = 8;

// Songs of their own, mono and stereo, floats and 16 bits, with chords and without.
struct Part {
    explicit Part(int number)
        : job{1 + number % 2, number % 3 ? 16000 : 22050, 300, number % 4 != 3}, wide(number < kThreads / 2) {
        const double pitch = 50.0 + 2.0 * number;
        for (const float sample : SingScale({pitch, pitch + 4, pitch + 2}, 0.25, 0, job.sampleRate).samples) {
            floats.insert(floats.end(), static_cast<std::size_t>(job.channels), sample);
        }
        for (const float sample : floats) integers.push_back(static_cast<int16_t>(32767.0f * sample));
    }
    HostResult Run() const { return wide ? RunHostJob(floats, job) : RunHostJob(integers, job); }

    HostJob job;
    bool wide;
    std::vector<float> floats;
    std::vector<int16_t> integers;
};

TEST(Threads, EightInstancesAtOnceGiveTheBitsOfOneAfterTheOther) {
    std::vector<Part> parts;
    for (int i = 0; i < kThreads; ++i) parts.emplace_back(i);
    std::vector<HostResult> together(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&parts, &together, i] {
            for (int round = 0; round < 2; ++round) together[i] = parts[i].Run();
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < kThreads; ++i) {
        const HostResult alone = parts[i].Run();
        EXPECT_TRUE(together[i] == alone) << i;
        EXPECT_GE(alone.lead.size(), 3u) << i;  // something was sung
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
