#include "addon/AudioReaderWrapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mlh {

namespace {

using testing::Return;

class HostReader : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    MOCK_METHOD(int32_t, SetPosition, (int32_t), (override));
    MOCK_METHOD(int32_t, Read, (float**, int32_t), (override));
    MOCK_METHOD(int32_t, GetLength, (), (override));
    MOCK_METHOD(int32_t, GetNumChannels, (), (override));
    MOCK_METHOD(int32_t, GetSampleRate, (), (override));
};

TEST(AudioReaderWrapper, ForwardsEveryCallUnchanged) {
    testing::StrictMock<HostReader> host;
    AudioReaderWrapper wrapper(&host);
    CAudioReader& reader = wrapper;
    float* channels[2] = {};

    EXPECT_CALL(host, SetPosition(-7)).WillOnce(Return(5));
    EXPECT_EQ(reader.SetPosition(-7), 5);
    EXPECT_CALL(host, Read(channels, -3)).WillOnce(Return(-9));
    EXPECT_EQ(reader.Read(channels, -3), -9);
    EXPECT_CALL(host, GetLength()).WillOnce(Return(123));
    EXPECT_EQ(reader.GetLength(), 123);
    EXPECT_CALL(host, GetNumChannels()).WillOnce(Return(2));
    EXPECT_EQ(reader.GetNumChannels(), 2);
    EXPECT_CALL(host, GetSampleRate()).WillOnce(Return(48000));
    EXPECT_EQ(reader.GetSampleRate(), 48000);
}

TEST(AudioReaderWrapper, LeavesTheReaderToTheHost) {
    struct CountedReader : testing::NiceMock<HostReader> {
        explicit CountedReader(bool* gone) : gone(gone) {}
        ~CountedReader() override { *gone = true; }
        bool* gone;
    };
    bool gone = false;
    CountedReader host(&gone);
    { AudioReaderWrapper wrapper(&host); }
    EXPECT_FALSE(gone);
}

}  // namespace

}  // namespace mlh
