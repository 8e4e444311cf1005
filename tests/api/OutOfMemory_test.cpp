// When memory runs out in the middle of a call, the exception passes to the host, nothing leaks, and the
// instance can be used again or destroyed.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "mlh/arrange.h"
#include "mlh/mlh.h"
#include "support/SungTunes.h"

namespace {

std::atomic<int64_t> allocationsLeft{-1};  // until memory runs out, once; below 0 never
std::atomic<int64_t> allocationsHeld{0};   // by operator new, and not yet freed
bool libraryWasUsed = false;               // by this process

void* Allocate(std::size_t bytes) {
    if (allocationsLeft >= 0 && --allocationsLeft < 0) {
        return nullptr;
    }
    void* const memory = std::malloc(bytes != 0 ? bytes : 1);
    if (memory != nullptr) {
        ++allocationsHeld;
    }
    return memory;
}

void Free(void* memory) {
    if (memory != nullptr) {
        --allocationsHeld;
    }
    std::free(memory);
}

}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // inlining shows the malloc inside operator new
void* operator new(std::size_t bytes) {
    if (void* memory = Allocate(bytes)) {
        return memory;
    }
    throw std::bad_alloc();
}
#ifndef _WIN32
// Where the vectors of the signal processing come from.
extern "C" void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
    void* memory = nullptr;
    if (allocationsLeft >= 0 && --allocationsLeft < 0) {
        return nullptr;
    }
    return posix_memalign(&memory, alignment, bytes) == 0 ? memory : nullptr;
}
#endif
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes); }
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
#pragma GCC diagnostic pop

