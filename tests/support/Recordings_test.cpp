#include "support/Recordings.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/Paths.h"

namespace mlh {

namespace {

// Builds WAV files byte by byte.
struct WavBytes {
    std::vector<uint8_t> bytes;

    WavBytes() { Text("RIFF").Number(0, 4).Text("WAVE"); }
    WavBytes& Text(const char* text) {
        bytes.insert(bytes.end(), text, text + std::strlen(text));
        return *this;
    }
    WavBytes& Number(uint32_t value, int width) {
        for (int i = 0; i < width; ++i) {
            bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
        return *this;
    }
    WavBytes& Format(uint32_t tag, uint32_t channels, uint32_t bits) {
        return Text("fmt ")
            .Number(16, 4)
            .Number(tag, 2)
            .Number(channels, 2)
            .Number(8000, 4)
            .Number(0, 4)
            .Number(0, 2)
            .Number(bits, 2);
    }
};

TEST(Recordings, Reads16BitSamplesOfTwoChannels) {
    WavBytes wav;
    wav.Format(1, 2, 16).Text("data").Number(8, 4);
    wav.Number(0x4000, 2).Number(0x8000, 2).Number(0xFFFF, 2).Number(0, 2);
    Recording recording;
    std::string why;
    ASSERT_TRUE(ParseWav(wav.bytes, recording, why)) << why;
    EXPECT_EQ(recording.sampleRate, 8000);
    EXPECT_EQ(recording.Frames(), 2);
    EXPECT_EQ(recording.samples, (std::vector<float>{0.5f, -1.0f, -1.0f / 32768.0f, 0.0f}));
    EXPECT_EQ(recording.Channel(1), (std::vector<float>{-1.0f, 0.0f}));
    EXPECT_EQ(recording.Mono()[0], -0.25f);
}

TEST(Recordings, Reads24And32BitIntegersAndFloats) {
    Recording recording;
    std::string why;
    WavBytes three;
    three.Format(1, 1, 24).Text("data").Number(6, 4).Number(0x400000, 3).Number(0xC00000, 3);
    ASSERT_TRUE(ParseWav(three.bytes, recording, why));
    EXPECT_EQ(recording.samples, (std::vector<float>{0.5f, -0.5f}));
    WavBytes four;
    four.Format(1, 1, 32).Text("data").Number(4, 4).Number(0x80000000u, 4);
    ASSERT_TRUE(ParseWav(four.bytes, recording, why));
    EXPECT_EQ(recording.samples, std::vector<float>{-1.0f});
    WavBytes floats;
    floats.Format(3, 1, 32).Text("data").Number(4, 4).Number(0x3FC00000u, 4);
    ASSERT_TRUE(ParseWav(floats.bytes, recording, why));
    EXPECT_EQ(recording.samples, std::vector<float>{1.5f});
}

TEST(Recordings, StepsOverUnknownChunksOfOddLength) {
    WavBytes wav;
    wav.Text("Fake").Number(3, 4).Number(0x010203, 3).Number(0, 1);
    wav.Format(1, 1, 16)
        .Text("LIST")
        .Number(2, 4)
        .Number(7, 2)
        .Text("data")
        .Number(2, 4)
        .Number(0x2000, 2)
        .Text("id3 ");
    Recording recording;
    std::string why;
    ASSERT_TRUE(ParseWav(wav.bytes, recording, why)) << why;
    EXPECT_EQ(recording.samples, std::vector<float>{0.25f});
}

TEST(Recordings, ReadsTheExtensibleFormat) {
    WavBytes wav;
    wav.Text("fmt ")
        .Number(40, 4)
        .Number(0xFFFE, 2)
        .Number(1, 2)
        .Number(48000, 4)
        .Number(0, 4)
        .Number(0, 2)
        .Number(24, 2);
    wav.Number(22, 2).Number(24, 2).Number(0, 4).Number(1, 2);
    for (int i = 0; i < 14; ++i) {
        wav.Number(0, 1);
    }
    wav.Text("data").Number(3, 4).Number(0x200000, 3);
    Recording recording;
    std::string why;
    ASSERT_TRUE(ParseWav(wav.bytes, recording, why)) << why;
    EXPECT_EQ(recording.samples, std::vector<float>{0.25f});
}

TEST(Recordings, TakesWhatIsThereWhereTheSizeSaysMore) {
    WavBytes wav;
    wav.Format(1, 1, 16).Text("data").Number(0xFFFFFFFFu, 4).Number(0x4000, 2).Number(0x40, 1);
    Recording recording;
    std::string why;
    ASSERT_TRUE(ParseWav(wav.bytes, recording, why));
    EXPECT_EQ(recording.samples, std::vector<float>{0.5f});
}

TEST(Recordings, SaysWhyAFileIsNotRead) {
    Recording recording;
    std::string why;
    EXPECT_FALSE(ParseWav({}, recording, why));
    EXPECT_EQ(why, "not a WAV file");
    EXPECT_FALSE(ParseWav(WavBytes().Format(1, 1, 8).bytes, recording, why));
    EXPECT_EQ(why, "a sample format that is not read here");
    EXPECT_FALSE(ParseWav(WavBytes().Format(1, 1, 16).bytes, recording, why));
    EXPECT_EQ(why, "no data");
    EXPECT_FALSE(ParseWav(WavBytes().Text("data").Number(0, 4).bytes, recording, why));
    EXPECT_EQ(why, "data before its format");
    EXPECT_FALSE(LoadRecording("no such folder", "x.wav", recording, why));
    EXPECT_NE(why.find("x.wav"), std::string::npos);
    EXPECT_TRUE(ListRecordings("no such folder", why).empty());
    EXPECT_NE(why.find("no such folder"), std::string::npos);
}

TEST(Recordings, ReadsEveryRealOne) {
    std::string why;
    const std::vector<std::string> names = ListRecordings(VoicesDir(), why);
    if (names.empty()) {
        GTEST_SKIP() << why;
    }
    for (const std::string& name : names) {
        Recording recording;
        ASSERT_TRUE(LoadRecording(VoicesDir(), name, recording, why)) << why;
        EXPECT_GT(recording.Frames(), recording.sampleRate) << name << ": all last over a second";
        float loudest = 0.0f;
        for (const float sample : recording.samples) {
            loudest = std::max(loudest, std::abs(sample));
        }
        EXPECT_GT(loudest, 0.01f) << name;
        EXPECT_LE(loudest, 1.5f) << name;
    }
}

}  // namespace

}  // namespace mlh
