// A host may have set the processor's floating point as it likes: the bits are the same, and its state stays.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <vector>

#include "mlh/mlh.h"
#include "support/HostJob.h"
#include "support/SungTunes.h"

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

namespace mlh {

namespace {

// A scale, its middle as faint as only denormal numbers are.
std::vector<float> SongWithAFaintPart(const HostJob& job) {
    std::vector<float> samples = SingScale({60, 64, 62}, 0.25, 0, job.sampleRate).samples;
    for (std::size_t i = samples.size() / 3; i < samples.size() / 2; ++i) {
        samples[i] *= 1e-36f;
    }
    return samples;
}

// Upward comes first: the tables that all instances share are made by the first.
TEST(FloatingPoint, RoundingOfTheHostIsNotHeardAndStays) {
    const HostJob job;
    const std::vector<float> samples = SongWithAFaintPart(job);
    std::vector<HostResult> results;
    for (const int mode : {FE_UPWARD, FE_TONEAREST, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        results.push_back(RunHostJob(samples, job));
        const int after = std::fegetround();
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(after, mode);
        EXPECT_TRUE(results.back() == results[0]) << mode;
    }
}

#ifdef __SSE2__

constexpr unsigned kFlushDenormals = 0x8040;
constexpr unsigned kTrapInvalidDivisionOverflow = 0x0680;  // masks when set

// What `compute` gives while the processor's control bits are those; they stay.
template <class Compute>
auto Under(unsigned control, Compute compute) {
    const unsigned before = _mm_getcsr();
    _mm_setcsr(control);
    auto result = compute();
    const unsigned after = _mm_getcsr();
    _mm_setcsr(before);
    EXPECT_EQ(after, control);
    return result;
}

TEST(FloatingPoint, FlushedDenormalsOfTheHostAreNotHeard) {
    const HostJob job;
    const std::vector<float> samples = SongWithAFaintPart(job);
    const auto run = [&] { return RunHostJob(samples, job); };
    const unsigned usual = _mm_getcsr();
    EXPECT_TRUE(Under(usual | kFlushDenormals, run) == run());
}

// The smallest numbers count, in whatever state the host is.
TEST(FloatingPoint, DenormalsAreKept) {
    const unsigned usual = _mm_getcsr();
    for (const unsigned control : {usual, usual | kFlushDenormals}) {
        const PitchItem first = Under(control, [] {
            PitchVector* notes = mlhGetNewPitchVector();
            mlhPitchVectorAddItem(notes, {3e-39f, 62, 1, 0});
            mlhPitchVectorAddItem(notes, {1e-39f, 60, 1, 0});  // earlier
            PitchVector* legato = mlhPitchVectorAdjust(notes, 1, 0);
            const PitchItem item = mlhPitchVectorGetItem(legato, 0);
            mlhDisposePitchVector(legato);
            mlhDisposePitchVector(notes);
            return item;
        });
        EXPECT_EQ(first.pitch, 60.0f);
        EXPECT_EQ(first.duration, 3e-39f - 1e-39f);
    }
}

TEST(FloatingPoint, NothingTrapsInAHostThatTraps) {
    const HostJob job;
    const std::vector<float> song = SongWithAFaintPart(job);
    std::vector<float> holes = song;
    for (std::size_t i = 0; i < holes.size(); i += 1000) {
        holes[i] = i % 2000 ? NAN : INFINITY;
    }
    const unsigned trapping = (_mm_getcsr() & ~0x3Fu) & ~kTrapInvalidDivisionOverflow;
    for (const auto& samples : {song, holes, std::vector<float>(5000)}) {
        const auto run = [&] { return RunHostJob(samples, job); };
        EXPECT_TRUE(Under(trapping, run) == run());
    }
    EXPECT_TRUE(Under(trapping, [] {
        PitchVector* notes = mlhGetNewPitchVector();
        for (const float time : {0.0f, NAN, 1.0f, NAN}) {
            mlhPitchVectorAddItem(notes, {time, NAN, time, 1});
        }
        mlhDisposePitchVector(mlhPitchVectorAdjust(notes, 1, 1));
        mlhDisposeChordVector(pitchVectorToChordVector(notes));
        return mlhDisposePitchVector(notes);
    }));
}

#endif

}  // namespace

}  // namespace mlh