namespace mlh {

namespace {

constexpr int32_t kRate = 11025;

const std::vector<float>& Song() {
    static const std::vector<float> samples = SingScale({60, 64}, 0.4, 0, kRate).samples;
    return samples;
}

void Assign(void* handle) {
    libraryWasUsed = true;
    mlhAssignInputData32(handle, Song().data(), static_cast<int32_t>(Song().size()), 1, kRate);
}

std::vector<int16_t> Render(void* handle) {
    std::vector<int16_t> out(Song().size());
    mlhSetParams(handle, true, 4, 1, 0.5f, 0, false);
    EXPECT_EQ(mlhProcessOutputData16(handle, out.data(), static_cast<int32_t>(out.size()), 1, nullptr), 0);
    return out;
}

// Runs `call` with memory for `count` allocations. False when that was not enough.
template <class Call>
bool FinishesWith(int64_t count, Call call) {
    allocationsLeft = count;
    bool threw = false;
    try {
        call();
    } catch (const std::bad_alloc&) {
        threw = true;
    }
    const bool enough = !threw && allocationsLeft >= 0;
    allocationsLeft = -1;
    return enough;
}

TEST(OutOfMemory, AnAssignmentThatFailsCanBeRepeated) {
    void* whole = nullptr;
    mlhCreateInstance(&whole);
    Assign(whole);
    const auto expected = Render(whole);
    mlhDestroyInstance(&whole);

    int failures = 0;
    bool finished = false;
    for (int64_t count = 0; !finished; count += 1 + count / 4) {
        void* handle = nullptr;
        mlhCreateInstance(&handle);
        finished = FinishesWith(count, [&] { Assign(handle); });
        if (!finished) {
            ++failures;
            EXPECT_EQ(mlhSetParams(handle, true, 4, 1, 0.5f, 0, false), 3) << count;
            Assign(handle);
        }
        EXPECT_EQ(Render(handle), expected) << count;
        mlhDestroyInstance(&handle);
    }
    EXPECT_GT(failures, 10);
}

TEST(OutOfMemory, ChordsThatFailCanBeSetAgain) {
    ChordVector* chords = mlhGetNewChordVector();
    mlhChordVectorAddItem(chords, {0.3f, {60, 64, 67, -1}});
    mlhChordVectorAddItem(chords, {0.6f, {65, 69, 72, -1}});
    bool finished = false;
    for (int64_t count = 0; !finished; count += 1 + count / 8) {
        void* handle = nullptr;
        mlhCreateInstance(&handle);
        Assign(handle);
        finished = FinishesWith(count, [&] { mlhSetChordVector(handle, chords); });
        Render(handle);  // whatever it is that sounds now
        EXPECT_EQ(mlhSetChordVector(handle, chords), 0) << count;
        Render(handle);
        mlhDestroyInstance(&handle);
    }
    mlhDisposeChordVector(chords);
}

// What a host holds on to, and frees when a call threw.
struct Holdings {
    ~Holdings() {
        mlhDisposePitchVector(lead);
        mlhDisposePitchVector(adjusted);
        mlhDisposeChordVector(chords);
        mlhDisposeChordVector(notes);
        mlhDestroyInstance(&handle);
    }
    void* handle = nullptr;
    PitchVector* lead = nullptr;
    PitchVector* adjusted = nullptr;
    ChordVector* chords = nullptr;
    ChordVector* notes = nullptr;
};

// Every exported function that allocates.
void WholeJob(Holdings& host, int32_t frames, std::vector<int16_t>& mix, float** rows) {
    libraryWasUsed = true;
    mlhCreateInstance(&host.handle);
    mlhAssignInputData32(host.handle, Song().data(), frames, 1, kRate);
    mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false);
    host.chords = mlhGetNewChordVector();
    mlhChordVectorAddItem(host.chords, {0.05f, {60, 64, 67, -1}});
    mlhSetChordVector(host.handle, host.chords);
    mlhProcessOutputData16(host.handle, mix.data(), frames, 1, nullptr);
    mlhSetParams(host.handle, false, 4, 1, 0.5f, 0, false);
    host.lead = mlhGetPitchVector(host.handle, 0, 0, 0);
    host.adjusted = mlhPitchVectorAdjust(host.lead, 1, 100);
    mlhPitchVectorAddItem(host.adjusted, {0.1f, 70, 0.1f, 1});
    mlhSetPitchVector(host.handle, 2, host.lead);
    host.notes = pitchVectorToChordVector(host.lead);
    mlhAssignMidi(host.handle, host.adjusted);
    mlhProcessOutputData32(host.handle, rows, frames, 1);
}

// With memory again, all that an instance is for can be asked of it, wherever the job broke off. False if it
// takes no input.
bool CanBeUsedOn(Holdings& host, int32_t frames, std::vector<int16_t>& mix, float** rows) {
    mlhAssignInputData32(host.handle, Song().data(), frames, 1, kRate);
    if (mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false) != 0) {
        return false;
    }
    ChordVector* chords = mlhGetNewChordVector();
    mlhChordVectorAddItem(chords, {0.05f, {60, 64, 67, -1}});
    EXPECT_EQ(mlhSetChordVector(host.handle, chords), 0);
    EXPECT_EQ(mlhProcessOutputData16(host.handle, mix.data(), frames, 1, nullptr), 0);
    EXPECT_EQ(mlhProcessOutputData32(host.handle, rows, frames, 1), 0);
    mlhDisposeChordVector(chords);
    return true;
}

constexpr int32_t kFrames = 1500;

#ifndef _WIN32
// What the job leaves in a process of its own when no allocation fails, in memory that all of them share.
struct Reference {
    int64_t held;  // allocations after the job, what is made once per process among them
    int16_t mix[kFrames];
};

// The whole job, and what the C++ interface makes once: the names of the scales.
void FirstJob(Holdings& host, std::vector<int16_t>& mix, float** rows) {
    WholeJob(host, kFrames, mix, rows);
    EXPECT_FALSE(ScaleNames().empty());
    ArrangeSettings chords;
    chords.style = ArrangeStyle::Chords;
    EXPECT_EQ(Arrange({{60, 0.0f, 1.0f, {}}}, chords).size(), 1u);
}

enum class Fate { Finished, Failed, Wrong };

