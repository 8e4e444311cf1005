// Recordings of one voice have one, and recordings of anything else have none, alone and laid over each
// other.
#include "choir/take/VoiceFinder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "choir/take/Take.h"
#include "support/Paths.h"
#include "validation/AudioFiles.h"

namespace mlh::choir {

namespace {

// Whispering, drums, an orchestra, a song with its band.
const std::set<std::string> kNoVoice = {"libtsm_DrumSolo.wav", "sms_orchestra.wav", "sms_whisper-female.wav",
                                        "ultrastar_NorthernStar.ogg"};

double ShareOf(const std::vector<float>& samples, int32_t rate, bool& found) {
    const Take take({samples.data(), static_cast<int32_t>(samples.size()), 1, rate});
    found = take.hasVoice();
    return take.voice().sounding > 0.0 ? take.voice().sung / take.voice().sounding : 0.0;
}

TEST(VoiceFinder, RecordingsOfOneVoiceHaveItAndOthersHaveNone) {
    std::string why;
    const auto names = ListAudioFiles(VoicesDir(), why);
    if (names.empty()) {
        GTEST_SKIP() << why;
    }
    double least = 1.0, most = 0.0;
    for (const std::string& name : names) {
        Recording recording;
        ASSERT_TRUE(LoadAudioFile(VoicesDir(), name, 20.0, recording, why)) << why;
        bool found = false;
        const double share = ShareOf(recording.Mono(), recording.sampleRate, found);
        const bool voice = kNoVoice.count(name) == 0;
        EXPECT_EQ(found, voice) << name << ": " << share;
        (voice ? least : most) = voice ? std::min(least, share) : std::max(most, share);
    }
    std::printf("share of the sounding time with one voice: voices %.2f and more, others %.2f and less\n",
                least, most);
}

// Each voice with an orchestra that is as loud.
TEST(VoiceFinder, RecordingsWithAnAccompanimentHaveNone) {
    std::string why;
    Recording orchestra;
    if (ListAudioFiles(VoicesDir(), why).empty() ||
        !LoadAudioFile(VoicesDir(), "sms_orchestra.wav", 6.0, orchestra, why)) {
        GTEST_SKIP() << why;
    }
    const std::vector<float> accompaniment = orchestra.Mono();
    double most = 0.0;
    int count = 0;
    for (const std::string& name : ListAudioFiles(VoicesDir(), why)) {
        Recording recording;
        ASSERT_TRUE(LoadAudioFile(VoicesDir(), name, 12.0, recording, why)) << why;
        if (kNoVoice.count(name) != 0 || recording.sampleRate != orchestra.sampleRate) {
            continue;
        }
        std::vector<float> song = recording.Mono();
        double sung = 0.0, played = 0.0;
        for (std::size_t i = 0; i < song.size(); ++i) {
            const float other = accompaniment[i % accompaniment.size()];
            sung += static_cast<double>(song[i]) * song[i];
            played += static_cast<double>(other) * other;
        }
        const auto gain = static_cast<float>(std::sqrt(sung / played));
        for (std::size_t i = 0; i < song.size(); ++i) {
            song[i] = 0.5f * (song[i] + gain * accompaniment[i % accompaniment.size()]);
        }
        bool found = false;
        const double share = ShareOf(song, recording.sampleRate, found);
        EXPECT_FALSE(found) << name << ": " << share;
        most = std::max(most, share);
        ++count;
    }
    std::printf("%d voices with an orchestra: one voice in %.2f of the time and less\n", count, most);
    EXPECT_GE(count, 3);
}

}  // namespace

}  // namespace mlh::choir
