// Rendering: what comes out of a voice, sample by sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "support/AudioMeasures.h"
#include "support/ScriptedVoice.h"
#include "support/SyntheticSinger.h"

// Counts the allocations of the whole program, for the test that rendering makes none.
namespace {
std::atomic<int64_t> allocations{0};

void* Allocate(std::size_t bytes) {
    ++allocations;
    if (void* memory = std::malloc(bytes != 0 ? bytes : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}
}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // inlining shows the malloc inside operator new
void* operator new(std::size_t bytes) { return Allocate(bytes); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
#pragma GCC diagnostic pop

namespace mlh {

namespace {

constexpr int32_t kRate = 44100;
constexpr double kPi = 3.14159265358979323846;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

using Rows = std::vector<std::vector<float>>;

float PeriodToPitch(double samples) {
    return static_cast<float>(69.0 + 12.0 * std::log2(kRate / samples / 440.0));
}

// A voice-like tone: pulses of a damped resonance, one per period, starting on multiples of the period.
std::vector<float> Pulses(int32_t length, int32_t period, double hertz = 1500.0) {
    std::vector<float> samples(static_cast<size_t>(length));
    for (int32_t i = 0; i < length; ++i) {
        for (int32_t k = 0; k < 4 && i - i % period - k * period >= 0; ++k) {
            const double t = (i % period + k * period) / static_cast<double>(kRate);
            samples[i] += static_cast<float>(0.5 * std::exp(-700.0 * t) * std::sin(2.0 * kPi * hertz * t));
        }
    }
    return samples;
}

// Marks every `period` samples up to the end; notes of the same length, all voiced.
ScriptedRecording SteadyRecording(Rows rows, int32_t period, int32_t noteCount = 1) {
    const int32_t length = static_cast<int32_t>(rows[0].size());
    std::vector<ScriptedMark> marks;
    for (int32_t position = 0; position < length; position += period) {
        marks.push_back({position, PeriodToPitch(period)});
    }
    marks.push_back({length, 0.0f, false});
    const int32_t noteMarks = static_cast<int32_t>(marks.size() - 1) / noteCount;
    std::vector<ScriptedNote> notes;
    for (int32_t k = 0; k < noteCount; ++k) {
        notes.push_back({PeriodToPitch(period), k * noteMarks, (k + 1) * noteMarks - 1});
    }
    return {std::move(rows), kRate, marks, notes};
}

// Marks 20 to 400 samples apart, some unvoiced, over noise; `noteCount` notes with pauses.
ScriptedRecording WildRecording(uint32_t seed, int32_t channels, int32_t noteCount = 6,
                                int32_t length = 60000) {
    std::mt19937 random(seed);
    std::vector<ScriptedMark> marks;
    int32_t position = 0;
    while (position <= length - 20) {
        const int32_t period = 20 + static_cast<int32_t>(random() % 381);
        marks.push_back({position, PeriodToPitch(period), random() % 4 != 0});
        position += period;
    }
    marks.push_back({length, 0.0f, false});
    const int32_t step = static_cast<int32_t>(marks.size()) / (noteCount + 1);
    std::vector<ScriptedNote> notes;
    for (int32_t k = 0; k < noteCount; ++k) {
        notes.push_back({50.0f + static_cast<float>(random() % 200) * 0.1f, 3 + k * step, (k + 1) * step});
    }
    Rows rows;
    for (int32_t c = 0; c < channels; ++c) {
        rows.push_back(Noise(length, seed + 77 * static_cast<uint32_t>(c)));
    }
    return {std::move(rows), kRate, marks, notes};
}

constexpr int32_t kTrackWindow = 4096;
constexpr double kSteadyPeriod = 0.05;  // samples: what the tracker's parabola leaves on a steady tone

// ---------------------------------------------------------------------------------------------------------
// The plain reference: the whole output as one array, every grain placed where it belongs, nothing moved and
// no buffer shared. Pitch offsets and gains are constant in each segment; no fades, no glides, and the
// modulation is kept.

struct ReferenceGrain {
    int64_t centre;
    int32_t mark, period;
};

struct Reference {
    std::vector<float> samples;
    std::vector<ReferenceGrain> grains;
};

Reference RenderPlainly(const ScriptedRecording& recording, const CMELODORPitchSynthesizer& voice,
                        int32_t channel) {
    const std::vector<float>& source = recording.reader.GetRows()[channel];
    const VoiceSettings& settings = voice.GetSettings();
    const PitchMark* marks = nullptr;
    const int32_t markCount = recording.marks.GetRecords(&marks);

    const auto nearest = [&](int32_t from, double position) {
        const int32_t whole = static_cast<int32_t>(position);
        int32_t best = from;
        if (from >= markCount - 1) {
            return -1;
        }
        while (best + 1 < markCount &&
               std::abs(marks[best + 1].position - whole) < std::abs(marks[best].position - whole)) {
            ++best;
        }
        return best;
    };

    std::vector<float> window(32768);
    for (int32_t i = 0; i < 32768; ++i) {
        const float angle = static_cast<float>(i) * 1.5707964f / 32767.0f;
        const float s = static_cast<float>(std::sin(static_cast<double>(angle)));  // the nearest 32-bit sine
        window[i] = s * s * s;
    }

    Reference reference;
    reference.samples.resize(static_cast<size_t>(voice.GetDuration() * kRate) + 100000);
    int64_t target = 0;
    int32_t previousPeriod = 0, inside = -1;
    double sourcePosition = 0.0;
    for (;;) {
        int32_t found = -1;
        for (int32_t i = std::max(inside, 0); i < voice.GetSegmentCount() && found < 0; ++i) {
            const SynthSegment& candidate = voice.GetSegment(i);
            const double start = static_cast<double>(kRate) * candidate.targetStart * settings.timeScale;
            const double end = static_cast<double>(kRate) * candidate.targetEnd * settings.timeScale;
            if (static_cast<double>(target) >= start && static_cast<double>(target) <= end) {
                found = i;
            }
        }
        if (found < 0) {
            break;
        }
        const SynthSegment& segment = voice.GetSegment(found);
        const double offset = static_cast<double>(target) -
                              static_cast<double>(kRate) * segment.targetStart * settings.timeScale;
        if (found != inside) {
            const double entry = offset * segment.stretch / settings.timeScale + kRate * segment.sourceStart;
            sourcePosition = marks[nearest(segment.firstMark, entry)].position;
            inside = found;
        }
        const int32_t mark = nearest(segment.firstMark, sourcePosition);
        if (mark < 0 || mark >= markCount - 1) {
            break;
        }
        const int32_t sourcePeriod = marks[mark + 1].position - marks[mark].position;

        const float ratio =
            static_cast<float>(std::pow(2.0, static_cast<double>(segment.pitchOffset) / -12.0));
        const float step = settings.formantShift * segment.formantRatio;
        const float total = settings.transposition * ratio * step;
        const int32_t period = std::max(
            static_cast<int32_t>(
                std::floor(static_cast<float>(sourcePeriod) * settings.transposition * ratio + 0.5f)),
            1);
        const float width = step <= 1.0f ? 1.0f : 1.0f / step;
        const auto halfLength = [&](int32_t whole) {
            const float w = static_cast<float>(whole);
            return static_cast<int32_t>(std::min(width * w, w / total + 0.5f));
        };
        const int32_t readStart = std::max(marks[mark].position - previousPeriod, 0);
        const auto read = [&](float position) {
            const int32_t index = static_cast<int32_t>(position);
            const auto at = [&](int32_t i) {
                const size_t frame = static_cast<size_t>(readStart) + static_cast<size_t>(i);
                return i < previousPeriod + period && frame < source.size() ? source[frame] : 0.0f;
            };
            const float fraction = position - static_cast<float>(index);
            return fraction == 0.0f ? at(index) : at(index) + fraction * (at(index + 1) - at(index));
        };
        const auto windowAt = [&](int32_t i, int32_t length) {
            const float tableStep = length > 1 ? 32767.0f / static_cast<float>(length - 1) : 32768.0f;
            return window[static_cast<int32_t>(static_cast<float>(i) * tableStep + 0.5f)];
        };

        const int32_t left = halfLength(previousPeriod), right = halfLength(period);
        float position = static_cast<float>(previousPeriod) - static_cast<float>(left) * step;
        for (int32_t i = 0; i < left; ++i, position += step) {
            reference.samples[target - left + i] += read(position) * (windowAt(i, left) * segment.gain);
        }
        for (int32_t i = 0; i < right; ++i, position += step) {
            reference.samples[target + i] = (1.0f - windowAt(i, right)) * segment.gain * read(position);
        }
        reference.grains.push_back({target, mark, period});
        previousPeriod = period;
        target += period;
        sourcePosition += static_cast<float>(sourcePeriod) * settings.transposition * 1.0f *
                          settings.inverseTimeScale * ratio * segment.stretch;
    }
    return reference;
}

void RemoveGlides(CMELODORPitchSynthesizerIf& voice) {
    for (int32_t i = 0; i < voice.GetSegmentCount(); ++i) {
        voice.SetSegmentParameter(i, SegmentGlideInShare, 0.0f);
        voice.SetSegmentParameter(i, SegmentGlideOutShare, 0.0f);
    }
}

// Bits may differ after the centre of the last grain, whose right half is cut off by the block that holds
// it.
void ExpectSameUpToLastGrain(const Reference& reference, const std::vector<float>& rendered) {
    ASSERT_GT(reference.grains.size(), 20u);
    const int64_t end =
        std::min<int64_t>(reference.grains.back().centre, static_cast<int64_t>(rendered.size()));
    for (int64_t i = 0; i < end; ++i) {
        ASSERT_EQ(rendered[i], reference.samples[i]) << "sample " << i << " of " << end;
    }
}

TEST(Rendering, AgreesWithThePlainReferenceBitByBit) {
    for (uint32_t seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto between = [&](float low, float high) {
            return low + (high - low) * static_cast<float>(random() % 1000) / 1000.0f;
        };
        const int32_t channels = 1 + static_cast<int32_t>(seed % 2);
        ScriptedRecording recording = WildRecording(seed, channels);
        const VoiceOwner voice = recording.MakeVoice();
        RemoveGlides(*voice);
        for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
            const float detected = Inside(voice).GetSegment(i).detectedPitch;
            voice->SetSegmentParameter(i, SegmentTargetPitch, detected + between(-14.0f, 14.0f));
            voice->SetSegmentParameter(i, SegmentGain, between(0.0f, 1.5f));
            if (seed > 4) {
                voice->SetSegmentParameter(i, SegmentFormantShift, between(-7.0f, 7.0f));
            }
        }
        for (int32_t i = 1; seed > 5 && i < voice->GetSegmentCount(); i += 2) {  // stretched and squeezed
            double start = 0.0, end = 0.0;
            voice->GetSegmentTimes(i, &start, &end);
            start += static_cast<double>(between(-0.04f, 0.04f));
            end += static_cast<double>(between(-0.04f, 0.04f));
            voice->SetSegmentTimes(i, &start, &end, true);
        }
        if (seed > 6) {
            voice->SetGlobalParameter(GlobalFormantShift, between(-5.0f, 5.0f));
        }
        if (seed > 8) {
            voice->SetGlobalParameter(GlobalTransposition, between(-12.0f, 12.0f));
        }
        if (seed > 10) {
            voice->SetGlobalParameter(GlobalTimeScale, between(0.5f, 2.0f));
        }

        const int32_t frames = static_cast<int32_t>(voice->GetDuration() * kRate);
        const Rows rendered = Render(*voice, channels, frames, 1000);
        for (int32_t c = 0; c < channels; ++c) {
            ExpectSameUpToLastGrain(RenderPlainly(recording, Inside(voice), c), rendered[c]);
        }
    }
}

// Windows up to a length are kept for all voices, longer ones are made for each.
TEST(Rendering, AgreesWithThePlainReferenceAtEveryLengthOfAWindow) {
    for (const int32_t period : {1, 2, 3, 255, 510, 511, 512, 513, 514, 800}) {
        SCOPED_TRACE(period);
        ScriptedRecording recording = SteadyRecording({Noise(period < 10 ? 2000 : 40000, 5)}, period);
        const VoiceOwner voice = recording.MakeVoice();
        RemoveGlides(*voice);
        const auto frames = static_cast<int32_t>(recording.reader.GetRows()[0].size());
        const Rows rendered = Render(*voice, 1, frames);
        ExpectSameUpToLastGrain(RenderPlainly(recording, Inside(voice), 0), rendered[0]);
    }
}

TEST(Rendering, ShiftsTheSourceOfAGrainThatWouldStartBeforeTheRecording) {
    // At half the pace the second grain, at 147, reads from mark 0 once more, 147 samples before it.
    ScriptedRecording recording = SteadyRecording({Noise(20000, 3)}, 147);
    const VoiceOwner voice = recording.MakeVoice();
    voice->SetGlobalParameter(GlobalTimeScale, 2.0f);
    const std::vector<float> rendered = Render(*voice, 1, 20000)[0];
    const Reference reference = RenderPlainly(recording, Inside(voice), 0);
    EXPECT_EQ(reference.grains[1].mark, 0);
    EXPECT_EQ(rendered[147], recording.reader.GetRows()[0][147]);  // not sample 0, which the mark stands on
    ExpectSameUpToLastGrain(reference, rendered);
}

// ---------------------------------------------------------------------------------------------------------
// Identity. A grain at the recording's own pitch, pace and formants ends up where it was cut out. Between two
// centres the right half of one grain and the left half of the next read the same samples with weights that
// sum to 1. The first grain has no left half and stands on mark 0 at sample 0, so it is exact as well. The
// last mark has no period and gets no grain: after the last but one the output fades.

constexpr double kRoundingDecibels = -130.0;  // a few roundings of 32-bit numbers

TEST(Identity, HoldsFromTheFirstSampleToTheLastMarkButOne) {
    for (uint32_t seed = 1; seed <= 5; ++seed) {
        ScriptedRecording recording = WildRecording(seed, 2);
        const VoiceOwner voice = recording.MakeVoice();
        const Rows rendered = Render(*voice, 2, 60000, 777);
        const int32_t end = recording.marks.GetPosition(recording.marks.GetCount() - 2);
        for (int32_t c = 0; c < 2; ++c) {
            EXPECT_LT(DifferenceDecibels(rendered[c], recording.reader.GetRows()[c], 0, end),
                      kRoundingDecibels);
        }
    }
}

TEST(Identity, HoldsOnEveryMark) {
    // There the window is 1 and the other half has not begun: not even rounding is left.
    ScriptedRecording recording = WildRecording(9, 1);
    const VoiceOwner voice = recording.MakeVoice();
    const std::vector<float> rendered = Render(*voice, 1, 60000)[0];
    for (int32_t mark = 0; mark < recording.marks.GetCount() - 1; ++mark) {
        const int32_t position = recording.marks.GetPosition(mark);
        ASSERT_EQ(rendered[position], recording.reader.GetRows()[0][position]) << mark;
    }
}

TEST(Identity, FadesOutOverTheLastPeriod) {
    ScriptedRecording recording = SteadyRecording({Noise(14700, 5)}, 147);
    const VoiceOwner voice = recording.MakeVoice();
    const std::vector<float> rendered = Render(*voice, 1, 14700, 14700)[0];
    const std::vector<float>& source = recording.reader.GetRows()[0];
    for (int32_t i = 0; i < 147; ++i) {
        const double sine = std::sin(i / 146.0 * kPi / 2.0);
        const int32_t sample = 14700 - 147 + i;
        ASSERT_NEAR(rendered[sample], source[sample] * (1.0 - sine * sine * sine), 1e-4) << i;
    }
}

TEST(Identity, HoldsAtAPeriodOfOneSample) {
    ScriptedRecording recording = SteadyRecording({Noise(3000, 6)}, 1);
    const VoiceOwner voice = recording.MakeVoice();
    const std::vector<float> rendered = Render(*voice, 1, 2999, 100)[0];
    for (int32_t i = 0; i < 2999; ++i) {
        ASSERT_EQ(rendered[i], recording.reader.GetRows()[0][i]) << i;
    }
}

TEST(Identity, SurvivesSplitsAndMerges) {
    ScriptedRecording recording = WildRecording(21, 1);
    const VoiceOwner voice = recording.MakeVoice();
    ASSERT_EQ(voice->SplitSegment(2, 0.08), 0);
    ASSERT_EQ(voice->SplitSegment(5, 0.05), 0);
    ASSERT_EQ(voice->SplitSegment(0, 0.0), 0);
    ASSERT_EQ(voice->MergeSegments(2, 3), 0);
    const std::vector<float> rendered = Render(*voice, 1, 60000)[0];
    const int32_t end = recording.marks.GetPosition(recording.marks.GetCount() - 2);
    EXPECT_LT(DifferenceDecibels(rendered, recording.reader.GetRows()[0], 0, end), kRoundingDecibels);
}

// ---------------------------------------------------------------------------------------------------------

class PitchShift : public testing::TestWithParam<int> {};

TEST_P(PitchShift, GivesThePeriodOfTheTarget) {
    const int32_t period = 147;  // 300 Hz
    ScriptedRecording recording = SteadyRecording({Pulses(60000, period)}, period);
    const VoiceOwner voice = recording.MakeVoice();
    for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
        voice->SetSegmentParameter(i, SegmentTargetPitch,
                                   PeriodToPitch(period) + static_cast<float>(GetParam()));
    }
    const std::vector<float> rendered = Render(*voice, 1, 60000)[0];
    const double expected = period * std::pow(2.0, -GetParam() / 12.0);
    EXPECT_NEAR(TrackPeriod(rendered, 20000, kTrackWindow, 30, 700), expected,
                0.51);  // grains stand on whole samples
}

TEST_P(PitchShift, IsTheSameForATransposition) {
    const int32_t period = 147;
    ScriptedRecording recording = SteadyRecording({Pulses(60000, period)}, period);
    const VoiceOwner byTarget = recording.MakeVoice(), byTransposition = recording.MakeVoice();
    for (int32_t i = 0; i < byTarget->GetSegmentCount(); ++i) {
        byTarget->SetSegmentParameter(i, SegmentTargetPitch,
                                      PeriodToPitch(period) + static_cast<float>(GetParam()));
    }
    byTransposition->SetGlobalParameter(GlobalTransposition, static_cast<float>(GetParam()));
    const std::vector<float> a = Render(*byTarget, 1, 50000)[0], b = Render(*byTransposition, 1, 50000)[0];
    EXPECT_NEAR(TrackPeriod(a, 20000, kTrackWindow, 30, 700), TrackPeriod(b, 20000, kTrackWindow, 30, 700),
                kSteadyPeriod);
}

INSTANTIATE_TEST_SUITE_P(Semitones, PitchShift,
                         testing::Values(-24, -12, -7, -5, -3, -1, 0, 1, 2, 4, 5, 7, 9, 12, 19, 24));

TEST(Rendering, KeepsTheTimeOfEachNoteWhateverItsPitch) {
    // Half the recording is loud, half is faint; shifted, the loudness still changes in the same place.
    std::vector<float> source = Pulses(88200, 147);
    for (int32_t i = 44100; i < 88200; ++i) {
        source[i] *= 0.1f;
    }
    ScriptedRecording recording = SteadyRecording({source}, 147, 2);
    for (float shift : {-7.0f, 5.0f}) {
        const VoiceOwner voice = recording.MakeVoice();
        voice->SetGlobalParameter(GlobalTransposition, shift);
        const std::vector<float> rendered = Render(*voice, 1, 88200)[0];
        const auto power = [&](int32_t from, int32_t to) {
            double sum = 0.0;
            for (int32_t i = from; i < to; ++i) {
                sum += static_cast<double>(rendered[i]) * rendered[i];
            }
            return sum / (to - from);
        };
        EXPECT_GT(power(43000, 43600), 50.0 * power(44700, 45300));
        EXPECT_NEAR(power(10000, 20000) / power(60000, 70000), 100.0, 10.0);
    }
}

TEST(Rendering, StretchesTimeWithoutTouchingThePitch) {
    std::vector<float> source = Pulses(88200, 147);
    for (int32_t i = 44100; i < 88200; ++i) {
        source[i] *= 0.1f;
    }
    ScriptedRecording recording = SteadyRecording({source}, 147, 2);
    for (float scale : {0.5f, 1.5f, 2.0f}) {
        const VoiceOwner voice = recording.MakeVoice();
        voice->SetGlobalParameter(GlobalTimeScale, scale);
        const int32_t frames = static_cast<int32_t>(88200 * scale);
        EXPECT_NEAR(voice->GetDuration() * kRate, frames, 1.0);
        const std::vector<float> rendered = Render(*voice, 1, frames)[0];
        EXPECT_NEAR(TrackPeriod(rendered, static_cast<int32_t>(10000 * scale), kTrackWindow, 60, 400), 147.0,
                    kSteadyPeriod);
        const auto peak = [&](double from, double to) {
            return *std::max_element(rendered.begin() + static_cast<int32_t>(from * scale),
                                     rendered.begin() + static_cast<int32_t>(to * scale));
        };
        EXPECT_GT(peak(40000, 43000), 5.0f * peak(45200, 48000));
    }
}

TEST(Rendering, MovesFormantsWithoutTouchingThePitch) {
    const int32_t period = 294;  // 150 Hz: a fine comb under the formant at 1500 Hz
    ScriptedRecording recording = SteadyRecording({Pulses(60000, period)}, period);
    const auto formant = [&](const std::vector<float>& samples) {  // the strongest harmonic [Hz]
        double best = 0.0, where = 0.0;
        for (int32_t h = 1; h * 150 < 6000; ++h) {
            std::complex<double> sum = 0.0;
            for (int32_t i = 20000; i < 20000 + 20 * period; ++i) {
                sum += static_cast<double>(samples[i]) * std::polar(1.0, -2.0 * kPi * h * i / period);
            }
            if (std::abs(sum) > best) {
                best = std::abs(sum);
                where = h * 150.0;
            }
        }
        return where;
    };
    for (double shift : {-12.0, -5.0, 0.0, 4.0, 12.0}) {
        for (bool global : {false, true}) {
            const VoiceOwner voice = recording.MakeVoice();
            if (global) {
                voice->SetGlobalParameter(GlobalFormantShift, static_cast<float>(shift));
            } else {
                for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
                    voice->SetSegmentParameter(i, SegmentFormantShift, static_cast<float>(shift));
                }
            }
            const std::vector<float> rendered = Render(*voice, 1, 60000)[0];
            EXPECT_NEAR(TrackPeriod(rendered, 20000, kTrackWindow, 100, 600), period, kSteadyPeriod) << shift;
            EXPECT_NEAR(formant(rendered), 1500.0 * std::pow(2.0, shift / 12.0), 150.0) << shift;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------

TEST(Rendering, IsSilentAtGainZeroAndStaysInTime) {
    ScriptedRecording recording = WildRecording(31, 2);
    const VoiceOwner muted = recording.MakeVoice(), sung = recording.MakeVoice();
    for (int32_t i = 0; i < muted->GetSegmentCount(); ++i) {
        muted->SetSegmentParameter(i, SegmentTargetPitch, 57.3f);
        sung->SetSegmentParameter(i, SegmentTargetPitch, 57.3f);
        if (i < 4) {
            muted->SetSegmentParameter(i, SegmentGain, 0.0f);
        }
    }
    const Rows silent = Render(*muted, 2, 60000), loud = Render(*sung, 2, 60000);
    SegmentInfo fourth;
    sung->GetSegmentInfo(4, &fourth);
    const int32_t border = static_cast<int32_t>(fourth.targetStart * kRate);
    constexpr int32_t kTwoGrains = 2 * 1700;  // 400 samples, 25 semitones down
    for (int32_t c = 0; c < 2; ++c) {
        for (int32_t i = 0; i < border - kTwoGrains; ++i) {
            ASSERT_EQ(silent[c][i], 0.0f) << i;
        }
        for (int32_t i = border + kTwoGrains; i < 60000; ++i) {
            ASSERT_EQ(silent[c][i], loud[c][i]) << i;
        }
    }
}

TEST(Rendering, TakesTheGainOfTheMomentForEachGrain) {
    // Over a constant source a grain's centre shows its gain.
    ScriptedRecording recording = SteadyRecording({std::vector<float>(44100, 1.0f)}, 100);
    const VoiceOwner voice = recording.MakeVoice();
    voice->SetSegmentParameter(1, SegmentGain, 0.8f);
    voice->SetSegmentParameter(1, SegmentFadeInShare, 0.25f);
    voice->SetSegmentParameter(1, SegmentFadeInLevel, 0.0f);
    voice->SetSegmentParameter(1, SegmentFadeOutShare, 0.5f);
    voice->SetSegmentParameter(1, SegmentFadeOutLevel, 0.25f);
    const std::vector<float> rendered = Render(*voice, 1, 44100)[0];
    for (int32_t centre = 100; centre < 44000; centre += 100) {
        const double in = std::min(centre / 11025.0, 1.0);
        const double out = std::min(1.0 - 0.75 * (centre - 22050) / 22050.0, 1.0);
        ASSERT_NEAR(rendered[centre], 0.8 * in * out, 1e-5) << centre;
        const auto [low, high] = std::minmax(rendered[centre], rendered[centre + 100]);
        if (centre < 43900) {
            for (int32_t i = 0; i < 100; ++i) {
                ASSERT_GE(rendered[centre + i], low - 1e-6f);
                ASSERT_LE(rendered[centre + i], high + 1e-6f);
            }
        }
    }
}

TEST(Rendering, DoesNotDependOnTheSizesOfTheBlocks) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        ScriptedRecording recording = WildRecording(seed, 2);
        const auto voiceWithEdits = [&] {
            VoiceOwner voice = recording.MakeVoice();
            std::mt19937 random(seed);
            for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
                voice->SetSegmentParameter(i, SegmentTargetPitch,
                                           45.0f + static_cast<float>(random() % 300) * 0.1f);
                voice->SetSegmentParameter(i, SegmentModulationKeep, 0.3f);
                voice->SetSegmentParameter(i, SegmentFadeInShare, 0.2f);
                voice->SetSegmentParameter(i, SegmentFadeInLevel, 0.5f);
                voice->SetSegmentParameter(i, SegmentFormantShift, static_cast<float>(random() % 9) - 4.0f);
            }
            return voice;
        };
        // The reference is one block; a grain before the recording's end reads it to the last but one mark.
        const VoiceOwner whole = voiceWithEdits();
        const Rows expected = Render(*whole, 2, 60000, 60000);
        const int32_t end = 60000 - 4000;  // the last grains, at most 400 samples and 20 semitones down

        std::mt19937 random(seed + 100);
        for (int32_t longest : {1, 7, 300, 5000, 40000}) {
            const VoiceOwner voice = voiceWithEdits();
            Rows rendered(2, std::vector<float>(60000));
            for (int32_t start = 0; start < 60000;) {
                const int32_t wanted = static_cast<int32_t>(random() % static_cast<uint32_t>(longest + 1));
                const int32_t block = std::min(longest == 1 ? 1 : wanted, 60000 - start);
                float* out[2] = {rendered[0].data() + start, rendered[1].data() + start};
                voice->Process(out, block);  // now and then of no frames
                start += block;
            }
            for (int32_t c = 0; c < 2; ++c) {
                for (int32_t i = 0; i < end; ++i) {
                    ASSERT_EQ(rendered[c][i], expected[c][i])
                        << "sample " << i << ", blocks up to " << longest;
                }
            }
        }
    }
}

TEST(Rendering, GivesTheSameBitsAgain) {
    ScriptedRecording recording = WildRecording(4, 2);
    const VoiceOwner first = recording.MakeVoice(), second = recording.MakeVoice();
    for (CMELODORPitchSynthesizerIf* voice : {first.get(), second.get()}) {
        voice->SetGlobalParameter(GlobalTransposition, 3.3f);
    }
    EXPECT_EQ(Render(*first, 2, 60000), Render(*second, 2, 60000));
}

TEST(Rendering, LeavesOtherVoicesAloneWhenBlocksInterleave) {
    ScriptedRecording recording = WildRecording(8, 1);
    const VoiceOwner alone = recording.MakeVoice(), a = recording.MakeVoice(), b = recording.MakeVoice();
    for (CMELODORPitchSynthesizerIf* voice : {alone.get(), a.get()}) {
        voice->SetGlobalParameter(GlobalTransposition, -4.0f);
    }
    std::vector<float> rendered(60000), other(60000);
    for (int32_t start = 0; start < 60000; start += 500) {
        float* out = rendered.data() + start;
        a->Process(&out, 500);
        out = other.data() + start;
        b->Process(&out, 500);
    }
    EXPECT_EQ(rendered, Render(*alone, 1, 60000)[0]);
}

TEST(Rendering, IsSilentBehindTheEndAndGoesOnCounting) {
    ScriptedRecording recording = WildRecording(2, 2);
    const VoiceOwner voice = recording.MakeVoice();
    Render(*voice, 2, 60000);
    recording.reader.SetPosition(5);
    const Rows behind = Render(*voice, 2, 10000);
    for (const auto& row : behind) {
        EXPECT_EQ(row, std::vector<float>(10000, 0.0f));
    }
    EXPECT_EQ(voice->GetPosition(), 70000.0 / kRate);
    EXPECT_EQ(recording.reader.GetPosition(), 60000);
}

TEST(Rendering, IsSilentWithoutSegments) {
    ScriptedRecording recording = WildRecording(2, 1);
    const VoiceOwner voice = recording.MakeVoice();
    voice->ClearSegments();
    EXPECT_EQ(Render(*voice, 1, 9000)[0], std::vector<float>(9000, 0.0f));
    EXPECT_EQ(voice->GetPosition(), 9000.0 / kRate);
    voice->Reset();
    EXPECT_NE(Render(*voice, 1, 9000)[0], std::vector<float>(9000, 0.0f));
}

TEST(Rendering, CountsNoPositionForABlockWithoutFrames) {
    ScriptedRecording recording = WildRecording(2, 1);
    const VoiceOwner voice = recording.MakeVoice();
    float* out = nullptr;
    voice->Process(&out, 0);
    voice->Process(&out, -17);
    EXPECT_EQ(voice->GetPosition(), 0.0);
    EXPECT_EQ(Inside(voice).GetAccumulatorSize(), 0);
    EXPECT_EQ(recording.reader.GetReadCount(), 0);
}

TEST(Rendering, SaturatesItsPositionWithSilence) {
    ScriptedRecording recording = WildRecording(2, 1);
    const VoiceOwner voice = recording.MakeVoice();
    voice->SetGlobalParameter(GlobalTimeScale, 1e6f);  // so that the end of the voice does not come first
    voice->SetPosition((2147483647.0 - 3000.0) / kRate);
    const std::vector<float> rendered = Render(*voice, 1, 9000, 1000)[0];
    EXPECT_EQ(std::vector<float>(rendered.begin() + 3000, rendered.end()), std::vector<float>(6000, 0.0f));
    EXPECT_EQ(voice->GetPosition(), 2147483647.0 / kRate);
}

TEST(Rendering, GoesOnBehindAGapBetweenSegments) {
    ScriptedRecording recording = SteadyRecording({Pulses(88200, 147)}, 147, 4);
    const VoiceOwner voice = recording.MakeVoice();
    voice->RemoveSegment(2);  // 0.5 to 1 s, about
    const std::vector<float> rendered = Render(*voice, 1, 88200, 512)[0];
    const auto peak = [&](int32_t from, int32_t to) {
        return *std::max_element(rendered.begin() + from, rendered.begin() + to);
    };
    EXPECT_GT(peak(15000, 20000), 0.1f);
    EXPECT_EQ(peak(23100, 43000), 0.0f);
    EXPECT_GT(peak(45500, 60000), 0.1f);
}

// Marks before the recording come from stored analyses alone.
TEST(Rendering, HaltsForGoodOnceItHasSungFromInFrontOfTheRecording) {
    std::vector<ScriptedMark> marks;
    for (int32_t position = -10; position < 30000; position += 300) {
        marks.push_back({position});
    }
    ScriptedRecording recording({Noise(30000, 3)}, kRate, marks, {{60.0f, 2, 90}});
    const VoiceOwner voice = recording.MakeVoice();
    voice->SetGlobalParameter(GlobalTimeScale, 100.0f);  // three samples of the recording per grain
    EXPECT_NE(Render(*voice, 1, 100)[0], std::vector<float>(100, 0.0f));
    EXPECT_EQ(Render(*voice, 1, 2000, 100)[0], std::vector<float>(2000, 0.0f));
    EXPECT_EQ(voice->GetPosition(), 2100.0 / kRate);
    voice->SetPosition(20.0);
    EXPECT_EQ(Render(*voice, 1, 2000, 100)[0], std::vector<float>(2000, 0.0f));
}

// ---------------------------------------------------------------------------------------------------------

TEST(Seeking, GoesOnFromThere) {
    ScriptedRecording recording = WildRecording(5, 1);
    const VoiceOwner voice = recording.MakeVoice();
    Render(*voice, 1, 9000, 1000);
    voice->SetPosition(30000.0 / kRate);
    EXPECT_EQ(voice->GetPosition(), 30000.0 / kRate);
    const std::vector<float> rendered = Render(*voice, 1, 10000, 1000)[0];
    // At the recording's own pace a voice that starts between two marks stays off by the same distance, since
    // it starts on the nearest mark: the output is the recording, up to 200 samples early or late.
    const std::vector<float>& source = recording.reader.GetRows()[0];
    double best = 0.0;
    for (int32_t late = -450; late <= 450; ++late) {
        double difference = 0.0;
        for (int32_t i = 2000; i < 3000; ++i) {
            difference =
                std::max(difference, std::abs(static_cast<double>(rendered[i]) - source[30000 + i + late]));
        }
        if (late == -450 || difference < best) {
            best = difference;
        }
    }
    EXPECT_LT(best, 1e-6);
}

TEST(Seeking, EntersEverySegmentAnew) {
    ScriptedRecording recording = SteadyRecording({Noise(44100, 12)}, 147, 5);
    const VoiceOwner voice = recording.MakeVoice();
    Render(*voice, 1, 40000, 1000);
    voice->SetPosition(0.0);
    const std::vector<float> again = Render(*voice, 1, 40000, 1000)[0];
    // After the period that still sounded it is the recording once more.
    const std::vector<float>& source = recording.reader.GetRows()[0];
    EXPECT_LT(DifferenceDecibels({again.begin() + 147, again.end()}, {source.begin() + 147, source.end()}, 0,
                                 39000),
              kRoundingDecibels);
}

TEST(Seeking, FindsNothingToSingBehindTheRecording) {
    ScriptedRecording recording = SteadyRecording({Noise(14700, 12)}, 147);
    const VoiceOwner voice = recording.MakeVoice();
    SegmentInfo info;
    voice->GetSegmentInfo(1, &info);
    info.sourceEnd *= 2.0;  // half of what the segment sings lies after the last mark
    voice->SetSegmentInfo(1, info, false);
    const std::vector<float> through = Render(*voice, 1, 12000, 100)[0];
    EXPECT_EQ(std::vector<float>(through.begin() + 8000, through.end()), std::vector<float>(4000, 0.0f));
    voice->SetPosition(11000.0 / kRate);
    EXPECT_EQ(Render(*voice, 1, 2000, 100)[0], std::vector<float>(2000, 0.0f));
}

TEST(Rendering, StaysInASegmentThatAnEarlierOneComesToCover) {
    ScriptedRecording recording = SteadyRecording({Pulses(44100, 147)}, 147, 4);
    const VoiceOwner voice = recording.MakeVoice();
    double start = 0.0, secondStart = 0.0, end = 0.0;
    voice->GetSegmentTimes(1, &start, &secondStart);
    voice->GetSegmentTimes(2, &secondStart, &end);
    const int32_t inside = static_cast<int32_t>((secondStart + 0.05) * kRate);
    Render(*voice, 1, inside);
    voice->SetSegmentTimes(1, &start, &end, false);
    voice->SetSegmentParameter(1, SegmentGain, 0.0f);
    const std::vector<float> rendered = Render(*voice, 1, 4000)[0];
    EXPECT_GT(*std::max_element(rendered.begin() + 1000, rendered.end()), 0.1f);
}

TEST(Seeking, StartsAnewOnlyAfterThreeBlocks) {
    ScriptedRecording recording = WildRecording(5, 1);
    const VoiceOwner voice = recording.MakeVoice();
    Render(*voice, 1, 4000, 1000);
    voice->SetPosition(0.5);
    EXPECT_EQ(Inside(voice).GetCurrentPeriod(), 0);
    Render(*voice, 1, 2000, 1000);
    voice->SetPosition(0.2);
    EXPECT_NE(Inside(voice).GetCurrentPeriod(), 0);
}

TEST(Seeking, SetsThePaceOfAScrub) {
    ScriptedRecording recording = WildRecording(5, 1);
    const VoiceOwner voice = recording.MakeVoice();
    Render(*voice, 1, 1000, 1000);
    EXPECT_EQ(Inside(voice).GetSpeed(), 1.0f);
    voice->SetPosition(250.0 / kRate);  // a quarter of the block rendered since 0
    EXPECT_EQ(Inside(voice).GetSpeed(), 0.25f);
    Render(*voice, 1, 1000, 1000);
    voice->SetPosition(5000.0 / kRate);
    EXPECT_EQ(Inside(voice).GetSpeed(), 1.0f);  // no faster than the recording
    Render(*voice, 1, 1000, 1000);
    voice->SetPosition(5000.0 / kRate);  // held in place
    EXPECT_EQ(Inside(voice).GetSpeed(), 0.0f);
    Render(*voice, 1, 2000, 1000);
    EXPECT_EQ(Inside(voice).GetSpeed(), 0.0f);
    Render(*voice, 1, 1000, 1000);
    EXPECT_EQ(Inside(voice).GetSpeed(), 1.0f);
}

TEST(Seeking, MeasuresThePaceOfAScrubInTheMiddleToo) {
    ScriptedRecording recording = WildRecording(5, 1);
    const VoiceOwner voice = recording.MakeVoice();
    voice->SetPosition(5000.5 / kRate);
    Render(*voice, 1, 1000, 1000);
    voice->SetPosition(5250.5 / kRate);  // a quarter of the block rendered since 5000
    EXPECT_EQ(Inside(voice).GetSpeed(), 0.25f);
    Render(*voice, 1, 1000, 1000);
    voice->SetPosition(4750.5 / kRate);  // half a block back
    EXPECT_EQ(Inside(voice).GetSpeed(), 0.5f);
}

TEST(Seeking, HoldsTheSourceStillAtPaceZero) {
    ScriptedRecording recording = SteadyRecording({Noise(44100, 2)}, 147);
    const VoiceOwner voice = recording.MakeVoice();
    Render(*voice, 1, 10000, 10000);
    voice->SetPosition(0.0);
    ASSERT_EQ(Inside(voice).GetSpeed(), 0.0f);
    std::vector<float> block(2000);
    float* out = block.data();
    voice->Process(&out, 2000);
    EXPECT_NEAR(TrackPeriod(Render(*voice, 1, 6000, 6000)[0], 0, kTrackWindow, 100, 400), 147.0,
                kSteadyPeriod);
}

TEST(Seeking, SurvivesAnyPosition) {
    ScriptedRecording recording = WildRecording(5, 1);
    const VoiceOwner voice = recording.MakeVoice();
    for (double seconds : {-1.0, -1e300, 1e300, 0.7, static_cast<double>(kNan), static_cast<double>(kInf),
                           0.3, static_cast<double>(-kInf), 47000.0, 1e-300}) {
        voice->SetPosition(seconds);
        Render(*voice, 1, 300, 100);
        voice->SetPosition(seconds);
        Render(*voice, 1, 700, 100);
    }
    voice->SetPosition(0.5);
    EXPECT_EQ(voice->GetPosition(), 0.5);
    EXPECT_NE(Render(*voice, 1, 5000)[0], std::vector<float>(5000, 0.0f));
}

// ---------------------------------------------------------------------------------------------------------

TEST(Grain, IsAtLeastOneSampleApartFromTheNext) {
    ScriptedRecording recording = SteadyRecording({Noise(2000, 1)}, 147);
    const VoiceOwner voice = recording.MakeVoice();
    voice->SetGlobalParameter(GlobalTransposition, 200.0f);  // 147 samples become 0.0014
    Render(*voice, 1, 500);
    EXPECT_EQ(Inside(voice).GetCurrentPeriod(), 1);
}

TEST(Grain, IsAtMostFourMillionSamplesApartFromTheNext) {
    ScriptedRecording recording = SteadyRecording({Noise(2000, 1)}, 147);
    const VoiceOwner voice = recording.MakeVoice();
    for (float shift : {-300.0f, -1e9f, -kInf}) {
        voice->SetGlobalParameter(GlobalTransposition, shift);
        voice->SetPosition(0.0);
        Render(*voice, 1, 500, 100);
        EXPECT_EQ(Inside(voice).GetCurrentPeriod(), 4194304);
        EXPECT_LT(Inside(voice).GetAccumulatorSize(), 2 * 4194304 + 2 * 65536);
    }
}

TEST(Grain, KeepsWithinItsBuffersWhateverIsSet) {
    const float values[] = {0.0f,    1.0f,     -1.0f, 60.0f, 1e-30f, 1e9f,   -1e9f,
                            3.4e38f, -3.4e38f, kNan,  kInf,  -kInf,  300.0f, -90.0f};
    ScriptedRecording recording = SteadyRecording({Noise(6000, 1), Noise(6000, 2)}, 147, 3);
    const VoiceOwner voice = recording.MakeVoice();
    const auto render = [&] {
        voice->SetPosition(0.02);
        Render(*voice, 2, 400, 100);
    };
    for (int32_t which = 0; which < 12; ++which) {
        for (float value : values) {
            for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
                voice->SetSegmentParameter(i, which, value);
                voice->GetSegmentParameter(i, which);
            }
            render();
        }
        voice->Reset();
    }
    for (int32_t which = 0; which < 6; ++which) {
        for (float value : values) {
            voice->SetGlobalParameter(which, value);
            render();
        }
        voice->SetGlobalParameter(GlobalTimeScale, 1.0f);
        voice->SetGlobalParameter(GlobalTransposition, 0.0f);
        voice->Reset();
    }
    voice->SetPosition(0.0);
    const std::vector<float> rendered = Render(*voice, 2, 1000)[0];
    for (float x : rendered) {
        ASSERT_TRUE(std::isfinite(x));
    }
}

TEST(Grain, KeepsWithinItsBuffersAfterRandomEdits) {
    const double times[] = {0.0, 0.01, 0.05, 0.1, 0.13, 0.5, -0.1, -1e9, 1e9, 1e300, kNan, kInf, -kInf};
    const auto pick = [&](std::mt19937& random) { return times[random() % std::size(times)]; };
    for (uint32_t seed = 1; seed <= 150; ++seed) {
        std::mt19937 random(seed);
        ScriptedRecording recording = WildRecording(seed, 1, 3, 6000);
        const VoiceOwner voice = recording.MakeVoice();
        for (int32_t edit = 0; edit < 30; ++edit) {
            const int32_t count = voice->GetSegmentCount();
            const int32_t index = static_cast<int32_t>(random() % static_cast<uint32_t>(count + 2)) - 1;
            SegmentInfo info;
            double start = pick(random), end = pick(random);
            switch (random() % 8) {
                case 0:
                    voice->SplitSegment(index, start);
                    break;
                case 1:
                    voice->MergeSegments(index, index + 1);
                    break;
                case 2:
                    voice->RemoveSegment(index);
                    break;
                case 3:
                    voice->SetSegmentTimes(index, &start, &end, random() % 2 == 0);
                    break;
                case 4:
                    if (voice->GetSegmentInfo(index, &info) == 0) {
                        info.sourceStart = start;
                        info.sourceEnd = end;
                        info.targetStart = pick(random);
                        info.targetPitch = static_cast<float>(random() % 120);
                        voice->SetSegmentInfo(index, info, random() % 2 == 0);
                    }
                    break;
                case 5:
                    info.targetStart = start;
                    info.targetEnd = end;
                    info.sourceStart = pick(random);
                    info.sourceEnd = pick(random);
                    voice->InsertSegment(info);
                    break;
                case 6:
                    voice->SetPosition(start);
                    break;
                default:
                    voice->SetGlobalParameter(GlobalTimeScale,
                                              0.5f + static_cast<float>(random() % 100) * 0.02f);
                    break;
            }
            voice->GetOutputPitchAt(start);
            voice->GetOutputGainAt(end);
            Render(*voice, 1, 200, 100);
        }
    }
}

TEST(Grain, IsReadAtTheSameMarkWhereverRenderingHasBeen) {
    // One long segment, left at its end and at its start; from there on both voices must find the same marks.
    ScriptedRecording recording = SteadyRecording({Noise(60000, 14)}, 147);
    const VoiceOwner fromTheEnd = recording.MakeVoice(), fromTheStart = recording.MakeVoice();
    for (CMELODORPitchSynthesizerIf* voice : {fromTheEnd.get(), fromTheStart.get()}) {
        RemoveGlides(*voice);
        voice->SetGlobalParameter(GlobalTransposition, 7.0f);  // upwards no grain leaves a gap
    }
    Render(*fromTheEnd, 1, 55000, 1000);
    Render(*fromTheStart, 1, 3000, 1000);
    fromTheEnd->SetPosition(0.25);
    fromTheStart->SetPosition(0.25);
    const std::vector<float> a = Render(*fromTheEnd, 1, 40000)[0], b = Render(*fromTheStart, 1, 40000)[0];
    // Up to the first grain's centre what was rendered before still sounds.
    EXPECT_EQ(std::vector<float>(a.begin() + 200, a.end()), std::vector<float>(b.begin() + 200, b.end()));
    EXPECT_EQ(Inside(fromTheEnd).GetCurrentMarkIndex(), Inside(fromTheStart).GetCurrentMarkIndex());
}

TEST(Buffers, HaveTheirSmallestSizeAfterASmallBlock) {
    ScriptedRecording recording = WildRecording(3, 2);
    const VoiceOwner voice = recording.MakeVoice();
    EXPECT_EQ(Inside(voice).GetAccumulatorSize(), 0);
    Render(*voice, 2, 100, 100);
    EXPECT_EQ(Inside(voice).GetAccumulatorSize(), 65536);
    EXPECT_EQ(Inside(voice).GetGrainSourceSize(), 65536);
}

TEST(Buffers, GrowWithTheBlockAndNeverShrink) {
    ScriptedRecording recording = WildRecording(3, 2);
    const VoiceOwner voice = recording.MakeVoice();
    Render(*voice, 2, 65536, 65536);
    EXPECT_EQ(Inside(voice).GetAccumulatorSize(), 8 * 65536);
    EXPECT_EQ(Inside(voice).GetGrainSourceSize(), 2 * 65536);
    Render(*voice, 2, 100, 100);
    EXPECT_EQ(Inside(voice).GetAccumulatorSize(), 8 * 65536);
}

TEST(Buffers, AreNotAllocatedInTheSteadyState) {
    ScriptedRecording recording = WildRecording(3, 2);
    const VoiceOwner voice = recording.MakeVoice();
    for (int32_t i = 0; i < voice->GetSegmentCount(); ++i) {
        voice->SetSegmentParameter(i, SegmentTargetPitch, 48.0f);
    }
    std::vector<float> left(4096), right(4096);
    float* out[2] = {left.data(), right.data()};
    voice->Process(out, 4096);
    const int64_t before = allocations;
    for (int32_t block = 0; block < 20; ++block) {
        voice->Process(out, 100 + 200 * block);
    }
    voice->SetPosition(0.3);
    voice->Process(out, 4096);
    EXPECT_EQ(allocations, before);
}

}  // namespace

}  // namespace mlh
