#include "files/Damage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <sstream>

#include "support/CommandFolder.h"

namespace mlh::cli {

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int32_t kRate = 44100;

// A sung sort of tone, 2 s.
std::vector<float> Tone(double peak = 0.5) {
    std::vector<float> tone(2 * kRate);
    for (std::size_t i = 0; i < tone.size(); ++i) {
        const double phase = 2.0 * M_PI * 220.0 * static_cast<double>(i) / kRate;
        tone[i] = static_cast<float>(peak * (0.7 * std::sin(phase) + 0.3 * std::sin(2.0 * phase + 1.0)));
    }
    return tone;
}

class Damage : public CommandFolder {
  protected:
    void WriteTone(const std::string& name, const std::vector<float>& samples, SampleFormat format) const {
        AudioWriter writer(Path(name), format, 1, kRate);
        writer.Write(samples.data(), static_cast<int32_t>(samples.size()));
        writer.Finish();
    }
    void WriteBytes(const std::string& name, const std::string& bytes) const {
        std::ofstream(Path(name), std::ios::binary) << bytes;
    }
    // What analyze says of the file; a tone alone leaves the key open, and that is said, too.
    std::string SaidOf(const std::string& name) const {
        std::istringstream lines(Run("analyze " + name + " -q").output);
        std::string said;
        for (std::string line; std::getline(lines, line);) {
            said += line.find("not sure of the key") == std::string::npos ? line + "\n" : "";
        }
        return said;
    }
    // With --accept-damage, which goes on.
    void ExpectRefused(const std::string& name, const std::string& what) const {
        for (const std::string command : {"analyze", "harmonize", "arrange"}) {
            const std::string arguments =
                command + " " + name + (command == "analyze" ? " -q" : " -q -o out.wav");
            const auto refused =
                Run(command == "arrange" ? "arrange " + name + " -q --midi out.mid" : arguments);
            EXPECT_EQ(refused.status, 1) << command;
            EXPECT_THAT(refused.output, StartsWith("mlh: " + name + " is damaged: " + what)) << command;
            EXPECT_THAT(refused.output, EndsWith("with --accept-damage\n")) << command;
            EXPECT_FALSE(std::filesystem::exists(Path("out.wav"))) << command;
            EXPECT_FALSE(std::filesystem::exists(Path("out.mid"))) << command;
        }
        const auto accepted = Run("harmonize " + name + " -q --accept-damage --style core -o accepted.wav");
        EXPECT_EQ(accepted.status, 0);
        EXPECT_THAT(accepted.output, StartsWith("mlh: " + name + " is damaged: " + what));
        EXPECT_TRUE(std::filesystem::exists(Path("accepted.wav")));
    }
};

TEST_F(Damage, AWholeRecordingIsReadWithoutAWord) {
    for (const SampleFormat format : {SampleFormat::Int16, SampleFormat::Int24, SampleFormat::Float}) {
        WriteTone("whole.wav", Tone(), format);
        EXPECT_EQ(SaidOf("whole.wav"), "");
    }
}

TEST_F(Damage, AFileThatWasCutOffSaysHowMuchIsThere) {
    for (const std::string name : {"cut.wav", "cut.aiff", "cut.flac"}) {
        WriteTone(name, Tone(), SampleFormat::Int16);
        const std::string whole = Text(name);
        WriteBytes(name, whole.substr(0, whole.size() / 2));
        ExpectRefused(name, name == "cut.flac" ? "" : "1.0 of its 2.0 s can be read");
    }
}

TEST_F(Damage, AnMp3WithGarbageInsideOrCutOffIsRefusedAndItsDecoderIsSilent) {
    SF_INFO info{};
    info.samplerate = kRate;
    info.channels = 1;
    info.format = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    if (sf_format_check(&info) == 0) {
        GTEST_SKIP() << "this libsndfile does not write MP3";
    }
    SNDFILE* file = sf_open(Path("whole.mp3").c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    const std::vector<float> tone = Tone();
    for (int i = 0; i < 10; ++i) {
        sf_write_float(file, tone.data(), static_cast<sf_count_t>(tone.size()));
    }
    sf_close(file);
    EXPECT_EQ(SaidOf("whole.mp3"), "");
    const std::string whole = Text("whole.mp3");
    std::string garbage(50000, '\0');
    uint32_t state = 1;
    for (char& c : garbage) {
        state = state * 1664525u + 1013904223u;
        c = static_cast<char>(state >> 24);
    }
    WriteBytes("garbage.mp3", whole.substr(0, whole.size() / 2) + garbage + whole.substr(whole.size() / 2));
    ExpectRefused("garbage.mp3", "");
    WriteBytes("cut.mp3", whole.substr(0, whole.size() / 2));
    ExpectRefused("cut.mp3", "");
}

TEST_F(Damage, AStreamThatDoesNotKnowItsLengthIsWhole) {
    WriteTone("stream.wav", Tone(), SampleFormat::Int16);
    std::string bytes = Text("stream.wav");
    for (const std::string& length : {std::string("\xff\xff\xff\xff", 4), std::string("\0\0\0\0", 4),
                                      std::string("\xff\xff\xff\x7f", 4)}) {
        bytes.replace(4, 4, length);
        bytes.replace(bytes.find("data") + 4, 4, length);
        WriteBytes("stream.wav", bytes);
        const std::string said = SaidOf("stream.wav");
        EXPECT_THAT(said, Not(HasSubstr("damaged: 2.0 of"))) << int(length[0]);
        if (length[0] != '\0') {
            EXPECT_EQ(said, "");
        }
    }
}

TEST_F(Damage, SamplesThatAreNotNumbersAreCountedAndSilent) {
    std::vector<float> tone = Tone();
    for (int i = 0; i < 100; ++i) {
        tone[static_cast<std::size_t>(kRate + i)] =
            i % 2 == 0 ? std::numeric_limits<float>::quiet_NaN() : std::numeric_limits<float>::infinity();
    }
    WriteTone("nan.wav", tone, SampleFormat::Float);
    ExpectRefused("nan.wav", "100 of its 88200 samples are not numbers, the first at 1.00 s");
    for (int i = 0; i < 100; ++i) {
        tone[static_cast<std::size_t>(kRate + i)] = 0.0f;
    }
    WriteTone("silent.wav", tone, SampleFormat::Float);
    ASSERT_EQ(Run("harmonize silent.wav -q --style core -o silent-mix.wav").status, 0);
    EXPECT_EQ(Text("accepted.wav"), Text("silent-mix.wav"));
}

TEST_F(Damage, MuchClippingIsRefusedAndALittleIsSaid) {
    WriteTone("loud.wav", Tone(3.0), SampleFormat::Int16);
    ExpectRefused("loud.wav", "it was recorded too loud and is clipped at ");
    std::vector<float> tone = Tone();
    for (std::size_t i = 44100; i < 44110; ++i) {
        tone[i] = 1.0f;
    }
    WriteTone("once.wav", tone, SampleFormat::Int16);
    EXPECT_EQ(Run("analyze once.wav -q").status, 0);
    EXPECT_EQ(SaidOf("once.wav"),
              "mlh: once.wav: it was recorded too loud and is clipped at 1 places, 0.011 % of it, "
              "the first at 1.00 s; record it lower\n");
}

TEST_F(Damage, SamplesAboveFullScaleAreNotClipped) {
    WriteTone("float.wav", Tone(4.0), SampleFormat::Float);
    EXPECT_EQ(SaidOf("float.wav"), "");
}

TEST(DamageOfHeaders, AccountsAreReadAsTheLibraryWritesThem) {
    EXPECT_DOUBLE_EQ(PromisedShare("RIFF : 80 (should be 40)\ndata : 3000 (should be 1000)\nEnd\n"), 3.0);
    EXPECT_DOUBLE_EQ(PromisedShare("SSND : 3000 (should be 1500)\n"), 2.0);
    EXPECT_DOUBLE_EQ(PromisedShare("data : 0xFFFFFFFF (should be 1000)\n"), 1.0);
    EXPECT_DOUBLE_EQ(PromisedShare("data : 3000\n"), 1.0);
    EXPECT_DOUBLE_EQ(PromisedShare(""), 1.0);
    EXPECT_GT(PromisedShare("data : 3000 (should be 0)\n"), 1.0);
}

TEST(Decoders, TalkToNobody) {
    testing::internal::CaptureStderr();
    {
        const QuietStandardError quiet;
        std::fprintf(stderr, "a decoder's complaint\n");
    }
    std::fprintf(stderr, "ours\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ours\n");
}

}  // namespace

}  // namespace mlh::cli
