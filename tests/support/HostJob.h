// All that a host does with one recording, through the C interface.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "mlh/mlh.h"

namespace mlh {

struct HostJob {
    int32_t channels = 1;
    int32_t sampleRate = 16000;
    int32_t framesBehindEnd = 500;  // rendered beyond the recording
    bool chords = true;             // else the melody alone gives the harmony
};

struct HostResult {
    std::vector<int16_t> mix;
    std::vector<std::vector<float>> stems;  // of mono recordings, rendered from the start
    std::vector<PitchItem> lead;

    // By bits: not-a-numbers may be among them.
    bool operator==(const HostResult& other) const {
        const auto same = [](const auto& a, const auto& b) {
            return a.size() == b.size() &&
                   (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0);
        };
        return same(mix, other.mix) && same(lead, other.lead) &&
               std::equal(stems.begin(), stems.end(), other.stems.begin(), other.stems.end(), same);
    }
};

inline int32_t AssignSamples(void* handle, const std::vector<float>& samples, const HostJob& job) {
    return mlhAssignInputData32(handle, samples.data(), static_cast<int32_t>(samples.size()) / job.channels,
                                job.channels, job.sampleRate);
}
inline int32_t AssignSamples(void* handle, const std::vector<int16_t>& samples, const HostJob& job) {
    return mlhAssignInputData16(handle, samples.data(), static_cast<int32_t>(samples.size()) / job.channels,
                                job.channels, job.sampleRate);
}

inline void SetUpVoices(void* handle, const HostJob& job) {
    EXPECT_EQ(mlhSetParams(handle, true, 4, 1, 0.5f, 0, false), 0);
    ChordVector* chords = mlhGetNewChordVector();
    if (job.chords) {
        mlhChordVectorAddItem(chords, {0.0f, {60, 64, 67, -1}});
        mlhChordVectorAddItem(chords, {0.25f, {65, 69, 72, -1}});
        EXPECT_EQ(mlhSetChordVector(handle, chords), 0);
    }
    mlhDisposeChordVector(chords);
}

// Interleaved samples, 16 bits or floats. The stems come from a second instance, since voices go on.
template <class Sample>
HostResult RunHostJob(const std::vector<Sample>& samples, const HostJob& job) {
    const int32_t frames = static_cast<int32_t>(samples.size()) / job.channels + job.framesBehindEnd;
    HostResult result;
    for (const bool mixed : {true, false}) {
        void* handle = nullptr;
        EXPECT_EQ(mlhCreateInstance(&handle), 0);
        EXPECT_EQ(AssignSamples(handle, samples, job), 0);
        SetUpVoices(handle, job);
        if (mixed) {
            PitchVector* lead = mlhGetPitchVector(handle, 0, 0, 0);
            for (int32_t i = 0; i < mlhPitchVectorGetTotal(lead); ++i) {
                result.lead.push_back(mlhPitchVectorGetItem(lead, static_cast<uint32_t>(i)));
            }
            mlhDisposePitchVector(lead);
            result.mix.assign(static_cast<std::size_t>(frames) * static_cast<std::size_t>(job.channels), 7);
            EXPECT_EQ(mlhProcessOutputData16(handle, result.mix.data(), frames, job.channels, nullptr), 0);
        } else if (job.channels == 1) {
            result.stems.assign(4, std::vector<float>(static_cast<std::size_t>(frames), 9.0f));
            float* rows[4];
            for (std::size_t v = 0; v < 4; ++v) {
                rows[v] = result.stems[v].data();
            }
            EXPECT_EQ(mlhProcessOutputData32(handle, rows, frames, 1), 0);
        }
        EXPECT_EQ(mlhDestroyInstance(&handle), 0);
    }
    return result;
}

}  // namespace mlh
