#include "choir/render/Renderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "choir/people/RandomSource.h"
#include "choir/take/PeriodMeter.h"
#include "choir/take/Take.h"
#include "support/SyntheticSinger.h"

namespace {

int64_t allocations = 0;

void* Allocate(std::size_t bytes) {
    ++allocations;
    void* const memory = std::malloc(bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // inlining shows the malloc inside operator new
void* operator new(std::size_t bytes) { return Allocate(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(bytes);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
#pragma GCC diagnostic pop

namespace mlh::choir {

namespace {

// A recording with what was sung in it.
struct Sung {
    explicit Sung(SungRecording recording)
        : song(std::move(recording)),
          view{song.samples.data(), static_cast<int32_t>(song.samples.size()), 1, song.sampleRate},
          take(view),
          periods(take.measuredPeriods()),
          notes(take.notes()) {
        RefinePitches(notes, periods);
    }
    SungRecording song;
    AudioView view;
    Take take;
    std::vector<MeasuredPeriod> periods;
    std::vector<SungNote> notes;
};

SungRecording Tune(double rate, double vibrato = 0.0) {
    SingerSettings settings;
    settings.sampleRate = rate;
    settings.vibratoDepth = vibrato;
    return Sing({{0, 0.2, kRest},
                 {57, 0.7, 'a', 's'},
                 {59, 0.6, 'e'},
                 {0, 0.3, kRest},
                 {52, 0.8, 'o', 'm'},
                 {64, 0.6, 'i'}},
                settings);
}

VoiceOrder Moved(const std::vector<SungNote>& notes, double semitones) {
    VoiceOrder order;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double pitch = notes[i].pitch + semitones;
        order.notes.push_back({static_cast<int>(i), notes[i].start, notes[i].end,
                               static_cast<int>(std::lround(pitch)), pitch, 1.0});
    }
    return order;
}

std::vector<float> Render(Renderer& renderer, int voice, int32_t first, int32_t count) {
    std::vector<float> samples(static_cast<std::size_t>(count));
    float* rows[] = {samples.data()};
    renderer.Render(voice, first, count, rows);
    return samples;
}

double Level(const std::vector<float>& samples, double rate, double start, double end) {
    double sum = 0.0;
    int count = 0;
    for (auto i = static_cast<std::size_t>(start * rate); i < static_cast<std::size_t>(end * rate); ++i) {
        sum += static_cast<double>(samples[i]) * samples[i];
        ++count;
    }
    return 10.0 * std::log10(sum / count + 1e-20);
}

// The pitch that sounds in a stretch of a rendered voice.
double PitchIn(const std::vector<float>& samples, int32_t rate, double start, double end, double near) {
    std::vector<CurvePoint> marks;
    const double period = 1.0 / (440.0 * std::exp2((near - 69.0) / 12.0));
    for (double time = start; time < end; time += period) {
        marks.push_back({time, near, true});
    }
    const AudioView view{samples.data(), static_cast<int32_t>(samples.size()), 1, rate};
    return PitchOfStretch(MeasurePeriods(view, marks), start, end, 0.0);
}

TEST(Renderer, AVoiceOnTheLeadsOwnPitchIsTheLead) {
    for (const int factor : {1, 2, 4}) {
        const Sung sung(Tune(44100.0));
        Renderer renderer(sung.view, sung.notes, sung.periods, factor);
        renderer.SetVoiceCount(1);
        renderer.SetVoice(0, Moved(sung.notes, 0.0));
        const auto voice = Render(renderer, 0, 0, sung.view.frames);
        for (const SungNote& note : sung.notes) {
            if (note.end - note.start < 0.3) {
                continue;  // a consonant, with more treble than goes up and down
            }
            double error = 0.0, power = 0.0;
            for (auto i = static_cast<std::size_t>((note.start + 0.03) * 44100.0);
                 i < static_cast<std::size_t>((note.end - 0.03) * 44100.0); ++i) {
                const double d = static_cast<double>(voice[i]) - sung.song.samples[i];
                error += d * d;
                power += static_cast<double>(sung.song.samples[i]) * sung.song.samples[i];
            }
            EXPECT_LT(10.0 * std::log10(error / power), -100.0) << factor;
        }
    }
}

TEST(Renderer, AnyStretchHasTheBitsOfTheWhole) {
    const Sung sung(Tune(44100.0, 0.3));
    for (const int factor : {1, 2}) {
        Renderer renderer(sung.view, sung.notes, sung.periods, factor);
        renderer.SetVoiceCount(2);
        auto order = Moved(sung.notes, 5.0);
        order.manners = Humanize(order.notes, 1, {0.5, 4});
        order.consonants = 0.5;
        renderer.SetVoice(0, order);
        renderer.SetVoice(1, Moved(sung.notes, -7.0));
        const int32_t length = sung.view.frames + 5000;
        const std::vector<float> whole[] = {Render(renderer, 0, 0, length), Render(renderer, 1, 0, length)};
        RandomSource random(8);
        for (int i = 0; i < 40; ++i) {
            const int voice = i % 2;
            const auto first = static_cast<int32_t>(random.Uniform() * (length - 100));
            const auto count = std::min(length - first, static_cast<int32_t>(random.Uniform() * 9000));
            const auto stretch = Render(renderer, voice, first, count);
            ASSERT_TRUE(std::equal(stretch.begin(), stretch.end(), whole[voice].begin() + first)) << first;
        }
    }
}

TEST(Renderer, RenderingAllocatesNothingOnceItHasBegun) {
    const Sung sung(Tune(44100.0, 0.3));
    for (const int factor : {1, 2, 4}) {
        Renderer renderer(sung.view, sung.notes, sung.periods, factor);
        renderer.SetVoiceCount(2);
        auto order = Moved(sung.notes, -4.0);
        order.manners = Humanize(order.notes, 1, {0.5, 4});
        order.consonants = 0.5;
        renderer.SetVoice(0, order);
        renderer.SetVoice(1, Moved(sung.notes, 5.0));
        std::vector<float> samples(4096);
        float* rows[] = {samples.data()};
        const auto renderAll = [&] {
            for (int32_t first = 0; first < sung.view.frames; first += 4096) {
                renderer.Render(0, first, 4096, rows);
                renderer.Render(1, first, 4096, rows);
            }
        };
        renderAll();
        const int64_t before = allocations;
        renderAll();
        EXPECT_EQ(allocations - before, 0) << factor;
    }
}

TEST(Renderer, AVoiceThatSingsWhatItSangIsNotPreparedAgain) {
    const Sung sung(Tune(44100.0));
    Renderer renderer(sung.view, sung.notes, sung.periods, 2);
    renderer.SetVoiceCount(1);
    const auto order = Moved(sung.notes, 5.0);
    renderer.SetVoice(0, order);
    const int64_t before = allocations;
    renderer.SetVoice(0, order);
    EXPECT_EQ(allocations - before, 0);
}

TEST(Renderer, ChangingOneVoiceLeavesTheOthersBits) {
    const Sung sung(Tune(44100.0));
    Renderer renderer(sung.view, sung.notes, sung.periods, 1);
    renderer.SetVoiceCount(2);
    renderer.SetVoice(0, Moved(sung.notes, 4.0));
    renderer.SetVoice(1, Moved(sung.notes, -3.0));
    const auto before = Render(renderer, 0, 0, sung.view.frames);
    renderer.SetVoice(1, Moved(sung.notes, -5.0));
    EXPECT_EQ(Render(renderer, 0, 0, sung.view.frames), before);
    Renderer again(sung.view, sung.notes, sung.periods, 1);
    again.SetVoiceCount(1);
    again.SetVoice(0, Moved(sung.notes, 4.0));
    EXPECT_EQ(Render(again, 0, 0, sung.view.frames), before);
}

TEST(Renderer, NotesSoundAtThePitchTheyAreAskedFor) {
    for (const double rate : {16000.0, 44100.0, 96000.0}) {
        const Sung sung(Tune(rate));
        for (const double semitones : {-5.0, 3.0, 7.0}) {
            const int factor = OversamplingFor(Quality::Auto, sung.view.sampleRate, 64.0 + semitones);
            Renderer renderer(sung.view, sung.notes, sung.periods, factor);
            renderer.SetVoiceCount(1);
            renderer.SetVoice(0, Moved(sung.notes, semitones));
            const auto voice = Render(renderer, 0, 0, sung.view.frames);
            for (const SungNote& note : sung.notes) {
                if (note.end - note.start < 0.4) {
                    continue;
                }
                const double wanted = note.pitch + semitones;
                const double found =
                    PitchIn(voice, sung.view.sampleRate, note.start + 0.12, note.end - 0.12, wanted);
                EXPECT_NEAR(100.0 * (found - wanted), 0.0, 3.0)
                    << rate << ", " << semitones << ", " << wanted;
            }
        }
    }
}

TEST(Renderer, VoicesAreAsLoudAsTheLeadNoteByNote) {
    const Sung sung(Tune(44100.0));
    Renderer renderer(sung.view, sung.notes, sung.periods, 1);
    renderer.SetVoiceCount(1);
    for (const double semitones : {-12.0, -5.0, 4.0, 9.0}) {
        renderer.SetVoice(0, Moved(sung.notes, semitones));
        const auto voice = Render(renderer, 0, 0, sung.view.frames);
        for (const SungNote& note : sung.notes) {
            if (note.end - note.start < 0.3) {
                continue;
            }
            EXPECT_NEAR(Level(voice, 44100.0, note.start + 0.05, note.end - 0.05),
                        Level(sung.song.samples, 44100.0, note.start + 0.05, note.end - 0.05), 1.0)
                << semitones;
        }
    }
}

// The largest bend from sample to sample: a click is one.
double SharpestBend(const std::vector<float>& samples) {
    double sharpest = 0.0;
    for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
        sharpest = std::max(
            sharpest, std::fabs(static_cast<double>(samples[i - 1]) - 2.0 * samples[i] + samples[i + 1]));
    }
    return sharpest;
}

TEST(Renderer, HumanisedVoicesDoNotClick) {
    const Sung sung(Tune(44100.0, 0.3));
    const double ofLead = SharpestBend(sung.song.samples);
    Renderer renderer(sung.view, sung.notes, sung.periods, 2);
    renderer.SetVoiceCount(1);
    for (uint64_t seed = 1; seed <= 4; ++seed) {
        for (const double semitones : {-7.0, 0.0, 4.0}) {
            auto order = Moved(sung.notes, semitones);
            order.manners = Humanize(order.notes, 2, {0.5, seed});
            renderer.SetVoice(0, order);
            // Manners make a note up to 7 dB louder.
            EXPECT_LT(SharpestBend(Render(renderer, 0, 0, sung.view.frames)), 2.3 * ofLead) << semitones;
        }
    }
}

TEST(Renderer, ANoteHeldToTheEndOfACoarseRecordingStaysLoud) {
    for (const double rate : {11025.0, 16000.0, 22050.0, 44100.0}) {
        SingerSettings settings;
        settings.sampleRate = rate;
        auto song = Sing({{0, 0.3, kRest}, {57, 2.0, 'a'}}, settings);
        song.samples.resize(static_cast<std::size_t>(2.0 * rate));  // ends in the middle of the note
        const Sung sung(std::move(song));
        ASSERT_GE(sung.notes.size(), 1u);
        for (const double semitones : {4.0, -5.0}) {
            Renderer renderer(sung.view, sung.notes, sung.periods,
                              OversamplingFor(Quality::Auto, sung.view.sampleRate, 61.0));
            renderer.SetVoiceCount(1);
            renderer.SetVoice(0, Moved(sung.notes, semitones));
            const auto voice = Render(renderer, 0, 0, sung.view.frames);
            EXPECT_NEAR(Level(voice, rate, 1.8, 2.0), Level(sung.song.samples, rate, 1.8, 2.0), 1.5) << rate;
            EXPECT_NEAR(Level(voice, rate, 1.95, 2.0), Level(sung.song.samples, rate, 1.95, 2.0), 3.0)
                << rate;
        }
    }
}

TEST(Renderer, RestsAreSilentAndVoicesWithoutNotesToo) {
    const Sung sung(Tune(44100.0));
    Renderer renderer(sung.view, sung.notes, sung.periods, 1);
    renderer.SetVoiceCount(2);
    auto order = Moved(sung.notes, 4.0);
    order.notes[1].note = -1;
    renderer.SetVoice(0, order);
    const auto voice = Render(renderer, 0, 0, sung.view.frames);
    EXPECT_LT(Level(voice, 44100.0, sung.notes[1].start + 0.05, sung.notes[1].end - 0.05), -120.0);
    EXPECT_GT(Level(voice, 44100.0, sung.notes[0].start + 0.05, sung.notes[0].end - 0.05), -40.0);
    EXPECT_EQ(Render(renderer, 1, 0, 5000), std::vector<float>(5000));
}

TEST(Renderer, StereoKeepsItsChannels) {
    const auto song = Tune(44100.0);
    std::vector<float> interleaved;
    for (const float x : song.samples) {
        interleaved.push_back(x);
        interleaved.push_back(0.25f * x);
    }
    const AudioView view{interleaved.data(), static_cast<int32_t>(song.samples.size()), 2, 44100};
    const Take take(view);
    Renderer renderer(view, take.notes(), take.measuredPeriods(), 2);
    renderer.SetVoiceCount(1);
    renderer.SetVoice(0, Moved(take.notes(), 3.0));
    std::vector<float> left(40000), right(40000);
    float* rows[] = {left.data(), right.data()};
    renderer.Render(0, 10000, 40000, rows);
    for (std::size_t i = 0; i < left.size(); ++i) {
        ASSERT_NEAR(right[i], 0.25f * left[i], 1e-5f);
    }
}

TEST(Renderer, OversamplingFollowsTheHighestPitchAndTheLimitsOfTheCore) {
    EXPECT_EQ(OversamplingFor(Quality::Fast, 44100, 90.0), 1);
    EXPECT_EQ(OversamplingFor(Quality::Fast, 16000, 60.0), 2);
    EXPECT_EQ(OversamplingFor(Quality::Fast, 11025, 60.0), 4);
    EXPECT_EQ(OversamplingFor(Quality::Normal, 48000, 50.0), 2);
    EXPECT_EQ(OversamplingFor(Quality::High, 48000, 50.0), 4);
    EXPECT_EQ(OversamplingFor(Quality::High, 96000, 50.0), 2);
    EXPECT_EQ(OversamplingFor(Quality::High, 192000, 50.0), 1);
    EXPECT_EQ(OversamplingFor(Quality::Auto, 44100, 60.0), 2);
    EXPECT_EQ(OversamplingFor(Quality::Auto, 96000, 60.0), 1);
    EXPECT_EQ(OversamplingFor(Quality::Auto, 16000, 60.0), 4);
    EXPECT_EQ(OversamplingFor(Quality::Auto, 44100, 76.0), 2);
    EXPECT_EQ(OversamplingFor(Quality::Auto, 44100, 88.0), 4);
}

TEST(Renderer, NothingIsNoTrouble) {
    const std::vector<float> silence(3000);
    const AudioView view{silence.data(), 3000, 1, 16000};
    Renderer renderer(view, {}, {}, 2);
    renderer.SetVoiceCount(1);
    renderer.SetVoice(0, {});
    EXPECT_EQ(Render(renderer, 0, 0, 4000), std::vector<float>(4000));
    EXPECT_EQ(Render(renderer, 0, 100000, 50), std::vector<float>(50));
}

}  // namespace

}  // namespace mlh::choir
