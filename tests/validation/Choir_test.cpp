// What the default choir promises, heard by a tracker of other make in what it renders: in tune with whoever
// sings, doubling what was sung, harmony that fits, notes held to their end, four people.
#include "choir/Choir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "choir/chords/ChordText.h"
#include "support/Paths.h"
#include "support/SyntheticSinger.h"
#include "validation/AudioFiles.h"
#include "validation/PitchMeter.h"

namespace mlh::choir {

namespace {

constexpr float kPeriodic = 0.8f;   // confidence from which a frame counts
constexpr float kAudible = 0.003f;  // level from which it does
constexpr double kMargin = 0.08;    // [s] at both ends of a note, for its glides

double Quantile(std::vector<double> values, double share) {
    if (values.empty()) {
        return std::nan("");
    }
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

double Median(const std::vector<double>& values) { return Quantile(values, 0.5); }

// A choir of a recording, and what is heard of it.
class Heard {
  public:
    Heard(std::vector<float> mono, int32_t rate, const Settings& settings)
        : samples_(std::move(mono)),
          take_({samples_.data(), static_cast<int32_t>(samples_.size()), 1, rate}),
          choir_(take_, settings),
          meter_(rate) {}

    Take& take() { return take_; }
    Choir& choir() { return choir_; }
    int32_t rate() const { return take_.audio().sampleRate; }
    const std::vector<float>& lead() const { return samples_; }

    std::vector<float> Voice(std::size_t voice) {
        std::vector<float> out(samples_.size());
        std::vector<float*> rows(1 + choir_.voices().size());
        rows[1 + voice] = out.data();
        choir_.Render(0, static_cast<int64_t>(out.size()), rows.data(), nullptr, 0);
        return out;
    }

    std::vector<MeteredFrame> Meter(const std::vector<float>& samples) const {
        std::vector<MeteredFrame> frames = meter_.Measure(samples);
        std::erase_if(frames, [](const MeteredFrame& frame) {
            return frame.pitch <= 0.0f || frame.confidence < kPeriodic || frame.level < kAudible;
        });
        return frames;
    }

    // The median pitch of the middle of a stretch; nothing where too little is heard.
    static std::optional<double> PitchIn(const std::vector<MeteredFrame>& frames, double start, double end) {
        std::vector<double> pitches;
        for (const MeteredFrame& frame : frames) {
            if (frame.time > start + kMargin && frame.time < end - kMargin) {
                pitches.push_back(static_cast<double>(frame.pitch));
            }
        }
        return pitches.size() < 5 ? std::nullopt : std::optional<double>(Median(pitches));
    }

  private:
    std::vector<float> samples_;
    Take take_;
    Choir choir_;
    PitchMeter meter_;
};

Settings InChords(const std::string& chords, double humanize) {
    Settings settings;
    settings.humanize = humanize;
    settings.chords = ReadChordSheet(chords, "test").chords;
    return settings;
}

// [cents] of each voice from where the lead's own pitch and the interval of the grid put it, one for each
// note of at least 0.3 s; voice 0 is the doubling.
std::vector<std::vector<double>> CentsOff(Heard& heard) {
    const auto lead = heard.Meter(heard.lead());
    std::vector<std::vector<double>> off;
    for (std::size_t v = 0; v < heard.choir().voices().size(); ++v) {
        const auto frames = heard.Meter(heard.Voice(v));
        off.emplace_back();
        for (const VoiceNote& note : heard.choir().voices()[v].notes) {
            if (note.note < 0 || note.end - note.start < 0.3) {
                continue;
            }
            const SungNote& sung = heard.choir().lead()[static_cast<std::size_t>(note.lead)];
            const auto own = Heard::PitchIn(lead, note.start, note.end);
            const auto voice = Heard::PitchIn(frames, note.start, note.end);
            if (!own || !voice) {
                continue;
            }
            const int grid = heard.choir().tuning()->NearestNote(sung.pitch, 0.5 * (sung.start + sung.end));
            off.back().push_back(100.0 * (*voice - *own - (note.note - grid)));
        }
    }
    return off;
}

double MedianSize(std::vector<double> values) {
    for (double& value : values) {
        value = std::fabs(value);
    }
    return Median(values);
}

std::vector<mlh::SungNote> Tune(double off) {
    std::vector<mlh::SungNote> tune;
    const double pitches[] = {60, 64, 67, 65, 62, 67, 64, 60};
    for (int i = 0; i < 8; ++i) {
        tune.push_back({pitches[i] + off, 0.55, "aeiou"[i % 5]});
        if (i % 4 == 3) {
            tune.push_back({0.0, 0.25, kRest});
        }
    }
    return tune;
}

constexpr const char* kTuneChords = "0 C, 1.6 F, 2.1 G, 3.0 G7, 4.0 C";

TEST(ChoirNumbers, ALeadAnywhereBetweenTheSemitonesIsFollowed) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    double worstDoubling = 0.0, worstHarmony = 0.0;
    for (const double cents : {-50.0, -40.0, -25.0, -10.0, 0.0, 15.0, 30.0, 45.0, 50.0}) {
        const SungRecording song = Sing(Tune(cents / 100.0), {});
        Heard heard(song.samples, song.sampleRate, InChords(kTuneChords, 0.0));
        const auto off = CentsOff(heard);
        ASSERT_EQ(off.size(), 4u);
        for (std::size_t v = 0; v < off.size(); ++v) {
            ASSERT_GE(off[v].size(), 5u) << "voice " << v << " at " << cents;
            const double median = MedianSize(off[v]);
            EXPECT_LE(median, v == 0 ? 2.0 : 3.0) << "voice " << v << " at " << cents;
            (v == 0 ? worstDoubling : worstHarmony) = std::max(v == 0 ? worstDoubling : worstHarmony, median);
        }
    }
    std::printf("leads moved by -50 to 50 cents: doubling within %.2f cents, harmony within %.2f\n",
                worstDoubling, worstHarmony);
}

TEST(ChoirNumbers, ALeadThatSagsIsFollowedDown) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    // 60 cents in 30 s.
    std::vector<mlh::SungNote> tune;
    const double pitches[] = {60, 62, 64, 65, 67, 64, 62, 59};
    double time = 0.0;
    for (int i = 0; time < 30.0; ++i) {
        tune.push_back({pitches[i % 8] - 0.6 * time / 30.0, 0.6, "aeiou"[i % 5]});
        time += 0.6;
        if (i % 8 == 7) {
            tune.push_back({0.0, 0.3, kRest});
            time += 0.3;
        }
    }
    const SungRecording song = Sing(tune, {});
    Heard heard(song.samples, song.sampleRate, InChords("0 C, 1.8 F, 2.4 C, 3.6 G, 5.1 C", 0.0));
    EXPECT_NEAR(heard.choir().tuning()->drift(), -0.6, 0.08);
    double worst = 0.0;
    for (const auto& voice : CentsOff(heard)) {
        ASSERT_GE(voice.size(), 25u);
        for (const double cents : voice) {
            worst = std::max(worst, std::fabs(cents));
        }
    }
    EXPECT_LE(worst, 8.0);
    std::printf("a lead that sags: every note within %.2f cents\n", worst);
}

// Share of the lead's time in which the doubling is more than 60 cents from what was sung, and of the
// harmony's time that is a second, seventh or tritone from a sung note outside the chord.
struct Faults {
    double doubled = 0.0, wrong = 0.0;
    double harmony = 0.0, rubbing = 0.0;
    std::size_t notes = 0;
};

void AddFaults(Heard& heard, Faults& faults) {
    const auto lead = heard.Meter(heard.lead());
    const auto doubling = heard.Meter(heard.Voice(0));
    for (const SungNote& note : heard.choir().lead()) {
        const auto own = Heard::PitchIn(lead, note.start, note.end);
        const auto voice = Heard::PitchIn(doubling, note.start, note.end);
        if (own && voice) {
            faults.doubled += note.end - note.start;
            faults.wrong += std::fabs(*own - *voice) > 0.6 ? note.end - note.start : 0.0;
            ++faults.notes;
        }
    }
    for (std::size_t v = 1; v < heard.choir().voices().size(); ++v) {
        for (const VoiceNote& note : heard.choir().voices()[v].notes) {
            const double middle = 0.5 * (note.start + note.end);
            const TimedChord* chord = nullptr;
            for (const TimedChord& candidate : heard.choir().chords()) {
                chord = candidate.time <= middle ? &candidate : chord;
            }
            if (note.note < 0 || chord == nullptr || PitchClassesOf(chord->chord) == 0) {
                continue;
            }
            const SungNote& sung = heard.choir().lead()[static_cast<std::size_t>(note.lead)];
            const int grid = heard.choir().tuning()->NearestNote(sung.pitch, 0.5 * (sung.start + sung.end));
            const int distance = ((note.note - grid) % 12 + 12) % 12;
            const bool outside = ((PitchClassesOf(chord->chord) >> (grid % 12)) & 1) == 0;
            const bool rubs = distance == 1 || distance == 2 || distance == 6 || distance >= 10;
            faults.harmony += note.end - note.start;
            faults.rubbing += outside && rubs ? note.end - note.start : 0.0;
        }
    }
}

void ExpectFew(const Faults& faults, const char* what) {
    ASSERT_GT(faults.notes, 20u);
    EXPECT_LT(faults.wrong, 0.02 * faults.doubled) << what;
    EXPECT_LT(faults.rubbing, 0.04 * faults.harmony) << what;
    std::printf("%s: doubling beyond 60 cents %.2f %% of the time, harmony rubbing %.2f %%\n", what,
                100.0 * faults.wrong / faults.doubled, 100.0 * faults.rubbing / faults.harmony);
}

TEST(ChoirNumbers, ASingerWhoseNotesScatterIsDoubledWithoutRubbing) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    Faults faults;
    NoiseSource random(11);
    const int scale[] = {0, 2, 4, 5, 7, 9, 11, 12};
    for (int song = 0; song < 4; ++song) {
        std::vector<mlh::SungNote> tune;
        int step = 0;
        for (int i = 0; i < 20; ++i) {
            const double off = 0.25 * static_cast<double>(random.Next()) + 0.15 * song;
            tune.push_back({57.0 + scale[step] + off, 0.3 + 0.15 * (i % 3), "aeiou"[i % 5], "s\0\0m"[i % 4]});
            step = std::clamp(step + random.Next(-2, 2), 0, 7);
        }
        SingerSettings settings;
        settings.vibratoDepth = 0.3;
        const SungRecording sung = Sing(tune, settings);
        Heard heard(sung.samples, sung.sampleRate, {});
        AddFaults(heard, faults);
    }
    ExpectFew(faults, "synthetic singer");
}

