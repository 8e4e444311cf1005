#include "api/BBAudioReader.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace mlh {

namespace {

// Two rows of `frames` samples, filled with 9 so that a read shows what it wrote.
struct Rows {
    explicit Rows(int32_t frames) : left(frames, 9.0f), right(frames, 9.0f) {}
    float** get() { return pointers.data(); }
    std::vector<float> left;
    std::vector<float> right;
    std::array<float*, 2> pointers{left.data(), right.data()};
};

TEST(BBAudioReader, ScalesSixteenBitSamplesBelowFullScale) {
    const std::vector<int16_t> samples = {32767, -32768, 1, 0};
    BBAudioReader reader;
    reader.Assign(samples.data(), nullptr, 4, 1, 44100);
    Rows rows(4);
    EXPECT_EQ(reader.Read(rows.get(), 4), 4);
    EXPECT_EQ(rows.left[0], 32767.0f / 37268.0f);
    EXPECT_EQ(rows.left[1], -32768.0f / 37268.0f);
    EXPECT_EQ(rows.left[2], 1.0f / 37268.0f);
    EXPECT_NEAR(rows.left[0], 0.879f, 0.0005f);
    EXPECT_EQ(rows.right[0], 9.0f);
}

TEST(BBAudioReader, CopiesFloatsUnscaledAndSeparatesChannels) {
    const std::vector<float> samples = {0.1f, -0.1f, 2.0f, -2.0f, 0.3f, -0.3f};
    BBAudioReader reader;
    reader.Assign(nullptr, samples.data(), 3, 2, 48000);
    Rows rows(3);
    EXPECT_EQ(reader.Read(rows.get(), 3), 3);
    EXPECT_EQ(rows.left, (std::vector<float>{0.1f, 2.0f, 0.3f}));
    EXPECT_EQ(rows.right, (std::vector<float>{-0.1f, -2.0f, -0.3f}));
}

TEST(BBAudioReader, WithoutChannelsItMovesOnAndWritesNothing) {
    const std::vector<float> samples = {1.0f, 1.0f, 1.0f};
    BBAudioReader reader;
    for (const int32_t channels : {0, -1}) {
        reader.Assign(nullptr, samples.data(), 3, channels, 44100);
        Rows rows(2);
        EXPECT_EQ(reader.Read(rows.get(), 2), 2);
        EXPECT_EQ(rows.left, (std::vector<float>{9.0f, 9.0f}));
        EXPECT_EQ(reader.Read(rows.get(), 2), 1);
    }
}

TEST(BBAudioReader, ReadAtTheEndReturnsZeroAndClearsEverything) {
    const std::vector<float> samples = {1.0f, 1.0f};
    BBAudioReader reader;
    reader.Assign(nullptr, samples.data(), 2, 1, 44100);
    Rows rows(3);
    reader.SetPosition(2);
    EXPECT_EQ(reader.Read(rows.get(), 3), 0);
    EXPECT_EQ(rows.left, (std::vector<float>{0.0f, 0.0f, 0.0f}));
}

TEST(BBAudioReader, ShortReadClearsTheRestAndMovesOn) {
    const std::vector<float> samples = {1.0f, 2.0f, 3.0f};
    BBAudioReader reader;
    reader.Assign(nullptr, samples.data(), 3, 1, 44100);
    Rows rows(4);
    reader.SetPosition(1);
    EXPECT_EQ(reader.Read(rows.get(), 4), 2);
    EXPECT_EQ(rows.left, (std::vector<float>{2.0f, 3.0f, 0.0f, 0.0f}));
    EXPECT_EQ(reader.Read(rows.get(), 4), 0);
}

TEST(BBAudioReader, NegativePositionCountsAsStart) {
    const std::vector<float> samples = {1.0f, 2.0f};
    BBAudioReader reader;
    reader.Assign(nullptr, samples.data(), 2, 1, 44100);
    Rows rows(1);
    EXPECT_EQ(reader.SetPosition(-5), 0);
    reader.Read(rows.get(), 1);
    EXPECT_EQ(rows.left[0], 1.0f);
}

TEST(BBAudioReader, ReadBehindTheEndIsNegativeAndMovesBack) {
    const std::vector<float> samples = {1.0f, 2.0f};
    BBAudioReader reader;
    reader.Assign(nullptr, samples.data(), 2, 1, 44100);
    Rows rows(4);
    reader.SetPosition(7);
    EXPECT_EQ(reader.Read(rows.get(), 4), -5);
    EXPECT_EQ(rows.left, (std::vector<float>{0.0f, 0.0f, 0.0f, 0.0f}));
    // The position is now the end again.
    EXPECT_EQ(reader.Read(rows.get(), 4), 0);
}

TEST(BBAudioReader, WithoutRowsItOnlyMoves) {
    const std::vector<float> samples = {1.0f, 2.0f, 3.0f};
    BBAudioReader reader;
    reader.Assign(nullptr, samples.data(), 3, 1, 44100);
    EXPECT_EQ(reader.Read(nullptr, 2), 2);
    Rows rows(1);
    reader.Read(rows.get(), 1);
    EXPECT_EQ(rows.left[0], 3.0f);
}

TEST(BBAudioReader, SkipsChannelsWithoutARow) {
    const std::vector<float> samples = {1.0f, 2.0f};
    BBAudioReader reader;
    reader.Assign(nullptr, samples.data(), 1, 2, 44100);
    float right = 0.0f;
    float* rows[2] = {nullptr, &right};
    EXPECT_EQ(reader.Read(rows, 1), 1);
    EXPECT_EQ(right, 2.0f);
}

TEST(BBAudioReader, WithoutSamplesItIsSilenceOfThatLength) {
    BBAudioReader reader;
    reader.Assign(nullptr, nullptr, 3, 1, 44100);
    Rows rows(5);
    EXPECT_EQ(reader.Read(rows.get(), 5), 3);
    EXPECT_EQ(rows.left, std::vector<float>(5, 0.0f));
    EXPECT_EQ(reader.GetLength(), 3);
}

TEST(BBAudioReader, NegativeLengthCountsAsEmpty) {
    const float sample = 1.0f;
    BBAudioReader reader;
    reader.Assign(nullptr, &sample, -4, 1, 44100);
    EXPECT_EQ(reader.GetLength(), 0);
}

}  // namespace

}  // namespace mlh
