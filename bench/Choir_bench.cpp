// The claim: what the choir library adds to the core's own analyses and voices is a small share of the whole
// job, arranging four minutes of singing takes less than a fifth of a second, and both grow no faster than
// the recording.
//
//   Choir_bench
//
// The argument is minutes of singing, mono at 44.1 kHz; everything with the default settings, which sing four
// voices at twice that rate. Parts are run in turns, so that what else the machine does hits all of them; the
// least of the runs counts, in processor time. Counters:
//   whole_ms_per_s  take, choir and mix per second of singing
//   core_ms_per_s   of that, the core's two analyses and four voices alone, out of memory
//   choir_share     the rest over the whole: also the finer samples, and the way back from them
//   beside_share    what is neither one of the two analyses nor rendering, over the whole
//   arranging_ms    tuning, key, chords, voices and people of the whole song
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>
#include <memory>
#include <vector>

#include "choir/Choir.h"
#include "choir/people/Humanize.h"
#include "choir/render/Oversampler.h"
#include "choir/render/Renderer.h"
#include "mlh/reader.h"
#include "mlh/voices.h"
#include "support/SyntheticSinger.h"

using namespace mlh;
using namespace mlh::choir;

namespace {

constexpr int32_t kRate = 44100;
constexpr int32_t kBlock = 4096;
constexpr int kRuns = 3;

std::vector<float> SingMinutes(double minutes) {
    constexpr double kPitches[10] = {57, 60, 62, 64, 65, 67, 64, 62, 69, 60};
    constexpr char kVowels[] = {'a', 'e', 'i', 'o', 'u'};
    constexpr char kConsonants[] = {0, 's', 't', 'h', 'm'};
    std::vector<mlh::SungNote> song;
    for (int i = 0; i < 120; ++i) {
        mlh::SungNote note;
        note.pitch = kPitches[i % 10];
        note.duration = 0.4 + 0.05 * (i % 5);
        note.vowel = i % 12 == 11 ? kRest : kVowels[i % 5];
        note.consonant = kConsonants[i * 3 % 5];
        song.push_back(note);
    }
    SingerSettings settings;
    settings.sampleRate = kRate;
    settings.vibratoDepth = 0.3;
    settings.breath = 0.01;
    settings.roomNoise = 1e-4;
    const auto minute = Sing(song, settings).samples;
    std::vector<float> samples(static_cast<std::size_t>(60.0 * minutes * kRate));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = minute[i % minute.size()];
    }
    return samples;
}

choir::Settings DefaultChoir() {
    choir::Settings settings;
    settings.style = Style::Choir;
    return settings;
}

double Now() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

class Least {
  public:
    template <typename Work>
    void Time(Work&& work) {
        const double start = Now();
        work();
        Count(Now() - start);
    }
    void Count(double seconds) { seconds_ = std::min(seconds_, seconds); }
    double seconds() const { return seconds_; }

  private:
    double seconds_ = std::numeric_limits<double>::max();
};

// Returns the seconds that the choir took to be ready to render.
double WholeJob(const AudioView& view) {
    Take take(view);
    const double start = Now();
    Choir choir(take, DefaultChoir());
    const double ready = Now() - start;
    std::vector<float> mix(2 * kBlock);
    for (int32_t first = 0; first < view.frames; first += kBlock) {
        choir.Render(first, std::min(kBlock, view.frames - first), nullptr, mix.data(), 2);
    }
    benchmark::DoNotOptimize(mix.data());
    return ready;
}