// Runs the job as the first of its process with memory for `count` allocations, and then again with all.
Fate RunFirstJobWith(int64_t count, const Reference& expected) {
    std::vector<int16_t> mix(kFrames);
    std::vector<float> row(kFrames);
    float* rows[4] = {row.data(), row.data(), row.data(), row.data()};
    const int64_t heldBefore = allocationsHeld;
    bool finished = false;
    {
        Holdings host;
        finished = FinishesWith(count, [&] { FirstJob(host, mix, rows); });
    }
    {
        Holdings host;
        FirstJob(host, mix, rows);
    }
    EXPECT_TRUE(std::equal(mix.begin(), mix.end(), expected.mix));
    EXPECT_EQ(allocationsHeld - heldBefore, expected.held);  // nothing leaked or was made twice
    if (::testing::Test::HasFailure()) {
        return Fate::Wrong;
    }
    return finished ? Fate::Finished : Fate::Failed;
}

// Every process meets the library for the first time, so that what is made once fails too. Suites of this
// ending run before all others, while this process itself has not used the library.
TEST(OutOfMemoryDeathTest, EveryAllocationOfTheFirstJobOfAProcessMayFail) {
    ASSERT_FALSE(libraryWasUsed);
    void* const shared =
        mmap(nullptr, sizeof(Reference), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto& expected = *static_cast<Reference*>(shared);
    Song();
    const auto inChild = [](auto job) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            const int code = static_cast<int>(job());
            std::fflush(stdout);
            _exit(code);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    };
    ASSERT_EQ(inChild([&] {
                  std::vector<int16_t> mix(kFrames);
                  std::vector<float> row(kFrames);
                  float* rows[4] = {row.data(), row.data(), row.data(), row.data()};
                  const int64_t heldBefore = allocationsHeld;
                  {
                      Holdings host;
                      FirstJob(host, mix, rows);
                  }
                  expected.held = allocationsHeld - heldBefore;
                  std::copy(mix.begin(), mix.end(), expected.mix);
                  return 0;
              }),
              0);
    int64_t count = 0;
    for (bool finished = false; !finished; ++count) {
        const int status = inChild([&] { return RunFirstJobWith(count, expected); });
        ASSERT_TRUE(WIFEXITED(status)) << count << ": ended by signal " << WTERMSIG(status);
        ASSERT_NE(WEXITSTATUS(status), static_cast<int>(Fate::Wrong)) << count;
        finished = WEXITSTATUS(status) == static_cast<int>(Fate::Finished);
    }
    EXPECT_GT(count, 100);
    std::printf(
        "%lld allocations of a first job, each of them failed once; %lld are kept until the process ends\n",
        static_cast<long long>(count - 1), static_cast<long long>(expected.held));
    munmap(shared, sizeof(Reference));
}
#endif

TEST(OutOfMemory, EveryAllocationOfAShortJobMayFail) {
    std::vector<int16_t> mix(kFrames);
    std::vector<int16_t> mixOfLater(kFrames);
    std::vector<float> row(kFrames);
    float* rows[4] = {row.data(), row.data(), row.data(), row.data()};
    {
        Holdings first;  // what is made once in a process
        WholeJob(first, kFrames, mix, rows);
    }
    const std::vector<int16_t> expected = mix;
    int64_t count = 0;
    const int64_t held = allocationsHeld;
    for (bool finished = false; !finished; ++count) {
        {
            Holdings host;
            finished = FinishesWith(count, [&] { WholeJob(host, kFrames, mix, rows); });
            // The first two are the instance itself and its reader, which is never made again.
            EXPECT_EQ(CanBeUsedOn(host, kFrames, mixOfLater, rows), count > 1) << count;
        }
        ASSERT_EQ(allocationsHeld, held) << count;  // nothing leaked
    }
    EXPECT_EQ(mix, expected);  // the last round had enough
    EXPECT_GT(count, 100);
    std::printf("%lld allocations, each of them failed once\n", static_cast<long long>(count - 1));
}

}  // namespace

}  // namespace mlh
