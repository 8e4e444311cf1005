// The claim: the four-voice search gives the bits of the plain one in a small fraction of its time, and sets
// sixty notes in well under a quarter of a second in every spacing.
//
//   VoicingSearch_bench
//
// Plain and Fast set the same tune, Fast also longer ones. Its counter `times_plain` is the ratio of the two
// in this run, `settings` the length of all lists together. The arguments are the spacing style (0 close, 1
// open, 2 wide) and the notes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <random>
#include <vector>

#include "harmony/ChoiralizerV2.h"
#include "support/PlainVoicingSearch.h"

namespace {

using namespace mlh;
using namespace mlh::ChoiralizerV2;

constexpr int kPlainNotes = 12;

// A tune in C major that walks over an octave and a half; its phrases end on a long note.
struct Tune {
    HarmonyParams params[4];
    CChoiralizerV2 engine;
    PlainVoicing::Problem problem;

    Tune(int style, int notes) : params{3, 3, style, 0} {
        constexpr int kScale[7] = {0, 2, 4, 5, 7, 9, 11};
        std::mt19937 random(1);
        std::vector<NoteItem> items(static_cast<size_t>(notes));
        int degree = 39;
        float time = 0.0f;
        for (int i = 0; i < notes; ++i) {
            degree = std::clamp(degree + static_cast<int>(random() % 5) - 2, 33, 45);
            NoteItem& item = items[static_cast<size_t>(i)];
            item.pitch = 12 * (degree / 7) + kScale[degree % 7];
            item.startTime = time;
            time += i % 8 == 7 ? 2.0f : 1.0f;
            item.endTime = time;
            problem.pitches.push_back(item.pitch);
        }
        const NoteList melody = {items.data(), notes, 4, 4};
        engine.SetParams(params);
        engine.SetMelody(&melody, 1);
        engine.AnalysePhrases();
        engine.AssignFunctions();
        problem.functions = engine.GetNoteFunctions();
        problem.spacingStyle = style;
    }
    void Search() {
        engine.BuildVoicingCandidates();
        engine.SearchVoicing();
    }
    bool IsAsPlain(const PlainVoicing::Solution& plain) {
        NoteList* rows = nullptr;
        engine.GetVoices(&rows);
        for (size_t row = 0; row < 4; ++row) {
            for (size_t i = 0; i < problem.pitches.size(); ++i) {
                if (rows[row].items[i].pitch != plain.rows[row][i]) {
                    return false;
                }
            }
        }
        return true;
    }
};

// Processor seconds: the ratio is to hold on a busy machine too.
double SecondsOf(const auto& work) {
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

std::map<int64_t, double> plainSeconds;  // per spacing style

void Plain(benchmark::State& state) {
    Tune tune(static_cast<int>(state.range(0)), kPlainNotes);
    PlainVoicing::Solution solution;
    double seconds = 1e9;
    for (auto _ : state) {
        seconds = std::min(seconds, SecondsOf([&] { solution = PlainVoicing::Solve(tune.problem); }));
    }
    plainSeconds[state.range(0)] = seconds;
    tune.Search();
    if (!tune.IsAsPlain(solution)) {
        state.SkipWithError("the two searches differ");
    }
}

void Fast(benchmark::State& state) {
    Tune tune(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    double seconds = 1e9;
    for (auto _ : state) {
        seconds = std::min(seconds, SecondsOf([&] { tune.Search(); }));
    }
    size_t settings = 0;
    for (const CandidateList& list : tune.engine.GetCandidateLists()) {
        settings += list.candidates.size();
    }
    state.counters["settings"] = static_cast<double>(settings);
    if (state.range(1) == kPlainNotes && plainSeconds.count(state.range(0)) != 0) {
        state.counters["times_plain"] = plainSeconds[state.range(0)] / seconds;
    }
}

BENCHMARK(Plain)->ArgName("style")->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(Fast)
    ->ArgNames({"style", "notes"})
    ->ArgsProduct({{0, 1, 2}, {kPlainNotes, 60, 240}})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
