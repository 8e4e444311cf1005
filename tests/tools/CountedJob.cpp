// A short job whose instructions are counted, its two halves each in a function of its own. Used by
// scripts/count-instructions.
//
//     tool_CountedJob LEVEL
//
// Analyses a sung phrase, and renders four voices by chords and their 16-bit mix. Prints the seconds of
// audio. Ends with 77 where the machine lacks the level.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "mlh/analysis.h"
#include "mlh/mlh.h"
#include "support/SungTunes.h"

namespace mlh {

extern "C" {

__attribute__((noinline)) int32_t CountedAnalysis(void* mlh, const SungRecording& lead) {
    return mlhAssignInputData32(mlh, lead.samples.data(), static_cast<int32_t>(lead.samples.size()), 1,
                                44100);
}

__attribute__((noinline)) int32_t CountedRendering(void* mlh, std::vector<int16_t>& out) {
    return mlhProcessOutputData16(mlh, out.data(), static_cast<int32_t>(out.size()), 1, nullptr);
}

}  // extern "C"

}  // namespace mlh

using namespace mlh;

int main(int argc, char** argv) {
    const int level = argc == 2 ? std::atoi(argv[1]) : -1;
    mlh::LimitProcessorLevel(level);
    if (mlh::GetProcessorLevel() != level) {
        return 77;
    }

    const SungRecording lead = SingScale({60, 64, 67, 62, 59}, 0.6, 3);
    void* mlh = nullptr;
    if (mlhCreateInstance(&mlh) != 0 || CountedAnalysis(mlh, lead) != 0) {
        return 1;
    }
    mlhSetParams(mlh, true, 4, 1, 0.5f, 0, false);
    ChordVector* const chords = mlhGetNewChordVector();
    mlhChordVectorAddItem(chords, {0.0f, {60, 64, 67, -1}});
    mlhChordVectorAddItem(chords, {1.8f, {55, 59, 62, -1}});
    mlhSetChordVector(mlh, chords);
    mlhDisposeChordVector(chords);
    std::vector<int16_t> out(lead.samples.size());
    if (CountedRendering(mlh, out) != 0) {
        return 1;
    }
    mlhDestroyInstance(&mlh);
    std::printf("%.3f\n", static_cast<double>(lead.samples.size()) / 44100.0);
    return 0;
}
