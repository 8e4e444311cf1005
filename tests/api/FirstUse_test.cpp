// The first thing that a process does with the library, done by eight threads at once: the table of
// operations is filled while others already reach for it. Nothing else may be in this program.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "dsp/Dispatch.h"
#include "support/HostJob.h"
#include "support/SungTunes.h"

namespace mlh {

namespace {

TEST(FirstUse, ThreadsThatComeFirstAtOnceHearWhatALaterOneHears) {
    const HostJob job;
    const std::vector<float> samples = SingScale({55, 59}, 0.25, 0, job.sampleRate).samples;
    ASSERT_EQ(CurrentLevel(), 0);  // nothing has filled the table: the threads will
    std::vector<HostResult> first(8);
    std::atomic<int> waiting{8};
    std::vector<std::thread> threads;
    for (HostResult& result : first) {
        threads.emplace_back([&] {
            for (--waiting; waiting > 0;) {
                std::this_thread::yield();
            }
            result = RunHostJob(samples, job);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const HostResult later = RunHostJob(samples, job);
    for (const HostResult& result : first) {
        EXPECT_TRUE(result == later);
    }
    const int32_t filled = CurrentLevel();
    InitDispatch(-1);
    EXPECT_EQ(CurrentLevel(), filled);
}

}  // namespace

}  // namespace mlh