TEST(ChoirNumbers, RecordingsAreDoubledWithoutRubbing) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    std::string why;
    const auto names = ListAudioFiles(VoicesDir(), why);
    if (names.empty()) {
        GTEST_SKIP() << why;
    }
    Faults faults;
    for (const std::string& name : names) {
        Recording recording;
        ASSERT_TRUE(LoadAudioFile(VoicesDir(), name, 8.0, recording, why)) << why;
        Heard heard(recording.Mono(), recording.sampleRate, {});
        AddFaults(heard, faults);
    }
    ExpectFew(faults, "recordings");
}

double PowerIn(const std::vector<float>& samples, double rate, double start, double end) {
    double sum = 0.0;
    const auto first = static_cast<std::size_t>(start * rate);
    const auto last = std::min(static_cast<std::size_t>(end * rate), samples.size());
    for (std::size_t i = first; i < last; ++i) {
        sum += static_cast<double>(samples[i]) * samples[i];
    }
    return sum / static_cast<double>(last - first);
}

TEST(ChoirNumbers, ANoteHeldToTheEndAt16KilohertzIsHeldByAll) {
    SingerSettings settings;
    settings.sampleRate = 16000.0;
    const SungRecording song = Sing({{60, 0.6, 'a'}, {64, 0.6, 'e'}, {62, 1.6, 'o'}}, settings);
    // Cut in the middle of the note, before it fades.
    const double end = 2.5;
    std::vector<float> samples(song.samples.begin(),
                               song.samples.begin() + static_cast<std::ptrdiff_t>(end * 16000));
    Heard heard(samples, 16000, InChords("0 C, 1.1 G", 0.0));
    for (std::size_t v = 0; v < 4; ++v) {
        const std::vector<float> voice = heard.Voice(v);
        const auto against = [&](double from, double to) {
            return 10.0 * std::log10(PowerIn(voice, 16000, from, to) / PowerIn(samples, 16000, from, to));
        };
        EXPECT_NEAR(against(end - 0.2, end), against(1.5, end - 0.4), 1.5) << "voice " << v;
    }
}

