// A voice set to the lead's own pitches must be the lead, sample for sample but for the rounding of floats.
//
// The exception is the last grain: no other grain follows to add its rising half, so the voice fades out from
// the last mark before the end. At rates below 32 kHz, where the marks may end up to two blocks before the
// end of the recording, that can take a quarter of a second.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "support/Paths.h"
#include "synthesis/PitchSynthesizer.h"
#include "validation/AudioFiles.h"
#include "validation/Performance.h"

namespace mlh {

namespace {

constexpr double kLongest = 60.0;      // [s] of each recording
constexpr double kStretch = 0.1;       // [s]
constexpr double kSilence = 0.001;     // root mean square: -60 dB below full scale
constexpr double kWorstAllowed = -80;  // [dB] of the difference below the lead

struct Difference {
    int32_t stretches = 0;  // that were compared
    double worst = -300.0;  // [dB] below the lead
    double where = 0.0;     // [s]
};

// Of the frames from 0 to `end`, stretch by stretch.
Difference Compare(const Rows& lead, const Rows& voice, int32_t end, int32_t rate) {
    Difference difference;
    const auto length = static_cast<int32_t>(std::lround(kStretch * rate));
    for (int32_t first = 0; first < end; first += length) {
        const int32_t last = std::min(end, first + length);
        double power = 0.0, error = 0.0;
        for (std::size_t c = 0; c < lead.size(); ++c) {
            for (auto i = static_cast<std::size_t>(first); i < static_cast<std::size_t>(last); ++i) {
                const double x = lead[c][i];
                const double d = static_cast<double>(voice[c][i]) - x;
                power += x * x;
                error += d * d;
            }
        }
        if (power < kSilence * kSilence * (last - first) * static_cast<double>(lead.size())) {
            continue;
        }
        ++difference.stretches;
        const double decibels = error > 0.0 ? 10.0 * std::log10(error / power) : -300.0;
        if (decibels > difference.worst) {
            difference.worst = decibels;
            difference.where = static_cast<double>(first) / rate;
        }
    }
    return difference;
}

// Voice 1 on the lead's own pitches, without the three others that rest.
Rows RenderLeadsOwnLine(Performance& performance) {
    performance.SingMoved({0.0f});
    CMELODORPitchSynthesizerIf& voice = performance.own().GetSynthesizer(0);
    Rows out(performance.lead().size(), std::vector<float>(performance.lead().front().size()));
    for (int32_t first = 0; first < performance.frames(); first += 4096) {
        std::vector<float*> pointers;
        for (auto& row : out) {
            pointers.push_back(row.data() + first);
        }
        voice.Process(pointers.data(), std::min(4096, performance.frames() - first));
    }
    return out;
}

void ExpectTheLead(Performance& performance, const std::string& name) {
    ASSERT_TRUE(performance.IsReady()) << name;
    const auto marks = performance.Marks();
    ASSERT_GE(marks.size(), 2u) << name;
    const Rows voice = RenderLeadsOwnLine(performance);
    const int32_t lastGrain = marks[marks.size() - 2].position;
    const Difference difference = Compare(performance.lead(), voice, lastGrain, performance.rate());
    std::printf("%-34s %5d stretches, worst %.1f dB at %.1f s; the last grain is %d samples (%.3f s)\n",
                name.c_str(), difference.stretches, difference.worst, difference.where,
                performance.frames() - lastGrain,
                static_cast<double>(performance.frames() - lastGrain) / performance.rate());
    EXPECT_GT(difference.stretches, 0) << name;
    EXPECT_LE(difference.worst, kWorstAllowed) << name << " at " << difference.where << " s";
}

TEST(Identity, AVoiceOnTheLeadsOwnPitchesIsTheLeadOnEveryRecording) {
    std::string why;
    const auto names = ListAudioFiles(VoicesDir(), why);
    if (names.empty()) {
        GTEST_SKIP() << why;
    }
    for (const std::string& name : names) {
        Recording recording;
        ASSERT_TRUE(LoadAudioFile(VoicesDir(), name, kLongest, recording, why)) << why;
        Performance performance(recording);
        ExpectTheLead(performance, name);
    }
}

TEST(Identity, AVoiceOnTheLeadsOwnPitchesIsTheLeadAtEveryRate) {
    for (const double rate : {11025.0, 16000.0, 22050.0, 32000.0, 44100.0, 48000.0, 96000.0}) {
        SingerSettings settings;
        settings.sampleRate = rate;
        settings.vibratoDepth = 0.4;
        settings.roomNoise = 0.002;
        Performance performance(
            Sing({{57, 0.7, 'a', 's'}, {59, 0.5, 'e'}, {0, 0.2, kRest}, {52, 0.8, 'o', 'm'}}, settings));
        ExpectTheLead(performance, "singer at " + std::to_string(static_cast<int>(rate)) + " Hz");
    }
}

}  // namespace

}  // namespace mlh
