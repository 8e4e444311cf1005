#include "audio/AudioBuffers.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <vector>

#include "dsp/Dispatch.h"
#include "support/RowReader.h"

namespace mlh {

namespace {

void Fill(AudioSampleBuffer& buffer, float first) {
    for (int32_t c = 0; c < buffer.GetNumChannels(); ++c) {
        std::iota(buffer.GetChannel(c), buffer.GetChannel(c) + buffer.GetSize(), first + 1000.0f * c);
    }
}

std::vector<float> Samples(const AudioSampleBuffer& buffer, int32_t channel) {
    return {buffer.GetChannel(channel), buffer.GetChannel(channel) + buffer.GetSize()};
}

std::vector<float> Ramp(float first, int32_t count) {
    std::vector<float> ramp(static_cast<size_t>(count));
    std::iota(ramp.begin(), ramp.end(), first);
    return ramp;
}

TEST(AudioSampleBuffer, HoldsAllChannelsInOneBlockBehindATableThatEndsWithNull) {
    AudioSampleBuffer buffer(3, 10);
    EXPECT_EQ(buffer.GetNumChannels(), 3);
    EXPECT_EQ(buffer.GetSize(), 10);
    EXPECT_EQ(buffer.GetAllocatedBytes(), 3 * 10 * 4 + 32);
    EXPECT_EQ(buffer.GetChannel(1), buffer.GetChannel(0) + 10);
    EXPECT_EQ(buffer.GetChannel(2), buffer.GetChannel(1) + 10);
    EXPECT_EQ(buffer.GetChannels()[3], nullptr);
}

TEST(AudioSampleBuffer, CanBeEmpty) {
    AudioSampleBuffer buffer(0, 0);
    EXPECT_EQ(buffer.GetAllocatedBytes(), 32);
    EXPECT_EQ(buffer.GetChannels()[0], nullptr);
    AudioSampleBuffer negative(-2, -7);
    EXPECT_EQ(negative.GetNumChannels(), 0);
    EXPECT_EQ(negative.GetSize(), 0);
    negative.Clear();
}

TEST(AudioSampleBuffer, KeepsBlockAndContentWhenSetToTheSameSize) {
    AudioSampleBuffer buffer(2, 8);
    Fill(buffer, 1.0f);
    const float* block = buffer.GetChannel(0);
    buffer.SetSize(2, 8);
    EXPECT_EQ(buffer.GetChannel(0), block);
    EXPECT_EQ(Samples(buffer, 0), Ramp(1.0f, 8));
    EXPECT_EQ(Samples(buffer, 1), Ramp(1001.0f, 8));
}

TEST(AudioSampleBuffer, KeepsOldSamplesAndClearsTheTailWhenItGrows) {
    AudioSampleBuffer buffer(2, 4);
    Fill(buffer, 1.0f);
    buffer.SetSize(2, 7);
    EXPECT_EQ(Samples(buffer, 0), (std::vector<float>{1, 2, 3, 4, 0, 0, 0}));
    EXPECT_EQ(Samples(buffer, 1), (std::vector<float>{1001, 1002, 1003, 1004, 0, 0, 0}));
    EXPECT_EQ(buffer.GetAllocatedBytes(), 2 * 7 * 4 + 32);
}

TEST(AudioSampleBuffer, KeepsTheHeadOfEachChannelWhenItShrinks) {
    AudioSampleBuffer buffer(2, 6);
    Fill(buffer, 1.0f);
    buffer.SetSize(2, 2);
    EXPECT_EQ(Samples(buffer, 0), (std::vector<float>{1, 2}));
    EXPECT_EQ(Samples(buffer, 1), (std::vector<float>{1001, 1002}));
}

TEST(AudioSampleBuffer, GainsClearedChannelsAndLosesTheLastOnes) {
    AudioSampleBuffer buffer(1, 3);
    Fill(buffer, 5.0f);
    buffer.SetSize(3, 3);
    EXPECT_EQ(Samples(buffer, 0), Ramp(5.0f, 3));
    EXPECT_EQ(Samples(buffer, 1), std::vector<float>(3, 0.0f));
    EXPECT_EQ(Samples(buffer, 2), std::vector<float>(3, 0.0f));
    EXPECT_EQ(buffer.GetChannels()[3], nullptr);

    buffer.SetSize(2, 2);
    EXPECT_EQ(Samples(buffer, 0), Ramp(5.0f, 2));
    EXPECT_EQ(buffer.GetChannels()[2], nullptr);
}

TEST(AudioSampleBuffer, WrapsRowsOfSomebodyElseAndLeavesThemBehind) {
    std::vector<float> left = Ramp(0.0f, 5);
    std::vector<float> right = Ramp(10.0f, 5);
    float* rows[] = {left.data(), right.data()};
    {
        AudioSampleBuffer wrapper(rows, 2, 5);
        EXPECT_EQ(wrapper.GetAllocatedBytes(), 0);
        EXPECT_NE(wrapper.GetChannels(), rows);
        EXPECT_EQ(wrapper.GetChannels()[2], nullptr);
        EXPECT_EQ(wrapper.GetChannel(1), right.data());
        wrapper.Clear(1, 1, 2);
    }
    EXPECT_EQ(left, Ramp(0.0f, 5));
    EXPECT_EQ(right, (std::vector<float>{10, 0, 0, 13, 14}));
}

TEST(AudioSampleBuffer, MovesIntoMemoryOfItsOwnWhenAWrapperChangesSize) {
    std::vector<float> row = Ramp(1.0f, 4);
    float* rows[] = {row.data()};
    AudioSampleBuffer buffer(rows, 1, 4);
    buffer.SetSize(1, 6);
    EXPECT_EQ(Samples(buffer, 0), (std::vector<float>{1, 2, 3, 4, 0, 0}));
    EXPECT_EQ(buffer.GetAllocatedBytes(), 1 * 6 * 4 + 32);
    buffer.Clear();
    EXPECT_EQ(row, Ramp(1.0f, 4));
}

TEST(AudioSampleBuffer, WrapsOtherRowsWithoutANewTable) {
    std::vector<float> a = Ramp(1.0f, 4), b = Ramp(2.0f, 9);
    float* first[] = {a.data(), a.data()};
    float* second[] = {b.data()};
    AudioSampleBuffer buffer(first, 2, 4);
    float** table = buffer.GetChannels();
    buffer.Wrap(second, 1, 9);
    EXPECT_EQ(buffer.GetChannels(), table);
    EXPECT_EQ(buffer.GetNumChannels(), 1);
    EXPECT_EQ(Samples(buffer, 0), b);
    EXPECT_EQ(buffer.GetChannels()[1], nullptr);
}

TEST(AudioSampleBuffer, CopiesRangesThatOverlap) {
    AudioSampleBuffer buffer(1, 8);
    Fill(buffer, 0.0f);
    buffer.CopyFrom(0, 0, buffer, 0, 2, 6);
    EXPECT_EQ(Samples(buffer, 0), (std::vector<float>{2, 3, 4, 5, 6, 7, 6, 7}));
    Fill(buffer, 0.0f);
    buffer.CopyFrom(0, 3, buffer, 0, 0, 5);
    EXPECT_EQ(Samples(buffer, 0), (std::vector<float>{0, 1, 2, 0, 1, 2, 3, 4}));
}

TEST(AudioSampleBuffer, CopiesNothingForACountBelowOne) {
    AudioSampleBuffer buffer(1, 3);
    Fill(buffer, 7.0f);
    buffer.CopyFrom(0, 0, buffer, 0, 1, 0);
    buffer.CopyFrom(0, 0, buffer, 0, 1, -2);
    buffer.Clear(0, 1, -1);
    EXPECT_EQ(Samples(buffer, 0), Ramp(7.0f, 3));
}

class ReadFromAudioReader : public testing::Test {
  protected:
    static RowReader Reader(int32_t channels) {
        std::vector<std::vector<float>> rows;
        for (int32_t c = 0; c < channels; ++c) {
            rows.push_back(Ramp(1.0f + 100.0f * static_cast<float>(c), 20));
        }
        return {std::move(rows), 44100};
    }
    // What reading frames 5, 6, 7 into samples 1, 2, 3 leaves in each channel of a buffer of 9s.
    static std::vector<std::vector<float>> Read(int32_t readerChannels, int32_t bufferChannels, bool left,
                                                bool right) {
        RowReader reader = Reader(readerChannels);
        AudioSampleBuffer buffer(bufferChannels, 5);
        std::vector<std::vector<float>> result;
        for (int32_t c = 0; c < bufferChannels; ++c) {
            std::fill_n(buffer.GetChannel(c), 5, 9.0f);
        }
        buffer.ReadFromAudioReader(reader, 1, 3, 5, left, right);
        for (int32_t c = 0; c < bufferChannels; ++c) {
            result.push_back(Samples(buffer, c));
        }
        return result;
    }
    const std::vector<float> left = {9, 6, 7, 8, 9};
    const std::vector<float> right = {9, 106, 107, 108, 9};
};

TEST_F(ReadFromAudioReader, FillsBothChannelsFromBothOfTheReader) {
    EXPECT_EQ(Read(2, 2, true, true), (std::vector<std::vector<float>>{left, right}));
    EXPECT_EQ(Read(2, 2, false, false), (std::vector<std::vector<float>>{left, right}));
}

TEST_F(ReadFromAudioReader, FillsBothChannelsOfAStereoBufferFromAMonoReader) {
    for (bool useLeft : {false, true}) {
        for (bool useRight : {false, true}) {
            EXPECT_EQ(Read(1, 2, useLeft, useRight), (std::vector<std::vector<float>>{left, left}))
                << useLeft << useRight;
        }
    }
}

TEST_F(ReadFromAudioReader, TakesOneSideIntoBothChannels) {
    EXPECT_EQ(Read(2, 2, true, false), (std::vector<std::vector<float>>{left, left}));
    EXPECT_EQ(Read(2, 2, false, true), (std::vector<std::vector<float>>{right, right}));
}

TEST_F(ReadFromAudioReader, FillsAMonoBufferFromTheSideAskedFor) {
    EXPECT_EQ(Read(1, 1, true, true), (std::vector<std::vector<float>>{left}));
    EXPECT_EQ(Read(2, 1, true, true), (std::vector<std::vector<float>>{left}));
    EXPECT_EQ(Read(2, 1, false, true), (std::vector<std::vector<float>>{right}));
}

TEST_F(ReadFromAudioReader, ReadsNothingForACountBelowOneOrWithoutChannels) {
    RowReader reader = Reader(1);
    AudioSampleBuffer buffer(1, 2);
    Fill(buffer, 3.0f);
    buffer.ReadFromAudioReader(reader, 0, 0, 5, true, true);
    buffer.ReadFromAudioReader(reader, 0, -4, 5, true, true);
    AudioSampleBuffer(0, 9).ReadFromAudioReader(reader, 0, 4, 5, true, true);
    EXPECT_EQ(reader.GetReadCount(), 0);
    EXPECT_EQ(Samples(buffer, 0), Ramp(3.0f, 2));
}

TEST_F(ReadFromAudioReader, StartsAtFrameZeroForANegativePosition) {
    RowReader reader = Reader(1);
    AudioSampleBuffer buffer(1, 4);
    buffer.ReadFromAudioReader(reader, 0, 4, -3, true, true);
    EXPECT_EQ(Samples(buffer, 0), Ramp(1.0f, 4));
}

TEST_F(ReadFromAudioReader, IsSilentBehindTheEnd) {
    RowReader reader = Reader(2);
    AudioSampleBuffer buffer(2, 4);
    buffer.ReadFromAudioReader(reader, 0, 4, 18, true, true);
    EXPECT_EQ(Samples(buffer, 0), (std::vector<float>{19, 20, 0, 0}));
    EXPECT_EQ(Samples(buffer, 1), (std::vector<float>{119, 120, 0, 0}));
}

TEST_F(ReadFromAudioReader, IsSilentWithAReaderOfMoreThanTwoChannels) {
    const std::vector<float> silence = {9, 0, 0, 0, 9};
    EXPECT_EQ(Read(3, 2, true, true), (std::vector<std::vector<float>>{silence, silence}));
}

TEST(CTBuffer, StartsAsZeroInRowsOfTheirOwn) {
    InitDispatch(-1);
    const CTBuffer<float> buffer(3, 4096);
    EXPECT_EQ(buffer.GetNumChannels(), 3);
    EXPECT_EQ(buffer.GetSize(), 4096);
    for (int32_t c = 0; c < 3; ++c) {
        EXPECT_EQ(std::vector<float>(buffer.GetChannel(c), buffer.GetChannel(c) + 4096),
                  std::vector<float>(4096, 0.0f));
        const uintptr_t alignment = CurrentLevel() == 6 ? 32 : CurrentLevel() >= 3 ? 16 : 8;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.GetChannel(c)) % alignment, 0u);
        buffer.GetChannels()[c][4095] = 1.0f;
    }
}

TEST(CTBuffer, CanBeEmpty) {
    EXPECT_EQ(CTBuffer<float>(0, 4096).GetNumChannels(), 0);
    EXPECT_EQ(CTBuffer<float>(2, 0).GetSize(), 0);
    EXPECT_EQ(CTBuffer<float>(-1, -1).GetNumChannels(), 0);
}

}  // namespace

}  // namespace mlh