// When the level of a note that begins after a rest passes a third of what it comes to.
double OnsetIn(const std::vector<float>& samples, double rate, double around) {
    const double from = around - 0.12, to = around + 0.25;
    const double full = PowerIn(samples, rate, around + 0.1, to);
    for (double time = from; time < to; time += 0.001) {
        if (PowerIn(samples, rate, time, time + 0.01) > full / 9.0) {
            return time;
        }
    }
    return std::nan("");
}

TEST(ChoirNumbers, ByDefaultVoicesStartAsPeopleDoAndStayInTune) {
    if (!PitchMeter::kAvailable) {
        GTEST_SKIP() << PitchMeter::kWhyNot;
    }
    std::vector<mlh::SungNote> tune = {{0.0, 0.3, kRest}};
    const double pitches[] = {60, 64, 67, 65, 62, 67, 64, 60, 59, 62, 65, 64};
    for (const double pitch : pitches) {
        tune.push_back({pitch, 0.6, 'a'});
        tune.push_back({0.0, 0.3, kRest});
    }
    const SungRecording song = Sing(tune, {});
    std::vector<double> offsets, cents;
    for (const uint64_t seed : {1u, 2u}) {
        Settings settings = InChords("0 C, 3 F, 4.2 G, 5.6 C, 7.4 G7, 9.8 C", 0.5);
        settings.seed = seed;
        Heard heard(song.samples, song.sampleRate, settings);
        for (std::size_t v = 0; v < 4; ++v) {
            const std::vector<float> voice = heard.Voice(v);
            for (const TrueNote& note : song.notes) {
                const double start = note.startPosition / 44100.0;
                const double off = OnsetIn(voice, 44100.0, start) - OnsetIn(song.samples, 44100.0, start);
                if (std::isfinite(off)) {
                    offsets.push_back(1000.0 * off);
                }
            }
        }
        for (const auto& voice : CentsOff(heard)) {
            for (const double off : voice) {
                cents.push_back(std::fabs(off));
            }
        }
    }
    ASSERT_GT(offsets.size(), 60u);
    double mean = 0.0, spread = 0.0;
    for (const double off : offsets) {
        mean += off / static_cast<double>(offsets.size());
    }
    for (const double off : offsets) {
        spread += (off - mean) * (off - mean) / static_cast<double>(offsets.size());
    }
    spread = std::sqrt(spread);
    EXPECT_GE(spread, 10.0);
    EXPECT_LE(spread, 25.0);
    EXPECT_LE(Median(cents), 6.0);
    std::printf("humanised: onsets spread by %.1f ms, long notes off by %.1f cents in the median\n", spread,
                Median(cents));
}

}  // namespace

}  // namespace mlh::choir
