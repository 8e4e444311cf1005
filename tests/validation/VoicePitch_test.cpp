// What a voice sings, heard by a tracker of other make: the lead's pitch, moved by what the segment asks for.
//
// A voice is laid out in whole samples, so a steady high note keeps the rest of that rounding as a deviation
// (up to 17 cents at 880 Hz and 44.1 kHz, twice that at 22 kHz); and a low voice, which stands on every
// second mark only, takes the distances of those. Both follow from the marks. What is heard beyond that must
// be nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "support/Paths.h"
#include "synthesis/PitchSynthesizerImpl.h"
#include "validation/AudioFiles.h"
#include "validation/Performance.h"
#include "validation/PitchMeter.h"

namespace mlh {

namespace {

constexpr double kTolerance = 5.0;         // [cents] of the median
constexpr double kRecordingSeconds = 6.0;  // of each recording
constexpr float kPeriodic = 0.9f;          // confidence from which a frame counts as voiced
constexpr float kSilence = 0.001f;
constexpr double kLowestMeasured = 31.0;  // [MIDI] the meter needs two periods in its window
const std::vector<float> kMoves = {3.0f, -4.0f, 7.0f, -12.0f};

// There is more than one pitch in them, or none.
const std::set<std::string> kNotOneVoice = {"libtsm_DrumSolo.wav", "sms_orchestra.wav",
                                            "sms_whisper-female.wav", "ultrastar_NorthernStar.ogg"};

double Median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double MedianSize(std::vector<double> values) {
    for (double& value : values) value = std::fabs(value);
    return Median(values);
}

struct Grain {
    double centre;   // [samples]
    int32_t period;  // [samples] up to the next one
};

struct Stem {
    std::vector<float> samples;
    std::vector<Grain> grains;
};

// The first channel of a voice, and the grains it is made of: in blocks so short that each places one at
// most.
Stem RenderVoice(Performance& performance, int32_t voice) {
    constexpr int32_t kBlock = 8;
    auto& synthesizer = static_cast<CMELODORPitchSynthesizer&>(performance.own().GetSynthesizer(voice));
    Stem stem;
    stem.samples.resize(performance.lead().front().size());
    std::vector<float> others(kBlock);
    double centre = 0.0;
    for (int32_t first = 0; first < performance.frames(); first += kBlock) {
        float* rows[] = {stem.samples.data() + first, others.data()};
        synthesizer.Process(rows, std::min(kBlock, performance.frames() - first));
        if (centre > first + kBlock) continue;
        stem.grains.push_back({centre, synthesizer.GetCurrentPeriod()});
        centre += stem.grains.back().period;
    }
    return stem;
}

struct VoiceErrors {
    std::vector<double> heard;   // [cents] off the lead's pitch moved by the offset
    std::vector<double> beyond;  // the same beyond what the grains were laid out for
};

class Listener {
  public:
    explicit Listener(Performance& performance)
        : performance_(performance),
          meter_(performance.rate()),
          marks_(performance.Marks()),
          lead_(meter_.Measure(performance.lead().front())),
          asLead_(performance.addOn().GetLeadPitchVector()) {}

    VoiceErrors Hear(int32_t voice, const Stem& stem) const {
        VoiceErrors errors;
        const auto line = performance_.addOn().GetVoicePitchVector(voice);
        const auto heard = meter_.Measure(stem.samples);
        std::size_t segment = 0;
        for (std::size_t i = 0; i < lead_.size(); ++i) {
            const MeteredFrame& frame = lead_[i];
            while (segment + 1 < asLead_.size() && asLead_[segment + 1].GetStart() <= frame.time) ++segment;
            if (line[segment].GetPitch() == -1.0f || frame.time > asLead_[segment].GetEnd()) continue;
            if (frame.level < kSilence || frame.confidence < kPeriodic || frame.pitch <= 0.0f) continue;
            const double offset = static_cast<double>(line[segment].GetPitch()) - asLead_[segment].GetPitch();
            if (frame.pitch + offset < kLowestMeasured || heard[i].confidence < kPeriodic) continue;
            const double cents = 100.0 * (heard[i].pitch - (frame.pitch + offset));
            errors.heard.push_back(cents);
            errors.beyond.push_back(cents - LaidOut(frame.time, offset, stem.grains));
        }
        return errors;
    }

