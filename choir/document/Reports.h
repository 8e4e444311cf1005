// What was found and made, as JSON.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "choir/score/Arrangement.h"
#include "choir/score/Performance.h"
#include "choir/take/Take.h"

namespace mlh::choir {

// Version of the layout of all JSON that the command writes; it grows when a field changes its meaning.
inline constexpr int kJsonSchema = 1;

// The recording that a report is about.
struct RecordingInfo {
    std::string file;
    int32_t channels = 0;  // of the file
};

std::string AnalysisAsJson(const RecordingInfo& recording, const Take& take);

// What harmonize made.
struct HarmonyReport {
    std::string mix;
    std::vector<std::string> stems;
    int64_t saturated = 0;  // samples of the mix and the stems that were limited
    double analysisSeconds = 0.0;
    double renderingSeconds = 0.0;
};
std::string HarmonyAsJson(const HarmonyReport& report, const RecordingInfo& recording, const Take& take,
                          const Performance& performance);

std::string ArrangementAsJson(const Arrangement& arrangement);

}  // namespace mlh::choir