// What the core does for that: the same analyses, and voices with the same segments.
class CoreJob {
  public:
    explicit CoreJob(const AudioView& view) : view_(view) {
        Take take(view);
        const Choir choir(take, DefaultChoir());
        double highest = 0.0;
        for (const Voice& voice : choir.voices()) {
            for (const VoiceNote& note : voice.notes) {
                highest = std::max(highest, note.pitch);
            }
        }
        factor_ = OversamplingFor(Quality::Auto, view.sampleRate, highest);
        Renderer renderer(view, take.measuredNotes(), take.measuredPeriods(), factor_);
        renderer.SetVoiceCount(static_cast<int>(choir.voices().size()));
        for (int v = 0; v < static_cast<int>(choir.voices().size()); ++v) {
            VoiceOrder order;
            order.notes = choir.voices()[static_cast<std::size_t>(v)].notes;
            order.manners = Humanize(order.notes, v, {});
            renderer.SetVoice(v, order);
            segments_.push_back(renderer.plan(v).segments);
        }
        const Oversampler oversampler(factor_);
        const auto margin = static_cast<std::size_t>(oversampler.margin());
        const auto silence = static_cast<std::size_t>(0.3 * view.sampleRate);
        std::vector<float> padded(static_cast<std::size_t>(view.frames) + silence + 2 * margin);
        std::copy_n(view.samples, view.frames, padded.begin() + static_cast<std::ptrdiff_t>(margin));
        fine_.resize((static_cast<std::size_t>(view.frames) + silence) * static_cast<std::size_t>(factor_));
        oversampler.Up(padded.data(), static_cast<int32_t>(fine_.size()) / factor_, fine_.data());
    }

    void Run() {
        MemoryReader coarseReader(view_.samples, view_.frames, 1, view_.sampleRate);
        MalleoTuneHarmonyAddOnIf* addOn = nullptr;
        MalleoTuneHarmonyAddOnIf::CreateInstance(&addOn, &coarseReader);
        addOn->Prepare();
        MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn);

        MemoryReader reader(fine_.data(), static_cast<int32_t>(fine_.size()), 1, view_.sampleRate * factor_);
        MalleoTuneHarmonyAddOnIf::CreateInstance(&addOn, &reader);
        addOn->Prepare();
        std::vector<float> block(static_cast<std::size_t>(kBlock) * static_cast<std::size_t>(factor_));
        for (const auto& segments : segments_) {
            HarmonyVoiceIf* voice = nullptr;
            HarmonyVoiceIf::CreateInstance(&voice, addOn, &reader);
            voice->CarryRounding(true);
            voice->SetSegments(segments);
            const auto count = static_cast<int32_t>(block.size());
            for (int32_t first = 0; first < view_.frames * factor_; first += count) {
                float* rows[] = {block.data(), nullptr};
                voice->Render(rows, first, count);
            }
            HarmonyVoiceIf::DestroyInstance(&voice);
        }
        benchmark::DoNotOptimize(block.data());
        MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn);
    }

    int factor() const { return factor_; }

  private:
    AudioView view_;
    int factor_ = 1;
    std::vector<float> fine_;
    std::vector<std::vector<VoiceSegment>> segments_;
};

void ShareOfTheWholeJob(benchmark::State& state) {
    const double seconds = 60.0 * static_cast<double>(state.range(0));
    const auto samples = SingMinutes(static_cast<double>(state.range(0)));
    const AudioView view{samples.data(), static_cast<int32_t>(samples.size()), 1, kRate};
    CoreJob core(view);
    Take take(view);
    Choir choir(take, DefaultChoir());
    const auto& periods = take.measuredPeriods();
    Least whole, alone, ready, analysing, arranging;
    for (auto _ : state) {
        for (int run = 0; run < kRuns; ++run) {
            whole.Time([&] { ready.Count(WholeJob(view)); });
            analysing.Time([&] { Renderer(view, take.measuredNotes(), periods, core.factor()); });
            alone.Time([&] { core.Run(); });
            arranging.Time([&] {
                choir.Change(DefaultChoir());
            });  // the voices sing what they sang: nothing else is done
        }
    }
    state.counters["whole_ms_per_s"] = 1000.0 * whole.seconds() / seconds;
    state.counters["core_ms_per_s"] = 1000.0 * alone.seconds() / seconds;
    state.counters["choir_share"] = 1.0 - alone.seconds() / whole.seconds();
    state.counters["beside_share"] = (ready.seconds() - analysing.seconds()) / whole.seconds();
    state.counters["arranging_ms"] = 1000.0 * arranging.seconds();
}

BENCHMARK(ShareOfTheWholeJob)->Arg(1)->Arg(4)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