  private:
    // How far the grains around a time lie off the marks around it, moved by the offset [cents].
    double LaidOut(double time, double offset, const std::vector<Grain>& grains) const {
        const double half = 0.5 * meter_.window();
        const double from = time * performance_.rate() - half;
        const double to = from + 2.0 * half;
        double marked = 0.0, laid = 0.0;
        int32_t marks = 0, count = 0;
        auto mark =
            std::lower_bound(marks_.begin(), marks_.end(), from,
                             [](const PitchMark& m, double position) { return m.position < position; });
        for (; mark + 1 < marks_.end() && mark->position < to; ++mark, ++marks) {
            marked += (mark + 1)->position - mark->position;
        }
        auto grain = std::lower_bound(grains.begin(), grains.end(), from,
                                      [](const Grain& g, double position) { return g.centre < position; });
        for (; grain != grains.end() && grain->centre < to; ++grain, ++count) laid += grain->period;
        if (marks == 0 || count == 0) return 0.0;
        return 1200.0 * std::log2(marked / marks / (laid / count)) - 100.0 * offset;
    }

    Performance& performance_;
    PitchMeter meter_;
    std::vector<PitchMark> marks_;
    std::vector<MeteredFrame> lead_;
    MalleoTuneHarmonyAddOnIf::PitchVector asLead_;
};

void ExpectVoicesInTune(Performance& performance, const std::string& name) {
    const Listener listener(performance);
    for (int32_t v = 0; v < performance.own().GetActiveVoices(); ++v) {
        const VoiceErrors errors = listener.Hear(v, RenderVoice(performance, v));
        if (errors.heard.size() < 30) continue;  // too low to be measured, or at rest
        std::printf(
            "%-42s voice %d: %5zu frames, median %+6.2f cents (size %5.2f); beyond the grains %+5.2f "
            "(%4.2f)\n",
            name.c_str(), v + 1, errors.heard.size(), Median(errors.heard), MedianSize(errors.heard),
            Median(errors.beyond), MedianSize(errors.beyond));
        EXPECT_LE(std::fabs(Median(errors.beyond)), kTolerance) << name << ", voice " << v + 1;
    }
}

TEST(VoicePitch, VoicesOfTheSyntheticSingerAreInTune) {
    if (!PitchMeter::kAvailable) GTEST_SKIP() << PitchMeter::kWhyNot;
    const std::vector<std::vector<double>> tunes = {
        {40, 43, 45, 47}, {52, 55, 57, 59}, {60, 62.3, 64, 65.2}, {67, 69, 71.4, 72}, {76, 79, 81, 83}};
    for (const double vibrato : {0.0, 0.4}) {
        for (const auto& tune : tunes) {
            std::vector<SungNote> notes;
            for (std::size_t i = 0; i < tune.size(); ++i) notes.push_back({tune[i], 0.6, "aeiou"[i % 5]});
            SingerSettings settings;
            settings.vibratoDepth = vibrato;
            settings.formantScale = tune[0] > 58.0 ? 1.17 : 1.0;
            const SungRecording song = Sing(notes, settings);
            const std::string name = "singer from " + std::to_string(static_cast<int>(tune[0])) +
                                     (vibrato > 0.0 ? " with vibrato" : "");
            Performance moved(song);
            moved.SingMoved(kMoves);
            ExpectVoicesInTune(moved, name + ", moved");
            Performance choir(song);
            ExpectVoicesInTune(choir, name + ", choir");
        }
    }
}

TEST(VoicePitch, VoicesOfRecordingsAreInTune) {
    if (!PitchMeter::kAvailable) GTEST_SKIP() << PitchMeter::kWhyNot;
    std::string why;
    const auto names = ListAudioFiles(VoicesDir(), why);
    if (names.empty()) GTEST_SKIP() << why;
    for (const std::string& name : names) {
        if (kNotOneVoice.count(name) > 0) continue;
        Recording recording;
        ASSERT_TRUE(LoadAudioFile(VoicesDir(), name, kRecordingSeconds, recording, why)) << why;
        Performance moved(recording);
        moved.SingMoved(kMoves);
        ExpectVoicesInTune(moved, name + ", moved");
        Performance choir(recording);
        ExpectVoicesInTune(choir, name + ", choir");
    }
}

}  // namespace

}  // namespace mlh
