#include "choir/mix/Presets.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/Numbering.h"
#include "base/Pi.h"

namespace mlh::choir {

namespace {

constexpr std::size_t kLines = kMixRows;

struct Preset {
    MixPreset preset;
    const char* name;
    std::array<double, kLines> pans;    // -1 left to 1 right
    std::array<double, kLines> levels;  // [dB] of full scale
};

constexpr double kMuted = -1000.0;  // [dB]

// The doubling of the lead stands beside it, the others alternate outwards.
constexpr std::array<Preset, 4> kPresets = {{
    {MixPreset::Choir, "choir", {0.0, 0.2, -0.45, 0.5, -0.7}, {-6.0, -9.0, -8.0, -8.0, -8.0}},
    {MixPreset::Wide, "wide", {0.0, -0.6, 0.9, -0.9, 0.6}, {-6.0, -9.0, -9.0, -9.0, -9.0}},
    {MixPreset::Backing, "backing", {0.0, -0.6, 0.9, -0.9, 0.6}, {kMuted, -6.0, -6.0, -6.0, -6.0}},
    {MixPreset::Mono, "mono", {0.0, 0.0, 0.0, 0.0, 0.0}, {-6.0, -9.0, -9.0, -9.0, -9.0}},
}};

template <class T>
std::optional<T> Given(const std::vector<std::optional<T>>& values, std::size_t index) {
    return index < values.size() ? values[index] : std::nullopt;
}

double Linear(double decibels) { return decibels <= kMuted ? 0.0 : std::pow(10.0, decibels / 20.0); }

}  // namespace

std::optional<MixPreset> ReadMixPreset(const std::string& name) {
    for (const Preset& preset : kPresets) {
        if (name == preset.name) {
            return preset.preset;
        }
    }
    return std::nullopt;
}

const char* NameOf(MixPreset preset) { return kPresets[static_cast<std::size_t>(preset)].name; }

std::vector<StereoGain> GainsOf(const MixSettings& settings, int voices) {
    constexpr double kQuarterTurn = 0.5 * kPi;
    const Preset& preset = kPresets[static_cast<std::size_t>(settings.preset)];
    std::vector<StereoGain> gains;
    for (std::size_t line = 0; line <= static_cast<std::size_t>(voices); ++line) {
        const std::size_t row = std::min(line, kLines - 1);
        const double pan = std::clamp(Given(settings.pans, line).value_or(preset.pans[row]), -1.0, 1.0);
        const double level = Linear(preset.levels[row] + Given(settings.levels, line).value_or(0.0));
        const double angle = 0.5 * (pan + 1.0) * kQuarterTurn;
        // Against the middle, whose two channels carry the full level each.
        const double full = level * std::sqrt(2.0);
        gains.push_back({full * std::cos(angle), full * std::sin(angle)});
        if (pan == 0.0) {
            gains.back() = {level, level};
        }
    }
    return gains;
}

}  // namespace mlh::choir
