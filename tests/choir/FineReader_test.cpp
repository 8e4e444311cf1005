#include "choir/render/FineReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "choir/Errors.h"
#include "choir/people/RandomSource.h"
#include "support/SyntheticSinger.h"

namespace mlh::choir {

namespace {

constexpr int32_t kFrames = 60000;
constexpr int32_t kSilence = 3000;

// All fine samples of one channel at once.
std::vector<float> Whole(const std::vector<float>& interleaved, int channels, int channel,
                         const Oversampler& oversampler) {
    const auto margin = static_cast<std::size_t>(oversampler.margin());
    std::vector<float> padded(kFrames + kSilence + 2 * margin);
    for (std::size_t i = 0; i < kFrames; ++i) {
        padded[margin + i] = interleaved[i * static_cast<std::size_t>(channels) + channel];
    }
    std::vector<float> fine(static_cast<std::size_t>(kFrames + kSilence) * oversampler.factor());
    oversampler.Up(padded.data(), kFrames + kSilence, fine.data());
    return fine;
}

TEST(FineReader, ReadersThatShareSamplesReadTheSameInAnyOrder) {
    for (const int channels : {1, 2}) {
        const auto samples = Noise(static_cast<std::size_t>(kFrames) * channels);
        const AudioView view{samples.data(), kFrames, channels, 22050};
        for (const int factor : {1, 2, 4}) {
            const Oversampler oversampler(factor);
            std::vector<std::vector<float>> whole;
            for (int c = 0; c < channels; ++c) {
                whole.push_back(Whole(samples, channels, c, oversampler));
            }
            FineSamples shared(view, oversampler, kSilence);
            FineReader readers[] = {FineReader(shared), FineReader(shared), FineReader(shared)};
            EXPECT_EQ(readers[0].GetLength(), static_cast<int32_t>(whole[0].size()));
            EXPECT_EQ(readers[0].GetSampleRate(), 22050 * factor);
            RandomSource random(11);
            for (int i = 0; i < 200; ++i) {
                FineReader& reader = readers[i % 3];
                const auto first = static_cast<int32_t>(random.Uniform() * reader.GetLength());
                const auto count = static_cast<int32_t>(1 + random.Uniform() * 9000);
                std::vector<float> left(static_cast<std::size_t>(count), 9.0f), right = left;
                float* rows[] = {left.data(), channels > 1 ? right.data() : nullptr};
                reader.SetPosition(first);
                const int32_t present = reader.Read(rows, count);
                ASSERT_EQ(present, std::min(count, reader.GetLength() - first));
                for (int c = 0; c < channels; ++c) {
                    ASSERT_TRUE(std::equal(rows[c], rows[c] + present, whole[c].begin() + first));
                    ASSERT_TRUE(
                        std::all_of(rows[c] + present, rows[c] + count, [](float x) { return x == 0.0f; }));
                }
            }
        }
    }
}

TEST(FineReader, PastTheEndThereIsSilence) {
    const auto samples = Noise(1000);
    const AudioView view{samples.data(), 1000, 1, 8000};
    const Oversampler oversampler(2);
    FineSamples fine(view, oversampler, 0);
    FineReader reader(fine);
    reader.SetPosition(5000);
    std::vector<float> row(100, 9.0f);
    float* rows[] = {row.data()};
    EXPECT_LE(reader.Read(rows, 100), 0);
    EXPECT_EQ(row, std::vector<float>(100));
}

TEST(FineReader, ARecordingThatIsTooLongForAFinerRateIsRefused) {
    const float sample = 0.0f;
    const AudioView view{&sample, 2000000000, 1, 48000};
    EXPECT_THROW(FineSamples(view, Oversampler(2), 0), Failure);
}

}  // namespace

}  // namespace mlh::choir
