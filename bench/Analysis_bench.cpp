// The claim: analysing a minute of singing takes less than a two-hundredth of its time on one core, and
// rendering four voices from it a fraction of that, at the best processor level.
//
//   Analysis_bench --level=6
//
// A process runs at one level: 0, 3, 4, 5, 6, or without the option the best of the machine. The counter
// `cpu_ms_per_s` is processor milliseconds per second of mono audio at 44.1 kHz, the least of all runs.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "dsp/Dispatch.h"
#include "mlh/mlh.h"
#include "support/SyntheticSinger.h"

using namespace mlh;

namespace {

constexpr double kSampleRate = 44100.0;

// A minute of notes over an octave and a half, with consonants, rests, vibrato and a little noise.
const std::vector<float>& SungMinute() {
    static const std::vector<float> minute = [] {
        constexpr double kPitches[10] = {57, 60, 62, 64, 65, 67, 64, 62, 69, 60};
        constexpr char kVowels[] = {'a', 'e', 'i', 'o', 'u'};
        constexpr char kConsonants[] = {0, 's', 't', 'h', 'm'};
        std::vector<SungNote> song;
        for (int i = 0; i < 120; ++i) {
            SungNote note;
            note.pitch = kPitches[i % 10] + (i >= 60 ? 7 : 0) - (i % 20 > 9 ? 12 : 0);
            note.duration = 0.4 + 0.05 * (i % 5);
            note.vowel = i % 12 == 11 ? kRest : kVowels[i % 5];
            note.consonant = kConsonants[i * 3 % 5];
            song.push_back(note);
        }
        SingerSettings settings;
        settings.vibratoDepth = 0.3;
        settings.breath = 0.01;
        settings.roomNoise = 1e-4;
        return Sing(song, settings).samples;
    }();
    return minute;
}

int32_t Frames() { return static_cast<int32_t>(SungMinute().size()); }

// One job as a host does it.
class Job {
  public:
    Job() { mlhCreateInstance(&handle_); }
    ~Job() { mlhDestroyInstance(&handle_); }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    void Analyse() { mlhAssignInputData32(handle_, SungMinute().data(), Frames(), 1, 44100); }

    void SetChords() {
        mlhSetParams(handle_, true, 4, 1, 0.5f, 0, false);
        ChordVector* const chords = mlhGetNewChordVector();
        for (int i = 0; i < 24; ++i) {
            const int32_t root = 48 + i % 3 * 5;
            mlhChordVectorAddItem(chords, {2.5f * static_cast<float>(i), {root, root + 4, root + 7, -1}});
        }
        mlhSetChordVector(handle_, chords);
        mlhDisposeChordVector(chords);
    }

    void Render(std::vector<int16_t>& out) {
        mlhProcessOutputData16(handle_, out.data(), Frames(), 1, nullptr);
    }

  private:
    void* handle_ = nullptr;
};

// Processor time, so that a busy machine disturbs little.
class Stopwatch {
  public:
    void Start() { start_ = std::clock(); }
    void Stop() { least_ = std::min(least_, static_cast<double>(std::clock() - start_) / CLOCKS_PER_SEC); }
    void Report(benchmark::State& state) const {
        state.counters["cpu_ms_per_s"] = 1000.0 * least_ * kSampleRate / Frames();
        state.counters["level"] = CurrentLevel();
    }

  private:
    std::clock_t start_ = 0;
    double least_ = 1e9;
};

void Analysis(benchmark::State& state) {
    SungMinute();
    Stopwatch watch;
    for (auto _ : state) {
        Job job;
        watch.Start();
        job.Analyse();
        watch.Stop();
    }
    watch.Report(state);
}

// Four voices and the mix to 16 bits.
void Rendering(benchmark::State& state) {
    std::vector<int16_t> out(SungMinute().size());
    Stopwatch watch;
    for (auto _ : state) {
        state.PauseTiming();
        Job job;  // a voice goes on where the last call stopped, so each run needs its own
        job.Analyse();
        job.SetChords();
        state.ResumeTiming();
        watch.Start();
        job.Render(out);
        watch.Stop();
    }
    watch.Report(state);
}

void WholeJob(benchmark::State& state) {
    std::vector<int16_t> out(SungMinute().size());
    Stopwatch watch;
    for (auto _ : state) {
        watch.Start();
        Job job;
        job.Analyse();
        job.SetChords();
        job.Render(out);
        watch.Stop();
    }
    watch.Report(state);
}

BENCHMARK(Analysis)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(Rendering)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(WholeJob)->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace

int main(int argc, char** argv) {
    int32_t level = -1;
    const auto isLevel = [&level](char* argument) {
        if (std::strncmp(argument, "--level=", 8) != 0) {
            return false;
        }
        level = std::atoi(argument + 8);
        return true;
    };
    argc = static_cast<int>(std::remove_if(argv + 1, argv + argc, isLevel) - argv);
    InitDispatch(level);
    if (level >= 0 && CurrentLevel() != level) {
        std::fprintf(stderr, "this machine has no level %d\n", level);
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
