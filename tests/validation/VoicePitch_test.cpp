// What a voice sings, heard by a tracker of other make, against the pitch it was asked to sing: the lead's as
// the same tracker hears it, moved by what was asked. Nothing of how the voice was made enters the judgement.
//
// The bound is what a listener gets, stem by stem: the median over a whole recording lies within 2 cents and
// half a sample's worth of the period. The half sample is a known limit: grains stand on whole samples, so
// that a steady high note keeps the rest of that rounding as a deviation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/Paths.h"
#include "validation/AudioFiles.h"
#include "validation/Performance.h"
#include "validation/PitchMeter.h"

namespace mlh {

namespace {

constexpr double kTolerance = 2.0;         // [cents] beside half a sample's worth
constexpr std::size_t kFewestFrames = 20;  // of a stem that is judged
constexpr float kPeriodic = 0.9f;          // confidence from which a frame counts as voiced
constexpr float kSilence = 0.001f;
constexpr double kLowestMeasured = 31.0;  // [MIDI] the meter needs two periods in its window
constexpr double kWhole = 1e9;            // [s]
const std::vector<float> kMoves = {3.0f, -4.0f, 7.0f, -12.0f};

// There is more than one pitch in them, or none.
const std::set<std::string> kNotOneVoice = {"libtsm_DrumSolo.wav", "sms_orchestra.wav",
                                            "sms_whisper-female.wav", "ultrastar_NorthernStar.ogg"};

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0.0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// How far off a period is that is half a sample longer [cents].
double HalfASample(double pitch, int32_t rate) {
    const double period = rate / (440.0 * std::exp2((pitch - 69.0) / 12.0));
    return 1200.0 * std::log2(1.0 + 0.5 / period);
}

struct Heard {
    std::vector<double> errors;  // [cents] off the target
    std::vector<double> bounds;  // [cents]
};

class Listener {
  public:
    explicit Listener(Performance& performance)
        : performance_(performance),
          meter_(performance.rate()),
          lead_(meter_.Measure(performance.lead().front(), HopsPerWindow())),
          leadLine_(performance.addOn().GetLeadPitchVector()) {}

    // `asked` is how far the voice is to lie off the lead [semitones], everywhere; without it, as far as the
    // voice's own line does.
    Heard Hear(int32_t voice, const std::vector<float>& stem, const float* asked) const {
        Heard result;
        const auto line = performance_.addOn().GetVoicePitchVector(voice);
        const auto heard = meter_.Measure(stem, HopsPerWindow());
        std::size_t segment = 0;
        for (std::size_t i = 0; i < lead_.size(); ++i) {
            const MeteredFrame& frame = lead_[i];
            while (segment + 1 < leadLine_.size() && leadLine_[segment + 1].GetStart() <= frame.time) {
                ++segment;
            }
            if (line[segment].GetPitch() == -1.0f || frame.time > leadLine_[segment].GetEnd()) {
                continue;
            }
            if (frame.level < kSilence || frame.confidence < kPeriodic || frame.pitch <= 0.0f) {
                continue;
            }
            const float offset =
                asked != nullptr ? *asked : line[segment].GetPitch() - leadLine_[segment].GetPitch();
            const double target = static_cast<double>(frame.pitch) + offset;
            if (target < kLowestMeasured || heard[i].confidence < kPeriodic) {
                continue;
            }
            result.errors.push_back(100.0 * (heard[i].pitch - target));
            result.bounds.push_back(kTolerance + HalfASample(target, performance_.rate()));
        }
        return result;
    }

  private:
    // A median needs hundreds of frames, not more of them.
    int32_t HopsPerWindow() const { return performance_.seconds() < 30.0 ? 4 : 1; }

    Performance& performance_;
    PitchMeter meter_;
    std::vector<MeteredFrame> lead_;
    MalleoTuneHarmonyAddOnIf::PitchVector leadLine_;
};

// Returns how many stems were judged.
int32_t ExpectVoicesInTune(Performance& performance, const std::string& name,
                           const std::vector<float>& moves = {}) {
    const Listener listener(performance);
    const Rows rows = performance.Render();
    const std::size_t channels = performance.lead().size();
    int32_t judged = 0;
    for (int32_t v = 0; v < performance.own().GetActiveVoices(); ++v) {
        const auto row = static_cast<std::size_t>(v);
        const Heard heard = listener.Hear(v, rows[row * channels], moves.empty() ? nullptr : &moves[row]);
        if (heard.errors.size() < kFewestFrames) {
            continue;  // too low to be measured, or at rest
        }
        const double error = Median(heard.errors);
        const double bound = Median(heard.bounds);
        std::printf("%-42s voice %d: %5zu frames, median %+6.2f of %5.2f cents\n", name.c_str(), v + 1,
                    heard.errors.size(), error, bound);
        EXPECT_LE(std::fabs(error), bound) << name << ", voice " << v + 1;
        ++judged;
    }
    return judged;
}

int32_t ExpectMovedVoicesAndChoirInTune(Rows lead, int32_t rate, const std::string& name) {
    Performance performance(std::move(lead), rate);
    int32_t judged = ExpectVoicesInTune(performance, name + ", choir");
    performance.SingMoved(kMoves);
    performance.addOn().SetPosition(0);
    judged += ExpectVoicesInTune(performance, name + ", moved", kMoves);
    return judged;
}

TEST(VoicePitch, VoicesOfTheSyntheticSingerAreInTune) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    const std::vector<std::vector<double>> tunes = {
        {40, 43, 45, 47}, {52, 55, 57, 59}, {60, 62.3, 64, 65.2}, {67, 69, 71.4, 72}, {76, 79, 81, 83}};
    for (const double vibrato : {0.0, 0.4}) {
        for (const auto& tune : tunes) {
            std::vector<SungNote> notes;
            for (std::size_t i = 0; i < tune.size(); ++i) {
                notes.push_back({tune[i], 0.6, "aeiou"[i % 5]});
            }
            SingerSettings settings;
            settings.vibratoDepth = vibrato;
            settings.formantScale = tune[0] > 58.0 ? 1.17 : 1.0;
            const SungRecording song = Sing(notes, settings);
            const std::string name = "singer from " + std::to_string(static_cast<int>(tune[0])) +
                                     (vibrato > 0.0 ? " with vibrato" : "");
            EXPECT_EQ(ExpectMovedVoicesAndChoirInTune({song.samples}, song.sampleRate, name), 8) << name;
        }
    }
}

TEST(VoicePitch, VoicesOfRecordingsAreInTune) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    std::string why;
    const auto names = ListAudioFiles(VoicesDir(), why);
    if (names.empty()) {
        GTEST_SKIP() << why;
    }
    for (const std::string& name : names) {
        if (kNotOneVoice.count(name) > 0) {
            continue;
        }
        Recording recording;
        ASSERT_TRUE(LoadAudioFile(VoicesDir(), name, kWhole, recording, why)) << why;
        EXPECT_GT(ExpectMovedVoicesAndChoirInTune(RowsOf(recording), recording.sampleRate, name), 0) << name;
    }
}

}  // namespace

}  // namespace mlh
